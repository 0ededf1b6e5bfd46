// String helpers for the INI store, the text import and host applications.
//
// Several functions keep historical edges that hosts may depend on (split's
// one-character advance, startWith testing a suffix, endWith true only for an
// empty argument, to_string(wchar_t) giving the character code, IsNum's
// leniency). They are written out literally below; do not "fix" them.
#include <zemcal/StringUtil.h>

#include <cctype>
#include <clocale>
#include <cstdarg>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwchar>
#include <cwctype>
#include <sstream>

const wchar_t* const DELIMITER = L" \t\n\r\f\v";

template <typename T>
std::string vey_tostring(T v) {
    // For wchar_t no character overload of a narrow stream applies, so the
    // value is promoted to int and its decimal code is written.
    std::ostringstream os;
    os << v;
    return os.str();
}

template <typename T>
std::wstring vey_towstring(T v) {
    std::wostringstream os;
    os << v;
    return os.str();
}

template ZEMCAL_API std::string vey_tostring<int>(int);
template ZEMCAL_API std::string vey_tostring<long>(long);
template ZEMCAL_API std::string vey_tostring<double>(double);
template ZEMCAL_API std::string vey_tostring<wchar_t>(wchar_t);
template ZEMCAL_API std::wstring vey_towstring<int>(int);
template ZEMCAL_API std::wstring vey_towstring<long>(long);
template ZEMCAL_API std::wstring vey_towstring<double>(double);

namespace {

// The narrow case functions receive each char widened as a signed value, as
// the historical code did; glibc's tables accept -128..255.
int signedCode(char c) { return static_cast<int>(static_cast<signed char>(c)); }

// The locale the narrow/wide conversions ask for. Where it does not exist
// setlocale fails and the caller's LC_CTYPE stays in force.
void selectConversionLocale() { std::setlocale(LC_CTYPE, "chs.UTF-8"); }

template <typename Str>
Str replaceAll(Str& s, const Str& from, const Str& to) {
    // An empty pattern would match at every position forever; leave s as is.
    if (from.empty()) return s;
    typename Str::size_type start = 0;
    typename Str::size_type pos;
    while ((pos = s.find(from, start)) != Str::npos) {
        s.replace(pos, from.size(), to);
        start = pos + to.size();  // skip the inserted text
    }
    return s;
}

}  // namespace

namespace StringUtil {

void split(std::string& s, const std::string& delim, std::vector<std::string>& out) {
    out.clear();
    std::string::size_type start = 0;
    std::string::size_type pos = s.find(delim, start);
    while (pos != std::string::npos) {
        out.push_back(s.substr(start, pos - start));
        // One character past the match start, not past the whole delimiter.
        start = pos + 1;
        if (start > s.size()) break;  // only an empty delimiter gets here
        pos = s.find(delim, start);
    }
    // The tail is kept only when it is not empty, so "a b " has no empty last field.
    if (start < s.size()) out.push_back(s.substr(start));
}

void wsplit(std::wstring& s, const std::wstring& delims, std::vector<std::wstring>& out) {
    std::wstring::size_type start = 0;
    std::wstring::size_type pos = s.find_first_of(delims, start);
    while (pos != std::wstring::npos) {
        out.push_back(s.substr(start, pos - start));
        start = pos + 1;
        if (start >= s.size()) break;
        pos = s.find_first_of(delims, start);
    }
    // Unlike split, the tail is appended even when empty.
    out.push_back(s.substr(start));
}

std::string& rtrim(std::string& s, const char* set) {
    const std::size_t n = std::strlen(set);
    std::size_t end = s.size();
    while (end > 0 && std::memchr(set, s[end - 1], n) != nullptr) --end;
    s.erase(end);
    return s;
}

std::string& ltrim(std::string& s, const char* set) {
    const std::size_t n = std::strlen(set);
    std::size_t begin = 0;
    while (begin < s.size() && std::memchr(set, s[begin], n) != nullptr) ++begin;
    s.erase(0, begin);
    return s;
}

std::string& trim(std::string& s, const char* set) { return ltrim(rtrim(s, set), set); }

std::string ReplaceInPlace(std::string& s, const std::string& from, const std::string& to) {
    return replaceAll(s, from, to);
}

std::wstring ReplaceInPlace(std::wstring& s, const std::wstring& from, const std::wstring& to) {
    return replaceAll(s, from, to);
}

std::string toUpper(std::string& s) {
    for (char& c : s) c = static_cast<char>(std::toupper(signedCode(c)));
    return s;
}

std::string toLower(std::string& s) {
    for (char& c : s) c = static_cast<char>(std::tolower(signedCode(c)));
    return s;
}

std::wstring toUpper(std::wstring& s) {
    for (wchar_t& c : s) c = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(c)));
    return s;
}

