// `zemcal simulate`: calibrate a virtual head end to end, as a technician
// calibrates a physical one: new -> pattern -> measure -> fit for the nine
// points, then pattern -> measure -> fit for each grid pass. Every step goes
// through the text of the files those commands write, so simulate checks the
// workflow as well as the head.
//
// Version: the calibration keeps one fit from the start (revised, 0x60,
// unless --classic), so every pass is measured through the correction its
// table will be used with.
#include "Simulate.h"

#include <memory>

#include "Commands.h"
#include "CorWriter.h"
#include "HeadOptions.h"
#include "Load.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"
#include "Workflow.h"

namespace zemcal_tool {

namespace {

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

// One mark-measure-fit cycle on the virtual head: the pattern's file text,
// measured, read back and fitted into rec. Returns the measured error.
ResidualStats cycle(tagLenPar& rec, VirtualHead& head, int grid, bool solve) {
    const std::string name = grid == 0 ? "nine-point measurement" : "grid measurement";
    const std::string pattern = patternCsv(grid == 0 ? CCalibPattern::NinePoints(rec) : CCalibPattern::Grid(rec, grid));
    const std::string measured = measureVirtually(pattern, name, head);
    const MeasuredRows m = parseMeasurement(measured, name);
    const std::vector<tagGridSample> samples = solve ? parseGridSamples(measured, name) : std::vector<tagGridSample>();
    const FitOutcome f = fitMeasurement(rec, m, name, -1, false, solve ? &samples : nullptr);
    return {f.report.LargestUm, f.report.RmsUm};
}

}  // namespace

SimulateReport runSimulation(const HeadParams& params, const SimulateSettings& s, std::FILE* log) {
    if (s.grid != 0 && !CCalibPattern::IsGridSize(s.grid))
        throw ToolError("--grid: a grid table has 5, 9, 17, 25, 33 or 65 points per side");
    if (s.passes < 1 || s.passes > 10) throw ToolError("--passes: between 1 and 10");
    if (s.grid != 0 && (endsWith(s.output, ".cor") || endsWith(s.output, ".ini")))
        throw ToolError(s.output + ": grid tables are written to a binary calibration file; "
                                   "choose a name such as head.zcal");
    checkAndPrintHead(params, log);

    VirtualHead head(params);
    SimulateReport report;
    auto rec = newRecord(setupOf(params, s.classic));

    report.ninePoints = cycle(*rec, head, 0, false);
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
    for (int pass = 1; pass <= s.passes; ++pass) {
        const ResidualStats st = cycle(*rec, head, s.grid, s.solve);
        report.gridPasses.push_back(st);
        std::fprintf(log, "pass %d: %d x %d grid marked through the correction: largest error %.2f um, "
                          "RMS %.2f um -> table #%zu\n",
                     pass, s.grid, s.grid, st.maxUm, st.rmsUm, rec->Stacks.size() - 1);
    }
    if (!ZemCal().saveUcf(s.output.c_str(), *rec, static_cast<CalVerion>(rec->Version)))
        throw ToolError("cannot write " + s.output);
    std::fprintf(log, "wrote %s: binary calibration file, version %s, %s fit, %zu grid tables\n",
                 s.output.c_str(), versionLabel(rec->Version).c_str(), fitName(rec->Version), rec->Stacks.size());
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
                                        "Add grid passes of N x N points (5, 9, 17, 25, 33 or 65; 17 is typical)");
    sub->add_option("--passes", o->settings.passes, "Number of grid passes")->needs(grid)->capture_default_str();
    sub->add_flag("--classic", o->settings.classic, "Calibrate with the classic fit (version 'P')");
    sub->add_flag("--solve", o->settings.solve, "Solve each grid table from its measurement (zemcal fit --solve)")
        ->needs(grid);
    addHeadOptions(*sub, o->head);
    sub->footer(
        "Runs the workflow of a physical head on the virtual one (new, pattern, measure --virtual,\n"
        "fit): marks the nine calibration points with linear commands, measures and fits them, and\n"
        "writes a text correction file (rows from the top-left, nominal then measured position).\n"
        "With --grid, marks an N x N grid through the current correction, measures it and adds it\n"
        "as a grid table, pass after pass; the result is a binary calibration file (version 0x60,\n"
        "or 'P' with --classic).\n"
        "Evaluate or plot the result with the same head options.\n\n"
        "Examples:\n"
        "  zemcal simulate -o head.cor\n"
        "  zemcal simulate --grid 17 --passes 2 -o head.zcal\n"
        "  zemcal simulate --grid 17 --solve -o head.zcal\n"
        "  zemcal simulate --focal 254 --rotation -0.5 --invert-y --seed 7 -o other.cor");
    return {sub, [o] {
                runSimulation(o->head, o->settings, stdout);
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
