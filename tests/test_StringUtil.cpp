// StringUtil: the historical edges hosts depend on. Expected values are
// worked out by hand from each function's contract.
#include <zemcal/StringUtil.h>

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <string>
#include <vector>

namespace su = StringUtil;
using Strings = std::vector<std::string>;
using WStrings = std::vector<std::wstring>;

TEST(StringUtilSplit, PiecesAsDocumented) {
    // split clears out first; wsplit appends to it.
    const auto split = [](std::string s, const std::string& d) { Strings out{"x"}; su::split(s, d, out); return out; };
    const auto wsplit = [](std::wstring s, const wchar_t* d) { WStrings out{L"x"}; su::wsplit(s, d, out); return out; };
    // Empty fields are kept but not an empty tail; the scan resumes one
    // character past a match, so later pieces keep the rest of a long
    // delimiter; an empty delimiter still terminates.
    const struct { std::string s, delim; Strings want; } cases[] = {
        {"a  b", " ", {"a", "", "b"}}, {"a b ", " ", {"a", "b"}}, {"", " ", {}}, {"ab", "ab", {"", "b"}},
        {"a--b--c", "--", {"a", "-b", "-c"}}, {"ab", "", {"", "", ""}},
    };
    for (const auto& c : cases) EXPECT_EQ(split(c.s, c.delim), c.want) << '"' << c.s << "\" / \"" << c.delim << '"';

    // wsplit always keeps the tail, even when empty.
    EXPECT_EQ(wsplit(L"a,b,", L",;"), WStrings({L"x", L"a", L"b", L""}));
    EXPECT_EQ(wsplit(L"", L","), WStrings({L"x", L""}));
    EXPECT_EQ(wsplit(L",", L","), WStrings({L"x", L"", L""}));
}

TEST(StringUtilEdit, TrimReplaceCaseAndCompare) {
    std::string s = "[S]\r\r", all = "\r\r", both = " \ta\t ", nuls("\0ab\0", 4);
    EXPECT_EQ(&su::rtrim(s, "\r"), &s);  // in place
    EXPECT_TRUE(s == "[S]" && su::rtrim(all, "\r").empty() && su::trim(both, " \t") == "a");
    EXPECT_EQ(su::trim(nuls, "x").size(), 4u);  // the set's own NUL is not a member

    // Left to right, never matching inserted text; an empty pattern changes nothing.
    const struct { std::string s, from, to, want; } cases[] = {
        {"aaa", "a", "aa", "aaaaaa"}, {"aaaa", "aa", "a", "aa"}, {"abc", "", "y", "abc"}};
    for (auto c : cases) {
        EXPECT_EQ(su::ReplaceInPlace(c.s, c.from, c.to), c.want) << c.from << '>' << c.to;
        EXPECT_EQ(c.s, c.want);
    }
    std::wstring w = L"x.y.z";
    EXPECT_EQ(su::ReplaceInPlace(w, L".", L"::"), L"x::y::z");

    s = "aBc-1\xe9";  // a high byte stays as it is; the case functions work in place
    EXPECT_TRUE(su::toUpper(s) == "ABC-1\xe9" && su::toLower(s) == "abc-1\xe9" && s == "abc-1\xe9");
    w = L"Cal5";
    EXPECT_EQ(su::toUpper(w), L"CAL5");

    EXPECT_TRUE(su::compareNoCase("abc", "ABD") < 0 && su::compareNoCase("ab", "ABC") < 0 &&
                su::compareNoCase("ABC", "abc") == 0 && su::compareNoCase("b", "A") > 0);
    // startWith tests a suffix; endWith is true only for an empty t.
    const struct { std::string s, t; bool start, end; } affixes[] = {
        {"IMAGE.BMP", ".bmp", true, false}, {"abc", "a", false, false}, {"abc", "c", true, false},
        {"ab", "abc", false, false},        {"abc", "", true, true},    {"", "", true, true},
    };
    for (const auto& c : affixes) {
        EXPECT_EQ(su::startWith(c.s, c.t), c.start) << c.s << '/' << c.t;
        EXPECT_EQ(su::endWith(c.s, c.t), c.end) << c.s << '/' << c.t;
    }
}

TEST(StringUtilConvert, NumbersAndWideText) {
    EXPECT_EQ(su::format("PNT%d", 7), "PNT7");
    const std::string big(3000, 'q');
    EXPECT_EQ(su::format("%s", big.c_str()), big.substr(0, 2047));

    // Default stream formatting; a wchar_t gives its decimal code, not the character.
    EXPECT_EQ(Strings({su::to_string(-5), su::to_string(1234567890123L), su::to_string(0.1), su::to_string(100.0),
                       su::to_string(1234567.0), su::to_string(L'A')}),
              Strings({"-5", "1234567890123", "0.1", "100", "1.23457e+06", "65"}));
    EXPECT_EQ(su::to_wstring(-7) + L" " + su::to_wstring(1.5), L"-7 1.5");

    for (const wchar_t* yes : {L"", L".", L"1.2.3", L"-", L"+.", L"-12.5"}) EXPECT_TRUE(su::IsNum(yes)) << yes;
    for (const wchar_t* no : {L"1-2", L"1e5", L" 1", L"++1", L"12a"}) EXPECT_FALSE(su::IsNum(no)) << no;

    EXPECT_EQ(std::vector<long>({su::hexStrToi(L"ff"), su::hexStrToi(L"  -0x10"), su::hexStrToi(L"0XfG"),
                                 su::hexStrToi(L"zz"), su::hexStrToi(L"7fffffffffffffffff")}),
              std::vector<long>({255, -16, 15, 0, LONG_MAX}));

    // The conversions ask for "chs.UTF-8"; where that locale is missing the
    // caller's LC_CTYPE decides, so set one and restore the original after.
    const std::string saved = std::setlocale(LC_CTYPE, nullptr);
    EXPECT_TRUE(su::to_wstring(std::string()).empty() && su::to_string(std::wstring()).empty());
    EXPECT_TRUE(su::to_wstring("Cal5 PNT0") == L"Cal5 PNT0" && su::to_string(L"Cal5 PNT0") == "Cal5 PNT0");
    if (std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {
        EXPECT_EQ(su::to_wstring("a\xc3\xa9"), L"a\x00e9");
        EXPECT_EQ(su::to_wstring("ab\xff" "cd"), L"ab");  // stops at the bad byte
        EXPECT_EQ(su::to_string(L"a\x00e9\x4e2d"), "a\xc3\xa9\xe4\xb8\xad");
        EXPECT_EQ(su::to_string(std::wstring(L"a\xd800")), "");  // no partial text
    }
    std::setlocale(LC_CTYPE, saved.c_str());
}
