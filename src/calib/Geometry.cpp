// STUB: placeholder until the real implementation lands.
#include <zemcal/Geometry.h>
double zemcal::round(double v) { return v; }
double Multiply(tagVeyPointF, tagVeyPointF, tagVeyPointF) { return 0; }
bool IsOnline(tagVeyPointF, LineSegment) { return false; }
bool Intersect(LineSegment, LineSegment) { return false; }
tagCalData RotatePoint(tagCalData& pt, const tagCalData&, double) { return pt; }
double getAngle(tagVeyPointF, tagVeyPointF, tagVeyPointF) { return 0; }
double getSlop(tagVeyPointF, tagVeyPointF) { return 0; }
double getDip(tagVeyPointF, tagVeyPointF) { return 0; }
Line Line::GetLine(tagVeyPointF, tagVeyPointF) { Line l; l.A = l.B = l.C = 0; return l; }
tagVeyPointF Line::GetCrossPoint(Line, Line) { return {0, 0}; }
void Line::CrossPointShow(tagVeyPointF) {}
