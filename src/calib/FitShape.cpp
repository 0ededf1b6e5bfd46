// Shape measurement and cross-term fit of the nine-point grid.
//
// Model. Each row of the grid holds a nominal point (u, v) and the point (x, y)
// where the scan head actually marked it, both in mm with the field centre at
// the origin and y up. The measured field is described by
//   half-axes  AxisXL = |x3|, AxisXR = |x5|, AxisYT = |y1|, AxisYB = |y7|
//              (middle-left, middle-right, top-middle, bottom-middle points);
//   shear      PL = tan(Y2XAngle - pi/2), Y2XAngle the two-line angle between
//              the middle column (1 -> 7) and the middle row (3 -> 5);
//   slopes     TXL, TXR: dx per dy of the left and right edges,
//              TYT, TYB: dy per dx of the top and bottom edges,
//              measured on the corners after the shear x -= y*PL;
//   scales     SX = ValSize / (AxisXL + AxisXR), SY likewise.
// Undoing that shape on a point gives
//   x1 = x - PL*y
//   x2 = x1 + TXL*y*x1/AxisXL (x1 < 0)   or   x1 - TXR*y*x1/AxisXR (x1 > 0)
//   y2 = x1*TYB*y/AxisYB + y  (y < 0)    or   y - x1*TYT*y/AxisYT  (y > 0)
//   xs = x2*SX,  ys = y2*SY
// and what remains, in device units (F = Resolution/FieldSize per mm), is
// fitted by one cubic cross term per axis:
//   u*F - xs*F  ~  K[2] * xs*ys*ys        v*F - ys*F  ~  K[3] * xs*ys*xs
//
// Precision. Coordinates stay single precision: every value written back to a
// point (x1, x2, y2, xs, ys, the sheared corners) is narrowed to float, and
// the edge-slope differences and quotients are formed in float. Everything
// else is double. The point correction repeats the same narrowing with these
// coefficients, so the float steps are part of the stored result.
//
// Degenerate grids are not rejected: a zero half-axis gives infinite scales,
// coincident lines give NaN angles, and such values are stored as they come.
// The only guards are the 1e-6 thresholds below.
#include "calib/FitShape.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include <zemcal/CalibAlg.h>
#include <zemcal/MvLsmFit.h>

