// CBcdFile::LoadCorFile: defaults, a realistic file, malformed base rows,
// the derived centre, the test-line spread, the grid tables, and the same
// import under a comma-decimal locale.
//
// Fixtures are tests/data/cor_*.ini. Base rows there are "i.5 -i.5 i.25 -i.25",
// exact in float. Hex literals come from tests/reference/cor_realistic.py
// (which also writes cor_realistic.ini) and tests/reference/cor_defaults.py.
#include <zemcal/BcdFile.h>

#include <gtest/gtest.h>

#include <sys/stat.h>

#include "CommaLocale.h"

#include <array>
#include <cstddef>
#include <fstream>
#include <stdexcept>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "TempDir.h"

namespace {

using Row = std::array<float, 4>;  // xa ya xb yb
Row row(const tagCalData& p) { return {p.PntA.x, p.PntA.y, p.PntB.x, p.PntB.y}; }
Row baseRow(int i) { return {i + 0.5f, -i - 0.5f, i + 0.25f, -i - 0.25f}; }

std::string dataFile(const char* name) { return std::string(ZEMCAL_TEST_DATA_DIR) + "/" + name; }

// The nine base rows of cor_minimal.ini, then extra text; from a scratch file.
bool loadText(const std::string& extra, tagLenPar& par) {
    const TempDir dir;
    std::ofstream(dir.file("t.ini")) << std::ifstream(dataFile("cor_minimal.ini")).rdbuf() << extra;
    return CBcdFile::LoadCorFile(dir.file("t.ini").c_str(), par);
}

// A grid section of n*n rows "j 0 0 j", optionally cut after `rows` rows or
// with a doubled space in row `broken`.
std::string gridSection(int n, int rows = -1, int broken = -1) {
    std::string s = "[Cal" + std::to_string(n) + "]\n";
    for (int j = 0; j < (rows < 0 ? n * n : rows); ++j) {
        const std::string k = std::to_string(j);
        s += "PNT" + k + '=' + k + (j == broken ? "  0 0 " : " 0 0 ") + k + '\n';
    }
    return s;
}

tagLenPar loadRealistic() {
    tagLenPar par;
    par.FieldSize = 110.0;  // the test lines spread over it; not in the file
    EXPECT_TRUE(CBcdFile::LoadCorFile(dataFile("cor_realistic.ini").c_str(), par));
    return par;
}

}  // namespace

// Every key absent: each field must get its own default, not a neighbour's
// and not the value the previous load left.
TEST(CorFileLoad, MinimalFileTakesEveryDefault) {
    tagLenPar par = loadRealistic();
    ASSERT_TRUE(CBcdFile::LoadCorFile(dataFile("cor_minimal.ini").c_str(), par));  // PNT8 ends in a space
    EXPECT_EQ((std::vector<int>{par.Resolution, par.Grid, par.LineCount}), (std::vector<int>{65535, 0, 0}));
    EXPECT_EQ((std::vector<double>{par.ValSize, par.TXL, par.TXR, par.TYT, par.TYB, par.SXL, par.SXR, par.SYT, par.SYB,
                                   par.AxisXL, par.AxisXR, par.AxisYT, par.AxisYB, par.OX, par.OY, par.PLX, par.PLY}),
              (std::vector<double>{100, 1, 1, 1, 1, 1, 1, 1, 1, 50, 50, 50, 50, 0, 0, 0, 0}));
    EXPECT_EQ(par.Y2XAngle, static_cast<double>(1.57079637f));  // float pi/2, 0x3FC90FDB
    for (double k : par.K) EXPECT_EQ(k, 1.0);
    for (double s : par.S) EXPECT_EQ(s, 0.0);
    EXPECT_EQ(par.Stacks.size(), 2u);  // loads append; no grid section here
    EXPECT_FALSE(CBcdFile::LoadCorFile(nullptr, par));  // read like a file that cannot be opened
    // So are a device that never ends and a FIFO nobody writes to: no hang.
    const TempDir dir;
    ASSERT_EQ(::mkfifo(dir.file("fifo").c_str(), 0600), 0);
    for (const std::string& path : {std::string("/dev/zero"), dir.file("fifo")}) {
        tagLenPar fresh;
        EXPECT_FALSE(CBcdFile::LoadCorFile(path.c_str(), fresh)) << path;
        EXPECT_EQ(fresh.ValSize, 100.0) << path;
    }
}

