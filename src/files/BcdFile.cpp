// STUB: placeholder until the real implementation lands.
#include <zemcal/BcdFile.h>
bool CBcdFile::SaveBcdFile(const char*, tagLenPar&) { return false; }
bool CBcdFile::LoadBcdFile(const char*, tagLenPar&) { return false; }
int CBcdFile::GetCalOrder(int) { return 3; }
