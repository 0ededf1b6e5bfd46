// Manual box correction: one logical point (mm, field centre at the origin,
// y up) to one device point (galvo units, 0..Resolution) by hand-set factors.
//
// Model (f() narrows to float; everything else is double, products
// evaluated left to right; index 0 of each factor pair is x, 1 is y):
//   scale      X  = f(x*BoxScale[0]/100),   Y  = f(y*BoxScale[1]/100)   (percent)
//   skew       X1 = f(X - (1 - BoxSkew[0])*Y),   Y1 = f(Y - (1 - BoxSkew[1])*X)
//   trapezoid  X2 = f(X1 - 2*(1 - BoxTrap[0])*X1*Y1/FieldSize),  Y2 likewise with BoxTrap[1]
//   device     Dx = k*X2,  Dy = k*Y2,  k = Resolution/FieldSize (not narrowed)
//   barrel     out.x = f(Dx + (BoxBarrel[0] - 1)*Dx*Dy*Dy/CenterSq)
//              out.y = f(Dy + (BoxBarrel[1] - 1)*Dy*Dx*Dx/CenterSq)
//   ratios     out.x *= f(ratio of x), out.y *= f(ratio of y)  (ManGrid 1 only)
//   tail       + Center, clamp to [0, Resolution]
// A factor of 1 (100 for the scale) leaves its stage without effect. The
// barrel term is relative to the half-field in device units, hence CenterSq.
//
// Unlike the least-squares half, the line ratio is narrowed to float
// before it multiplies the float coordinate, so the product is a float
// product; the two halves differ in the last bit on purpose.

#include <cmath>

#include <zemcal/CalibAlg.h>

#include "CorrectionSteps.h"

bool CCalibAlg::CalibManual(const tagLenPar& lp, tagVeyPointF& p, tagVeyPointF& out) {
    const float X = static_cast<float>(p.x * lp.BoxScale[0] / 100);
    const float Y = static_cast<float>(p.y * lp.BoxScale[1] / 100);

    const float X1 = static_cast<float>(X - (1 - lp.BoxSkew[0]) * Y);
    const float Y1 = static_cast<float>(Y - (1 - lp.BoxSkew[1]) * X);

    const float X2 = static_cast<float>(X1 - 2 * (1 - lp.BoxTrap[0]) * X1 * Y1 / lp.FieldSize);
    const float Y2 = static_cast<float>(Y1 - 2 * (1 - lp.BoxTrap[1]) * X1 * Y1 / lp.FieldSize);

    const double k = zemcal_detail::DeviceScale(lp);
    const double Dx = k * X2;
    const double Dy = k * Y2;

    float x = static_cast<float>(Dx + (lp.BoxBarrel[0] - 1) * Dx * Dy * Dy / lp.CenterSq);
    float y = static_cast<float>(Dy + (lp.BoxBarrel[1] - 1) * Dy * Dx * Dx / lp.CenterSq);

    if (lp.ManGrid == 1) {
        // The caller negated p by the live invert flags; the line tables were
        // measured in the unflipped frame, so look them up with the negation
        // undone (with the axes swapped each flag acts on the other coordinate).
        const bool flip = lp.XYFlip != 0;
        const bool negX = flip ? lp.YInvert != 0 : lp.XInvert != 0;
        const bool negY = flip ? lp.XInvert != 0 : lp.YInvert != 0;
        const float qx = negX ? -p.x : p.x;
        const float qy = negY ? -p.y : p.y;
        x *= static_cast<float>(
            GetScaleValue(lp.ManLineCount, qx, lp.ManXT, lp.ManXA, lp.ManXR));
        y *= static_cast<float>(
            GetScaleValue(lp.ManLineCount, qy, lp.ManYT, lp.ManYA, lp.ManYR));
    }

    const float centre = static_cast<float>(lp.Center);
    out.x = zemcal_detail::ClampToDevice(x + centre, lp.Resolution);
    out.y = zemcal_detail::ClampToDevice(y + centre, lp.Resolution);
    return true;
}

double CCalibAlg::GetScaleValue(int count, double v, const double* target,
                                const double* /*actual: kept for the table-triple signature*/,
                                const double* ratio) {
    // Tables of more than 99 lines are refused although the arrays hold
    // 100; a point within 1e-6 mm of the axis is never rescaled.
    if (count < 1 || count > 99 || std::fabs(v) < 1e-6) return 1.0;

    // Beyond either end the end ratio holds.
    if (v <= target[0]) return ratio[0];
    if (v >= target[count - 1]) return ratio[count - 1];

    // Linear scan for the first segment holding v. The half-open test
    // T[d] <= v < T[d+1] never matches two equal neighbours, so the
    // divisor is never zero: at a repeated target the ratio is that of the
    // last of the equal entries. A table that is not ascending may have no
    // segment at all; v then keeps its scale.
    for (int d = 0; d + 1 < count; ++d) {
        if (target[d] <= v && v < target[d + 1]) {
            return ratio[d] +
                   (ratio[d + 1] - ratio[d]) * (v - target[d]) / (target[d + 1] - target[d]);
        }
    }
    return 1.0;
}
