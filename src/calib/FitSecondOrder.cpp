// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
void CCalibAlg::MVLSMCoef(tagLenPar&) {}
void CCalibAlg::MVLSMCoef2(tagLenPar&) {}
void CCalibAlg::MVLSMCoef2_new(tagLenPar&) {}
