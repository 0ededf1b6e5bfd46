// StringUtil: the historical edges hosts depend on. Expected values are
// worked out by hand from each function's contract.
#include <zemcal/StringUtil.h>

#include <gtest/gtest.h>

#include <climits>
#include <clocale>
#include <string>
#include <vector>

using Strings = std::vector<std::string>;
using WStrings = std::vector<std::wstring>;

TEST(StringUtilSplit, PiecesAsDocumented) {
    struct Case { std::string s, delim; Strings want; };
    const Case cases[] = {
        {"a b c", " ", {"a", "b", "c"}},  {"a  b", " ", {"a", "", "b"}},
        {" a", " ", {"", "a"}},           {"a b ", " ", {"a", "b"}},  // no empty tail
        {"", " ", {}},                    {"abc", " ", {"abc"}},
        {"1 2 3 4\r", " ", {"1", "2", "3", "4\r"}},
        {"ab", "ab", {"", "b"}},
        // The scan resumes one character past a match, so later pieces keep
        // the rest of a long delimiter.
        {"a--b--c", "--", {"a", "-b", "-c"}},
        {"ab", "", {"", "", ""}},  // an empty delimiter still terminates
    };
    for (const Case& c : cases) {
        Strings out = {"stale"};  // split clears first
        std::string s = c.s;
        StringUtil::split(s, c.delim, out);
        EXPECT_EQ(out, c.want) << '"' << c.s << "\" / \"" << c.delim << '"';
    }
    const WStrings wcases[][2] = {
        // {input, delimiters}, then what is appended after the "x" already held
        {{L"a,b,", L",;"}, {L"x", L"a", L"b", L""}},
        {{L"", L","}, {L"x", L""}},
        {{L",", L","}, {L"x", L"", L""}},
        {{L"a,b", L""}, {L"x", L"a,b"}},
    };
    for (const auto& c : wcases) {
        WStrings out = {L"x"};
        std::wstring s = c[0][0];
        StringUtil::wsplit(s, c[0][1], out);
        EXPECT_EQ(out, c[1]);
    }
}

TEST(StringUtilEdit, TrimReplaceAndCase) {
    std::string s = "[S]\r\r";
    EXPECT_EQ(&StringUtil::rtrim(s, "\r"), &s);
    EXPECT_EQ(s, "[S]");
    s = "\r\r";
    EXPECT_EQ(StringUtil::rtrim(s, "\r"), "");
    s = "abc";
    EXPECT_EQ(StringUtil::rtrim(s, ""), "abc");
    s = " \ta\t ";
    EXPECT_EQ(StringUtil::trim(s, " \t"), "a");
    s = std::string("\0ab\0", 4);  // the set's own NUL is not a member
    EXPECT_EQ(StringUtil::trim(s, "x").size(), 4u);

    struct Case { std::string s, from, to, want; };
    const Case cases[] = {
        {"aaa", "a", "aa", "aaaaaa"},
        {"abcabc", "bc", "X", "aXaX"},
        {"aaaa", "aa", "a", "aa"},  // resumes after the replacement: aaaa, aaa, aa
        {"abc", "", "y", "abc"},    // empty pattern: unchanged, no endless loop
    };
    for (const Case& c : cases) {
        s = c.s;
        EXPECT_EQ(StringUtil::ReplaceInPlace(s, c.from, c.to), c.want) << c.s << '/' << c.from;
        EXPECT_EQ(s, c.want);
    }
    std::wstring w = L"x.y.z";
    EXPECT_EQ(StringUtil::ReplaceInPlace(w, L".", L"::"), L"x::y::z");

    s = "aBc-1\xe9";
    EXPECT_EQ(StringUtil::toUpper(s), "ABC-1\xe9");  // a high byte stays as it is
    EXPECT_EQ(StringUtil::toLower(s), "abc-1\xe9");
    EXPECT_EQ(s, "abc-1\xe9");
    w = L"Cal5";
    EXPECT_EQ(StringUtil::toUpper(w), L"CAL5");
}

