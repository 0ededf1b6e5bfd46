// The facade's per-point steps around the correction engines, shared by
// ZemCal's point calls and the prepared corrector so that both run the very
// same code. Internal to the library; never installed.
//
// The steps that compute with the point (offsets, shift) are compiled once
// and called by both (calib/OneCopy.h says why); the inversions only flip
// signs and may be inlined anywhere.
//
// Axis handling: the record carries two sets of flags, the plain ones for the
// manual path and the saved copies for the least-squares path. Here a flag
// set only negates coordinates (a sign flip of the float); the flip flag
// chooses which coordinate each invert flag acts on, and the correction
// engines deal with the exchange of the axes themselves.
//
// Precision: the manual offsets are added in double and narrowed to float;
// the shift of LP2DPEX_SFT scales in single precision and adds the shift in
// double. Both narrowings are part of the result.
#pragma once

#include <cstdint>

#include <zemcal/LenPar.h>

namespace zemcal_detail {

struct AxisFlags {
    std::int32_t flip, xInvert, yInvert;
};

inline AxisFlags SavedFlags(const tagLenPar& par) {
    return {par.XYFlipSaved, par.XInvertSaved, par.YInvertSaved};
}

/// The flag set of the path UseLsm selects.
inline AxisFlags ActiveFlags(const tagLenPar& par) {
    return par.UseLsm != 0 ? SavedFlags(par) : AxisFlags{par.XYFlip, par.XInvert, par.YInvert};
}

/// With the flip clear X-invert negates x and Y-invert y; with the flip set
/// they act on the other coordinate.
inline void Invert(tagVeyPointF& p, const AxisFlags& f) {
    const bool negX = f.flip != 0 ? f.yInvert != 0 : f.xInvert != 0;
    const bool negY = f.flip != 0 ? f.xInvert != 0 : f.yInvert != 0;
    if (negX) p.x = -p.x;
    if (negY) p.y = -p.y;
}

/// ZemCal::CalibPoint on the manual path: the plain inversions, the offsets
/// OffsetX/OffsetY, then CCalibAlg::CalibManual.
void ManualPoint(const tagLenPar& par, tagVeyPointF in, tagVeyPointF& out);

/// The tail of ZemCal::LP2DPEX_SFT on a corrected point: with shift set, the
/// scale SftScaleX/Y about the centre and the shift SftX/Y (fractions of
/// FieldSize); then, shift or not, the clamp to [0, Resolution].
void ShiftCorrected(const tagLenPar& par, tagVeyPointF& out, bool shift);

}  // namespace zemcal_detail
