// Sanity checks that the second-order fits rely on.
//
// Both geometric checks look only at the measured pair (PntB) of each
// calibration record, in millimetres, y up.
//
//   GetCollinear: the triangle area |s| / 2 with
//   s = ((((x3*y1 + (x1*y2 + x2*y3)) - x1*y3) - x2*y1) - x3*y2),
//   evaluated in float in exactly that grouping and widened only at the end. The fits compare it with 0.0001, so the float
//   rounding decides borderline grids and is part of the result.
//
//   GetTwoLineAngle: atan((kb - ka) / (1 + ka*kb)), the angle from line a to
//   line b, from slopes computed in double from the widened coordinates.
//   The two vertical special cases are deliberately not mirror images: a
//   vertical line a yields the slope angle of b against the horizontal, a
//   vertical line b yields pi/2 minus the slope angle of a. The fits feed
//   the value straight into their rotation and shear, so the asymmetry is
//   kept.
//
// The finiteness tests are range tests against the largest finite double;
// NaN fails every comparison and so counts as not finite.
#include <zemcal/CalibAlg.h>

#include <cmath>

namespace {

constexpr double kHalfPi = 1.5707963267948966;          // nearest double to pi/2
constexpr double kLargestDouble = 1.7976931348623157e308;  // DBL_MAX

bool inFiniteRange(double d) {
    return d <= kLargestDouble && d >= -kLargestDouble;
}

}  // namespace

double CCalibAlg::GetCollinear(tagCalData a, tagCalData b, tagCalData c) {
    const float x1 = a.PntB.x, y1 = a.PntB.y;
    const float x2 = b.PntB.x, y2 = b.PntB.y;
    const float x3 = c.PntB.x, y3 = c.PntB.y;
    float s = x3 * y1 + (x1 * y2 + x2 * y3);
    s = s - x1 * y3;
    s = s - x2 * y1;
    s = s - x3 * y2;
    return static_cast<double>(0.5f * std::fabs(s));
}

double CCalibAlg::GetTwoLineAngle(tagCalData* a, tagCalData* b) {
    const double dxa = static_cast<double>(a[1].PntB.x) - static_cast<double>(a[0].PntB.x);
    const double dya = static_cast<double>(a[1].PntB.y) - static_cast<double>(a[0].PntB.y);
    const double dxb = static_cast<double>(b[1].PntB.x) - static_cast<double>(b[0].PntB.x);
    const double dyb = static_cast<double>(b[1].PntB.y) - static_cast<double>(b[0].PntB.y);
    if (dxa != 0.0 && dxb != 0.0) {
        const double ka = dya / dxa;
        const double kb = dyb / dxb;
        return std::atan((kb - ka) / (ka * kb + 1.0));
    }
    if (dxb != 0.0) return std::atan(dyb / dxb);  // line a vertical
    // Line b vertical. With line a vertical too this divides by zero and
    // gives 0 or pi (NaN when a has no length), as the fits expect.
    return kHalfPi - std::atan(dya / dxa);
}

bool IsFiniteNumber(double d) {
    return inFiniteRange(d);
}

bool hasNaN(std::vector<double> v) {
    for (double d : v) {
        if (!inFiniteRange(d)) return true;
    }
    return false;
}
