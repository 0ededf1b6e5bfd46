// The point filter's line parser and bounded line reader.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <string>
#include <vector>

#include "PointLines.h"

using zemcal_tool::LineKind;
using zemcal_tool::LineReader;
using zemcal_tool::parsePointLine;

TEST(PointLines, ParsesPointsCommentsAndRefusesTheRest) {
    struct Case {
        const char* line;
        LineKind kind;
        float x, y;
        const char* error;  // substring, for Bad lines
    } cases[] = {
        {"1 2", LineKind::Point, 1.0f, 2.0f, ""},
        {"  -0.5\t+3e1  ", LineKind::Point, -0.5f, 30.0f, ""},
        {"25 -10\r", LineKind::Point, 25.0f, -10.0f, ""},  // CR-LF input
        {"0.1 0", LineKind::Point, 0.1f, 0.0f, ""},         // narrowed to the float nearest 0.1
        {"-0 0", LineKind::Point, -0.0f, 0.0f, ""},
        {"", LineKind::PassThrough, 0, 0, ""},
        {" \t\r", LineKind::PassThrough, 0, 0, ""},
        {"# x y", LineKind::PassThrough, 0, 0, ""},
        {"   #indented comment", LineKind::PassThrough, 0, 0, ""},
        {"abc", LineKind::Bad, 0, 0, "expected two numbers"},
        {"1", LineKind::Bad, 0, 0, "found one"},
        {"1 2 3", LineKind::Bad, 0, 0, "unexpected text"},
        {"1,2", LineKind::Bad, 0, 0, "expected two numbers"},
        {"1 2x", LineKind::Bad, 0, 0, "expected two numbers"},
        {"1 2 # note", LineKind::Bad, 0, 0, "unexpected text"},
        {"nan 0", LineKind::Bad, 0, 0, "finite"},
        {"0 -inf", LineKind::Bad, 0, 0, "finite"},
        {"1e39 0", LineKind::Bad, 0, 0, "out of range"},  // beyond float
        {"1e999 0", LineKind::Bad, 0, 0, "out of range"},
        {"++1 0", LineKind::Bad, 0, 0, "expected two numbers"},
        {"0x10 0", LineKind::Bad, 0, 0, "expected two numbers"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.line);
        const auto p = parsePointLine(c.line);
        ASSERT_EQ(p.kind, c.kind) << p.error;
        if (c.kind == LineKind::Point) {
            EXPECT_EQ(p.x, c.x);
            EXPECT_EQ(std::signbit(p.x), std::signbit(c.x));
            EXPECT_EQ(p.y, c.y);
        }
        if (c.kind == LineKind::Bad) {
            EXPECT_NE(std::string(p.error).find(c.error), std::string::npos) << p.error;
        }
    }
}

TEST(PointLines, ReaderSplitsLinesAndFlagsOverlongOnes) {
    const std::string longLine(LineReader::kMaxLine + 1, '7');
    const std::string exact(LineReader::kMaxLine, '8');
    // A 64 KiB buffer boundary falls inside the third line.
    const std::string filler(70000, '#');
    const std::string input = "a\n\n" + filler + "\n" + longLine + "\n" + exact + "\nlast";
    std::FILE* f = fmemopen(const_cast<char*>(input.data()), input.size(), "r");
    ASSERT_NE(f, nullptr);
    LineReader reader(f);
    std::vector<std::pair<std::string, bool>> lines;
    std::string_view line;
    bool tooLong = false;
    while (reader.next(line, tooLong)) lines.emplace_back(std::string(line), tooLong);
    std::fclose(f);
    ASSERT_EQ(lines.size(), 6u);
    EXPECT_EQ(lines[0], std::make_pair(std::string("a"), false));
    EXPECT_EQ(lines[1], std::make_pair(std::string(), false));
    EXPECT_TRUE(lines[2].second);  // 70000 bytes: flagged, not stored
    EXPECT_EQ(lines[2].first, "");
    EXPECT_TRUE(lines[3].second);
    EXPECT_EQ(lines[4], std::make_pair(exact, false));
    EXPECT_EQ(lines[5], std::make_pair(std::string("last"), false));  // no final newline
}
