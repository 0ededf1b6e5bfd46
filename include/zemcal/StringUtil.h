// StringUtil: narrow and wide string helpers used by the INI store and the
// text import, and offered to hosts.
//
// Several functions keep deliberate oddities that hosts may rely on; each is
// stated at its declaration. None reports errors: failed conversions give
// partial or empty results.
#pragma once

#include <string>
#include <vector>

#include <zemcal/Export.h>

/// The six white-space characters " \t\n\r\f\v", a ready-made set for
/// wsplit and the trim functions.
extern ZEMCAL_API const wchar_t* const DELIMITER;

/// Writes v to a narrow string stream with default formatting (doubles:
/// precision 6, general notation). Instantiated for int, long, double and
/// wchar_t (which prints the character's decimal code).
template <typename T>
ZEMCAL_API std::string vey_tostring(T v);

/// The wide counterpart of vey_tostring, for int, long and double.
template <typename T>
ZEMCAL_API std::wstring vey_towstring(T v);

extern template ZEMCAL_API std::string vey_tostring<int>(int);
extern template ZEMCAL_API std::string vey_tostring<long>(long);
extern template ZEMCAL_API std::string vey_tostring<double>(double);
extern template ZEMCAL_API std::string vey_tostring<wchar_t>(wchar_t);
extern template ZEMCAL_API std::wstring vey_towstring<int>(int);
extern template ZEMCAL_API std::wstring vey_towstring<long>(long);
extern template ZEMCAL_API std::wstring vey_towstring<double>(double);

namespace StringUtil {

/// Splits s at each occurrence of the substring delim into out (cleared
/// first). Empty fields are kept, except an empty tail. After a match the
/// scan resumes one character past its start, so with a delimiter longer
/// than one character later pieces begin with the delimiter's remainder.
ZEMCAL_API void split(std::string& s, const std::string& delim, std::vector<std::string>& out);

/// Splits s at any character of delims, appending to out (not cleared);
/// the tail is always appended, even when empty.
ZEMCAL_API void wsplit(std::wstring& s, const std::wstring& delims, std::vector<std::wstring>& out);

/// Remove characters of set from the end / the start / both ends of s.
ZEMCAL_API std::string& rtrim(std::string& s, const char* set);
ZEMCAL_API std::string& ltrim(std::string& s, const char* set);
ZEMCAL_API std::string& trim(std::string& s, const char* set);

/// Replaces every occurrence of from by to, left to right, never matching
/// inserted text; modifies s and returns a copy. An empty from would match
/// everywhere forever, so s is then returned unchanged.
ZEMCAL_API std::string ReplaceInPlace(std::string& s, const std::string& from, const std::string& to);
ZEMCAL_API std::wstring ReplaceInPlace(std::wstring& s, const std::wstring& from,
                                       const std::wstring& to);

/// Case mapping in place; returns a copy.
ZEMCAL_API std::string toUpper(std::string& s);
ZEMCAL_API std::string toLower(std::string& s);
ZEMCAL_API std::wstring toUpper(std::wstring& s);
ZEMCAL_API std::wstring toLower(std::wstring& s);

/// Case-insensitive comparison: negative, 0 or positive.
ZEMCAL_API int compareNoCase(const std::string& a, const std::string& b);

/// True when s ENDS with t, ignoring case (the historical name is kept).
ZEMCAL_API bool startWith(const std::string& s, const std::string& t);

/// True exactly when t is empty (historical behaviour, kept).
ZEMCAL_API bool endWith(const std::string& s, const std::string& t);

/// printf-style formatting, cut at 2047 characters.
ZEMCAL_API std::string format(const char* fmt, ...);

/// Decimal text of a number; to_string(wchar_t) gives the character's code.
ZEMCAL_API std::string to_string(int v);
ZEMCAL_API std::string to_string(long v);
ZEMCAL_API std::string to_string(double v);
ZEMCAL_API std::string to_string(wchar_t v);
ZEMCAL_API std::wstring to_wstring(int v);
ZEMCAL_API std::wstring to_wstring(long v);
ZEMCAL_API std::wstring to_wstring(double v);

/// Multibyte <-> wide conversion. Both set the process-wide LC_CTYPE locale
/// to "chs.UTF-8" where it exists (never restored); elsewhere the current
/// locale stays in force. to_wstring returns what was converted before an
/// invalid sequence; to_string returns "" when a character cannot be converted.
ZEMCAL_API std::wstring to_wstring(const std::string& s);
ZEMCAL_API std::string to_string(const std::wstring& ws);

/// Lenient number test: digits and '.' anywhere, a sign in front; true for
/// an empty string.
ZEMCAL_API bool IsNum(std::wstring s);

/// wcstol(s, nullptr, 16).
ZEMCAL_API long hexStrToi(std::wstring s);

}  // namespace StringUtil
