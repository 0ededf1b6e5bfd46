// Revised second-order fit (every calibration version other than the text import).
//
// Model. A quadratic term along each axis is fitted first, from the middle
// row and the middle column only:
//   u - x ~ cx * x*x   (points 3, 4, 5)      v - y ~ cy * y*y   (points 1, 4, 7)
// with regressor and target formed in float and widened to double, and stored
// as QX = {1, cx}, QY = {1, cy}. Every working point is then corrected by
//   x = (float)(cx*x*x + x),   y = (float)(cy*y*y + y)
// and the cross terms K[2], K[3] are fitted to the corrected points.
//
// The shape (half-axes, shear, edge slopes, scales; see FitShape.cpp) is
// measured on the points as they were given, not on the corrected ones, and
// the grid is never rotated: a turned field is left to the shear and the
// cross terms. The corner shear of the slope measurement happens on a
// throw-away copy, so the corners are sheared once, in the sample step.
#include <vector>

#include <zemcal/CalibAlg.h>
#include <zemcal/MvLsmFit.h>

#include "calib/FitShape.h"

using namespace zemcal::fit;

namespace {

// Fits d = c * r*r along one middle line of the grid, the quadratic term of
// that axis. The three samples are (coordinate, nominal) pairs in line order.
double FitQuadratic(CMvLsmFit& lsm, const float (&coord)[3], const float (&nominal)[3]) {
    std::vector<double> reg, obs;
    for (int i = 0; i < 3; ++i) {
        reg.push_back(static_cast<double>(coord[i] * coord[i]));
        obs.push_back(static_cast<double>(nominal[i] - coord[i]));
    }
    lsm.init(reg, obs);
    lsm.OLS();
    return lsm.Coef[1];
}

}  // namespace

void CCalibAlg::MVLSMCoef2_new(tagLenPar& par) {
    const double f = DeviceScale(par);
    PointGrid pts = CopyPoints(par);
    PointGrid asGiven = pts;  // the shape is measured on this uncorrected copy

    CMvLsmFit lsm;
    const float rowX[3] = {pts[3].PntB.x, pts[4].PntB.x, pts[5].PntB.x};
    const float rowU[3] = {pts[3].PntA.x, pts[4].PntA.x, pts[5].PntA.x};
    const double cx = FitQuadratic(lsm, rowX, rowU);
    par.QX[0] = 1.0;
    par.QX[1] = cx;
    const float colY[3] = {pts[1].PntB.y, pts[4].PntB.y, pts[7].PntB.y};
    const float colV[3] = {pts[1].PntA.y, pts[4].PntA.y, pts[7].PntA.y};
    const double cy = FitQuadratic(lsm, colY, colV);
    par.QY[0] = 1.0;
    par.QY[1] = cy;

    for (tagCalData& row : pts) {
        const float x = row.PntB.x, y = row.PntB.y;
        row.PntB.x = static_cast<float>(cx * x * x + x);
        row.PntB.y = static_cast<float>(cy * y * y + y);
    }

    // asGiven's corners are sheared by MeasureShape and then dropped.
    MeasureShape(par, asGiven);
    FitCrossTerms(par, pts, f, par.PLX);
}
