// Classic second-order fit (records imported from the text correction format).
//
// Model. Before the shape is measured (see FitShape.cpp), the grid is turned
// about its measured centre (cx, cy) = Pnt[4] by an angle t taken from the
// straighter of the middle row and the middle column:
//   x' = (x - cx)*cos t - sin t*(y - cy) + cx
//   y' = (x - cx)*sin t + (y - cy)*cos t + cy
// with x - cx and y - cy formed in double from the float coordinates and each
// result narrowed back to float. The straightness of a line is the float
// triangle area of its three points (CCalibAlg::GetCollinear); a grid whose
// two middle lines are both straight to 1e-4 mm^2 is left as it is.
//
// The corners are sheared twice on purpose: once in place while the edge
// slopes are measured and again when the samples are formed. Records written
// by earlier versions carry coefficients fitted that way, and the classic
// point correction is tuned to them.
#include <cmath>

#include <zemcal/CalibAlg.h>

#include "calib/FitShape.h"

using namespace zemcal::fit;

namespace {

// Middle lines straighter than this triangle area (mm^2) need no rotation.
constexpr double kStraightArea = 0.0001;
// Rotations smaller than this (radians) are skipped.
constexpr double kTinyAngle = 1e-6;

// Turns the measured pairs of pts about the measured centre so that the
// straighter middle line of the grid lies along its axis.
void RemoveRotation(PointGrid& pts) {
    const double colArea = CCalibAlg::GetCollinear(pts[1], pts[4], pts[7]);
    const double rowArea = CCalibAlg::GetCollinear(pts[3], pts[4], pts[5]);
    if (!(colArea > kStraightArea) && !(rowArea > kStraightArea)) return;

    // The angle is that of the straighter line against the line from its
    // nominal start to the measured centre; equal areas take the row.
    double t;
    if (rowArea > colArea) {
        t = LineAngle(pts[1].PntB, pts[7].PntB, pts[1].PntA, pts[4].PntB);
    } else {
        t = LineAngle(pts[3].PntB, pts[5].PntB, pts[3].PntA, pts[4].PntB);
    }
    // The vertical-line case of the angle can return up to pi.
    if (t > kHalfPi) t -= kPi;
    if (std::fabs(t) < kTinyAngle) return;

    const double c = std::cos(t), s = std::sin(t);
    const float cx = pts[4].PntB.x, cy = pts[4].PntB.y;
    for (tagCalData& row : pts) {
        const double dx = static_cast<double>(row.PntB.x) - cx;
        const double dy = static_cast<double>(row.PntB.y) - cy;
        row.PntB.x = static_cast<float>(dx * c - s * dy + cx);
        row.PntB.y = static_cast<float>(dx * s + dy * c + cy);
    }
}

}  // namespace

void CCalibAlg::MVLSMCoef2(tagLenPar& par) {
    const double f = DeviceScale(par);
    PointGrid pts = CopyPoints(par);
    RemoveRotation(pts);
    // MeasureShape leaves the corners of pts sheared; the samples shear them again.
    const double pl = MeasureShape(par, pts);
    FitCrossTerms(par, pts, f, pl);
}
