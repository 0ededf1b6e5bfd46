// `zemcal info FILE [--json]`: what a person needs to know about a
// calibration file.
#include "Info.h"

#include <cmath>
#include <iostream>

#include "Commands.h"
#include "Text.h"
#include "VersionByte.h"

namespace zemcal_tool {

using json = nlohmann::ordered_json;

ResidualStats tableResiduals(const tagCalData* pnts, std::size_t count) {
    ResidualStats s;
    if (count == 0) return s;
    double sumSq = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        const double dx = static_cast<double>(pnts[i].PntB.x) - pnts[i].PntA.x;
        const double dy = static_cast<double>(pnts[i].PntB.y) - pnts[i].PntA.y;
        const double d2 = dx * dx + dy * dy;
        sumSq += d2;
        s.maxUm = std::fmax(s.maxUm, std::sqrt(d2) * 1000.0);
    }
    s.rmsUm = std::sqrt(sumSq / static_cast<double>(count)) * 1000.0;
    return s;
}

namespace {

// The least-squares correction applies the test-line ratios only in this case.
bool testLinesApplied(const tagLenPar& r) {
    return r.Grid == 1 && r.LineCount >= 1 && r.LineCount <= 99;
}

json pointPair(const tagCalData& d) {
    return {{"nominal", {d.PntA.x, d.PntA.y}}, {"measured", {d.PntB.x, d.PntB.y}}};
}

}  // namespace

json describeCalibration(const LoadedCalibration& lc) {
    const tagLenPar& r = *lc.rec;
    const unsigned char v = static_cast<unsigned char>(r.Version);
    json j;
    j["file"] = lc.path;
    j["format"] = lc.binary ? "binary" : "text";
    j["version"] = {{"byte", v}, {"label", versionLabel(v)}, {"fit", fitName(v)}};
    j["field_size_mm"] = r.FieldSize;
    j["field_size_source"] = lc.fieldSizeFromFile ? "file" : "--field-size";
    j["val_size_mm"] = r.ValSize;
    j["resolution"] = r.Resolution;
    j["center"] = r.Center;
    j["axis_flags"] = {{"xy_flip", r.XYFlip},           {"x_invert", r.XInvert},
                       {"y_invert", r.YInvert},         {"xy_flip_saved", r.XYFlipSaved},
                       {"x_invert_saved", r.XInvertSaved}, {"y_invert_saved", r.YInvertSaved}};
    j["shape"] = {
        {"half_axes_mm", {{"left", r.AxisXL}, {"right", r.AxisXR}, {"top", r.AxisYT}, {"bottom", r.AxisYB}}},
        {"offset_mm", {{"x", r.OX}, {"y", r.OY}}},
        {"scale", {{"left", r.SXL}, {"right", r.SXR}, {"x", r.SX},
                   {"top", r.SYT}, {"bottom", r.SYB}, {"y", r.SY}}},
        {"edge_slope", {{"left", r.TXL}, {"right", r.TXR}, {"top", r.TYT}, {"bottom", r.TYB}}},
        {"shear", {{"x", r.PLX}, {"y", r.PLY}}},
        {"y2x_angle_rad", r.Y2XAngle},
        {"k", {r.K[0], r.K[1], r.K[2], r.K[3]}},
        {"qx", {r.QX[0], r.QX[1]}},
        {"qy", {r.QY[0], r.QY[1]}}};

    const ResidualStats nine = tableResiduals(r.Pnt, 9);
    json points = json::array();
    for (const tagCalData& d : r.Pnt) points.push_back(pointPair(d));
    j["nine_points"] = {{"max_residual_um", nine.maxUm}, {"rms_residual_um", nine.rmsUm},
                        {"points", points}};

    json tables = json::array();
    for (std::size_t i = 0; i < r.Stacks.size(); ++i) {
        const tagStack& t = r.Stacks[i];
        const ResidualStats s = tableResiduals(t.Pnts.data(), t.Pnts.size());
        tables.push_back({{"index", i}, {"size", t.Num}, {"enabled", t.Flag},
                          {"points", t.Pnts.size()}, {"max_residual_um", s.maxUm},
                          {"rms_residual_um", s.rmsUm}});
    }
    j["tables"] = tables;

    json lines = {{"grid", r.Grid}, {"count", r.LineCount}, {"applied", testLinesApplied(r)}};
    json warnings = json::array();
    if (testLinesApplied(r)) {
        json list = json::array();
        for (int i = 0; i < r.LineCount; ++i)
            list.push_back({{"xt", r.XT[i]}, {"yt", r.YT[i]}, {"xa", r.XA[i]}, {"ya", r.YA[i]},
                            {"xr", r.XR[i]}, {"yr", r.YR[i]}});
        lines["lines"] = list;
        if (lc.binary)
            warnings.push_back("the test lines are applied, but a binary file does not store their "
                               "ratios XR/YR: they are 0 after this load");
    }
    j["test_lines"] = lines;
    // The library loads what a short binary file holds and keeps the
    // defaults for the rest.
    if (lc.truncated())
        warnings.push_back("the file is truncated: it ends at byte " + std::to_string(lc.fileBytes) +
                           " of " + std::to_string(lc.completeBytes) +
                           (lc.fileBytes < kParameterBlockEnd ? ", inside the parameter block" : "") +
                           ": the fields it lacks keep their defaults");
    j["warnings"] = warnings;
    return j;
}

