// STUB: placeholder until the real implementation lands.
#include <zemcal/CfgFile.h>
CCfgFile::CCfgFile() {}
CCfgFile::~CCfgFile() {}
void CCfgFile::setFilename(std::string name) { filename = name; }
bool CCfgFile::loadItems(std::string) { return true; }
bool CCfgFile::saveItems(std::string) { return true; }
void CCfgFile::resetData() {}
void CCfgFile::listData() {}
std::string CCfgFile::GetString(std::string, std::string, std::string def) { return def; }
int CCfgFile::GetInt(std::string, std::string, int def) { return def; }
float CCfgFile::GetFloat(std::string, std::string, float def) { return def; }
double CCfgFile::GetDouble(std::string, std::string, double def) { return def; }
void CCfgFile::SetString(std::string, std::string, std::string) {}
void CCfgFile::SetInt(std::string, std::string, int) {}
void CCfgFile::SetFloat(std::string, std::string, float) {}
void CCfgFile::SetDouble(std::string, std::string, double) {}
