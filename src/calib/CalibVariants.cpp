// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
bool CCalibAlg::CalibPoint6(const tagLenPar&, tagVeyPointF, tagVeyPointF&) { return true; }
