// `zemcal convert IN OUT [--version V]`: load a calibration (text or binary)
// and save it as a binary calibration file under a chosen version byte.
#include <cerrno>
#include <cstring>
#include <iostream>

#include <sys/stat.h>

#include "Commands.h"
#include "Load.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"

namespace zemcal_tool {

namespace {

std::string tableSizes(const tagLenPar& r) {
    if (r.Stacks.empty()) return "no grid tables";
    std::string s = std::to_string(r.Stacks.size()) + (r.Stacks.size() == 1 ? " grid table (" : " grid tables (");
    for (std::size_t i = 0; i < r.Stacks.size(); ++i)
        s += (i ? ", " : "") + std::to_string(r.Stacks[i].Num) + "x" + std::to_string(r.Stacks[i].Num);
    return s + ")";
}

}  // namespace

Command addConvertCommand(CLI::App& parent) {
    struct Options {
        std::string in, out, version;
        double fieldSize = 100.0;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("convert", "Save a calibration as a binary calibration file");
    sub->add_option("IN", o->in, "Binary calibration file or text correction file")->required();
    sub->add_option("OUT", o->out, "Binary calibration file to write")->required();
    sub->add_option("--version", o->version,
                    "Version byte to write: one character (P, `) or a number (0x60, 96); "
                    "default: keep the loaded one");
    addFieldSizeOption(*sub, o->fieldSize, "default 100");
    sub->footer(
        "The record is refitted on saving: version 'P' (0x50) with the classic fit, any other\n"
        "byte with the revised fit. Version '3' is refused, since the library cannot load it.\n\n"
        "Examples:\n"
        "  zemcal convert --field-size 110 examples/sample-head.cor head.zcal\n"
        "  zemcal convert --version 0x60 head.zcal head-revised.zcal\n"
        "  zemcal convert --version P head.zcal head-classic.zcal");
    return {sub, [o] {
                LoadedCalibration lc = loadCalibration(o->in, o->fieldSize);
                tagLenPar& r = *lc.rec;
                unsigned char ver = static_cast<unsigned char>(r.Version);
                if (!o->version.empty()) {
                    const auto parsed = parseVersionByte(o->version);
                    if (!parsed)
                        throw ToolError("--version " + o->version +
                                        ": expected one character (P, `) or a number 0..255 (96, 0x60)");
                    ver = *parsed;
                }
                if (ver == CalVerRefused)
                    throw ToolError("--version: '3' (0x33) would write a file the library refuses to load");
                std::string message;
                if (CCalibFile::Save(o->out.c_str(), r, static_cast<CalVerion>(ver), message) != CCalibFile::Ok)
                    throw ToolError(message);
                struct stat st {};
                if (::stat(o->out.c_str(), &st) != 0)
                    throw ToolError("cannot read back " + o->out + ": " + std::strerror(errno));
                const int lines = r.LineCount > 100 ? 100 : (r.LineCount > 0 ? r.LineCount : 0);
                std::cout << "wrote " << o->out << ": binary calibration file, version "
                          << versionLabel(ver) << ", refitted with the " << fitName(ver) << " fit\n"
                          << "  field size " << fieldSizeNote(lc) << ", working field "
                          << strprintf("%g", r.ValSize) << " mm, resolution " << r.Resolution << "\n"
                          << "  " << tableSizes(r) << ", " << lines << " test lines, "
                          << static_cast<long long>(st.st_size) << " bytes\n";
                return std::cout.flush() ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
