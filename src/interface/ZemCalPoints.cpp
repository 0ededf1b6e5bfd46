// The facade's point-correction calls: logical millimetres in, galvo units
// out.
//
// Axis handling: the record carries two sets of flags, the plain ones for the
// manual path and the saved copies for the least-squares path. Here a flag
// set only negates coordinates; the flip flag chooses which coordinate each
// invert flag acts on, and the correction engines deal with the exchange of
// the axes themselves.
#include <zemcal/CalibAlg.h>
#include <zemcal/Facade.h>

#include <cmath>
#include <cstdint>

#include "calib/CorrectionSteps.h"

namespace {

struct AxisFlags {
    std::int32_t flip, xInvert, yInvert;
};

AxisFlags savedFlags(const tagLenPar& par) {
    return {par.XYFlipSaved, par.XInvertSaved, par.YInvertSaved};
}

AxisFlags activeFlags(const tagLenPar& par) {
    return par.UseLsm != 0 ? savedFlags(par) : AxisFlags{par.XYFlip, par.XInvert, par.YInvert};
}

// With the flip clear X-invert negates x and Y-invert y; with the flip set
// they act on the other coordinate.
void invert(tagVeyPointF& p, const AxisFlags& f) {
    const bool negX = f.flip != 0 ? f.yInvert != 0 : f.xInvert != 0;
    const bool negY = f.flip != 0 ? f.xInvert != 0 : f.yInvert != 0;
    if (negX) p.x = -p.x;
    if (negY) p.y = -p.y;
}

// Cuts v toward zero to six decimals through a 32-bit integer. Values the
// integer cannot hold (including NaN and infinities) give INT32_MIN, as the
// processor's truncating conversion does, i.e. -2147.483648.
double truncateMicro(double v) {
    const double scaled = v * 1e6;
    std::int32_t whole = INT32_MIN;
    if (scaled > -2147483649.0 && scaled < 2147483648.0) whole = static_cast<std::int32_t>(scaled);
    return whole / 1e6;
}

}  // namespace

bool ZemCal::CalibPoint(const tagLenPar& par, tagVeyPointF in, tagVeyPointF& out) {
    invert(in, activeFlags(par));
    if (par.UseLsm != 0) return CCalibAlg::CalibLSM(par, in, out);
    // The offsets belong to the manual path only.
    in.x = static_cast<float>(static_cast<double>(in.x) + par.OffsetX);
    in.y = static_cast<float>(static_cast<double>(in.y) + par.OffsetY);
    return CCalibAlg::CalibManual(par, in, out);
}

bool ZemCal::Calib9Pt(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out) {
    return CCalibAlg::CalibLSM(par, in, out);
}

bool ZemCal::CalibBox(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out) {
    return CCalibAlg::CalibManual(par, in, out);
}

bool ZemCal::LP2DPEX_Cal(tagVeyPointF in, tagVeyPointF& out, const tagLenPar& par) {
    const double scale = static_cast<double>(par.Resolution) / par.FieldSize;
    invert(in, savedFlags(par));
    out.x = zemcal_detail::ClampToDevice(static_cast<float>(in.x * scale + par.Center), par.Resolution);
    out.y = zemcal_detail::ClampToDevice(static_cast<float>(in.y * scale + par.Center), par.Resolution);
    return true;
}

bool ZemCal::LP2DPEX_SFT(const tagVeyPointF& in, tagVeyPointF& out, const tagLenPar& par, bool shift) {
    CalibPoint(par, in, out);
    if (shift) {
        const float c = static_cast<float>(par.Center);
        const float resolution = static_cast<float>(par.Resolution);
        const float dx = (out.x - c) * par.SftScaleX;
        const float dy = (out.y - c) * par.SftScaleY;
        double sx = static_cast<double>(par.SftX * resolution) / par.FieldSize;
        double sy = static_cast<double>(par.SftY * resolution) / par.FieldSize;
        // The shift signs pair with the invert flags the other way round from
        // the point inversion when the flip is clear; heads in the field are
        // adjusted to this pairing, so it is kept.
        const AxisFlags f = activeFlags(par);
        const bool negX = f.flip != 0 ? f.xInvert != 0 : f.yInvert != 0;
        const bool negY = f.flip != 0 ? f.yInvert != 0 : f.xInvert != 0;
        if (negX) sx = -sx;
        if (negY) sy = -sy;
        out.x = static_cast<float>((dx + c) + sx);
        out.y = static_cast<float>((dy + c) + sy);
    }
    out.x = zemcal_detail::ClampToDevice(out.x, par.Resolution);
    out.y = zemcal_detail::ClampToDevice(out.y, par.Resolution);
    return true;
}

bool ZemCal::getRecManParas(double* a, double* b, double* out) {
    // a[2] is the measured corner angle in degrees; the historical constant
    // 3.14159 (not full pi) is part of the stored values.
    double b4 = b[4];
    if (a[2] != 90.0) b4 = b[4] - 1.0 / std::tan(a[2] * 3.14159 / 180.0);
    out[0] = truncateMicro(a[0] * b[0] / a[4]);
    out[1] = truncateMicro(a[1] * b[1] / a[7]);
    out[2] = truncateMicro(b[2] - b[8] * b[8] * (a[3] + a[5] - 2.0 * a[4]) / (2.0 * a[4] * a[7] * a[7]));
    out[3] = truncateMicro(b[3] - b[8] * b[8] * (a[6] + a[8] - 2.0 * a[7]) / (2.0 * a[7] * a[4] * a[4]));
    out[4] = truncateMicro(b4);
    out[5] = truncateMicro(b[5]);
    out[6] = truncateMicro(b[6] + (a[3] - a[5]) / (2.0 * a[7]));
    out[7] = truncateMicro(b[7] + (a[6] - a[8]) / (2.0 * a[4]));
    return true;
}
