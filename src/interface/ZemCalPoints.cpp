// The facade's point-correction calls: logical millimetres in, galvo units
// out. The steps around the engines (inversions, offsets, shift) are in
// FacadeSteps.h, shared with the prepared corrector.
#include <zemcal/CalibAlg.h>
#include <zemcal/Facade.h>

#include <cmath>
#include <cstdint>

#include "FacadeSteps.h"
#include "calib/CorrectionSteps.h"

namespace {

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
    if (par.UseLsm != 0) {
        zemcal_detail::Invert(in, zemcal_detail::SavedFlags(par));
        return CCalibAlg::CalibLSM(par, in, out);
    }
    zemcal_detail::ManualPoint(par, in, out);
    return true;
}

bool ZemCal::Calib9Pt(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out) {
    return CCalibAlg::CalibLSM(par, in, out);
}

bool ZemCal::CalibBox(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out) {
    return CCalibAlg::CalibManual(par, in, out);
}

bool ZemCal::LP2DPEX_Cal(tagVeyPointF in, tagVeyPointF& out, const tagLenPar& par) {
    const double scale = static_cast<double>(par.Resolution) / par.FieldSize;
    zemcal_detail::Invert(in, zemcal_detail::SavedFlags(par));
    out.x = zemcal_detail::ClampToDevice(static_cast<float>(in.x * scale + par.Center), par.Resolution);
    out.y = zemcal_detail::ClampToDevice(static_cast<float>(in.y * scale + par.Center), par.Resolution);
    return true;
}

bool ZemCal::LP2DPEX_SFT(const tagVeyPointF& in, tagVeyPointF& out, const tagLenPar& par, bool shift) {
    CalibPoint(par, in, out);
    zemcal_detail::ShiftCorrected(par, out, shift);
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
