// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
bool CCalibAlg::CalibLSM(const tagLenPar&, const tagVeyPointF&, tagVeyPointF& out) { out = {0, 0}; return true; }
bool CCalibAlg::CalibPoint2(const tagLenPar&, tagVeyPointF, tagVeyPointF& out) { out = {0, 0}; return true; }
bool CCalibAlg::CalibPoint2_new(const tagLenPar&, tagVeyPointF, tagVeyPointF& out) { out = {0, 0}; return true; }
bool CCalibAlg::ShapePoint(const tagLenPar&, const tagVeyPointF&, tagVeyPointF& out) { out = {0, 0}; return true; }
tagVeyPointF CCalibAlg::getPointScale(const tagLenPar&, tagVeyPointF) { return {1, 1}; }