namespace {

std::string num(const json& v) {
    if (v.is_number_integer() || v.is_number_unsigned()) return std::to_string(v.get<long long>());
    if (v.is_number()) return strprintf("%.10g", v.get<double>());
    return "nan";  // non-finite values are stored as null
}

std::string flags(const json& f, const char* suffix) {
    const std::string s = suffix;
    return "flip " + num(f["xy_flip" + s]) + ", invert x " + num(f["x_invert" + s]) +
           ", invert y " + num(f["y_invert" + s]);
}

}  // namespace

std::string renderInfoText(const json& j) {
    std::string t;
    auto line = [&](const char* label, const std::string& value) {
        t += strprintf("%-14s%s\n", label, value.c_str());
    };
    const json& ver = j["version"];
    line("file", j["file"].get<std::string>());
    line("format", (j["format"] == "binary" ? "binary calibration file" : "text correction file") +
                       std::string(", version ") + ver["label"].get<std::string>() + ": " +
                       ver["fit"].get<std::string>() + " fit");
    line("field size", num(j["field_size_mm"]) + " mm device span (" +
                           (j["field_size_source"] == "file" ? "from the file" : "from --field-size") + ")");
    line("working field", num(j["val_size_mm"]) + " mm");
    line("resolution", num(j["resolution"]) + " galvo units, centre " + num(j["center"]));
    line("axis flags", flags(j["axis_flags"], "") + " (manual path)");
    line("", flags(j["axis_flags"], "_saved") + " (least-squares path, saved copies)");

    const json& s = j["shape"];
    t += "fitted shape\n";
    const json& a = s["half_axes_mm"];
    line("  half-axes", "left " + num(a["left"]) + ", right " + num(a["right"]) + ", top " +
                            num(a["top"]) + ", bottom " + num(a["bottom"]) + " mm");
    line("  offsets", "x " + num(s["offset_mm"]["x"]) + ", y " + num(s["offset_mm"]["y"]) + " mm");
    const json& sc = s["scale"];
    line("  scales", "left " + num(sc["left"]) + ", right " + num(sc["right"]) + ", x " + num(sc["x"]));
    line("", "top " + num(sc["top"]) + ", bottom " + num(sc["bottom"]) + ", y " + num(sc["y"]));
    const json& e = s["edge_slope"];
    line("  edge slopes", "left " + num(e["left"]) + ", right " + num(e["right"]) + ", top " +
                              num(e["top"]) + ", bottom " + num(e["bottom"]));
    line("  shear", "x " + num(s["shear"]["x"]) + ", y " + num(s["shear"]["y"]));
    line("  Y2XAngle", num(s["y2x_angle_rad"]) + " rad");
    const json& k = s["k"];
    line("  K[0..3]", num(k[0]) + ", " + num(k[1]) + ", " + num(k[2]) + ", " + num(k[3]));
    line("  QX, QY", num(s["qx"][0]) + ", " + num(s["qx"][1]) + "; " + num(s["qy"][0]) + ", " +
                         num(s["qy"][1]));

    const json& nine = j["nine_points"];
    line("nine points", "largest residual " + strprintf("%.1f", nine["max_residual_um"].get<double>()) +
                            " um, RMS " + strprintf("%.1f", nine["rms_residual_um"].get<double>()) +
                            " um (measured minus nominal)");
    const json& tables = j["tables"];
    line("grid tables", tables.empty() ? "none" : std::to_string(tables.size()));
    for (const json& tb : tables)
        t += strprintf("  #%-3lld %3lld x %-3lld enabled %lld, largest %.2f um, RMS %.2f um\n",
                       tb["index"].get<long long>(), tb["size"].get<long long>(),
                       tb["size"].get<long long>(), tb["enabled"].get<long long>(),
                       tb["max_residual_um"].get<double>(), tb["rms_residual_um"].get<double>());

    const json& tl = j["test_lines"];
    if (tl["applied"].get<bool>()) {
        line("test lines", num(tl["count"]) + ", applied (grid 1)");
        t += "     XT          YT          XA          YA          XR          YR\n";
        for (const json& l : tl["lines"])
            t += strprintf("  %s\n", (num(l["xt"]) + "  " + num(l["yt"]) + "  " + num(l["xa"]) + "  " +
                                      num(l["ya"]) + "  " + num(l["xr"]) + "  " + num(l["yr"]))
                                         .c_str());
    } else {
        line("test lines", "not applied (grid " + num(tl["grid"]) + ", count " + num(tl["count"]) + ")");
    }
    for (const json& w : j["warnings"]) line("warning", w.get<std::string>());
    return t;
}

Command addInfoCommand(CLI::App& parent) {
    struct Options {
        std::string file;
        bool json = false;
        double fieldSize = 100.0;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand("info", "Show what a calibration file holds");
    sub->add_option("FILE", o->file, "Binary calibration file or text correction file")->required();
    sub->add_flag("--json", o->json, "Print the same facts as one JSON document");
    addFieldSizeOption(*sub, o->fieldSize, "default 100");
    sub->footer(
        "Shows the format and version byte, field size, resolution and centre, both copies of the\n"
        "axis flags, the fitted shape parameters, each grid table with its largest and RMS\n"
        "measured-minus-nominal residual, and the test lines in use.\n\n"
        "Examples:\n"
        "  zemcal info examples/sample-head.zcal\n"
        "  zemcal info --field-size 110 examples/sample-head.cor\n"
        "  zemcal info --json examples/sample-head.zcal | python3 -m json.tool");
    return {sub, [o] {
                const LoadedCalibration lc = loadCalibration(o->file, o->fieldSize, Truncated::Accept);
                const json info = describeCalibration(lc);
                if (o->json)
                    std::cout << info.dump(2) << '\n';
                else
                    std::cout << renderInfoText(info);
                return std::cout.flush() ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
