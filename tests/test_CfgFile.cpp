// CCfgFile: parsing rules, lookups with placeholders, conversions, and the
// exact bytes written back. Expected bytes are worked out by hand from the
// load and save rules (sorted bytewise, values kept byte for byte); expected
// conversions are those of std::stoi / std::stof in the "C" locale.
#include <zemcal/CfgFile.h>

#include <gtest/gtest.h>

#include "CommaLocale.h"

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

// A file in the test temp directory, unique per process, removed at the end.
struct TempFile {
    const std::string path = ::testing::TempDir() + "zemcal_cfg_" + std::to_string(::getpid()) + '_' +
                             std::to_string(serial++) + ".ini";
    static inline int serial = 0;
    TempFile() { std::remove(path.c_str()); }
    ~TempFile() { std::remove(path.c_str()); }
    void write(const std::string& bytes) const { std::ofstream(path, std::ios::binary) << bytes; }
    std::string read() const {
        std::ifstream in(path, std::ios::binary);
        return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
    }
};

// A conversion's result as comparable text: the value's bits or the exception.
template <class T, class Convert>
std::string outcome(Convert convert) {
    try {
        const T v = convert();
        std::uint64_t u = 0;
        std::memcpy(&u, &v, sizeof v);
        return std::to_string(u) + ' ';
    } catch (const std::invalid_argument&) {
        return "invalid_argument ";
    } catch (const std::out_of_range&) {
        return "out_of_range ";
    }
}

}  // namespace

TEST(CfgFileLoad, LineRules) {
    struct Case { const char* name; std::string text, section, key, want; };
    // More rules (spaces kept, '=' in values, '#', CR-only lines, text before
    // the first header, no final newline) are pinned by the round trip below.
    const Case cases[] = {
        {"last char dropped", "[ABC\nk=v\n", "AB", "k", "v"},
        {"CR cut from header only", "[ABC]\r\nk=v\r\n", "ABC", "k", "v\r"},
        {"lone bracket", "[\nk=v\n", "", "k", "v"},
        {"bare word", "[S]\nflag\n", "S", "flag", "flag"},
        {"no trailing comment", "[S]\nk=v ; note\n", "S", "k", "v ; note"},
        {"comment only in column 1", "[S]\n;k=v\n", "S", ";k", "<def>"},
        {"first duplicate wins", "[S]\nk=1\nk=2\n", "S", "k", "1"},
        {"repeated header discards", "[S]\na=1\n[T]\n[S]\nb=2\n", "S", "a", "<def>"},
    };
    for (const Case& c : cases) {
        TempFile f;
        f.write(c.text);
        CCfgFile cfg;
        EXPECT_TRUE(cfg.loadItems(f.path));
        EXPECT_EQ(cfg.GetString(c.section, c.key, "<def>"), c.want) << c.name;
    }
}

TEST(CfgFileGet, Conversions) {
    TempFile f;
    f.write("[S]\nkey = 5\ncr= 7\r\ntenth=0.1\nword=abc\nhuge=1e40\nbig=99999999999\n");
    CCfgFile cfg;
    cfg.loadItems(f.path);
    EXPECT_EQ(cfg.GetInt("S", "key ", 0), 5);
    EXPECT_EQ(cfg.GetInt("S", "cr", 0), 7);
    EXPECT_EQ(cfg.GetFloat("S", "tenth", 0.0f), 0.1f);
    // Read through float: the double nearest to 0.1f (0x3FB99999A0000000), not 0.1.
    EXPECT_EQ(cfg.GetDouble("S", "tenth", 0.0), 0x1.99999ap-4);
    EXPECT_EQ(cfg.GetDouble("S", "absent", 0.1), 0.1);  // the default is not narrowed
    EXPECT_THROW(cfg.GetInt("S", "word", 0), std::invalid_argument);
    EXPECT_THROW(cfg.GetFloat("S", "word", 0.0f), std::invalid_argument);
    EXPECT_THROW(cfg.GetDouble("S", "huge", 0.0), std::out_of_range);
    EXPECT_THROW(cfg.GetInt("S", "big", 0), std::out_of_range);
}

TEST(CfgFileSave, MessyFileRoundTripsToExactBytes) {
    TempFile in, out;
    in.write("stray=1\r\n; comment\r\n[Zeta]\r\nb=2\r\na = 1\r\n\r\nb=3\r\nflag\r\n"
             " ;not a comment\r\n#hash=x\r\n\n[Beta]\r\nold=1\r\n[Alpha\r\nk=v=w\r\n"
             "[Beta]\r\nnew=2\r\n[Alpha]\nx=1");
    CCfgFile cfg;
    cfg.loadItems(in.path);
    // Lookups that miss leave placeholders; the save skips them.
    EXPECT_EQ(cfg.GetString("Nope", "k", "d"), "d");
    EXPECT_EQ(cfg.GetString("Zeta", "nokey", "d"), "d");
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(cfg.saveItems(out.path));
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "mymap contains:\n");
    EXPECT_EQ(out.read(),
              "[Alph]\nk=v=w\r\n"
              "[Alpha]\nx=1\n"
              "[Beta]\nnew=2\r\n"
              "[Zeta]\n\r=\r\n ;not a comment\r= ;not a comment\r\n#hash=x\r\n"
              "a = 1\r\nb=2\r\nflag\r=flag\r\n");
}

