// Number conversions of the text formats, independent of the host's locale.
//
// The INI store and the text import read numbers as std::stoi, std::stof and
// strtod do and write them as std::to_string(long double) does. Those follow
// the process locale (LC_NUMERIC, and LC_CTYPE for the white space they
// skip), so a host that called setlocale(LC_ALL, "") under a comma-decimal
// locale would read "0.5" as 0 and write "0,500000". A calibration file means
// the same on every machine, so these functions run the very same C library
// conversions in the classic "C" locale, selected for the calling thread only
// while they run. Everything else is unchanged: white space is skipped,
// trailing text is ignored, and the error conditions, exception types and
// what() texts are those of the standard functions.
#pragma once

#include <string>

namespace zemcal::support {

/// std::stoi(text, nullptr, 10) in the "C" locale. Throws
/// std::invalid_argument when no number starts the text (after white space)
/// and std::out_of_range when it does not fit an int.
int stoiClassic(const std::string& text);

/// std::stof(text) in the "C" locale, with the same exceptions (out_of_range
/// whenever strtof reports ERANGE, overflow and underflow alike).
float stofClassic(const std::string& text);

/// std::strtod(text, nullptr) in the "C" locale: no error reporting, text
/// that is not a number gives 0.
double strtodClassic(const char* text);

/// std::to_string(value) in the "C" locale: "%Lf", fixed notation with six
/// decimals and '.' as the decimal point, e.g. "0.500000", "-inf", "nan".
std::string toStringClassic(long double value);

}  // namespace zemcal::support
