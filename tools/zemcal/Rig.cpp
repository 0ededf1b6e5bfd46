// The host side of the virtual bench; see Rig.h for the frames.
#include "Rig.h"

#include <cmath>

namespace zemcal_tool {

AxisFlags savedFlags(const tagLenPar& rec) {
    return {rec.XYFlipSaved != 0, rec.XInvertSaved != 0, rec.YInvertSaved != 0};
}

Vec2 applyInversion(Vec2 p, const AxisFlags& f) {
    const bool negX = f.flip ? f.yInvert : f.xInvert;
    const bool negY = f.flip ? f.xInvert : f.yInvert;
    if (negX) p.x = -p.x;
    if (negY) p.y = -p.y;
    return p;
}

namespace {

tagVeyPointF toFloat(Vec2 p) { return {static_cast<float>(p.x), static_cast<float>(p.y)}; }

bool clampedCoordinate(float v, std::int32_t resolution) {
    return std::isnan(v) || v <= 0.0f || v >= static_cast<float>(resolution);
}

}  // namespace

Shot Rig::fire(const tagLenPar& rec, tagVeyPointF out, bool measured) const {
    Shot s;
    s.device = {out.x, out.y};
    s.clamped = clampedCoordinate(out.x, rec.Resolution) || clampedCoordinate(out.y, rec.Resolution);
    // The card routes the corrected x to the Y mirror when the axes are flipped.
    const bool flip = rec.XYFlipSaved != 0;
    const double gx = flip ? out.y : out.x;
    const double gy = flip ? out.x : out.y;
    s.spot = measured ? head_.measure(gx, gy) : head_.land(gx, gy);
    return s;
}

Shot Rig::linear(const tagLenPar& rec, Vec2 p) const {
    tagVeyPointF out{};
    ZemCal().LP2DPEX_Cal(toFloat(p), out, rec);
    return fire(rec, out, false);
}

std::vector<Shot> Rig::correctedAll(const tagLenPar& rec, const std::vector<Vec2>& points) const {
    std::vector<tagVeyPointF> commands;
    commands.reserve(points.size());
    for (const Vec2& p : points) commands.push_back(toFloat(p));
    CPointCorrector(rec).Correct(commands.data(), commands.data(), commands.size());
    std::vector<Shot> shots;
    shots.reserve(points.size());
    for (const tagVeyPointF& out : commands) shots.push_back(fire(rec, out, false));
    return shots;
}

Shot Rig::measureLinear(const tagLenPar& rec, Vec2 p) {
    tagVeyPointF out{};
    ZemCal().LP2DPEX_Cal(toFloat(p), out, rec);
    return fire(rec, out, true);
}

Shot Rig::measureCorrected(const tagLenPar& rec, Vec2 p) {
    tagVeyPointF out{};
    ZemCal().CalibPoint(rec, toFloat(p), out);
    return fire(rec, out, true);
}

tagVeyPointF gridNode(double valSize, int n, int row, int col) {
    // V*(j/(n-1)) - V/2 puts the last node exactly on +V/2.
    const double last = n - 1;
    return {static_cast<float>(valSize * (col / last) - valSize * 0.5),
            static_cast<float>(valSize * 0.5 - valSize * (row / last))};
}

void markNinePoints(tagLenPar& rec, Rig& rig) {
    const AxisFlags flags = savedFlags(rec);
    for (int i = 0; i < 9; ++i) {
        // Nominal positions in the command frame, where the fit works.
        const tagVeyPointF u = gridNode(rec.ValSize, 3, i / 3, i % 3);
        const Vec2 logical = applyInversion({u.x, u.y}, flags);
        const Shot s = rig.measureLinear(rec, logical);
        const Vec2 measured = applyInversion(s.spot, flags);
        rec.Pnt[i].PntA = u;
        rec.Pnt[i].PntB = toFloat(measured);
    }
}

std::vector<tagCalData> markGrid(const tagLenPar& rec, Rig& rig, int n) {
    std::vector<tagCalData> table;
    table.reserve(static_cast<std::size_t>(n) * static_cast<std::size_t>(n));
    for (int row = 0; row < n; ++row) {
        for (int col = 0; col < n; ++col) {
            const tagVeyPointF p = gridNode(rec.ValSize, n, row, col);
            const Shot s = rig.measureCorrected(rec, {p.x, p.y});
            table.push_back({p, toFloat(s.spot)});
        }
    }
    return table;
}

}  // namespace zemcal_tool
