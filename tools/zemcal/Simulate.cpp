// `zemcal simulate`: calibrate a virtual head end to end.
//
// Version: grid tables are added through ZemCal::setCalibPnts, which stamps
// version 0x60 and refits with the revised fit. A grid measured through the
// classic correction would then be applied on top of a different fit, so
// when grids are asked for the nine-point fit is made with version 0x60 from
// the start, and every pass is measured through the correction it will be
// used with.
#include "Simulate.h"

#include <memory>

#include "Commands.h"
#include "CorWriter.h"
#include "HeadOptions.h"
#include "Load.h"
#include "Rig.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"

namespace zemcal_tool {

namespace {

// A record carrying the head's geometry and flags, both flag copies set as
// the text import sets them, with no test lines.
std::unique_ptr<tagLenPar> headRecord(const HeadParams& p) {
    auto rec = std::make_unique<tagLenPar>();
    rec->FieldSize = p.fieldSize;
    rec->ValSize = p.valSize;
    rec->Resolution = p.resolution;
    rec->Center = (p.resolution + 1) / 2;
    rec->CenterSq = static_cast<double>(rec->Center) * rec->Center;
    rec->XYFlip = rec->XYFlipSaved = p.swap ? 1 : 0;
    rec->XInvert = rec->XInvertSaved = p.invertX ? 1 : 0;
    rec->YInvert = rec->YInvertSaved = p.invertY ? 1 : 0;
    rec->LineCount = 0;
    rec->UseLsm = 1;
    return rec;
}

bool endsWith(const std::string& s, const char* suffix) {
    const std::string x = suffix;
    return s.size() >= x.size() && s.compare(s.size() - x.size(), x.size(), x) == 0;
}

void writeNinePointText(const tagLenPar& rec, const HeadParams& p, const std::string& path) {
    std::vector<std::string> comments = {
        "zemcal simulate: nine points of a virtual head, marked with linear commands and measured",
        "(PNTi = nominal x y, measured x y, millimetres, command frame).",
        strprintf("The device span is %g mm; this format does not store it: load with --field-size %g.",
                  p.fieldSize, p.fieldSize)};
    for (const std::string& line : describeHeadParams(p)) comments.push_back("  " + line);
    writeFileAtomically(path, correctionFileText(rec, comments));
}

}  // namespace

SimulateReport runSimulation(const HeadParams& params, const SimulateSettings& s, std::FILE* log) {
    if (s.grid != 0 && (s.grid < 3 || s.grid > 257))
        throw ToolError("--grid: points per side must lie between 3 and 257");
    if (s.passes < 1 || s.passes > 10) throw ToolError("--passes: between 1 and 10");
    if (s.grid != 0 && (endsWith(s.output, ".cor") || endsWith(s.output, ".ini")))
        throw ToolError(s.output + ": grid tables are written to a binary calibration file; "
                                   "choose a name such as head.zcal");
    checkAndPrintHead(params, log);

    VirtualHead head(params);
    Rig rig(head);
    SimulateReport report;
    auto rec = headRecord(params);

    markNinePoints(*rec, rig);
    report.ninePoints = tableResiduals(rec->Pnt, 9);
    std::fprintf(log, "nine points marked with linear commands: largest error %.1f um, RMS %.1f um\n",
                 report.ninePoints.maxUm, report.ninePoints.rmsUm);

    if (s.grid == 0) {
        writeNinePointText(*rec, params, s.output);
        const LoadedCalibration check = loadCalibration(s.output, params.fieldSize);
        std::fprintf(log,
                     "wrote %s: text correction file, nine points; it loads as version %s, %s fit\n"
                     "  its span is not stored in the text format: load it with --field-size %g\n",
                     s.output.c_str(), versionLabel(check.rec->Version).c_str(),
                     fitName(check.rec->Version), params.fieldSize);
        return report;
    }

    report.binary = true;
    std::fprintf(log,
                 "version: grid tables are added through setCalibPnts, which stamps %s and refits with "
                 "the revised fit;\n  the nine-point fit is made with that version from the start\n",
                 versionLabel(CalVerRevised).c_str());
    if (!ZemCal().saveUcf(s.output.c_str(), *rec, CalVerRevised))
        throw ToolError("cannot write " + s.output);
    for (int pass = 1; pass <= s.passes; ++pass) {
        LoadedCalibration current = loadCalibration(s.output, params.fieldSize);
        current.rec->UseLsm = 1;
        std::vector<tagCalData> table = markGrid(*current.rec, rig, s.grid);
        const ResidualStats st = tableResiduals(table.data(), table.size());
        report.gridPasses.push_back(st);
        const int index = static_cast<int>(current.rec->Stacks.size());
        if (!ZemCal().setCalibPnts(s.output.c_str(), index, s.grid, table.data()))
            throw ToolError("cannot add grid table #" + std::to_string(index) + " to " + s.output);
        std::fprintf(log, "pass %d: %d x %d grid marked through the correction: largest error %.2f um, "
                          "RMS %.2f um -> table #%d\n",
                     pass, s.grid, s.grid, st.maxUm, st.rmsUm, index);
    }
    const LoadedCalibration check = loadCalibration(s.output, params.fieldSize);
    std::fprintf(log, "wrote %s: binary calibration file, version %s, %s fit, %zu grid tables\n",
                 s.output.c_str(), versionLabel(check.rec->Version).c_str(), fitName(check.rec->Version),
                 check.rec->Stacks.size());
    return report;
}

Command addSimulateCommand(CLI::App& parent) {
    struct Options {
        HeadParams head;
        SimulateSettings settings;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("simulate", "Calibrate a virtual scan head end to end");
    sub->add_option("-o,--output", o->settings.output, "Calibration file to write")->required();
    CLI::Option* grid = sub->add_option("--grid", o->settings.grid,
                                        "Add grid passes of N x N points (3..257; 17 is typical)");
    sub->add_option("--passes", o->settings.passes, "Number of grid passes")->needs(grid)->capture_default_str();
    addHeadOptions(*sub, o->head);
    sub->footer(
        "Marks the nine calibration points with ideal linear commands, measures them and writes a\n"
        "text correction file (rows from the top-left, nominal then measured position). With\n"
        "--grid, marks an N x N grid through the current correction, measures it and adds it as a\n"
        "grid table, pass after pass; the result is a binary calibration file of version 0x60.\n"
        "Evaluate or plot the result with the same head options.\n\n"
        "Examples:\n"
        "  zemcal simulate -o head.cor\n"
        "  zemcal simulate --grid 17 --passes 2 -o head.zcal\n"
        "  zemcal simulate --focal 254 --rotation -0.5 --invert-y --seed 7 -o other.cor");
    return {sub, [o] {
                runSimulation(o->head, o->settings, stdout);
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