TEST(CorFileLoad, RealisticFile) {
    const tagLenPar par = loadRealistic();
    // Both copies of each flag, then grid and the count of test lines.
    EXPECT_EQ((std::vector<int>{par.XYFlip, par.XYFlipSaved, par.XInvert, par.XInvertSaved, par.YInvert,
                                par.YInvertSaved, par.Grid, par.LineCount}),
              (std::vector<int>{1, 1, 0, 0, 1, 1, 1, 21}));
    // {read, expected}: keys in float precision; YT is the spread over 110 mm.
    const double scalars[][2] = {
        {par.ValSize, 80.0}, {par.AxisXR, 0x1.3efdf4p+5}, {par.TXL, 0x1.3a92a4p-10}, {par.Y2XAngle, 0x1.923a2ap+0},
        {par.K[2], 0x1.01f32p-13}, {par.K[3], -0x1.7e8542p-15}, {par.S[7], 3.5}, {par.XT[20], 50.0},
        {par.OX, 0x1.99999ap-7}, {par.XA[7], -0x1.e01894p+3}, {par.YT[3], -0x1.34p+5}, {par.YT[20], 0x1.b8p+5},
    };
    for (const auto& s : scalars) EXPECT_EQ(s[0], s[1]) << &s - scalars;
    const Row corner{40.0f, -40.0f, 0x1.54947ap+5f, -0x1.548a3ep+5f};
    EXPECT_EQ(row(par.Pnt[0]), (Row{-40.0f, 40.0f, -0x1.546148p+5f, 0x1.546b86p+5f}));
    EXPECT_EQ(row(par.Pnt[8]), corner);
    ASSERT_EQ(par.Stacks.size(), 2u);
    EXPECT_EQ(par.Stacks[0].Num + par.Stacks[1].Num, 5 + 9);
    ASSERT_EQ(par.Stacks[1].Pnts.size(), 81u);
    EXPECT_EQ(row(par.Stacks[0].Pnts[24]), corner);
    EXPECT_EQ(row(par.Stacks[1].Pnts[40]), (Row{0.0f, 0.0f, 0x1.99999ap-7f, -0x1.eb851ep-8f}));
}

// A bad base row fails the load but keeps what was read before it: the first
// section and the rows above; nothing after it (grid) is read.
TEST(CorFileLoad, MalformedBaseRowStopsWithEarlierFieldsWritten) {
    const std::pair<const char*, int> cases[] = {
        {"cor_row_leading_space.ini", 0}, {"cor_row_double_space.ini", 2},
        {"cor_row_missing.ini", 4},       {"cor_row_three_parts.ini", 6},
    };
    for (const auto& [file, failing] : cases) {
        SCOPED_TRACE(file);
        tagLenPar par;
        for (tagCalData& p : par.Pnt) p = {{777.0f, 777.0f}, {777.0f, 777.0f}};
        EXPECT_FALSE(CBcdFile::LoadCorFile(dataFile(file).c_str(), par));
        for (int i = 0; i < failing; ++i) EXPECT_EQ(row(par.Pnt[i]), baseRow(i));
        EXPECT_EQ(row(par.Pnt[failing]), (Row{777.0f, 777.0f, 777.0f, 777.0f}));
        // Centre 2048; the file's grid=1 comes after the bad row.
        EXPECT_EQ(std::tuple(par.ValSize, par.CenterSq, par.XYFlipSaved, par.Grid), std::tuple(60.0, 4194304.0, 1, 0));
    }
}

