// The point filter's line parser and bounded line reader.
#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "PointLines.h"

using namespace zemcal_tool;

// Points with blanks and tabs, a '+', CR-LF, float narrowing and signed
// zero; blank and '#' lines pass through; anything else is refused with the
// reason the user is shown.
TEST(PointLines, ParsesPointsCommentsAndRefusesTheRest) {
    const struct { const char* line; float x, y; } points[] = {
        {"1 2", 1.0f, 2.0f}, {"  -0.5\t+3e1  ", -0.5f, 30.0f}, {"25 -10\r", 25.0f, -10.0f},
        {"0.1 0", 0.1f, 0.0f}, {"-0 0", -0.0f, 0.0f}};
    for (const auto& c : points) {
        const ParsedLine p = parsePointLine(c.line);
        EXPECT_TRUE(p.kind == LineKind::Point && p.x == c.x && std::signbit(p.x) == std::signbit(c.x) && p.y == c.y)
            << c.line << ": " << p.error << " " << p.x << " " << p.y;
    }
    for (const char* line : {"", " \t\r", "# x y", "   #indented comment"})
        EXPECT_EQ(parsePointLine(line).kind, LineKind::PassThrough) << line;
    const std::pair<const char*, std::vector<const char*>> bad[] = {
        {"expected two numbers", {"abc", "1,2", "1 2x", "++1 0", "0x10 0"}}, {"found one", {"1"}},
        {"unexpected text", {"1 2 3", "1 2 # note"}}, {"finite", {"nan 0", "0 -inf"}},
        {"out of range", {"1e39 0", "1e999 0"}}};  // beyond float, beyond double
    for (const auto& [why, lines] : bad)
        for (const char* line : lines) {
            const ParsedLine p = parsePointLine(line);
            EXPECT_TRUE(p.kind == LineKind::Bad && std::string(p.error).find(why) != std::string::npos)
                << line << ": " << p.error;
        }
}

// Lines split across the 64 KiB buffer boundary (inside the third line); a
// line of exactly kMaxLine bytes is kept, longer ones are flagged and not
// stored; a last line without '\n' still counts.
TEST(PointLines, ReaderSplitsLinesAndFlagsOverlongOnes) {
    const std::string exact(LineReader::kMaxLine, '8');
    std::string input = "a\n\n" + std::string(70000, '#') + "\n" + std::string(LineReader::kMaxLine + 1, '7') + "\n" +
                        exact + "\nlast";
    std::FILE* f = fmemopen(input.data(), input.size(), "r");
    ASSERT_NE(f, nullptr);
    LineReader reader(f);
    std::string seen;  // each line, "<long>" where flagged, then '|'
    std::string_view line;
    bool tooLong = false;
    while (reader.next(line, tooLong)) seen += std::string(line) + (tooLong ? "<long>|" : "|");
    std::fclose(f);
    EXPECT_EQ(seen, "a||<long>|<long>|" + exact + "|last|");
}
