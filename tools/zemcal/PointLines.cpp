// Parsing and reading the point filter's input; see PointLines.h.
#include "PointLines.h"

#include <charconv>
#include <cmath>
#include <cstring>
#include <limits>

namespace zemcal_tool {

namespace {

bool isBlank(char c) { return c == ' ' || c == '\t'; }

// Parses one number at s, advancing it. Returns an error text or nullptr.
const char* parseNumber(std::string_view& s, float& out) {
    const char* first = s.data();
    const char* last = s.data() + s.size();
    if (first != last && *first == '+') ++first;
    double v = 0.0;
    const auto r = std::from_chars(first, last, v, std::chars_format::general);
    if (r.ec == std::errc::result_out_of_range) return "number out of range";
    if (r.ec != std::errc()) return "expected two numbers \"x y\"";
    if (r.ptr != last && !isBlank(*r.ptr)) return "expected two numbers \"x y\"";
    if (!std::isfinite(v)) return "not a finite number";
    if (std::fabs(v) > std::numeric_limits<float>::max()) return "number out of range";
    out = static_cast<float>(v);
    s.remove_prefix(static_cast<std::size_t>(r.ptr - s.data()));
    return nullptr;
}

void skipBlanks(std::string_view& s) {
    while (!s.empty() && isBlank(s.front())) s.remove_prefix(1);
}

}  // namespace

ParsedLine parsePointLine(std::string_view line) {
    ParsedLine p;
    if (!line.empty() && line.back() == '\r') line.remove_suffix(1);
    skipBlanks(line);
    if (line.empty() || line.front() == '#') {
        p.kind = LineKind::PassThrough;
        return p;
    }
    if ((p.error = parseNumber(line, p.x)) != nullptr) return p;
    skipBlanks(line);
    if (line.empty()) {
        p.error = "expected two numbers \"x y\", found one";
        return p;
    }
    if ((p.error = parseNumber(line, p.y)) != nullptr) return p;
    skipBlanks(line);
    if (!line.empty()) {
        p.error = "unexpected text after \"x y\"";
        return p;
    }
    p.kind = LineKind::Point;
    p.error = "";
    return p;
}

bool LineReader::fill() {
    pos_ = 0;
    len_ = std::fread(buf_, 1, sizeof buf_, in_);
    return len_ > 0;
}

bool LineReader::next(std::string_view& line, bool& tooLong) {
    line_.clear();
    tooLong = false;
    bool any = false;
    for (;;) {
        if (pos_ == len_ && !fill()) break;
        any = true;
        const char* start = buf_ + pos_;
        const void* nl = std::memchr(start, '\n', len_ - pos_);
        const std::size_t n = nl ? static_cast<std::size_t>(static_cast<const char*>(nl) - start) : len_ - pos_;
        if (!tooLong) {
            if (line_.size() + n > kMaxLine) {
                tooLong = true;
                line_.clear();
            } else {
                line_.append(start, n);
            }
        }
        pos_ += n;
        if (nl) {
            ++pos_;  // the '\n'
            break;
        }
    }
    line = line_;
    return any;
}

}  // namespace zemcal_tool
