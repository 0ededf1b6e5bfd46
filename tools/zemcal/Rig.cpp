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

Shot Rig::fire(const tagLenPar& rec, tagVeyPointF out) const {
    Shot s;
    s.device = {out.x, out.y};
    s.clamped = clampedCoordinate(out.x, rec.Resolution) || clampedCoordinate(out.y, rec.Resolution);
    // The card routes the corrected x to the Y mirror when the axes are flipped.
    const bool flip = rec.XYFlipSaved != 0;
    const double gx = flip ? out.y : out.x;
    const double gy = flip ? out.x : out.y;
    s.spot = head_.land(gx, gy);
    return s;
}

Shot Rig::linear(const tagLenPar& rec, Vec2 p) const {
    tagVeyPointF out{};
    ZemCal().LP2DPEX_Cal(toFloat(p), out, rec);
    return fire(rec, out);
}

std::vector<Shot> Rig::correctedAll(const tagLenPar& rec, const std::vector<Vec2>& points) const {
    std::vector<tagVeyPointF> commands;
    commands.reserve(points.size());
    for (const Vec2& p : points) commands.push_back(toFloat(p));
    CPointCorrector(rec).Correct(commands.data(), commands.data(), commands.size());
    std::vector<Shot> shots;
    shots.reserve(points.size());
    for (const tagVeyPointF& out : commands) shots.push_back(fire(rec, out));
    return shots;
}

}  // namespace zemcal_tool
