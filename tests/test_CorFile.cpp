// CBcdFile::LoadCorFile: defaults, a realistic file, malformed base rows,
// the derived centre, the test-line spread, the grid tables, and the same
// import under a comma-decimal locale.
//
// Fixtures are tests/data/cor_*.ini. Base rows there are "i.5 -i.5 i.25 -i.25",
// exact in float. Hex literals come from tests/reference/cor_realistic.py
// (which also writes cor_realistic.ini) and tests/reference/cor_defaults.py.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <clocale>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

#include <unistd.h>

namespace {

std::string dataFile(const char* name) { return std::string(ZEMCAL_TEST_DATA_DIR) + "/" + name; }

std::uint64_t bits(double d) {
    std::uint64_t u;
    std::memcpy(&u, &d, sizeof u);
    return u;
}

// The nine well-formed base rows, then extra text; loaded from a temp file.
bool loadText(const std::string& extra, tagLenPar& par) {
    static int serial = 0;
    std::ostringstream path, text;
    path << ::testing::TempDir() << "zemcal_cor_" << ::getpid() << '_' << serial++ << ".ini";
    text << "[Cal3]\n";
    for (int i = 0; i < 9; ++i) text << "PNT" << i << '=' << i << ".5 -" << i << ".5 " << i << ".25 -" << i << ".25\n";
    std::ofstream(path.str()) << text.str() << extra;
    const bool ok = CBcdFile::LoadCorFile(path.str().c_str(), par);
    std::remove(path.str().c_str());
    return ok;
}

// A grid section of n*n rows "j 0 0 j", optionally cut or broken at a row.
std::string gridSection(int n, int rows = -1, int brokenRow = -1) {
    std::ostringstream s;
    s << "[Cal" << n << "]\n";
    for (int j = 0; j < (rows < 0 ? n * n : rows); ++j) {
        s << "PNT" << j << '=' << j << (j == brokenRow ? "  0 0 " : " 0 0 ") << j << '\n';
    }
    return s.str();
}

// Puts the whole process under a comma-decimal locale, as a host that called
// setlocale(LC_ALL, "") on a German desktop does; restores the previous one.
class CommaLocale {
public:
    CommaLocale() : previous_(std::setlocale(LC_ALL, nullptr)) {
        for (const char* name : {"de_DE.UTF-8", "de_DE.utf8", "fr_FR.UTF-8", "de_DE"}) {
            if (std::setlocale(LC_ALL, name) != nullptr && *std::localeconv()->decimal_point == ',') return;
        }
        std::setlocale(LC_ALL, previous_.c_str());
        previous_.clear();
    }
    ~CommaLocale() {
        if (active()) std::setlocale(LC_ALL, previous_.c_str());
    }
    bool active() const { return !previous_.empty(); }

private:
    std::string previous_;
};

void expectRow(const tagCalData& p, float ax, float ay, float bx, float by, const char* what) {
    EXPECT_EQ(p.PntA.x, ax) << what;
    EXPECT_EQ(p.PntA.y, ay) << what;
    EXPECT_EQ(p.PntB.x, bx) << what;
    EXPECT_EQ(p.PntB.y, by) << what;
}

}  // namespace

TEST(CorFileLoad, MinimalFileTakesEveryDefault) {
    tagLenPar par;
    par.ValSize = 1.0;
    par.XT[0] = 123.0;
    ASSERT_TRUE(CBcdFile::LoadCorFile(dataFile("cor_minimal.ini").c_str(), par));
    EXPECT_EQ(par.ValSize, 100.0);
    EXPECT_EQ(par.Resolution, 65535);
    EXPECT_EQ(par.Center, 32768);
    EXPECT_EQ(par.CenterSq, 1073741824.0);
    expectRow(par.Pnt[8], 8.5f, -8.5f, 8.25f, -8.25f, "trailing space");
    EXPECT_EQ(par.Grid, 0);
    for (double v : {par.TXL, par.TXR, par.TYT, par.TYB, par.SXL, par.SXR, par.SYT, par.SYB}) EXPECT_EQ(v, 1.0);
    for (double v : {par.AxisXL, par.AxisXR, par.AxisYT, par.AxisYB}) EXPECT_EQ(v, 50.0);
    for (double v : {par.OX, par.OY, par.PLX, par.PLY}) EXPECT_EQ(v, 0.0);
    EXPECT_EQ(bits(par.Y2XAngle), bits(static_cast<double>(1.57079637f)));  // float pi/2, 0x3FC90FDB
    for (double k : par.K) EXPECT_EQ(k, 1.0);
    for (double s : par.S) EXPECT_EQ(s, 0.0);
    EXPECT_EQ(par.LineCount, 0);
    EXPECT_EQ(par.XT[0], 123.0);  // no test line read
    EXPECT_TRUE(par.Stacks.empty());
}

