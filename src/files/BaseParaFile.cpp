// STUB: placeholder until the real implementation lands.
#include <zemcal/BcdFile.h>
bool CBcdFile::GetBasePara(const char*, double&, double&, int&) { return true; }
bool CBcdFile::SaveBasePara(const char*, tagLenPar&) { return true; }
