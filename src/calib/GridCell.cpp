// STUB: placeholder until the real implementation lands.
#include <zemcal/CalibAlg.h>
bool CCalibAlg::GetGridDR(const tagLenPar&, const tagVeyPointF&, tagVeyPointF& s, tagVeyPointF& o, const tagStack&) { s = {1, 1}; o = {0, 0}; return true; }
int CCalibAlg::GetQuadrant(tagVeyPointF) { return 0; }
bool CCalibAlg::PointInRect(tagCalData*, tagVeyPointF) { return false; }
bool CCalibAlg::PntInRect(tagCalData*, tagVeyPointF) { return false; }
bool CCalibAlg::PntInRect(std::vector<tagVeyPointF>, tagVeyPointF) { return false; }
bool CCalibAlg::GetPntColRow(const tagVeyPointF&, double, const tagStack&, int& r, int& c) { r = c = -1; return false; }
int CCalibAlg::PntInPolygon(const std::vector<tagVeyPointF>&, tagVeyPointF) { return 0; }