TEST(CorFileLoad, RealisticFile) {
    tagLenPar par;
    par.FieldSize = 110.0;
    ASSERT_TRUE(CBcdFile::LoadCorFile(dataFile("cor_realistic.ini").c_str(), par));
    EXPECT_EQ(par.ValSize, 80.0);
    EXPECT_EQ(par.XYFlip + par.XYFlipSaved + par.XInvert + par.XInvertSaved, 2);  // both copies
    EXPECT_EQ(par.YInvert + par.YInvertSaved, 2);
    EXPECT_EQ(par.Grid, 1);
    expectRow(par.Pnt[0], -40.0f, 40.0f, -0x1.546148p+5f, 0x1.546b86p+5f, "Pnt[0]");
    expectRow(par.Pnt[8], 40.0f, -40.0f, 0x1.54947ap+5f, -0x1.548a3ep+5f, "Pnt[8]");
    EXPECT_EQ(par.AxisXR, 0x1.3efdf4p+5);
    EXPECT_EQ(par.TXL, 0x1.3a92a4p-10);
    EXPECT_EQ(par.Y2XAngle, 0x1.923a2ap+0);
    EXPECT_EQ(par.K[2], 0x1.01f32p-13);
    EXPECT_EQ(par.K[3], -0x1.7e8542p-15);
    EXPECT_EQ(par.S[7], 3.5);
    EXPECT_EQ(par.LineCount, 21);
    EXPECT_EQ(par.XT[20], 50.0);
    EXPECT_EQ(par.XA[7], -0x1.e01894p+3);
    EXPECT_EQ(par.YT[3], -0x1.34p+5);  // spread over FieldSize 110, not in the file
    EXPECT_EQ(par.YT[20], 0x1.b8p+5);
    ASSERT_EQ(par.Stacks.size(), 2u);
    EXPECT_EQ(par.Stacks[0].Num + par.Stacks[1].Num, 5 + 9);
    ASSERT_EQ(par.Stacks[1].Pnts.size(), 81u);
    expectRow(par.Stacks[0].Pnts[24], 40.0f, -40.0f, 0x1.54947ap+5f, -0x1.548a3ep+5f, "Cal5[24]");
    expectRow(par.Stacks[1].Pnts[10], -30.0f, 30.0f, -0x1.f1147ap+4f, 0x1.f128f6p+4f, "Cal9[10]");
    expectRow(par.Stacks[1].Pnts[40], 0.0f, 0.0f, 0x1.99999ap-7f, -0x1.eb851ep-8f, "Cal9[40]");
}

TEST(CorFileLoad, MalformedBaseRowStopsWithEarlierFieldsWritten) {
    struct Case { const char* file; int failingRow; };
    const Case cases[] = {
        {"cor_row_leading_space.ini", 0}, {"cor_row_double_space.ini", 2},
        {"cor_row_missing.ini", 4},       {"cor_row_three_parts.ini", 6},
        {"cor_no_such_file.ini", 0},
    };
    for (const Case& c : cases) {
        tagLenPar par;
        for (tagCalData& p : par.Pnt) p = {{777.0f, 777.0f}, {777.0f, 777.0f}};
        par.Grid = 9;
        EXPECT_FALSE(CBcdFile::LoadCorFile(dataFile(c.file).c_str(), par)) << c.file;
        for (int i = 0; i < c.failingRow; ++i) {
            const float f = static_cast<float>(i);
            expectRow(par.Pnt[i], f + 0.5f, -f - 0.5f, f + 0.25f, -f - 0.25f, c.file);
        }
        expectRow(par.Pnt[c.failingRow], 777.0f, 777.0f, 777.0f, 777.0f, c.file);
        EXPECT_EQ(par.Grid, 9) << c.file;  // nothing after the failing row is read
    }
    tagLenPar par;  // the whole first section was applied before the failure
    EXPECT_FALSE(CBcdFile::LoadCorFile(dataFile("cor_row_missing.ini").c_str(), par));
    EXPECT_EQ(par.ValSize, 60.0);
    EXPECT_EQ(par.CenterSq, 4194304.0);  // Center 2048
    EXPECT_EQ(par.XYFlipSaved, 1);
    EXPECT_FALSE(CBcdFile::LoadCorFile(nullptr, par));
}