std::wstring toLower(std::wstring& s) {
    for (wchar_t& c : s) c = static_cast<wchar_t>(std::towlower(static_cast<std::wint_t>(c)));
    return s;
}

int compareNoCase(const std::string& a, const std::string& b) {
    std::string ua = a;
    std::string ub = b;
    toUpper(ua);
    toUpper(ub);
    const int r = ua.compare(ub);
    return (r > 0) - (r < 0);
}

bool startWith(const std::string& s, const std::string& t) {
    // Sizes compared as 32-bit signed values, as stored by the historical code.
    if (static_cast<std::int32_t>(s.size()) < static_cast<std::int32_t>(t.size())) return false;
    // Despite the name: the LAST t.size() characters are compared.
    return compareNoCase(s.substr(s.size() - t.size()), t) == 0;
}

bool endWith(const std::string& s, const std::string& t) {
    if (static_cast<std::int32_t>(s.size()) < static_cast<std::int32_t>(t.size())) return false;
    // The substring starts at the end of s and is always empty, so only an
    // empty t matches. Kept because hosts rely on it.
    return compareNoCase(s.substr(s.size(), t.size()), t) == 0;
}

std::string format(const char* fmt, ...) {
    // One pass into a fixed, zero-filled buffer: longer output is cut at 2047.
    char buffer[2048] = {};
    va_list args;
    va_start(args, fmt);
    std::vsnprintf(buffer, sizeof buffer, fmt, args);
    va_end(args);
    return std::string(buffer);
}

std::string to_string(int v) { return vey_tostring(v); }
std::string to_string(long v) { return vey_tostring(v); }
std::string to_string(double v) { return vey_tostring(v); }
std::string to_string(wchar_t v) { return vey_tostring(v); }
std::wstring to_wstring(int v) { return vey_towstring(v); }
std::wstring to_wstring(long v) { return vey_towstring(v); }
std::wstring to_wstring(double v) { return vey_towstring(v); }

std::wstring to_wstring(const std::string& s) {
    if (s.empty()) return std::wstring();
    selectConversionLocale();
    // Zero-filled, so a conversion stopped by an invalid sequence still
    // leaves the converted prefix terminated.
    std::vector<wchar_t> buffer(s.size() + 1, L'\0');
    std::mbstowcs(buffer.data(), s.c_str(), s.size() + 1);
    return std::wstring(buffer.data());
}

std::string to_string(const std::wstring& ws) {
    if (ws.empty()) return std::string();
    selectConversionLocale();
    const std::size_t size = 4 * ws.size() + 1;
    std::vector<char> buffer(size, '\0');
    if (std::wcstombs(buffer.data(), ws.c_str(), size) == static_cast<std::size_t>(-1)) {
        return std::string();  // an unconvertible character: no partial text
    }
    // wcstombs does not terminate a buffer it filled completely.
    return std::string(buffer.data(), strnlen(buffer.data(), size));
}

bool IsNum(std::wstring s) {
    for (std::size_t i = 0; i < s.size(); ++i) {
        const wchar_t c = s[i];
        if (c == L'.' || (c >= L'0' && c <= L'9')) continue;
        if (i == 0 && (c == L'+' || c == L'-')) continue;
        return false;
    }
    return true;  // also for "", ".", "1.2.3", "-" and "+."
}

long hexStrToi(std::wstring s) { return std::wcstol(s.c_str(), nullptr, 16); }

}  // namespace StringUtil