namespace zemcal::fit {

namespace {

// Angles and denominators below this are treated as zero.
constexpr double kTiny = 1e-6;

// An edge slope: rise over run, both differences and the quotient in float;
// 0 when the run is shorter than kTiny.
double EdgeSlope(float rise, float run) {
    if (!(std::fabs(run) >= kTiny)) return 0.0;
    return static_cast<double>(rise / run);
}

// A line end given as a measured pair (GetTwoLineAngle reads only PntB).
tagCalData AsMeasured(tagVeyPointF p) { return tagCalData{p, p}; }

// One CMvLsmFit solve with a single term: Coef[1] of regressor r against d.
double FitOneTerm(CMvLsmFit& lsm, const std::vector<double>& r, const std::vector<double>& d) {
    lsm.init(r, d);
    lsm.OLS();
    return lsm.Coef[1];
}

}  // namespace

PointGrid CopyPoints(const tagLenPar& par) {
    PointGrid pts;
    std::copy(std::begin(par.Pnt), std::end(par.Pnt), pts.begin());
    return pts;
}

double DeviceScale(const tagLenPar& par) {
    return static_cast<double>(par.Resolution) / par.FieldSize;
}

double LineAngle(tagVeyPointF a0, tagVeyPointF a1, tagVeyPointF b0, tagVeyPointF b1) {
    tagCalData a[2] = {AsMeasured(a0), AsMeasured(a1)};
    tagCalData b[2] = {AsMeasured(b0), AsMeasured(b1)};
    return CCalibAlg::GetTwoLineAngle(a, b);
}

double MeasureShape(tagLenPar& par, PointGrid& pts) {
    const tagVeyPointF top = pts[1].PntB, left = pts[3].PntB;
    const tagVeyPointF right = pts[5].PntB, bottom = pts[7].PntB;

    par.AxisXL = std::fabs(static_cast<double>(left.x));
    par.AxisXR = std::fabs(static_cast<double>(right.x));
    par.AxisYT = std::fabs(static_cast<double>(top.y));
    par.AxisYB = std::fabs(static_cast<double>(bottom.y));
    par.OX = (par.AxisXR - par.AxisXL) * 0.5;
    par.OY = (par.AxisYT - par.AxisYB) * 0.5;

    // Angle of the middle column against the middle row. A vertical column
    // yields the row's own slope angle, so an ideal grid gives 0 here and
    // the guard below turns that into "no shear".
    par.Y2XAngle = LineAngle(top, bottom, left, right);
    const double pl = std::fabs(par.Y2XAngle) < kTiny ? 0.0 : std::tan(par.Y2XAngle - kHalfPi);
    par.PLX = pl;
    par.PLY = pl;

    par.SXL = par.ValSize / (2.0 * par.AxisXL);
    par.SXR = par.ValSize / (2.0 * par.AxisXR);
    par.SX = par.ValSize / (par.AxisXL + par.AxisXR);
    par.SYT = par.ValSize / (2.0 * par.AxisYT);
    par.SYB = par.ValSize / (2.0 * par.AxisYB);
    par.SY = par.ValSize / (par.AxisYT + par.AxisYB);

    // The edges are measured on the corners with the shear taken out; the
    // corners keep that shear (the classic fit relies on it).
    for (int i : {6, 0, 8, 2}) {
        tagVeyPointF& p = pts[i].PntB;
        p.x = static_cast<float>(p.x - p.y * pl);
    }
    const tagVeyPointF tl = pts[0].PntB, tr = pts[2].PntB;
    const tagVeyPointF bl = pts[6].PntB, br = pts[8].PntB;
    par.TXL = EdgeSlope(bl.x - tl.x, bl.y - tl.y);
    par.TXR = EdgeSlope(br.x - tr.x, br.y - tr.y);
    par.TYT = EdgeSlope(tl.y - tr.y, tl.x - tr.x);
    par.TYB = EdgeSlope(bl.y - br.y, bl.x - br.x);
    return pl;
}

void FitCrossTerms(tagLenPar& par, const PointGrid& pts, double f, double firstShear) {
    std::vector<double> xReg, xObs, yReg, yObs;
    xReg.reserve(pts.size());
    xObs.reserve(pts.size());
    yReg.reserve(pts.size());
    yObs.reserve(pts.size());

    for (std::size_t i = 0; i < pts.size(); ++i) {
        const float u = pts[i].PntA.x, v = pts[i].PntA.y;
        const float x = pts[i].PntB.x, y = pts[i].PntB.y;
        const double pl = i == 0 ? firstShear : par.PLX;

        const float x1 = static_cast<float>(x - pl * y);
        float x2 = x1;
        if (x1 < 0) {
            x2 = static_cast<float>(x1 + par.TXL * y * x1 / par.AxisXL);
        } else if (x1 > 0) {
            x2 = static_cast<float>(x1 - par.TXR * y * x1 / par.AxisXR);
        }
        // The trapezoid in y is keyed on x1, the point before the x step.
        float y2 = y;
        if (y < 0) {
            y2 = static_cast<float>(x1 * par.TYB * y / par.AxisYB + y);
        } else if (y > 0) {
            y2 = static_cast<float>(y - x1 * par.TYT * y / par.AxisYT);
        }
        const float xs = static_cast<float>(x2 * par.SX);
        const float ys = static_cast<float>(y2 * par.SY);

        // Products left to right in double; the residual is u*F - xs*F, not
        // (u - xs)*F, which rounds differently.
        xReg.push_back(static_cast<double>(xs) * ys * ys);
        xObs.push_back(static_cast<double>(u) * f - static_cast<double>(xs) * f);
        yReg.push_back(static_cast<double>(xs) * ys * xs);
        yObs.push_back(static_cast<double>(v) * f - static_cast<double>(ys) * f);
    }

    CMvLsmFit lsm;
    par.K[0] = 1.0;
    par.K[2] = FitOneTerm(lsm, xReg, xObs);
    par.K[1] = 1.0;
    par.K[3] = FitOneTerm(lsm, yReg, yObs);
}

}  // namespace zemcal::fit
