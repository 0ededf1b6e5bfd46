// Reading and writing the calibration point tables of a record.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <climits>
#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

namespace {

std::vector<tagCalData> makePoints(int count, float base) {
    std::vector<tagCalData> pts;
    for (float v = base; v < base + static_cast<float>(count); v += 1.0f)
        pts.push_back({{v, -v}, {v + 0.5f, -v - 0.5f}});
    return pts;
}

bool samePoints(const tagCalData* a, const tagCalData* b, int count) {
    return std::memcmp(a, b, sizeof(tagCalData) * static_cast<std::size_t>(count)) == 0;
}

}  // namespace

// The file's calibration-order codes 1 to 6 name the grid sizes whose slots
// they are (25 last, out of order); any other code names the nine points,
// which, like any other size, have no slot.
TEST(CalibTables, GridSizesByOrderCodeAndSlot) {
    const int sizes[] = {5, 9, 17, 33, 65, 25};
    for (int code = 1; code <= 6; ++code) {
        const int n = CBcdFile::GetCalOrder(code);
        EXPECT_TRUE(n == sizes[code - 1] && CCalibAlg::GetCalIndex(n) == code) << code;
    }
    for (int v : {0, 7, -1, 64, INT_MIN}) {
        EXPECT_TRUE(CBcdFile::GetCalOrder(v) == 3 && CCalibAlg::GetCalIndex(v) == 0) << v;
    }
    EXPECT_EQ(CCalibAlg::GetCalIndex(3), 0);
}

// test_ZemCalFiles.cpp checks that a refused table leaves the stored points alone.
TEST(CalibTables, NinePointsAndGridTables) {
    auto lp = std::make_unique<tagLenPar>();
    auto nine = makePoints(9, 1.0f), five = makePoints(25, 10.0f), other = makePoints(25, 100.0f);
    std::vector<tagCalData> back(81);

    // index < 0 with n = 3 is the nine-point table, whatever the index.
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, -1, 3, nine.data()));
    int n = 3;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, -7, n, back.data()));
    EXPECT_TRUE(n == 3 && samePoints(back.data(), nine.data(), 9) && lp->Stacks.empty());

    // A negative index with another size appends an enabled table, and so does
    // the index equal to the table count; n = 0 gives an empty table.
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, -1, 5, five.data()));
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, 1, 0, nullptr));
    ASSERT_EQ(lp->Stacks.size(), 2u);
    EXPECT_EQ(std::make_tuple(lp->Stacks[0].Num, lp->Stacks[0].Flag, lp->Stacks[1].Pnts.size()),
              std::make_tuple(5, 1, std::size_t{0}));

    // Another size at an existing index is refused; the same size overwrites in place.
    EXPECT_FALSE(CCalibAlg::setCalibPnts(*lp, 0, 9, back.data()));
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, 0, 5, other.data()));
    EXPECT_TRUE(samePoints(lp->Stacks[0].Pnts.data(), other.data(), 25));

    // The count copied is n on entry squared; n then reports the table's size.
    back.assign(81, tagCalData{{-1, -1}, {-1, -1}});
    n = 2;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, 0, n, back.data()));
    EXPECT_TRUE(n == 5 && samePoints(back.data(), other.data(), 4) && back[4].PntA.x == -1.0f);
    // A larger n copies no more than the table holds.
    back.assign(81, tagCalData{{-1, -1}, {-1, -1}});
    n = 9;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, 0, n, back.data()));
    EXPECT_TRUE(n == 5 && samePoints(back.data(), other.data(), 25) && back[25].PntA.x == -1.0f);
    back.assign(81, tagCalData{{-1, -1}, {-1, -1}});
    n = 9;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, -1, n, back.data()));
    EXPECT_TRUE(n == 3 && samePoints(back.data(), nine.data(), 9) && back[9].PntA.x == -1.0f);

    // Past the last table: false, n unchanged.
    n = 4;
    EXPECT_FALSE(CCalibAlg::getCalibPnts(*lp, 2, n, back.data()));
    EXPECT_EQ(n, 4);
}

// The line tables of the path UseLsm selects, per axis. The tables hold 100
// entries: reads and writes stop there on both paths.
TEST(CalibTables, LineTablesByPathAndAxis) {
    auto lp = std::make_unique<tagLenPar>();
    lp->UseLsm = 1, lp->LineCount = 150, lp->ManLineCount = 120;
    std::vector<tagVeyPointF> pts(150, tagVeyPointF{7.0f, 8.0f});
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 0, 150, pts.data()));
    EXPECT_EQ(std::make_tuple(lp->XT[99], lp->YT[0]), std::make_tuple(7.0, 0.0));  // YT follows XT in memory
    lp->UseLsm = 0;
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 0, 150, pts.data()));
    EXPECT_EQ(std::make_tuple(lp->ManXT[99], lp->ManYT[0]), std::make_tuple(7.0, 0.0));
    lp->UseLsm = 1;

    pts[2] = {5.0f, 6.0f};
    const struct { int useLsm, axis; const double *target, *actual, *ratio; int count; } cases[] = {
        {1, 0, lp->XT, lp->XA, lp->XR, 150},          {1, 1, lp->YT, lp->YA, lp->YR, 150},
        {0, 0, lp->ManXT, lp->ManXA, lp->ManXR, 120}, {0, 2, lp->ManYT, lp->ManYA, lp->ManYR, 120},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "lsm " << c.useLsm << " axis " << c.axis);
        lp->UseLsm = c.useLsm;
        ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, c.axis, 3, pts.data()));
        // A zero ratio is initialised to 1.
        EXPECT_EQ(std::make_tuple(c.target[2], c.actual[2], c.ratio[2]), std::make_tuple(5.0, 6.0, 1.0));
        std::vector<tagVeyPointF> back(101, tagVeyPointF{-1.0f, -1.0f});
        int count = -1;
        ASSERT_TRUE(CCalibAlg::getEqualPnts(*lp, c.axis, count, back.data()));
        EXPECT_EQ(std::make_tuple(count, back[2].x, back[2].y, back[99].x, back[100].x),
                  std::make_tuple(c.count, 5.0f, 6.0f, static_cast<float>(c.target[99]), -1.0f));
    }
}

TEST(CalibTables, RemeasuredYLineScalesItsRatio) {
    auto lp = std::make_unique<tagLenPar>();
    lp->UseLsm = 1, lp->XR[0] = 2.0;
    // Each step enters one (target, measured) pair on an axis; the ratio that follows.
    const struct { int axis; tagVeyPointF p; double ratio; } steps[] = {
        {1, {10.0f, 10.0f}, 1.0},
        {1, {10.0f, 12.5f}, static_cast<double>(10.0f / 12.5f)},  // same target, new value
        {1, {10.0f, 12.5f}, static_cast<double>(10.0f / 12.5f)},  // same value: unchanged
        {1, {0.0f, 0.0f}, static_cast<double>(10.0f / 12.5f)},    // new target: unchanged
        {1, {0.0f, 0.3f}, 1.0},                                   // target near 0: reset
        {0, {10.0f, 10.0f}, 2.0},                                 // X never updates
        {0, {10.0f, 12.5f}, 2.0},
    };
    for (auto s : steps) {
        ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, s.axis, 1, &s.p));
        EXPECT_EQ(s.axis ? lp->YR[0] : lp->XR[0], s.ratio) << s.p.x << " " << s.p.y;
    }
}
