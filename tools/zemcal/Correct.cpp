// `zemcal correct FILE`: a Unix filter turning logical points (mm) into
// corrected device points (galvo units), one line in, one line out.
//
// Output stays aligned line for line with the input: blank and '#' lines are
// echoed, and a line that cannot be read becomes a '#' line saying why, is
// reported on standard error with its line number, and makes the run exit
// with status 1 once every other line has been corrected.
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "Commands.h"
#include "Load.h"
#include "PointLines.h"
#include "Text.h"
#include "ToolError.h"

namespace zemcal_tool {

namespace {

// Beyond this many, bad lines are still marked in the output but no longer
// each reported on standard error.
constexpr long kMaxReported = 100;

struct Options {
    std::string file;
    std::string input = "-";
    bool manual = false;
    bool shift = false;
    bool quiet = false;
    float sftX = 0.0f, sftY = 0.0f, sftScaleX = 1.0f, sftScaleY = 1.0f;
    double fieldSize = 100.0;
};

void writeOut(const char* data, std::size_t n) {
    if (n == 0) return;  // an empty view may carry a null pointer, which fwrite must not get
    if (std::fwrite(data, 1, n, stdout) != n)
        throw ToolError(std::string("cannot write standard output: ") + std::strerror(errno));
}

int run(const Options& o) {
    LoadedCalibration lc = loadCalibration(o.file, o.fieldSize);
    tagLenPar& rec = *lc.rec;
    rec.UseLsm = o.manual ? 0 : 1;
    rec.SftX = o.sftX;
    rec.SftY = o.sftY;
    rec.SftScaleX = o.sftScaleX;
    rec.SftScaleY = o.sftScaleY;

    const bool fromStdin = o.input == "-";
    const std::string inputName = fromStdin ? "<stdin>" : o.input;
    std::FILE* in = fromStdin ? stdin : std::fopen(o.input.c_str(), "rb");
    if (in == nullptr) throw ToolError("cannot open " + o.input + ": " + std::strerror(errno));
    struct Closer {
        std::FILE* f;
        bool own;
        ~Closer() { if (own) std::fclose(f); }
    } closer{in, !fromStdin};

    // Standard output carries only the points; what was loaded goes to standard error.
    if (!o.quiet)
        std::fprintf(stderr, "zemcal correct: %s: field size %s, %s path%s\n", o.file.c_str(),
                     fieldSizeNote(lc).c_str(), o.manual ? "manual box" : "least-squares",
                     o.shift ? " with LP2DPEX_SFT" : "");

    // Prepared once for the whole stream: the same points as ZemCal::CalibPoint
    // and LP2DPEX_SFT, without scanning every grid cell for every point.
    const CPointCorrector corrector(rec);
    LineReader reader(in);
    std::string_view line;
    bool tooLong = false;
    long number = 0, bad = 0;
    char buf[128];
    while (reader.next(line, tooLong)) {
        ++number;
        ParsedLine p;
        if (tooLong) {
            p.error = "line longer than 4096 bytes";
            line = {};
        } else {
            p = parsePointLine(line);
        }
        if (p.kind == LineKind::PassThrough) {
            writeOut(line.data(), line.size());
            writeOut("\n", 1);
            continue;
        }
        if (p.kind == LineKind::Bad) {
            ++bad;
            if (bad <= kMaxReported)
                std::fprintf(stderr, "zemcal correct: %s:%ld: %s\n", inputName.c_str(), number, p.error);
            const int n = std::snprintf(buf, sizeof buf, "# line %ld: %s: ", number, p.error);
            writeOut(buf, static_cast<std::size_t>(n));
            std::string_view shown = line.substr(0, 200);
            if (!shown.empty() && shown.back() == '\r') shown.remove_suffix(1);
            writeOut(shown.data(), shown.size());
            writeOut("\n", 1);
            continue;
        }
        tagVeyPointF out{};
        if (o.shift)
            corrector.CorrectSft({p.x, p.y}, out, true);
        else
            corrector.Correct({p.x, p.y}, out);
        const int n = std::snprintf(buf, sizeof buf, "%.9g %.9g\n", out.x, out.y);
        writeOut(buf, static_cast<std::size_t>(n));
    }
    if (reader.failed()) throw ToolError("cannot read " + inputName + ": read error");
    if (std::fflush(stdout) != 0)
        throw ToolError(std::string("cannot write standard output: ") + std::strerror(errno));
    if (bad > kMaxReported)
        std::fprintf(stderr, "zemcal correct: %s: %ld bad lines in all (the first %ld shown)\n",
                     inputName.c_str(), bad, kMaxReported);
    return bad == 0 ? kExitOk : kExitFailure;
}

}  // namespace

Command addCorrectCommand(CLI::App& parent) {
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("correct", "Correct logical points (mm) into device points");
    sub->add_option("FILE", o->file, "Binary calibration file or text correction file")->required();
    sub->add_option("-i,--input", o->input, "Points to read, one \"x y\" per line (default: standard input)");
    sub->add_flag("--manual", o->manual, "Use the manual box path (UseLsm 0) instead of least squares");
    CLI::Option* shift = sub->add_flag("--shift", o->shift, "Correct through LP2DPEX_SFT (scale and shift after the correction)");
    sub->add_option("--sft-x", o->sftX, "SftX: shift in x, moving the point by SftX*Resolution/FieldSize galvo units (with --shift)")->needs(shift);
    sub->add_option("--sft-y", o->sftY, "SftY: shift in y, likewise (with --shift)")->needs(shift);
    sub->add_option("--sft-scale-x", o->sftScaleX, "SftScaleX: scale about the centre in x (with --shift)")->needs(shift);
    sub->add_option("--sft-scale-y", o->sftScaleY, "SftScaleY: scale about the centre in y (with --shift)")->needs(shift);
    sub->add_flag("-q,--quiet", o->quiet, "Do not say on standard error what was loaded");
    addFieldSizeOption(*sub, o->fieldSize, "default 100");
    sub->footer(
        "Input: one logical point per line, \"x y\" in millimetres, field centre at the origin.\n"
        "Blank lines and lines starting with '#' are copied to the output. Output: one device\n"
        "point per line, \"x y\" in galvo units (full float precision, %.9g). A line that cannot\n"
        "be read is reported on standard error and replaced by a '#' line, so the output stays\n"
        "aligned with the input; the exit status is then 1.\n\n"
        "Examples:\n"
        "  zemcal correct --manual -i points.txt examples/sample-head.zcal > device.txt\n"
        "  printf '0 0\\n25 -10\\n' | zemcal correct examples/sample-head.zcal\n"
        "  zemcal correct --shift --sft-x 0.01 examples/sample-head.zcal < points.txt");
    return {sub, [o] { return run(*o); }};
}

}  // namespace zemcal_tool
