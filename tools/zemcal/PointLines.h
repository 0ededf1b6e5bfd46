// The point filter's input: one logical point per line, "x y" in
// millimetres; blank lines and '#' lines pass through. Reading is bounded and
// parsing allocates nothing, so millions of points stream through.
#pragma once

#include <cstdio>
#include <string>
#include <string_view>

namespace zemcal_tool {

enum class LineKind {
    PassThrough,  ///< blank, or a comment starting with '#': echoed as it is
    Point,        ///< two numbers
    Bad,          ///< anything else: reported, and a '#' line written in its place
};

struct ParsedLine {
    LineKind kind = LineKind::Bad;
    float x = 0.0f;  ///< the point, narrowed to the library's float
    float y = 0.0f;
    const char* error = "";  ///< why a Bad line was refused
};

/// Parses one line (without its '\n'; a trailing '\r' is ignored). Numbers
/// are read locale-independently with std::from_chars; an optional leading
/// '+' is accepted; values must be finite and within float range.
ParsedLine parsePointLine(std::string_view line);

/// Reads lines of at most kMaxLine bytes from a C stream through a fixed
/// buffer; a longer line is consumed to its end and flagged, never stored.
class LineReader {
public:
    static constexpr std::size_t kMaxLine = 4096;

    explicit LineReader(std::FILE* in) : in_(in) { line_.reserve(kMaxLine); }

    /// Next line without its '\n'. False at the end of the input.
    bool next(std::string_view& line, bool& tooLong);

    /// True when the stream reported a read error.
    bool failed() const { return std::ferror(in_) != 0; }

private:
    bool fill();

    std::FILE* in_;
    char buf_[65536];
    std::size_t pos_ = 0, len_ = 0;
    std::string line_;
};

}  // namespace zemcal_tool
