// CCfgFile: parsing rules, lookups with placeholders, conversions, and the
// exact bytes written back. Expected bytes are worked out by hand from the
// load and save rules (sorted bytewise, values kept byte for byte); expected
// conversions are those of std::stoi / std::stof in the "C" locale.
#include <zemcal/CfgFile.h>

#include <gtest/gtest.h>

#include "CommaLocale.h"

#include <cstdint>
#include <cstring>
#include <stdexcept>
#include <string>
#include <vector>

#include "TempDir.h"

namespace {

// Loads `bytes` as a file.
void load(CCfgFile& cfg, const std::string& bytes) {
    const TempDir dir;
    dir.write("in.ini", bytes);
    EXPECT_TRUE(cfg.loadItems(dir.file("in.ini")));
}

// A conversion's result as comparable text: the value's bits or the exception.
template <class Convert>
std::string outcome(Convert convert) {
    try {
        const auto v = convert();
        std::uint64_t u = 0;
        std::memcpy(&u, &v, sizeof v);
        return std::to_string(u) + ' ';
    } catch (const std::invalid_argument&) {
        return "invalid_argument ";
    } catch (const std::out_of_range&) {
        return "out_of_range ";
    }
}

// Decimals, signs, white space, a comma, trailing text, hexadecimal, non-finite
// values, both ERANGE cases, no number at all, the int limits.
const std::vector<std::string> kValues = {
    "0.5", "-1.25e-3", " \t2.5", "+7", "0,5", "1.5xyz", "0x1.8p1", "0x10", "nan", "-inf", "1e39", "1e-50", "abc",
    "", "3.999", "1e", ".5e1\r", "0.1", "99999999999", "2147483647", "-2147483648",
};

// Int, float and double outcome of each value: read by the getters, or by
// std::stoi / std::stof directly.
std::vector<std::string> outcomes(bool getters) {
    std::string text = "[N]\n";
    for (std::size_t i = 0; i < kValues.size(); ++i) text += std::to_string(i) + '=' + kValues[i] + '\n';
    CCfgFile cfg;
    load(cfg, text);
    std::vector<std::string> out;
    for (const std::string& v : kValues) {
        const std::string key = std::to_string(out.size());
        const auto f = [&] { return getters ? cfg.GetFloat("N", key, 0.0f) : std::stof(v); };
        out.push_back('"' + v + "\" " + outcome([&] { return getters ? cfg.GetInt("N", key, 0) : std::stoi(v); }) +
                      outcome(f) + outcome([&] { return getters ? cfg.GetDouble("N", key, 0.0) : double{f()}; }));
    }
    return out;
}

// Every setter rewrites the whole file with '.' decimals; lookups that missed
// leave placeholders which the setters fill.
void checkSetters() {
    const TempDir dir;
    CCfgFile cfg;
    cfg.setFilename(dir.file("set.ini"));
    ::testing::internal::CaptureStdout();
    cfg.SetInt("S", "n", -3);
    EXPECT_EQ(dir.read("set.ini"), "[S]\nn=-3\n");
    EXPECT_EQ(cfg.GetString("S", "late", "d"), "d");  // placeholder item ...
    EXPECT_EQ(cfg.GetString("P", "k", "d"), "d");     // ... and section
    cfg.SetFloat("S", "late", 0.5f);
    cfg.SetDouble("P", "k", 1.0 / 3.0);
    cfg.SetString("S", "n", "replaced");
    EXPECT_EQ(dir.read("set.ini"), "[P]\nk=0.333333\n[S]\nlate=0.500000\nn=replaced\n");
    ::testing::internal::GetCapturedStdout();
    // Read through float: the double nearest to 0.333333f, not 0.333333; the
    // default is not narrowed.
    EXPECT_EQ(cfg.GetDouble("P", "k", 0.0), static_cast<double>(0.333333f));
    EXPECT_EQ(cfg.GetDouble("P", "absent", 0.1), 0.1);
}

}  // namespace

// Keys and values keep every byte; saving sorts bytewise. A header loses a
// trailing '\r', then its last character whatever it is (a lone "[" names
// ""); comments start only in column 1, never after a value; text before the
// first header and later duplicate keys are dropped, and a repeated header
// discards the earlier section. Lookups that miss leave placeholders, which
// saving and listing skip. Reloading a missing file empties the store, and an
// empty store leaves the file as it is.
TEST(CfgFileLoadSave, MessyFileRoundTripsToExactBytes) {
    const TempDir dir;
    const std::string out = dir.file("out.ini");
    CCfgFile cfg;
    load(cfg, "stray=1\r\n; comment\r\n[\r\nk=v\r\n[Zeta]\r\nb=2\r\na = 1\r\n\r\nb=3\r\nflag\r\n c=v ; note\r\n"
              ";c=1\r\n ;not a comment\r\n#hash=x\r\n\n[Beta]\r\nold=1\r\n[Alpha\r\nk=v=w\r\n"
              "[Beta]\r\nnew=2\r\n[Alpha]\nx=1");
    EXPECT_EQ(cfg.GetString("Nope", "k", "d"), "d");
    EXPECT_EQ(cfg.GetString("Zeta", "nokey", "d"), "d");
    ::testing::internal::CaptureStdout();
    EXPECT_TRUE(cfg.saveItems(out));
    cfg.listData();
    EXPECT_EQ(::testing::internal::GetCapturedStdout(),
              "mymap contains:\nmymap contains:\n=>\n\t=>k := v\r\nAlph=>\n\t=>k := v=w\r\nAlpha=>\n\t=>x := 1\n"
              "Beta=>\n\t=>new := 2\r\nZeta=>\n\t=>\r := \r\n\t=> ;not a comment\r :=  ;not a comment\r\n"
              "\t=> c := v ; note\r\n\t=>#hash := x\r\n\t=>a  :=  1\r\n\t=>b := 2\r\n\t=>flag\r := flag\r\n");
    const std::string saved = "[]\nk=v\r\n[Alph]\nk=v=w\r\n[Alpha]\nx=1\n[Beta]\nnew=2\r\n[Zeta]\n\r=\r\n"
                              " ;not a comment\r= ;not a comment\r\n c=v ; note\r\n#hash=x\r\na = 1\r\nb=2\r\n"
                              "flag\r=flag\r\n";
    EXPECT_EQ(dir.read("out.ini"), saved);

    EXPECT_TRUE(cfg.loadItems(out + ".missing"));
    EXPECT_EQ(cfg.GetString("Beta", "new", "d"), "d");  // leaves a placeholder section only
    cfg.resetData();
    EXPECT_TRUE(cfg.saveItems(out));
    EXPECT_EQ(dir.read("out.ini"), saved);
}

// Getters give what std::stoi / std::stof give, value bits or exception
// (GetDouble through float); setters write "%f".
TEST(CfgFileNumbers, AsTheStandardConversions) {
    EXPECT_EQ(outcomes(true), outcomes(false));
    checkSetters();
}

// Under a comma-decimal locale every getter gives what the standard
// conversion gives in "C", and the setters still write '.'.
TEST(CfgFileLocale, NumbersReadAndWriteAsInTheCLocale) {
    const std::vector<std::string> want = outcomes(false);  // each test starts in "C"
    CommaLocale comma;
    if (!comma.active) GTEST_SKIP() << "no comma-decimal locale (scripts/install-deps.sh makes de_DE.UTF-8)";
    ASSERT_EQ(std::stof("0.5"), 0.0f);  // the plain conversion now stops at '.'
    EXPECT_EQ(outcomes(true), want);
    checkSetters();
}
