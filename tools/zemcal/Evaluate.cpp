// `zemcal evaluate FILE`: how well a calibration corrects a virtual head.
#include "Evaluate.h"

#include <nlohmann/json.hpp>

#include <iostream>

#include "Commands.h"
#include "FieldErrors.h"
#include "HeadOptions.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"

namespace zemcal_tool {

LoadedCalibration loadForHead(const std::string& file, const HeadParams& head, std::FILE* log) {
    LoadedCalibration lc = loadCalibration(file, head.fieldSize);
    tagLenPar& r = *lc.rec;
    r.UseLsm = 1;
    auto warn = [&](const std::string& what) { std::fprintf(log, "warning: %s\n", what.c_str()); };
    std::fprintf(log, "note: %s is judged on the simulated virtual head above, not on a physical head; the "
                      "errors of a physical head are measured (zemcal pattern, fit, plot --measured)\n",
                 file.c_str());
    if (r.FieldSize != head.fieldSize)
        warn(strprintf("the file's field size %g mm differs from the head's %g mm", r.FieldSize, head.fieldSize));
    if (r.ValSize != head.valSize)
        warn(strprintf("the file's working field %g mm differs from the head's %g mm", r.ValSize, head.valSize));
    if (r.Resolution != head.resolution)
        warn(strprintf("the file's resolution %d differs from the head's %d", static_cast<int>(r.Resolution),
                       static_cast<int>(head.resolution)));
    if ((r.XYFlipSaved != 0) != head.swap || (r.XInvertSaved != 0) != head.invertX ||
        (r.YInvertSaved != 0) != head.invertY)
        warn("the file's axis flags differ from the head's --swap/--invert-x/--invert-y");
    return lc;
}

namespace {

nlohmann::ordered_json statsJson(const ErrorStats& s) {
    return {{"max_um", s.maxUm}, {"rms_um", s.rmsUm}, {"p95_um", s.p95Um}, {"clamped", s.clamped}};
}

nlohmann::ordered_json headJson(const HeadParams& p) {
    return {{"focal_mm", p.focal}, {"f2", p.f2}, {"f3", p.f3}, {"val_size_mm", p.valSize},
            {"field_size_mm", p.fieldSize}, {"resolution", p.resolution}, {"rotation_deg", p.rotationDeg},
            {"scale_percent", {{"left", p.scaleLeft}, {"right", p.scaleRight}, {"top", p.scaleTop},
                               {"bottom", p.scaleBottom}}},
            {"trapezoid_percent", {{"x", p.trapezoidX}, {"y", p.trapezoidY}}},
            {"shear_deg", p.shearDeg}, {"offset_mm", {{"x", p.offsetX}, {"y", p.offsetY}}},
            {"swap", p.swap}, {"invert_x", p.invertX}, {"invert_y", p.invertY},
            {"noise_um", p.noiseUm}, {"seed", p.seed}};
}

std::string statsRow(const char* label, const ErrorStats& s) {
    return strprintf("  %-18s %10.2f %10.2f %10.2f %8ld\n", label, s.maxUm, s.rmsUm, s.p95Um, s.clamped);
}

}  // namespace

Command addEvaluateCommand(CLI::App& parent) {
    struct Options {
        std::string file;
        HeadParams head;
        bool json = false;
        int points = 101;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("evaluate", "Measure how well a calibration corrects a virtual head");
    sub->add_option("FILE", o->file, "Binary calibration file or text correction file")->required();
    sub->add_flag("--json", o->json, "Print the results as one JSON document");
    sub->add_option("--points", o->points, "Test pattern points per side (101..1001)")->capture_default_str();
    addHeadOptions(*sub, o->head);
    sub->footer(
        "Marks a dense test pattern over the working field through the library and the virtual\n"
        "head, and reports the distance between where each point should land and where it lands\n"
        "(the true spot; measurement noise plays no part): largest, RMS and 95th percentile in\n"
        "micrometres, for linear commands, for the nine-point fit alone (the record without its\n"
        "grid tables), and for the full calibration, with the number of clamped points.\n"
        "Give the head options the calibration was made with. The text format does not store the\n"
        "span: the head's --field-size is used to load it.\n\n"
        "Examples:\n"
        "  zemcal evaluate examples/sample-head.zcal\n"
        "  zemcal evaluate --json --points 201 head.cor");
    return {sub, [o] {
                if (o->points < 101 || o->points > 1001)
                    throw ToolError("--points: between 101 and 1001 points per side");
                std::FILE* log = o->json ? stderr : stdout;
                if (!o->json) checkAndPrintHead(o->head, stdout);
                else if (const std::string p = validateHeadParams(o->head); !p.empty())
                    throw ToolError("virtual head: " + p);
                const LoadedCalibration lc = loadForHead(o->file, o->head, log);
                VirtualHead head(o->head);
                const Rig rig(head);
                const FieldReport r = evaluateField(*lc.rec, rig, o->points);
                const unsigned char v = static_cast<unsigned char>(lc.rec->Version);
                if (o->json) {
                    nlohmann::ordered_json j;
                    j["file"] = o->file;
                    j["version"] = versionLabel(v);
                    j["fit"] = fitName(v);
                    j["grid_tables"] = lc.rec->Stacks.size();
                    j["field_size_mm"] = lc.rec->FieldSize;
                    j["field_size_source"] = lc.fieldSizeFromFile ? "file" : "--field-size";
                    j["head"] = headJson(o->head);
                    j["points_per_side"] = r.n;
                    j["val_size_mm"] = lc.rec->ValSize;
                    j["uncorrected"] = statsJson(r.uncorrected);
                    j["nine_point"] = statsJson(r.ninePoint);
                    j["full"] = statsJson(r.full);
                    std::cout << j.dump(2) << '\n';
                } else {
                    std::cout << strprintf("calibration  %s: version %s, %s fit, %zu grid tables, field size %s\n",
                                           o->file.c_str(), versionLabel(v).c_str(), fitName(v),
                                           lc.rec->Stacks.size(), fieldSizeNote(lc).c_str())
                              << strprintf("test pattern %d x %d points over the %g mm working field\n", r.n,
                                           r.n, lc.rec->ValSize)
                              << "error (um)              largest        RMS   95th pct  clamped\n"
                              << statsRow("uncorrected", r.uncorrected)
                              << statsRow("nine-point fit", r.ninePoint)
                              << statsRow("full calibration", r.full);
                }
                return std::cout.flush() ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
