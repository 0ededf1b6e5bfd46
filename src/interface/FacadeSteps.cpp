// The facade's shared per-point steps; see FacadeSteps.h.
#include "FacadeSteps.h"

#include <zemcal/CalibAlg.h>

#include "calib/CorrectionSteps.h"
#include "calib/OneCopy.h"

namespace zemcal_detail {

ZEMCAL_ONE_COPY void ManualPoint(const tagLenPar& par, tagVeyPointF in, tagVeyPointF& out) {
    Invert(in, AxisFlags{par.XYFlip, par.XInvert, par.YInvert});
    // The offsets belong to the manual path only.
    in.x = static_cast<float>(static_cast<double>(in.x) + par.OffsetX);
    in.y = static_cast<float>(static_cast<double>(in.y) + par.OffsetY);
    CCalibAlg::CalibManual(par, in, out);
}

ZEMCAL_ONE_COPY void ShiftCorrected(const tagLenPar& par, tagVeyPointF& out, bool shift) {
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
        const AxisFlags f = ActiveFlags(par);
        const bool negX = f.flip != 0 ? f.xInvert != 0 : f.yInvert != 0;
        const bool negY = f.flip != 0 ? f.yInvert != 0 : f.xInvert != 0;
        if (negX) sx = -sx;
        if (negY) sy = -sy;
        out.x = static_cast<float>((dx + c) + sx);
        out.y = static_cast<float>((dy + c) + sy);
    }
    out.x = ClampToDevice(out.x, par.Resolution);
    out.y = ClampToDevice(out.y, par.Resolution);
}

}  // namespace zemcal_detail
