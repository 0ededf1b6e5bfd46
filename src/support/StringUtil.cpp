// STUB: placeholder until the real implementation lands.
#include <zemcal/StringUtil.h>
const wchar_t* const DELIMITER = L" \t\n\r\f\v";
template <typename T> std::string vey_tostring(T) { return {}; }
template <typename T> std::wstring vey_towstring(T) { return {}; }
template std::string vey_tostring<int>(int);
template std::string vey_tostring<long>(long);
template std::string vey_tostring<double>(double);
template std::string vey_tostring<wchar_t>(wchar_t);
template std::wstring vey_towstring<int>(int);
template std::wstring vey_towstring<long>(long);
template std::wstring vey_towstring<double>(double);
namespace StringUtil {
void split(std::string&, const std::string&, std::vector<std::string>& out) { out.clear(); }
void wsplit(std::wstring&, const std::wstring&, std::vector<std::wstring>&) {}
std::string& rtrim(std::string& s, const char*) { return s; }
std::string& ltrim(std::string& s, const char*) { return s; }
std::string& trim(std::string& s, const char*) { return s; }
std::string ReplaceInPlace(std::string& s, const std::string&, const std::string&) { return s; }
std::wstring ReplaceInPlace(std::wstring& s, const std::wstring&, const std::wstring&) { return s; }
std::string toUpper(std::string& s) { return s; }
std::string toLower(std::string& s) { return s; }
std::wstring toUpper(std::wstring& s) { return s; }
std::wstring toLower(std::wstring& s) { return s; }
int compareNoCase(const std::string&, const std::string&) { return 0; }
bool startWith(const std::string&, const std::string&) { return false; }
bool endWith(const std::string&, const std::string&) { return false; }
std::string format(const char*, ...) { return {}; }
std::string to_string(int) { return {}; }
std::string to_string(long) { return {}; }
std::string to_string(double) { return {}; }
std::string to_string(wchar_t) { return {}; }
std::wstring to_wstring(int) { return {}; }
std::wstring to_wstring(long) { return {}; }
std::wstring to_wstring(double) { return {}; }
std::wstring to_wstring(const std::string&) { return {}; }
std::string to_string(const std::wstring&) { return {}; }
bool IsNum(std::wstring) { return true; }
long hexStrToi(std::wstring) { return 0; }
}