TEST(CorFileLoad, CenterFromResolution) {
    struct Case { const char* text; std::int32_t center; std::uint64_t centerSqBits; };
    const Case cases[] = {
        {"", 32768, 0x41D0000000000000u},                     // 2^30
        {"[CalCoefs]\nResolution=-2\n", 0, 0},                // (-1)/2 truncates to 0
        {"[CalCoefs]\nResolution=-4\n", -1, 0x3FF0000000000000u},
        {"[CalCoefs]\nResolution=2147483647\n", -1073741824, 0x43B0000000000000u},  // wraps
    };
    for (const Case& c : cases) {
        tagLenPar par;
        ASSERT_TRUE(loadText(c.text, par)) << c.text;
        EXPECT_EQ(par.Center, c.center) << c.text;
        EXPECT_EQ(bits(par.CenterSq), c.centerSqBits) << c.text;
    }
}

TEST(CorFileLoad, ScalarsCarryFloatPrecision) {
    tagLenPar par;
    ASSERT_TRUE(loadText("[CalCoefs]\nValSize=0.1\n", par));
    EXPECT_EQ(bits(par.ValSize), 0x3FB99999A0000000u);
    EXPECT_EQ(bits(par.AxisYB), 0x3FA99999A0000000u);  // ValSize*0.5 narrowed
}

TEST(CorFileLoad, OrderEnablesGridsUpToItsTruncatedValue) {
    struct Case { const char* order; int flag5, flag9; };
    const Case cases[] = {
        {"", 0, 0},           {"order=9.9\n", 1, 1}, {"order=5\n", 1, 0},    {"order=4.99\n", 0, 0},
        {"order=nan\n", 0, 0}, {"order=1e30\n", 0, 0}, {"order=-1e30\n", 0, 0},
    };
    for (const Case& c : cases) {
        tagLenPar par;
        ASSERT_TRUE(loadText(std::string("[CalCoefs]\n") + c.order + gridSection(9) + gridSection(5), par));
        ASSERT_EQ(par.Stacks.size(), 2u) << c.order;
        EXPECT_EQ(par.Stacks[0].Flag, c.flag5) << c.order;
        EXPECT_EQ(par.Stacks[1].Flag, c.flag9) << c.order;
    }
}

TEST(CorFileLoad, GridsInFixedOrderOnlyWhenComplete) {
    tagLenPar par;
    par.Stacks.push_back(tagStack{3, 0, {}});  // kept in front: loads append
    ASSERT_TRUE(loadText(gridSection(25) + gridSection(33) + gridSection(5, 24) + gridSection(9, -1, 40) +
                             gridSection(17) + gridSection(65, 10),
                         par));
    std::vector<int> nums;
    for (const tagStack& s : par.Stacks) nums.push_back(s.Num);
    EXPECT_EQ(nums, (std::vector<int>{3, 17, 33, 25}));
    ASSERT_EQ(par.Stacks[3].Pnts.size(), 625u);
    expectRow(par.Stacks[3].Pnts[624], 624.0f, 0.0f, 0.0f, 624.0f, "Cal25 last row");
}