// A missing file loads as empty, a reload replaces everything, an empty store
// leaves the file alone, and the listing skips placeholders.
TEST(CfgFileSave, EmptyStoreLeavesFileAndListSkipsPlaceholders) {
    TempFile f;
    CCfgFile cfg;
    EXPECT_TRUE(cfg.loadItems(f.path));  // does not exist
    EXPECT_EQ(cfg.GetInt("S", "k", 42), 42);
    f.write("[S]\nk=1\n");
    cfg.loadItems(f.path);
    f.write("untouched");
    cfg.loadItems(f.path);
    EXPECT_EQ(cfg.GetInt("S", "k", 42), 42);  // leaves a placeholder section only
    cfg.resetData();
    EXPECT_TRUE(cfg.saveItems(f.path));
    EXPECT_EQ(f.read(), "untouched");

    f.write("[S]\nk=v\n[T]\n");
    cfg.loadItems(f.path);
    cfg.GetString("U", "k", "d");
    cfg.GetString("S", "missing", "d");
    ::testing::internal::CaptureStdout();
    cfg.listData();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(), "mymap contains:\nS=>\n\t=>k := v\nT=>\n");
}

TEST(CfgFileSet, EachSetterRewritesTheFile) {
    TempFile f;
    CCfgFile cfg;
    cfg.setFilename(f.path);
    ::testing::internal::CaptureStdout();
    cfg.SetInt("S", "n", -3);
    EXPECT_EQ(f.read(), "[S]\nn=-3\n");
    cfg.SetFloat("S", "f", 0.5f);
    cfg.SetDouble("A", "d", 1.0 / 3.0);
    EXPECT_EQ(f.read(), "[A]\nd=0.333333\n[S]\nf=0.500000\nn=-3\n");
    EXPECT_EQ(cfg.GetString("S", "late", "d"), "d");  // placeholder item ...
    EXPECT_EQ(cfg.GetString("P", "k", "d"), "d");     // ... and section
    cfg.SetString("S", "late", "x");
    cfg.SetString("P", "k", "v");
    cfg.SetString("S", "n", "replaced");
    EXPECT_EQ(f.read(), "[A]\nd=0.333333\n[P]\nk=v\n[S]\nf=0.500000\nlate=x\nn=replaced\n");
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(cfg.GetDouble("A", "d", 0.0), static_cast<double>(0.333333f));
}

// Under a comma-decimal locale every getter gives what the standard
// conversion gives in "C", and the setters still write '.'.
TEST(CfgFileLocale, NumbersReadAndWriteAsInTheCLocale) {
    // Decimals, signs, white space, a comma, trailing text, hexadecimal,
    // non-finite values, both ERANGE cases, no number at all, the int limits.
    const std::vector<std::string> values = {
        "0.5",  "-1.25e-3", " \t2.5", "+7",    "0,5",         "1.5xyz",      "0x1.8p1",
        "0x10", "nan",      "-inf",   "1e39",  "1e-50",       "abc",         "",
        "3.999", "1e",      ".5e1\r", "99999999999", "2147483647", "-2147483648",
    };
    TempFile f;
    std::string text = "[N]\n";
    for (std::size_t i = 0; i < values.size(); ++i) text += "v" + std::to_string(i) + '=' + values[i] + '\n';
    f.write(text);

    // Expected: the standard conversions in the "C" locale every test starts in.
    ASSERT_STREQ(std::setlocale(LC_NUMERIC, nullptr), "C");
    std::vector<std::string> want;
    for (const std::string& v : values) {
        want.push_back(outcome<int>([&] { return std::stoi(v, nullptr, 10); }) +
                       outcome<float>([&] { return std::stof(v); }) +
                       outcome<double>([&] { return static_cast<double>(std::stof(v)); }));
    }

    CommaLocale comma;
    if (!comma.active) GTEST_SKIP() << "no comma-decimal locale (scripts/install-deps.sh makes de_DE.UTF-8)";
    ASSERT_EQ(std::stof("0.5"), 0.0f);  // the plain conversion now stops at '.'
    CCfgFile cfg;
    cfg.loadItems(f.path);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::string key = "v" + std::to_string(i);
        EXPECT_EQ(outcome<int>([&] { return cfg.GetInt("N", key, 0); }) +
                      outcome<float>([&] { return cfg.GetFloat("N", key, 0.0f); }) +
                      outcome<double>([&] { return cfg.GetDouble("N", key, 0.0); }),
                  want[i])
            << '"' << values[i] << '"';
    }

    TempFile out;
    CCfgFile writer;
    writer.setFilename(out.path);
    ::testing::internal::CaptureStdout();
    writer.SetFloat("S", "f", 0.5f);
    writer.SetDouble("S", "d", -1234.5);
    writer.SetInt("S", "i", -1234567);
    ::testing::internal::GetCapturedStdout();
    EXPECT_EQ(out.read(), "[S]\nd=-1234.500000\nf=0.500000\ni=-1234567\n");
}
