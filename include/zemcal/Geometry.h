// Plane-geometry primitives on single-precision points, and the class Line.
//
// No function here has a tolerance, guard or error report beyond what its
// comment states: degenerate input gives infinities or NaNs.
#pragma once

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

namespace zemcal {

/// Rounds v half away from zero: v > 0 ? floor(v + 0.5) : ceil(v - 0.5).
/// So round(2.5) is 3, round(-2.5) is -3 and round(0) is -0; unlike
/// std::round, round(0.49999999999999994) is 1 (the sum rounds up).
///
/// Why a namespace: the C library already declares ::round(double) with C
/// linkage, and a second global round(double) is either ill-formed or, with
/// C linkage, would replace the C library's round for the whole process.
/// This one is therefore zemcal::round; ::round and std::round stay the
/// standard ones, and a host that includes <cmath> and <zemcal/ZemCal.h>
/// chooses by qualification.
ZEMCAL_API double round(double v);

}  // namespace zemcal

/// Cross product (p1 - p0) x (p2 - p0), single precision: positive when p2
/// lies counter-clockwise of p1 as seen from p0.
ZEMCAL_API double Multiply(tagVeyPointF p1, tagVeyPointF p2, tagVeyPointF p0);

/// True when p lies on segment s (end points included, |cross| < 1e-6).
ZEMCAL_API bool IsOnline(tagVeyPointF p, LineSegment s);

/// True when segments u and v touch or cross.
ZEMCAL_API bool Intersect(LineSegment u, LineSegment v);

/// Rotates the measured pair of pt about the measured pair of centre by
/// angle (radians, counter-clockwise, y up), in place; returns the result.
ZEMCAL_API tagCalData RotatePoint(tagCalData& pt, const tagCalData& centre, double angle);

/// Angle at vertex p1 of p0-p1-p2, radians in [0, pi]; NaN for a zero side.
ZEMCAL_API double getAngle(tagVeyPointF p0, tagVeyPointF p1, tagVeyPointF p2);

/// Slope dy/dx of the line p1-p2; infinite for a vertical line.
ZEMCAL_API double getSlop(tagVeyPointF p1, tagVeyPointF p2);

/// Inclination of the line p1-p2 in degrees, in [-90, 90].
ZEMCAL_API double getDip(tagVeyPointF p1, tagVeyPointF p2);

/// A straight line A*x + B*y + C = 0. The coefficients are left
/// uninitialised by construction; GetLine fills a new one.
class ZEMCAL_API Line {
public:
    double A;
    double B;
    double C;

    Line() {}
    ~Line() {}

    /// The line through p1 and p2 (this object is not used).
    Line GetLine(tagVeyPointF p1, tagVeyPointF p2);

    /// The intersection of l1 and l2 (this object is not used). Parallel
    /// lines give infinite or NaN coordinates.
    tagVeyPointF GetCrossPoint(Line l1, Line l2);

    /// Display hook; does nothing.
    void CrossPointShow(tagVeyPointF p);
};
