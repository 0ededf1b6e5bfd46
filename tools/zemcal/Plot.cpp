// `zemcal plot FILE -o FIELD.svg`: the field of a virtual head, uncorrected
// and corrected side by side.
//
// Each panel shows the remaining error as a colour map (its own scale, in
// micrometres), the deformed grid (where a regular grid of points lands,
// displacements exaggerated by a stated factor) over the nominal grid, the
// nine calibration points and the grid-table nodes, a scale bar for the
// exaggerated displacements, and the headline numbers.
#include <cmath>
#include <cstdio>

#include "Commands.h"
#include "Evaluate.h"
#include "FieldErrors.h"
#include "Csv.h"
#include "HeadOptions.h"
#include "MeasuredPlot.h"
#include "Svg.h"
#include "Text.h"
#include "ToolError.h"
#include "VersionByte.h"

namespace zemcal_tool {

namespace {

constexpr int kPattern = 101;      // points per side of the test pattern
constexpr int kColourStep = 2;     // colour-map cells span this many pattern pitches
constexpr int kGridStep = 10;      // deformed-grid lines every this many pattern points
constexpr double kPanel = 480.0;   // field side in pixels
constexpr double kTop = 140.0;     // top of the field in pixels
constexpr double kLeft[2] = {60.0, 640.0};

struct Panel {
    const char* title;
    const ErrorField* field;
    ErrorStats stats;
};

// Field millimetres to panel pixels (y up in the field, down on the page).
struct Mapper {
    double x0, valSize;
    double px(double x) const { return x0 + (x / valSize + 0.5) * kPanel; }
    double py(double y) const { return kTop + (0.5 - y / valSize) * kPanel; }
};

void drawPanel(Svg& svg, const Panel& p, const tagLenPar& rec, double x0) {
    const ErrorField& f = *p.field;
    const int n = f.n;
    const Mapper m{x0, rec.ValSize};

    svg.text(x0, kTop - 48, p.title, 16, "start", true);
    svg.text(x0, kTop - 28,
             strprintf("largest %.1f µm · RMS %.1f µm · 95th pct %.1f µm · clamped %ld", p.stats.maxUm,
                       p.stats.rmsUm, p.stats.p95Um, p.stats.clamped),
             12.5);

    // Colour map: each cell takes the mean error of its four corners.
    const double colourMax = roundUp2(std::fmax(p.stats.maxUm, 1e-3));
    for (int r = 0; r + kColourStep < n; r += kColourStep) {
        for (int c = 0; c + kColourStep < n; c += kColourStep) {
            const auto at = [&](int rr, int cc) { return f.errorUm(static_cast<std::size_t>(rr * n + cc)); };
            const double e = (at(r, c) + at(r, c + kColourStep) + at(r + kColourStep, c) +
                              at(r + kColourStep, c + kColourStep)) / 4.0;
            const Vec2& a = f.nominal[static_cast<std::size_t>(r * n + c)];
            const Vec2& b = f.nominal[static_cast<std::size_t>((r + kColourStep) * n + c + kColourStep)];
            // Slight overlap hides the seams between cells when rendered.
            svg.rect(m.px(a.x), m.py(a.y), m.px(b.x) - m.px(a.x) + 0.4, m.py(b.y) - m.py(a.y) + 0.4,
                     rampColour(e / colourMax));
        }
    }
    svg.rect(m.px(-rec.ValSize / 2), m.py(rec.ValSize / 2), kPanel, kPanel, "none", "#444444", 1.0);

    // Deformed grid, displacements exaggerated so the largest shows as 5 % of the field.
    const double maxMm = std::fmax(p.stats.maxUm, 1e-3) / 1000.0;
    const double factor = std::fmax(1.0, niceFloor(0.05 * rec.ValSize / maxMm));
    auto shown = [&](std::size_t i) {
        const Vec2& a = f.nominal[i];
        const Vec2& s = f.spot[i];
        return Vec2{m.px(a.x + factor * (s.x - a.x)), m.py(a.y + factor * (s.y - a.y))};
    };
    for (int k = 0; k < n; k += kGridStep) {
        std::vector<Vec2> row, col, nomRow, nomCol;
        for (int j = 0; j < n; ++j) {
            const std::size_t ir = static_cast<std::size_t>(k * n + j), ic = static_cast<std::size_t>(j * n + k);
            row.push_back(shown(ir));
            col.push_back(shown(ic));
            nomRow.push_back({m.px(f.nominal[ir].x), m.py(f.nominal[ir].y)});
            nomCol.push_back({m.px(f.nominal[ic].x), m.py(f.nominal[ic].y)});
        }
        svg.polyline(nomRow, "#ffffff", 0.6, "3,3");
        svg.polyline(nomCol, "#ffffff", 0.6, "3,3");
        svg.polyline(row, "#000000", 1.1);
        svg.polyline(col, "#000000", 1.1);
    }

    // Calibration points: grid-table nodes (logical frame) and the nine points
    // (stored in the command frame: undo the inversions to place them).
    for (const tagStack& t : rec.Stacks)
        for (const tagCalData& d : t.Pnts) svg.circle(m.px(d.PntA.x), m.py(d.PntA.y), 1.6, "#ffffff", "#000000", 0.6);
    for (const tagCalData& d : rec.Pnt) {
        const Vec2 q = applyInversion({d.PntA.x, d.PntA.y}, savedFlags(rec));
        svg.circle(m.px(q.x), m.py(q.y), 6.0, "none", "#e8112d", 2.2);
    }

    // Colour legend.
    const double ly = kTop + kPanel + 22;
    for (int i = 0; i < 60; ++i)
        svg.rect(x0 + i * 5.0, ly, 5.4, 12, rampColour((i + 0.5) / 60.0));
    svg.rect(x0, ly, 300, 12, "none", "#444444", 0.6);
    for (int i = 0; i <= 4; ++i)
        svg.text(x0 + i * 75.0, ly + 26, strprintf("%g", colourMax * i / 4.0), 11, "middle");
    svg.text(x0 + 310, ly + 10, "remaining error, µm", 11.5);


    // Scale bar for the exaggerated displacements: about a tenth of the field.
    const double barUm = niceFloor(0.1 * rec.ValSize * 1000.0 / factor);
    const double barPx = barUm / 1000.0 * factor / rec.ValSize * kPanel;
    const double sy = ly + 52;
    svg.line(x0, sy, x0 + barPx, sy, "#000000", 2.5);
    svg.line(x0, sy - 5, x0, sy + 5, "#000000", 1.5);
    svg.line(x0 + barPx, sy - 5, x0 + barPx, sy + 5, "#000000", 1.5);
    svg.text(x0 + barPx + 10, sy + 4,
             strprintf("%g µm of displacement (deformed grid exaggerated ×%g)", barUm, factor), 11.5);
}

void drawLegend(Svg& svg, double y) {
    svg.circle(70, y, 6.0, "none", "#e8112d", 2.2);
    svg.text(84, y + 4, "nine calibration points", 12);
    svg.circle(260, y, 2.0, "#ffffff", "#000000", 0.6);
    svg.text(270, y + 4, "grid-table nodes", 12);
    svg.line(400, y, 430, y, "#000000", 1.1);
    svg.text(438, y + 4, "deformed grid (where the points land)", 12);
    svg.line(690, y, 720, y, "#888888", 0.8, "3,3");
    svg.text(728, y + 4, "nominal grid", 12);
}

}  // namespace

Command addPlotCommand(CLI::App& parent) {
    struct Options {
        std::string file, output, measured;
        HeadParams head;
    };
    auto o = std::make_shared<Options>();
    CLI::App* sub = parent.add_subcommand(
        "plot", "Draw measured errors, or the field of a virtual head uncorrected and corrected, as SVG");
    CLI::Option* file = sub->add_option("FILE", o->file, "Binary calibration file or text correction file, "
                                                         "judged on the virtual head");
    CLI::Option* measured = sub->add_option("--measured", o->measured, "Draw the errors of this measurement CSV "
                                                                       "instead (no virtual head involved)");
    file->excludes(measured);
    sub->add_option("-o,--output", o->output, "SVG file to write")->required();
    addHeadOptions(*sub, o->head);
    sub->footer(
        "With --measured: an arrow per node from its nominal position towards where it was\n"
        "measured (scaled, with a scale bar in um), coloured by size, the worst nodes and outliers\n"
        "labelled, the largest and RMS error in the title. These are the measurement's numbers.\n\n"
        "With FILE: the calibration on the VIRTUAL head given by the head options (the defaults\n"
        "unless given), not on a physical head. Two panels side by side: linear commands, and the\n"
        "full calibration. Each shows the\n"
        "remaining error as a colour map, the deformed grid (displacements exaggerated by the\n"
        "stated factor) over the nominal grid, the nine calibration points and the grid-table\n"
        "nodes, a scale bar and the headline numbers. Give the head options the calibration was\n"
        "made with.\n\n"
        "Examples:\n"
        "  zemcal plot --measured grid17-measured.csv -o errors.svg\n"
        "  zemcal plot examples/sample-head.zcal -o build/field.svg\n"
        "  rsvg-convert build/field.svg -o build/field.png");
    return {sub, [o] {
                if (!o->measured.empty()) {
                    const MeasuredRows m =
                        parseMeasurement(readSmallFile(o->measured, kMaxCsvBytes), o->measured);
                    writeFileAtomically(o->output, measuredErrorSvg(m, o->measured));
                    std::printf("wrote %s: the measured errors of %s\n", o->output.c_str(), o->measured.c_str());
                    return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
                }
                if (o->file.empty()) throw ToolError("give a calibration FILE or --measured MEASURED.csv");
                checkAndPrintHead(o->head, stdout);
                const LoadedCalibration lc = loadForHead(o->file, o->head, stdout);
                const tagLenPar& rec = *lc.rec;
                VirtualHead head(o->head);
                const Rig rig(head);
                const ErrorField raw = markField(rec, rig, kPattern, CommandMode::Uncorrected);
                const ErrorField cor = markField(rec, rig, kPattern, CommandMode::Corrected);
                const Panel panels[2] = {{"Uncorrected: linear commands", &raw, summarize(raw)},
                                         {"Corrected: full calibration", &cor, summarize(cor)}};

                Svg svg(1180, 780);
                const unsigned char v = static_cast<unsigned char>(rec.Version);
                svg.text(60, 34, "zemcal: " + o->file, 20, "start", true);
                svg.text(60, 56,
                         strprintf("version %s, %s fit, %zu grid tables · %g mm working field · "
                                   "f = %g mm · %d x %d test points",
                                   versionLabel(v).c_str(), fitName(v), rec.Stacks.size(), rec.ValSize,
                                   o->head.focal, kPattern, kPattern),
                         13);
                for (int i = 0; i < 2; ++i) drawPanel(svg, panels[i], rec, kLeft[i]);
                drawLegend(svg, 752);
                writeFileAtomically(o->output, svg.str());
                std::printf("wrote %s: uncorrected largest %.1f um, corrected largest %.2f um\n",
                            o->output.c_str(), panels[0].stats.maxUm, panels[1].stats.maxUm);
                return std::fflush(stdout) == 0 ? kExitOk : kExitFailure;
            }};
}

}  // namespace zemcal_tool
