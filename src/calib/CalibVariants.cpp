// Higher-order correction variant CalibPoint6: the classic shaping stage
// (shear, trapezoid, scale; see CalibLsm.cpp) followed by an odd cubic
// polynomial for x instead of the second-order cross terms.
//
// Model (f() narrows to float; the sum in double, term by term in this
// order, each product left to right; k = Resolution/FieldSize):
//   out.x = f(K[1]*X^3 + k*Y + K[3]*X^2*Y + K[5]*X*Y^2 + K[7]*Y^3 + K[9]*X*Y + K[11]*X)
//   out.y is not computed: it keeps the value the caller passed in.
//   residual  out -= E*k per axis when |E| >= 1 um (no axis scale, no quarter step)
//   tail      line ratios, + Center, clamp to [0, Resolution]
// The first-order term is k*Y, not k*X, and out.y is left to the caller:
// both are how this member has always behaved and are kept as they are. A
// host that wants a meaningful y uses CalibLSM.

#include <cmath>

#include <zemcal/CalibAlg.h>

#include "CorrectionSteps.h"

bool CCalibAlg::CalibPoint6(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out) {
    const double k = zemcal_detail::DeviceScale(lp);
    const tagVeyPointF m = zemcal_detail::ShapeStage(lp, p.x, p.y);
    const float X = m.x;
    const float Y = m.y;

    const double sum = lp.K[1] * X * X * X + k * Y + lp.K[3] * X * X * Y + lp.K[5] * X * Y * Y +
                       lp.K[7] * Y * Y * Y + lp.K[9] * X * Y + lp.K[11] * X;
    float x = static_cast<float>(sum);
    float y = out.y;

    const tagVeyPointF e = zemcal_detail::GridResidual(lp, p);
    if (std::fabs(e.x) >= 0.001) x = static_cast<float>(x - e.x * k);
    if (std::fabs(e.y) >= 0.001) y = static_cast<float>(y - e.y * k);

    zemcal_detail::FinishLsmPoint(lp, p, x, y, out);
    return true;
}
