// The measured-error plot; see MeasuredPlot.h.
#include "MeasuredPlot.h"

#include <algorithm>
#include <cmath>

#include "Svg.h"
#include "Text.h"
#include "ToolError.h"

namespace zemcal_tool {

namespace {

constexpr double kSide = 640.0;    // field side in pixels
constexpr double kLeft = 70.0, kTop = 110.0;

// Draws an arrow from (x1, y1) to (x2, y2), pixels.
void arrow(Svg& svg, double x1, double y1, double x2, double y2, const std::string& colour) {
    svg.line(x1, y1, x2, y2, colour, 1.8);
    const double len = std::hypot(x2 - x1, y2 - y1);
    if (len < 1.0) return;
    const double ux = (x2 - x1) / len, uy = (y2 - y1) / len, head = std::min(7.0, 0.4 * len);
    svg.line(x2, y2, x2 - head * (ux - 0.5 * uy), y2 - head * (uy + 0.5 * ux), colour, 1.8);
    svg.line(x2, y2, x2 - head * (ux + 0.5 * uy), y2 - head * (uy - 0.5 * ux), colour, 1.8);
}

}  // namespace

std::string measuredErrorSvg(const MeasuredRows& m, const std::string& name) {
    // The field the nominal positions span (a pattern's outer nodes lie on it).
    double lo = m.nodes.front().Nominal.x, hi = lo;
    for (const tagMeasuredNode& n : m.nodes) lo = std::min(lo, double(n.Nominal.x)), hi = std::max(hi, double(n.Nominal.x));
    tagLenPar field;
    field.ValSize = hi - lo;
    tagMeasurementReport r;
    tagMeasurementProblem problem;
    if (!CMeasurementFit::Check(field, m.nodes, r, problem))
        throw ToolError(problem.Index >= 0 ? strprintf("%s: line %d: %s", name.c_str(),
                                                       m.lines[static_cast<std::size_t>(problem.Index)],
                                                       problem.Message.c_str())
                                           : name + ": " + problem.Message);

    const double v = field.ValSize, pitchPx = kSide / (r.N - 1);
    // Arrows: the largest error drawn as 0.8 of a node pitch.
    const double factor = std::max(1.0, niceFloor(0.8 * pitchPx / kSide * v / std::max(r.LargestUm / 1000.0, 1e-6)));
    const double colourMax = roundUp2(std::max(r.LargestUm, 1e-3));
    auto px = [&](double x) { return kLeft + (x / v + 0.5) * kSide; };
    auto py = [&](double y) { return kTop + (0.5 - y / v) * kSide; };

    Svg svg(kSide + 2 * kLeft, kSide + kTop + 135);
    svg.text(kLeft, 36, "Measured errors: " + name, 20, "start", true);
    svg.text(kLeft, 60,
             strprintf("%d x %d nodes over %g mm · largest %.2f µm · RMS %.2f µm · %zu outliers", r.N, r.N, v,
                       r.LargestUm, r.RmsUm, r.Outliers.size()),
             13);
    svg.text(kLeft, 80, strprintf("arrows from nominal towards measured, exaggerated ×%g", factor), 12);
    svg.rect(kLeft, kTop, kSide, kSide, "none", "#444444", 1.0);
    for (const tagMeasuredNode& n : m.nodes) {
        const double ex = double(n.Measured.x) - n.Nominal.x, ey = double(n.Measured.y) - n.Nominal.y;
        const double x = px(n.Nominal.x), y = py(n.Nominal.y);
        svg.circle(x, y, 1.5, "#888888");
        arrow(svg, x, y, px(n.Nominal.x + factor * ex), py(n.Nominal.y + factor * ey),
              rampColour(std::hypot(ex, ey) * 1000.0 / colourMax));
    }
    // The worst nodes numbered on the field and listed below it; outliers ringed in red.
    auto ring = [&](int index, const char* colour) {
        const tagMeasuredNode& n = m.nodes[static_cast<std::size_t>(index)];
        svg.circle(px(n.Nominal.x), py(n.Nominal.y), 7.0, "none", colour, 1.6);
    };
    const double listX = kLeft + 420, listY = kTop + kSide + 20;
    svg.text(listX, listY, "worst nodes", 12, "start", true);
    for (std::size_t k = 0; k < r.Worst.size(); ++k) {
        const tagNodeError& e = r.Worst[k];
        const tagMeasuredNode& n = m.nodes[static_cast<std::size_t>(e.Index)];
        ring(e.Index, "#000000");
        svg.text(px(n.Nominal.x) + 8, py(n.Nominal.y) - 8 - 10.0 * static_cast<double>(k % 2), std::to_string(k + 1), 11);
        svg.text(listX, listY + 16.0 * static_cast<double>(k + 1),
                 strprintf("%zu: row %d, col %d, %.1f µm", k + 1, e.Row, e.Col, e.ErrorUm), 12);
    }
    for (const tagMeasurementProblem& o : r.Outliers) ring(o.Index, "#e8112d");
    if (!r.Outliers.empty()) svg.text(kLeft, kTop + kSide + 110, "red rings: outliers (see zemcal fit)", 12);

    // Colour legend and the arrow scale bar.
    const double ly = kTop + kSide + 24;
    for (int i = 0; i < 60; ++i) svg.rect(kLeft + i * 5.0, ly, 5.4, 12, rampColour((i + 0.5) / 60.0));
    for (int i = 0; i <= 4; ++i) svg.text(kLeft + i * 75.0, ly + 26, strprintf("%g", colourMax * i / 4.0), 11, "middle");
    svg.text(kLeft + 310, ly + 10, "error, µm", 11.5);
    const double barUm = niceFloor(r.LargestUm > 0 ? r.LargestUm : 1.0);
    const double barPx = barUm / 1000.0 * factor / v * kSide;
    const double sy = ly + 56;
    svg.line(kLeft, sy, kLeft + barPx, sy, "#000000", 2.5);
    svg.text(kLeft + barPx + 10, sy + 4, strprintf("%g µm", barUm), 11.5);
    return svg.str();
}

}  // namespace zemcal_tool
