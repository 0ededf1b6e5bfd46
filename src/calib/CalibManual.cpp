// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
bool CCalibAlg::CalibManual(const tagLenPar&, tagVeyPointF&, tagVeyPointF& out) { out = {0, 0}; return true; }
double CCalibAlg::GetScaleValue(int, double, const double*, const double*, const double*) { return 1.0; }