// Defaults computed from other values: ValSize/2 (ValSize itself in float
// precision), the centre (Resolution + 1) / 2 truncated toward zero with the
// increment wrapping, and the test lines spread over FieldSize, none read
// below two and at most 100. Key conversion errors propagate.
TEST(CorFileLoad, DerivedValues) {
    tagLenPar par;
    par.XT[0] = par.XT[5] = 123.0;
    ASSERT_TRUE(loadText("LineCount=1\n[CalCoefs]\nValSize=0.1\nResolution=-2\n", par));
    EXPECT_EQ(par.ValSize, 0x1.99999ap-4);  // bits 0x3FB99999A0000000
    EXPECT_EQ(par.AxisYB, 0x1.99999ap-5);
    EXPECT_EQ(std::pair(par.Center, par.CenterSq), std::pair(0, 0.0));
    EXPECT_EQ(par.XT[0], 123.0);
    ASSERT_TRUE(loadText("LineCount=5\nYA2=1.5\n[CalCoefs]\nResolution=2147483647\n", par));
    EXPECT_EQ(std::pair(par.Center, par.CenterSq), std::pair(-1073741824, 0x1p60));
    for (int i = 0; i < 5; ++i) {
        const double spread = -50.0 + 25.0 * i;  // XT YT XA YA XR YR
        EXPECT_EQ((std::vector<double>{par.XT[i], par.YT[i], par.XA[i], par.YA[i], par.XR[i], par.YR[i]}),
                  (std::vector<double>{spread, spread, -100000.0, i == 2 ? 1.5 : -100000.0, 1.0, 1.0})) << i;
    }
    EXPECT_EQ(par.XT[5], 123.0);
    ASSERT_TRUE(loadText("LineCount=250\n", par));
    EXPECT_EQ(par.XT[99], -0x1.47b5fap+3);
    EXPECT_EQ(par.YT[0], -50.0);  // a 101st line would have overwritten it
    EXPECT_THROW(loadText("[CalCoefs]\nValSize=abc\n", par), std::invalid_argument);
}

// A grid is enabled when n <= the truncated order; absurd orders enable none.
TEST(CorFileLoad, OrderEnablesGridsUpToItsTruncatedValue) {
    const std::pair<const char*, std::vector<int>> cases[] = {
        {"", {0, 0}},            {"order=9.9\n", {1, 1}},  {"order=5\n", {1, 0}}, {"order=4.99\n", {0, 0}},
        {"order=nan\n", {0, 0}}, {"order=1e30\n", {0, 0}}, {"order=-1e30\n", {0, 0}},
    };
    for (const auto& [order, flags] : cases) {
        tagLenPar par;
        ASSERT_TRUE(loadText("[CalCoefs]\n" + std::string(order) + gridSection(9) + gridSection(5), par));
        std::vector<int> got;
        for (const tagStack& s : par.Stacks) got.push_back(s.Flag);
        EXPECT_EQ(got, flags) << order;
    }
}

// Grids are appended in a fixed order (25 last), each only when complete: a
// missing or malformed row drops it. Numbers are not checked: text reads as 0.
TEST(CorFileLoad, GridsInFixedOrderOnlyWhenComplete) {
    tagLenPar par;
    par.Stacks.push_back(tagStack{3, 0, {}});  // kept in front: loads append
    const std::string grids = gridSection(25) + gridSection(33) + gridSection(5, 24) + "PNT24=a b c d\n";
    ASSERT_TRUE(loadText(grids + gridSection(9, -1, 40) + gridSection(17) + gridSection(65, 65 * 65 - 1), par));
    std::vector<int> nums;
    for (const tagStack& s : par.Stacks) nums.push_back(s.Num);
    ASSERT_EQ(nums, (std::vector<int>{3, 5, 17, 33, 25}));
    EXPECT_EQ(row(par.Stacks[1].Pnts[24]), (Row{0.0f, 0.0f, 0.0f, 0.0f}));
    ASSERT_EQ(par.Stacks[4].Pnts.size(), 625u);
    EXPECT_EQ(row(par.Stacks[4].Pnts[624]), (Row{624.0f, 0.0f, 0.0f, 624.0f}));
}

// Every field the import writes, bit for bit against the "C" locale import
// (whose values RealisticFile pins): parameter block, test lines XT to YR
// (one run in the record), grids.
TEST(CorFileLocale, ImportIsTheSameUnderACommaDecimalLocale) {
    static_assert(offsetof(tagLenPar, YR) == offsetof(tagLenPar, XT) + 5 * sizeof tagLenPar::XT);
    const auto imported = [](const tagLenPar& p) {
        std::string b(reinterpret_cast<const char*>(p.Pnt), 600);
        b.append(reinterpret_cast<const char*>(p.XT), 6 * sizeof p.XT);
        for (const tagStack& t : p.Stacks)
            b.append(reinterpret_cast<const char*>(t.Pnts.data()), t.Pnts.size() * sizeof(tagCalData)) += '|';
        return b;
    };
    const std::string inC = imported(loadRealistic());
    CommaLocale comma;
    if (!comma.active) GTEST_SKIP() << "no comma-decimal locale (scripts/install-deps.sh makes de_DE.UTF-8)";
    EXPECT_TRUE(imported(loadRealistic()) == inC) << "the import differs from the one in \"C\"";
}
