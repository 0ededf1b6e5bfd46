// The two least-squares correction engines, given the point's summed grid
// residual, shared by CCalibAlg's CalibPoint2 and CalibPoint2_new (which
// find the residual by scanning every cell of every table) and the prepared
// corrector (which finds the same cells through an index). The model is
// described in CalibLsm.cpp. Internal to the library; never installed.
//
// Each engine is one compiled function that every caller runs (OneCopy.h),
// so that NaNs come out with the same bits.
#pragma once

#include <zemcal/LenPar.h>

namespace zemcal_detail {

/// The correction for records fitted by the revised fit: p (mm, inversions
/// applied) to out (galvo units); e is SumGridResidual at p.
void RevisedLsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e, tagVeyPointF& out);

/// The correction for records fitted by the classic fit (version 'P').
void ClassicLsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e, tagVeyPointF& out);

/// CCalibAlg::CalibLSM's choice: classic for version 'P', revised otherwise.
void LsmPoint(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF e, tagVeyPointF& out);

}  // namespace zemcal_detail