TEST(CorFileLoad, TestLinesSpreadOverFieldSize) {
    tagLenPar par;
    par.XT[0] = par.XT[5] = 123.0;
    ASSERT_TRUE(loadText("LineCount=1\n", par));
    EXPECT_EQ(par.XT[0], 123.0);  // fewer than two lines: nothing read

    ASSERT_TRUE(loadText("LineCount=5\nYA2=1.5\n", par));
    const double want[] = {-50.0, -25.0, 0.0, 25.0, 50.0};
    for (int i = 0; i < 5; ++i) {
        EXPECT_EQ(par.XT[i], want[i]);
        EXPECT_EQ(par.YT[i], want[i]);
        EXPECT_EQ(par.XA[i], -100000.0);
        EXPECT_EQ(par.YA[i], i == 2 ? 1.5 : -100000.0);
        EXPECT_EQ(par.XR[i], 1.0);
    }
    EXPECT_EQ(par.XT[5], 123.0);

    ASSERT_TRUE(loadText("LineCount=250\n", par));  // only the 100 that fit
    EXPECT_EQ(par.XT[1], -0x1.8cc982p+5);
    EXPECT_EQ(par.XT[99], -0x1.47b5fap+3);
    EXPECT_EQ(par.YR[99], 1.0);
    EXPECT_EQ(par.Version, 0);
}

TEST(CorFileLoad, NonNumericKeyThrows) {
    tagLenPar par;
    EXPECT_THROW(loadText("[CalCoefs]\nValSize=abc\n", par), std::invalid_argument);
    EXPECT_THROW(loadText("k3=x\n", par), std::invalid_argument);
    EXPECT_THROW(loadText("[CalCoefs]\nResolution=99999999999\n", par), std::out_of_range);
    // Point rows are not validated: text that is not a number reads as 0.
    ASSERT_TRUE(loadText(gridSection(5, 24) + "PNT24=a b c d\n", par));
    expectRow(par.Stacks.back().Pnts[24], 0.0f, 0.0f, 0.0f, 0.0f, "non-numeric row");
}

TEST(CorFileLocale, ImportIsTheSameUnderACommaDecimalLocale) {
    const std::string path = dataFile("cor_realistic.ini");
    tagLenPar inC;
    inC.FieldSize = 110.0;
    ASSERT_TRUE(CBcdFile::LoadCorFile(path.c_str(), inC));

    CommaLocale comma;
    if (!comma.active()) {
        GTEST_SKIP() << "no comma-decimal locale installed (scripts/install-deps.sh makes de_DE.UTF-8)";
    }
    tagLenPar here;
    here.FieldSize = 110.0;
    ASSERT_TRUE(CBcdFile::LoadCorFile(path.c_str(), here));

    // Every field the import writes, bit for bit: the scalars of the first
    // section, the parameter block, the test lines and the grid tables.
    EXPECT_EQ(bits(here.ValSize), bits(inC.ValSize));
    EXPECT_EQ(here.Resolution, inC.Resolution);
    EXPECT_EQ(bits(here.CenterSq), bits(inC.CenterSq));
    EXPECT_EQ(here.XInvertSaved, inC.XInvertSaved);
    EXPECT_EQ(here.Grid, inC.Grid);
    EXPECT_EQ(here.LineCount, inC.LineCount);
    EXPECT_EQ(std::memcmp(&here.Pnt[0], &inC.Pnt[0], 600), 0) << "parameter block";
    const auto sameLines = [](const double* a, const double* b) {
        return std::memcmp(a, b, 100 * sizeof(double)) == 0;
    };
    EXPECT_TRUE(sameLines(here.XT, inC.XT) && sameLines(here.YT, inC.YT) && sameLines(here.XA, inC.XA) &&
                sameLines(here.YA, inC.YA) && sameLines(here.XR, inC.XR) && sameLines(here.YR, inC.YR));
    ASSERT_EQ(here.Stacks.size(), inC.Stacks.size());
    for (std::size_t i = 0; i < here.Stacks.size(); ++i) {
        ASSERT_EQ(here.Stacks[i].Pnts.size(), inC.Stacks[i].Pnts.size());
        EXPECT_EQ(here.Stacks[i].Flag, inC.Stacks[i].Flag);
        EXPECT_EQ(std::memcmp(here.Stacks[i].Pnts.data(), inC.Stacks[i].Pnts.data(),
                              here.Stacks[i].Pnts.size() * sizeof(tagCalData)),
                  0)
            << "table " << i;
    }
    // And not merely the same wrong values: decimals survive in keys and rows.
    EXPECT_EQ(here.ValSize, 80.0);
    EXPECT_EQ(here.TXL, 0x1.3a92a4p-10);
    expectRow(here.Pnt[8], 40.0f, -40.0f, 0x1.54947ap+5f, -0x1.548a3ep+5f, "Pnt[8]");
}
