// STUB: placeholder until the real implementation lands.
#include <zemcal/BcdFile.h>
bool CBcdFile::LoadCorFile(const char*, tagLenPar&) { return false; }