TEST(StringUtilCompare, NoCaseAndTheAffixTests) {
    EXPECT_LT(StringUtil::compareNoCase("abc", "ABD"), 0);
    EXPECT_EQ(StringUtil::compareNoCase("ABC", "abc"), 0);
    EXPECT_LT(StringUtil::compareNoCase("ab", "ABC"), 0);
    EXPECT_GT(StringUtil::compareNoCase("b", "A"), 0);

    // startWith tests a suffix; endWith is true only for an empty t.
    struct Case { std::string s, t; bool start, end; };
    const Case cases[] = {
        {"IMAGE.BMP", ".bmp", true, false}, {"abc", "a", false, false}, {"abc", "c", true, false},
        {"ab", "abc", false, false},        {"abc", "", true, true},    {"", "", true, true},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(StringUtil::startWith(c.s, c.t), c.start) << c.s << '/' << c.t;
        EXPECT_EQ(StringUtil::endWith(c.s, c.t), c.end) << c.s << '/' << c.t;
    }
}

TEST(StringUtilNumbers, FormattingAndParsing) {
    EXPECT_EQ(StringUtil::format("PNT%d", 7), "PNT7");
    const std::string big(3000, 'q');
    EXPECT_EQ(StringUtil::format("%s", big.c_str()), big.substr(0, 2047));
    EXPECT_EQ(StringUtil::format("%s", big.substr(0, 2047).c_str()).size(), 2047u);

    EXPECT_EQ(StringUtil::to_string(-5), "-5");
    EXPECT_EQ(StringUtil::to_string(1234567890123L), "1234567890123");
    EXPECT_EQ(StringUtil::to_string(0.1), "0.1");
    EXPECT_EQ(StringUtil::to_string(100.0), "100");
    EXPECT_EQ(StringUtil::to_string(1234567.0), "1.23457e+06");
    EXPECT_EQ(StringUtil::to_string(L'A'), "65");  // the code, not the character
    EXPECT_EQ(StringUtil::to_wstring(-7), L"-7");
    EXPECT_EQ(StringUtil::to_wstring(1.5), L"1.5");

    for (const wchar_t* yes : {L"", L".", L"1.2.3", L"-", L"+.", L"-12.5"}) EXPECT_TRUE(StringUtil::IsNum(yes)) << yes;
    for (const wchar_t* no : {L"1-2", L"1e5", L" 1", L"++1", L"12a"}) EXPECT_FALSE(StringUtil::IsNum(no)) << no;

    EXPECT_EQ(StringUtil::hexStrToi(L"ff"), 255);
    EXPECT_EQ(StringUtil::hexStrToi(L"  -0x10"), -16);
    EXPECT_EQ(StringUtil::hexStrToi(L"0XfG"), 15);
    EXPECT_EQ(StringUtil::hexStrToi(L"zz"), 0);
    EXPECT_EQ(StringUtil::hexStrToi(L"7fffffffffffffffff"), LONG_MAX);
    EXPECT_EQ(std::wstring(DELIMITER), std::wstring(L" \t\n\r\f\v"));
}

TEST(StringUtilConvert, MultibyteAndWide) {
    // The conversions ask for "chs.UTF-8"; where that locale is missing the
    // caller's LC_CTYPE decides, so set one and restore the original after.
    const std::string saved = std::setlocale(LC_CTYPE, nullptr);
    EXPECT_EQ(StringUtil::to_wstring(std::string()), L"");
    EXPECT_EQ(StringUtil::to_string(std::wstring()), "");
    EXPECT_EQ(StringUtil::to_wstring("Cal5 PNT0"), L"Cal5 PNT0");
    EXPECT_EQ(StringUtil::to_string(L"Cal5 PNT0"), "Cal5 PNT0");
    if (std::setlocale(LC_CTYPE, "C.UTF-8") != nullptr) {
        EXPECT_EQ(StringUtil::to_wstring("a\xc3\xa9"), L"a\x00e9");
        EXPECT_EQ(StringUtil::to_wstring("ab\xff" "cd"), L"ab");  // stops at the bad byte
        EXPECT_EQ(StringUtil::to_string(L"a\x00e9\x4e2d"), "a\xc3\xa9\xe4\xb8\xad");
        EXPECT_EQ(StringUtil::to_string(std::wstring(L"a\xd800")), "");  // no partial text
    }
    std::setlocale(LC_CTYPE, saved.c_str());
}
