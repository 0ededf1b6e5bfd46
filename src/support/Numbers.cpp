// Locale-independent number conversions of the text formats.
//
// Each conversion is the C library call behind the standard function it
// replaces (strtol behind std::stoi, strtof behind std::stof, vsnprintf "%Lf"
// behind std::to_string(long double)), run with the calling thread switched
// to the classic locale by uselocale. Using the same calls, rather than a
// parser of our own, keeps every result identical to the standard function
// in the "C" locale: the digits, the rounding, hexadecimal floats, "inf" and
// "nan", and the ERANGE conditions that become std::out_of_range.
#include "support/Numbers.h"

#include <cerrno>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <stdexcept>

#include <locale.h>

namespace zemcal::support {
namespace {

// The classic locale as an object for uselocale. Asking for "C" in every
// category needs no locale files (glibc hands out its built-in object), so
// this does not fail in practice; if it ever did, uselocale(0) only queries
// and the conversions would run in the thread's own locale as before.
locale_t classicLocale() {
    static const locale_t classic = ::newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0));
    return classic;
}

// Switches the calling thread to the classic locale while in scope. Only this
// thread is affected: the host's process locale and its other threads keep
// theirs, and the previous setting is restored even when a conversion throws.
class ClassicScope {
public:
    ClassicScope() : previous_(::uselocale(classicLocale())) {}
    ~ClassicScope() { ::uselocale(previous_); }
    ClassicScope(const ClassicScope&) = delete;
    ClassicScope& operator=(const ClassicScope&) = delete;

private:
    locale_t previous_;
};

// errno as the standard conversions treat it: cleared before the call so that
// ERANGE is the conversion's own, and the caller's value put back unless the
// conversion set one.
class ErrnoScope {
public:
    ErrnoScope() : saved_(errno) { errno = 0; }
    ~ErrnoScope() {
        if (errno == 0) errno = saved_;
    }
    ErrnoScope(const ErrnoScope&) = delete;
    ErrnoScope& operator=(const ErrnoScope&) = delete;

private:
    int saved_;
};

}  // namespace

int stoiClassic(const std::string& text) {
    const ErrnoScope errnoScope;
    const char* begin = text.c_str();
    char* end = nullptr;
    long value = 0;
    {
        const ClassicScope classic;
        value = std::strtol(begin, &end, 10);
    }
    // The what() texts are those of the standard functions, for hosts that
    // report them.
    if (end == begin) throw std::invalid_argument("stoi");
    if (errno == ERANGE || value < INT_MIN || value > INT_MAX) throw std::out_of_range("stoi");
    return static_cast<int>(value);
}

float stofClassic(const std::string& text) {
    const ErrnoScope errnoScope;
    const char* begin = text.c_str();
    char* end = nullptr;
    float value = 0.0f;
    {
        const ClassicScope classic;
        value = std::strtof(begin, &end);
    }
    if (end == begin) throw std::invalid_argument("stof");
    if (errno == ERANGE) throw std::out_of_range("stof");
    return value;
}

double strtodClassic(const char* text) {
    const ClassicScope classic;
    return std::strtod(text, nullptr);
}

std::string toStringClassic(long double value) {
    const ClassicScope classic;
    // Measure, then format: the longest "%Lf" (a long double near its
    // maximum) runs to almost 5000 characters.
    const int length = std::snprintf(nullptr, 0, "%Lf", value);
    if (length < 0) return std::string();  // an output error; nothing to size
    std::string text(static_cast<std::size_t>(length), '\0');
    std::snprintf(&text[0], text.size() + 1, "%Lf", value);
    return text;
}

}  // namespace zemcal::support
