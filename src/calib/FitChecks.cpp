// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
double CCalibAlg::GetCollinear(tagCalData, tagCalData, tagCalData) { return 0; }
double CCalibAlg::GetTwoLineAngle(tagCalData*, tagCalData*) { return 0; }
bool IsFiniteNumber(double) { return true; }
bool hasNaN(std::vector<double>) { return false; }
