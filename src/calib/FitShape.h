// Steps shared by the two second-order fits of the nine-point grid.
//
// The classic fit (rotation removed first, corners sheared twice) and the
// revised fit (quadratic axis terms first, shape measured on the points as
// given) differ only in what they feed into these steps; the steps themselves
// are one implementation so that both fits round identically.
#pragma once

#include <array>

#include <zemcal/LenPar.h>

namespace zemcal::fit {

/// The double nearest pi and its half, as the angle tests use them.
constexpr double kPi = 3.141592653589793;
constexpr double kHalfPi = 1.5707963267948966;

/// A fit's local copy of the nine rows of tagLenPar::Pnt (row-major 3x3 grid
/// from the top-left corner, Pnt[4] the centre; PntA nominal, PntB measured).
using PointGrid = std::array<tagCalData, 9>;

/// Copies par.Pnt into a working grid; the record's table is never changed.
PointGrid CopyPoints(const tagLenPar& par);

/// Device units per millimetre: Resolution / FieldSize.
double DeviceScale(const tagLenPar& par);

/// The two-line angle between line a (a0 -> a1) and line b (b0 -> b1), with
/// the asymmetric vertical-line cases of CCalibAlg::GetTwoLineAngle.
double LineAngle(tagVeyPointF a0, tagVeyPointF a1, tagVeyPointF b0, tagVeyPointF b1);

/// Measures the field shape on the measured pairs of pts and writes the
/// half-axes, offsets, Y2XAngle, PLX/PLY, the six scales and the four edge
/// slopes into par. The four corners of pts are sheared in place on the way.
/// Returns the shear PL (the value also stored in PLX and PLY).
double MeasureShape(tagLenPar& par, PointGrid& pts);

/// Fits the cubic cross terms to pts after undoing the shape stored in par:
/// K[0] = K[1] = 1, K[2] for x, K[3] for y. f is DeviceScale(par). The shear
/// of the first sample is firstShear; every later sample reads par.PLX.
void FitCrossTerms(tagLenPar& par, const PointGrid& pts, double f, double firstShear);

}  // namespace zemcal::fit
