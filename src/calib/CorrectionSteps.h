// Steps shared by the point corrections of CCalibAlg: the shaping stage of
// the least-squares model, the summed grid residual, and the common tail
// (line ratios, centre, clamp). Internal to the library; never installed.
//
// Points are single-precision floats; every stage below is computed in
// double from the float inputs and narrowed back to float where marked
// static_cast<float>. Those narrowings are part of the corrected result,
// so none may be dropped or moved.
#pragma once

#include <cmath>
#include <cstddef>

#include <zemcal/CalibAlg.h>

#include "Lanes.h"

namespace zemcal_detail {

/// Device units per millimetre: Resolution over FieldSize, in double.
inline double DeviceScale(const tagLenPar& lp) {
    return lp.Resolution / lp.FieldSize;
}

/// Shear, trapezoid and scale of a point (mm) that has already had any
/// quadratic pre-term applied. Returns the shaped point (X, Y) in mm.
inline tagVeyPointF ShapeStage(const tagLenPar& lp, float x1, float y1) {
    // Shear: x leans by PLX per unit of y.
    const float x2 = static_cast<float>(x1 - lp.PLX * y1);

    // Trapezoid: each half-axis has its own edge slope, scaled by how far
    // along the other axis the point sits relative to that half-extent.
    float x3 = x2;
    if (x2 < 0) {
        x3 = static_cast<float>(lp.TXL * y1 * x2 / lp.AxisXL + x2);
    } else if (x2 > 0) {
        x3 = static_cast<float>(x2 - lp.TXR * y1 * x2 / lp.AxisXR);
    }
    // The y trapezoid reads the sheared x before its own trapezoid step.
    float y3 = y1;
    if (y1 < 0) {
        y3 = static_cast<float>(x2 * lp.TYB * y1 / lp.AxisYB + y1);
    } else if (y1 > 0) {
        y3 = static_cast<float>(y1 - x2 * lp.TYT * y1 / lp.AxisYT);
    }
    return {static_cast<float>(x3 * lp.SX), static_cast<float>(y3 * lp.SY)};
}

/// Offsets (mm) at up to four points, one per lane.
struct OffsetLanes {
    Floats4 x, y;
};

/// GetGridDR's offsets of grid table number `table` at up to four points
/// (x[i], y[i]), i < count, each clamped to the working field as GetGridDR
/// clamps it; lanes from count on are ignored. context is whatever the
/// caller passed along.
using TableOffsetsFn = OffsetLanes (*)(const void* context, std::size_t table, Floats4 x,
                                       Floats4 y, int count);

/// Which coordinates the saved invert flags negate, in the frame of the
/// output point: the grid residual is looked up with these negations
/// undone and summed with them re-applied (see SumGridResidual).
struct ResidualSigns {
    bool negX, negY;
};

/// With the axes swapped each invert flag acts on the other coordinate.
inline ResidualSigns SavedResidualSigns(const tagLenPar& lp) {
    const bool flip = lp.XYFlipSaved != 0;
    return {flip ? lp.YInvertSaved != 0 : lp.XInvertSaved != 0,
            flip ? lp.XInvertSaved != 0 : lp.YInvertSaved != 0};
}

/// sum + offsets, lane by lane: the one addition by which every table's
/// offset joins a residual sum, whoever sums (OneCopy.h).
Floats4 AddLanes(Floats4 sum, Floats4 offsets);

/// The summed grid residual (mm) at up to four points p[i], i < count, in
/// the frame of the output point, written to e[i]: the offsets of tables
/// 0 .. tables-1 from offsetsAt, added up in that order in single
/// precision.
///
/// The caller has already negated each point by the saved invert flags; the
/// grid tables were measured in the unflipped frame, so the negation is
/// undone on a copy before the lookup and re-applied to the sum afterwards
/// (SavedResidualSigns).
///
/// One compiled copy (OneCopy.h) serves the scan (one point at a time) and
/// the prepared corrector, so that NaNs come out with the same bits.
void SumGridResidual(const tagLenPar& lp, const tagVeyPointF* p, int count, std::size_t tables,
                     TableOffsetsFn offsetsAt, const void* context, tagVeyPointF* e);

/// SumGridResidual at one point over the record's own tables, each located
/// by CCalibAlg::GetGridDR.
tagVeyPointF GridResidual(const tagLenPar& lp, tagVeyPointF p);

/// Clamps a device coordinate to [0, Resolution]. A NaN passes through
/// unchanged: it fails both comparisons.
inline float ClampToDevice(float v, int resolution) {
    const float top = static_cast<float>(resolution);
    // Selects rather than branches: v is the end of a long computation, and
    // a mispredicted branch on it would hold up the points that follow.
    const float below = v > top ? top : v;
    return v < 0.0f ? 0.0f : below;
}

/// The tail of the least-squares corrections: the per-axis line ratios
/// (when Grid is 1), chosen by the input point `in` as the caller passed it,
/// then Center is added and each coordinate clamped to the device range.
/// x and y are the corrected coordinates relative to the centre.
inline void FinishLsmPoint(const tagLenPar& lp, tagVeyPointF in, float x, float y,
                           tagVeyPointF& out) {
    if (lp.Grid == 1) {
        // The ratio stays in double here; only the product is narrowed.
        x = static_cast<float>(
            x * CCalibAlg::GetScaleValue(lp.LineCount, in.x, lp.XT, lp.XA, lp.XR));
        y = static_cast<float>(
            y * CCalibAlg::GetScaleValue(lp.LineCount, in.y, lp.YT, lp.YA, lp.YR));
    }
    const float centre = static_cast<float>(lp.Center);
    out.x = ClampToDevice(x + centre, lp.Resolution);
    out.y = ClampToDevice(y + centre, lp.Resolution);
}

}  // namespace zemcal_detail
