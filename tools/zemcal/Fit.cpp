// `zemcal fit CAL MEASURED -o NEW`: a measurement into the calibration,
// with a report of the measured error.
#include <nlohmann/json.hpp>

#include <filesystem>
#include <iostream>

#include "Commands.h"
#include "Csv.h"
#include "Load.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"
#include "Workflow.h"

namespace zemcal_tool {

namespace {

bool sameFile(const std::string& a, const std::string& b) {
    std::error_code ec;
    return a == b || std::filesystem::equivalent(a, b, ec);
}

std::string storedText(const tagMeasurementReport& r) {
    if (r.TableIndex < 0) return "the nine points, refitted";
    return strprintf("grid table #%d (%d x %d)", r.TableIndex, r.N, r.N);
}

void printReport(const std::string& name, const MeasuredRows& m, const FitOutcome& f, const tagLenPar& rec) {
    const tagMeasurementReport& r = f.report;
    std::printf("measurement  %s: %d x %d nodes\n", name.c_str(), r.N, r.N);
    std::printf("measured error: largest %.2f um, RMS %.2f um\n", r.LargestUm, r.RmsUm);
    std::printf("worst nodes:");
    for (const tagNodeError& e : r.Worst)
        std::printf(" (row %d, col %d, line %d) %.2f um%s", e.Row, e.Col, m.lines[static_cast<std::size_t>(e.Index)],
                    e.ErrorUm, &e == &r.Worst.back() ? "\n" : ";");
    if (f.solved)
        std::printf("solved table: predicted error over the field largest %.2f um, RMS %.2f um\n", f.predictedMaxUm,
                    f.predictedRmsUm);
    std::printf("stored: %s; version %s, %s fit kept; %zu grid tables\n", storedText(r).c_str(),
                versionLabel(rec.Version).c_str(), fitName(rec.Version), rec.Stacks.size());
}

nlohmann::ordered_json reportJson(const std::string& name, const MeasuredRows& m, const FitOutcome& f,
                                  const tagLenPar& rec) {
    const tagMeasurementReport& r = f.report;
    nlohmann::ordered_json j;
    j["measurement"] = name;
    j["nodes_per_side"] = r.N;
    j["largest_um"] = r.LargestUm;
    j["rms_um"] = r.RmsUm;
    j["worst"] = nlohmann::ordered_json::array();
    for (const tagNodeError& e : r.Worst)
        j["worst"].push_back({{"row", e.Row}, {"col", e.Col}, {"line", m.lines[static_cast<std::size_t>(e.Index)]},
                              {"error_um", e.ErrorUm}});
    j["outliers"] = nlohmann::ordered_json::array();
    for (const tagMeasurementProblem& o : r.Outliers)
        j["outliers"].push_back({{"row", o.Row}, {"col", o.Col}, {"line", m.lines[static_cast<std::size_t>(o.Index)]}});
    j["stored"] = r.TableIndex < 0 ? nlohmann::ordered_json("nine points")
                                   : nlohmann::ordered_json({{"grid_table", r.TableIndex}});
    j["tables_removed"] = r.TablesDropped;
    if (f.solved) j["solved"] = {{"predicted_max_um", f.predictedMaxUm}, {"predicted_rms_um", f.predictedRmsUm}};
    j["version"] = versionLabel(rec.Version);
    j["fit"] = fitName(rec.Version);
    j["grid_tables"] = rec.Stacks.size();
    j["warnings"] = f.warnings;
    return j;
}

}  // namespace

Command addFitCommand(CLI::App& parent) {
    struct Options {
        std::string file, measurement, output;
        int replace = -1;
        bool strict = false, json = false, solve = false;
        double fieldSize = 100.0;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("fit", "Fit a measured pattern into a calibration");
    sub->add_option("CAL", o->file, "The calibration the pattern was made from")->required();
    sub->add_option("MEASURED", o->measurement, "Measurement CSV: nominal_x,nominal_y,measured_x,measured_y (mm)")
        ->required();
    sub->add_option("-o,--output", o->output, "Binary calibration file to write (may be CAL itself)")->required();
    sub->add_option("--replace", o->replace, "Replace grid table K instead of adding one");
    sub->add_flag("--solve", o->solve, "Solve the grid table from the measurement (one pass reaches what two "
                                       "plain passes do); the measurement must hold the pattern's command columns");
    sub->add_flag("--strict", o->strict, "Refuse a measurement with outliers instead of warning");
    sub->add_flag("--json", o->json, "Print the report as one JSON document");
    addFieldSizeOption(*sub, o->fieldSize, "default 100");
    sub->footer(
        "A 3 x 3 measurement (of 'zemcal pattern CAL') replaces the nine points and refits; the\n"
        "grid tables, measured through the previous fit, are removed. An N x N measurement (of\n"
        "'zemcal pattern CAL --grid N') adds a grid table, or replaces table K. The fit version of\n"
        "CAL is kept. Nodes are recognised by their nominal position, in any order; columns by\n"
        "their header name. With --solve, the grid table is solved from a model of the head the\n"
        "measurement shows, so that one pass corrects as far as two plain passes (the report gives\n"
        "the predicted error). Refused, with nothing written: a cell that is not a number, a node\n"
        "missing or given twice, a position that is no node, a mark farther than 5 % of the\n"
        "field from its node. Outliers (a node departing from what its neighbours predict) are\n"
        "warned about.\n\n"
        "Examples:\n"
        "  zemcal fit lens.zcal nine-measured.csv -o lens.zcal\n"
        "  zemcal fit lens.zcal grid17-measured.csv -o lens-pass1.zcal --json");
    return {sub, [o] {
                if (sameFile(o->output, o->measurement))
                    throw ToolError(o->output + ": is the measurement file; write the calibration elsewhere");
                LoadedCalibration lc = loadCalibration(o->file, o->fieldSize);
                tagLenPar& rec = *lc.rec;
                const std::string text = readSmallFile(o->measurement, kMaxCsvBytes);
                const MeasuredRows m = parseMeasurement(text, o->measurement);
                std::vector<tagGridSample> samples;
                if (o->solve) samples = parseGridSamples(text, o->measurement);
                const FitOutcome f =
                    fitMeasurement(rec, m, o->measurement, o->replace, o->strict, o->solve ? &samples : nullptr);
                if (!ZemCal().saveUcf(o->output.c_str(), rec, static_cast<CalVerion>(rec.Version)))
                    throw ToolError("cannot write " + o->output);
                for (const std::string& w : f.warnings) std::fprintf(stderr, "warning: %s\n", w.c_str());
                if (o->json) {
                    nlohmann::ordered_json j = reportJson(o->measurement, m, f, rec);
                    j["output"] = o->output;
                    std::cout << j.dump(2) << '\n';
                    return std::cout.flush() ? kExitOk : kExitFailure;
                }
                printReport(o->measurement, m, f, rec);
                std::printf("wrote %s\n", o->output.c_str());
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
