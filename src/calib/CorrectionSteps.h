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

#include <zemcal/CalibAlg.h>

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

/// Sum of the measured residuals (mm) of every grid table at p, in the
/// frame of the output point.
///
/// The caller has already negated p by the saved invert flags; the grid
/// tables were measured in the unflipped frame, so the negation is undone
/// on a copy before the lookup and re-applied to the sum afterwards. With
/// the axes swapped each invert flag acts on the other coordinate.
inline tagVeyPointF GridResidual(const tagLenPar& lp, tagVeyPointF p) {
    const bool flip = lp.XYFlipSaved != 0;
    const bool negX = flip ? lp.YInvertSaved != 0 : lp.XInvertSaved != 0;
    const bool negY = flip ? lp.XInvertSaved != 0 : lp.YInvertSaved != 0;

    tagVeyPointF q = p;
    if (negX) q.x = -q.x;
    if (negY) q.y = -q.y;

    // Summed in single precision, table by table in stored order.
    tagVeyPointF e{0.0f, 0.0f};
    for (const tagStack& table : lp.Stacks) {
        tagVeyPointF scale{1.0f, 1.0f};
        tagVeyPointF offset{0.0f, 0.0f};
        CCalibAlg::GetGridDR(lp, q, scale, offset, table);
        e.x += offset.x;
        e.y += offset.y;
    }
    if (negX) e.x = -e.x;
    if (negY) e.y = -e.y;
    return e;
}

/// Clamps a device coordinate to [0, Resolution]. A NaN passes through
/// unchanged: it fails both comparisons.
inline float ClampToDevice(float v, int resolution) {
    const float top = static_cast<float>(resolution);
    if (v < 0.0f) return 0.0f;
    if (v > top) return top;
    return v;
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
