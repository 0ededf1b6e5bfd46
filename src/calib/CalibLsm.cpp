// Least-squares point correction: one logical point (mm, field centre at
// the origin, y up) to one device point (galvo units, 0..Resolution).
//
// Model, stage by stage (f() narrows to float; everything else is double,
// products evaluated left to right):
//   quadratic   x1 = f(QX[1]*x*x + x),  y1 = f(QY[1]*y*y + y)   (revised only)
//   shear       x2 = f(x1 - PLX*y1)
//   trapezoid   x3 = f(TXL*y1*x2/AxisXL + x2)  for x2 < 0
//               x3 = f(x2 - TXR*y1*x2/AxisXR)  for x2 > 0
//               y3 = f(x2*TYB*y1/AxisYB + y1)  for y1 < 0
//               y3 = f(y1 - x2*TYT*y1/AxisYT)  for y1 > 0
//   scale       X = f(x3*SX),  Y = f(y3*SY)
//   device      out.x = f(k*X + K[2]*Y*Y*X),  out.y = f(k*Y + K[3]*X*X*Y)
//               with k = Resolution/FieldSize
//   residual    E the summed grid residual (mm), s the axis scale (SX or SY):
//               revised  out = f(out - E*k*s) if |E| > 0.001, else f(out - 0.25*E*k*s)
//               classic  out = f(out - E*k*s) if |E| >= 0.001, else unchanged
//   tail        line ratios (Grid 1), + Center, clamp to [0, Resolution]
// The classic engine (version 'P') has no quadratic step: x1 = x, y1 = y.
// Shaping, residual and tail live in CorrectionSteps.h, shared with
// CalibPoint6. Results are relative to the centre until the tail adds Center.
//
// The narrowing between stages is part of the result: calibration files
// and the coefficients fitted from them were produced with exactly these
// float round trips, so a point must go through the same ones to land on
// the same galvo unit.
//
// The engines take the residual E ready made (LsmEngines.h), so that the
// prepared corrector can run them with its own way of finding E.

#include <cmath>

#include <zemcal/CalibAlg.h>

#include "CorrectionSteps.h"
#include "LsmEngines.h"
#include "OneCopy.h"

namespace zemcal_detail {

namespace {

/// Pincushion cross terms and conversion to device units (relative to the
/// centre) of a shaped point (X, Y) in mm.
tagVeyPointF ToDevice(const tagLenPar& lp, tagVeyPointF m, double k) {
    return {static_cast<float>(k * m.x + lp.K[2] * m.y * m.y * m.x),
            static_cast<float>(k * m.y + lp.K[3] * m.x * m.x * m.y)};
}

/// Axis scales applied to the grid residual, in the frame of the output.
struct AxisScales {
    double x;
    double y;
};

/// With the axes swapped the output x carries the y scale and vice versa.
AxisScales ResidualScales(const tagLenPar& lp) {
    if (lp.XYFlipSaved != 0) return {lp.SY, lp.SX};
    return {lp.SX, lp.SY};
}

}  // namespace

ZEMCAL_ONE_COPY void RevisedLsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e,
                                     tagVeyPointF& out) {
    const double k = DeviceScale(lp);

    const float x1 = static_cast<float>(lp.QX[1] * p.x * p.x + p.x);
    const float y1 = static_cast<float>(lp.QY[1] * p.y * p.y + p.y);
    const tagVeyPointF dev = ToDevice(lp, ShapeStage(lp, x1, y1), k);
    const AxisScales scale = ResidualScales(lp);

    // A residual of at most 1 um is at the level of the grid's measuring
    // noise: it is applied at one quarter (zero included), where the classic
    // correction below drops it altogether.
    // The weight is looked up rather than branched on: E is known only at
    // the end of a long computation, and a mispredicted branch on it would
    // stall the correction of the points that follow.
    static constexpr double kWeight[2] = {0.25, 1.0};
    const double wx = kWeight[std::fabs(e.x) > 0.001];
    const double wy = kWeight[std::fabs(e.y) > 0.001];
    const float x = static_cast<float>(dev.x - wx * e.x * k * scale.x);
    const float y = static_cast<float>(dev.y - wy * e.y * k * scale.y);

    FinishLsmPoint(lp, p, x, y, out);
}

ZEMCAL_ONE_COPY void ClassicLsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e,
                                     tagVeyPointF& out) {
    const double k = DeviceScale(lp);
    const tagVeyPointF dev = ToDevice(lp, ShapeStage(lp, p.x, p.y), k);
    const AxisScales scale = ResidualScales(lp);

    // Residuals below 1 um are left out; at or above, applied in full. Both
    // outcomes are computed and one picked, for the reason given above.
    const float xs[2] = {dev.x, static_cast<float>(dev.x - e.x * k * scale.x)};
    const float ys[2] = {dev.y, static_cast<float>(dev.y - e.y * k * scale.y)};
    const float x = xs[std::fabs(e.x) >= 0.001];
    const float y = ys[std::fabs(e.y) >= 0.001];

    FinishLsmPoint(lp, p, x, y, out);
}

void LsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e, tagVeyPointF& out) {
    if (lp.Version == CalVerClassic) {
        ClassicLsmPoint(lp, p, e, out);
    } else {
        RevisedLsmPoint(lp, p, e, out);
    }
}

}  // namespace zemcal_detail

bool CCalibAlg::CalibLSM(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& out) {
    const tagVeyPointF in = p;  // out may be p
    zemcal_detail::LsmPoint(lp, in, zemcal_detail::GridResidual(lp, in), out);
    return true;
}

bool CCalibAlg::CalibPoint2_new(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out) {
    zemcal_detail::RevisedLsmPoint(lp, p, zemcal_detail::GridResidual(lp, p), out);
    return true;
}

bool CCalibAlg::CalibPoint2(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out) {
    zemcal_detail::ClassicLsmPoint(lp, p, zemcal_detail::GridResidual(lp, p), out);
    return true;
}

bool CCalibAlg::ShapePoint(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& out) {
    out = zemcal_detail::ShapeStage(lp, p.x, p.y);
    return true;
}

tagVeyPointF CCalibAlg::getPointScale(const tagLenPar& lp, tagVeyPointF p) {
    // Within 1 mm of an axis the side scale is taken as 1 so that the two
    // halves meet without a step; outside, it grows linearly towards the
    // half's measured scale at the edge of the working field. A NaN
    // coordinate matches neither side and gets 1 as well.
    const auto side = [&lp](float v, double below, double above) -> float {
        if (v < -1.0) return static_cast<float>(1 + std::fabs(v) * (below - 1) / lp.ValSize);
        if (v > 1.0) return static_cast<float>(1 + std::fabs(v) * (above - 1) / lp.ValSize);
        return 1.0f;
    };
    return {side(p.x, lp.SXL, lp.SXR), side(p.y, lp.SYB, lp.SYT)};
}
