// Plane-geometry primitives used by the grid correction and the fit checks.
//
// Model and conventions:
//   - points are tagVeyPointF (two floats), y up, angles counter-clockwise;
//   - Multiply(p1, p2, p0) is the z component of (p1 - p0) x (p2 - p0);
//   - a Line is A*x + B*y + C = 0 with A = y1 - y2, B = x2 - x1,
//     C = x1*y2 - x2*y1, so (A, B) is the normal and (B, -A) the direction.
//
// Precision: products and differences of point coordinates are taken on the
// floats themselves and only the finished float is widened to double. That
// narrowing is part of the result: the grid correction compares and divides
// these values, and a double intermediate would move the corrected points by
// an ulp against calibrations computed before. Line intersection and the
// rotation run in double and are narrowed back to float at the end.
//
// None of these functions guards against degenerate input: parallel lines,
// zero-length sides and vertical lines give infinities or NaNs, which the
// callers already tolerate.
#include <zemcal/Geometry.h>

#include <algorithm>
#include <cmath>

double zemcal::round(double v) {
    // The sum is rounded before floor/ceil, so 0.49999999999999994 gives 1;
    // 0 takes the second branch and gives -0. Both are kept on purpose.
    return v > 0 ? std::floor(v + 0.5) : std::ceil(v - 0.5);
}

double Multiply(tagVeyPointF p1, tagVeyPointF p2, tagVeyPointF p0) {
    const float ax = p1.x - p0.x;
    const float ay = p1.y - p0.y;
    const float bx = p2.x - p0.x;
    const float by = p2.y - p0.y;
    const float cross = ax * by - ay * bx;
    return static_cast<double>(cross);
}

bool IsOnline(tagVeyPointF p, LineSegment s) {
    const tagVeyPointF a = s.Start;
    const tagVeyPointF b = s.End;
    const float cross = (b.y - p.y) * (a.x - p.x) - (a.y - p.y) * (b.x - p.x);
    if (!(std::fabs(static_cast<double>(cross)) < 1e-6)) return false;
    // Collinear: on the segment when p lies between the ends on both axes.
    const float spanX = (p.x - a.x) * (p.x - b.x);
    const float spanY = (p.y - a.y) * (p.y - b.y);
    return spanX <= 0.0f && spanY <= 0.0f;
}

bool Intersect(LineSegment u, LineSegment v) {
    const tagVeyPointF a = u.Start, b = u.End, c = v.Start, d = v.End;
    // Quick rejection on the bounding boxes; it also settles collinear
    // segments, whose straddle products below are both 0.
    if (!(std::max(a.x, b.x) >= std::min(c.x, d.x))) return false;
    if (!(std::max(c.x, d.x) >= std::min(a.x, b.x))) return false;
    if (!(std::max(a.y, b.y) >= std::min(c.y, d.y))) return false;
    if (!(std::max(c.y, d.y) >= std::min(a.y, b.y))) return false;
    // c and d on different sides of line ab (or on it), then a and b on
    // different sides of line cd. The product of the two float crosses is
    // taken in double, where it is exact.
    if (!(Multiply(b, c, a) * Multiply(b, d, a) <= 0.0)) return false;
    if (!(Multiply(d, a, c) * Multiply(d, b, c) <= 0.0)) return false;
    return true;
}

tagCalData RotatePoint(tagCalData& pt, const tagCalData& centre, double angle) {
    // Read everything first: pt and centre may be the same record.
    const double px = pt.PntB.x;
    const double py = pt.PntB.y;
    const double cx = centre.PntB.x;
    const double cy = centre.PntB.y;
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    pt.PntB.x = static_cast<float>((px - cx) * c - (py - cy) * s + cx);
    pt.PntB.y = static_cast<float>((px - cx) * s + (py - cy) * c + cy);
    return pt;
}

namespace {

// Squared distance, single precision, widened.
double SquaredDistance(tagVeyPointF a, tagVeyPointF b) {
    const float dx = a.x - b.x;
    const float dy = a.y - b.y;
    return static_cast<double>(dx * dx + dy * dy);
}

// dy/dx of p1->p2, divided in single precision.
float SlopeF(tagVeyPointF p1, tagVeyPointF p2) {
    return (p2.y - p1.y) / (p2.x - p1.x);
}

}  // namespace

double getAngle(tagVeyPointF p0, tagVeyPointF p1, tagVeyPointF p2) {
    // Law of cosines at p1: cos = (b^2 + a^2 - c^2) / (2ab), with a = |p0 - p1|,
    // b = |p2 - p1| and c = |p0 - p2| the side opposite the vertex.
    const double a2 = SquaredDistance(p0, p1);
    const double b2 = SquaredDistance(p2, p1);
    const double c2 = SquaredDistance(p0, p2);
    return std::acos((b2 + a2 - c2) / (2.0 * std::sqrt(a2) * std::sqrt(b2)));
}

double getSlop(tagVeyPointF p1, tagVeyPointF p2) {
    return static_cast<double>(SlopeF(p1, p2));
}

double getDip(tagVeyPointF p1, tagVeyPointF p2) {
    // The literal pi is part of the result (atan(inf) / pi * 180 is exactly 90).
    return std::atan(static_cast<double>(SlopeF(p1, p2))) / 3.141592653589793 * 180.0;
}

Line Line::GetLine(tagVeyPointF p1, tagVeyPointF p2) {
    Line l;
    l.A = static_cast<double>(p1.y - p2.y);
    l.B = static_cast<double>(p2.x - p1.x);
    l.C = static_cast<double>(p1.x * p2.y - p2.x * p1.y);
    return l;
}

tagVeyPointF Line::GetCrossPoint(Line l1, Line l2) {
    // Cramer's rule; D = 0 (parallel lines) is left to give inf or NaN.
    const double d = l1.A * l2.B - l2.A * l1.B;
    tagVeyPointF p;
    p.x = static_cast<float>((l1.B * l2.C - l2.B * l1.C) / d);
    p.y = static_cast<float>((l1.C * l2.A - l1.A * l2.C) / d);
    return p;
}

void Line::CrossPointShow(tagVeyPointF) {
    // A hook for hosts that draw the intersections; the library draws nothing.
}
