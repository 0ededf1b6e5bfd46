// Reading and writing the calibration point tables of a record.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <memory>
#include <vector>

namespace {

std::vector<tagCalData> makePoints(int count, float base) {
    std::vector<tagCalData> pts(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i) {
        const float v = base + static_cast<float>(i);
        pts[static_cast<std::size_t>(i)] = {{v, -v}, {v + 0.5f, -v - 0.5f}};
    }
    return pts;
}

bool samePoint(const tagCalData& a, const tagCalData& b) {
    return a.PntA.x == b.PntA.x && a.PntA.y == b.PntA.y && a.PntB.x == b.PntB.x &&
           a.PntB.y == b.PntB.y;
}

}  // namespace

TEST(CalibTables, GetCalIndexMapsGridSizesToSlots) {
    const struct { int n, slot; } cases[] = {{5, 1}, {9, 2}, {17, 3}, {33, 4}, {65, 5},
                                             {25, 6}, {3, 0}, {64, 0}, {0, 0}, {-5, 0}};
    for (const auto& c : cases) EXPECT_EQ(CCalibAlg::GetCalIndex(c.n), c.slot) << c.n;
}

TEST(CalibTables, NinePointTableRoundTrip) {
    auto lp = std::make_unique<tagLenPar>();
    auto pts = makePoints(9, 1.0f);
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, -1, 3, pts.data()));
    EXPECT_TRUE(lp->Stacks.empty());

    std::vector<tagCalData> back(9);
    int n = 3;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, -7, n, back.data()));
    EXPECT_EQ(n, 3);
    for (int i = 0; i < 9; ++i) EXPECT_TRUE(samePoint(back[i], pts[i])) << i;
}

TEST(CalibTables, GridTablesAppendOverwriteAndRefuseOtherSizes) {
    auto lp = std::make_unique<tagLenPar>();
    auto five = makePoints(25, 10.0f);
    // A negative index with n != 3 appends rather than touching Pnt.
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, -1, 5, five.data()));
    ASSERT_EQ(lp->Stacks.size(), 1u);
    EXPECT_EQ(lp->Stacks[0].Num, 5);
    EXPECT_EQ(lp->Stacks[0].Flag, 1);
    EXPECT_EQ(lp->Pnt[0].PntA.x, 0.0f);

    // Index equal to the table count appends; n = 0 appends an empty table.
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, 1, 0, nullptr));
    ASSERT_EQ(lp->Stacks.size(), 2u);
    EXPECT_TRUE(lp->Stacks[1].Pnts.empty());

    // Wrong size for an existing table: refused, nothing changes.
    auto nine = makePoints(81, 0.0f);
    EXPECT_FALSE(CCalibAlg::setCalibPnts(*lp, 0, 9, nine.data()));
    EXPECT_TRUE(samePoint(lp->Stacks[0].Pnts[3], five[3]));

    // Same size: overwritten in place.
    auto other = makePoints(25, 100.0f);
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, 0, 5, other.data()));
    std::vector<tagCalData> back(25);
    int n = 5;
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, 0, n, back.data()));
    EXPECT_EQ(n, 5);
    for (int i = 0; i < 25; ++i) EXPECT_TRUE(samePoint(back[i], other[i])) << i;

    // Past the last table: false and n unchanged.
    n = 4;
    EXPECT_FALSE(CCalibAlg::getCalibPnts(*lp, 2, n, back.data()));
    EXPECT_EQ(n, 4);
}

TEST(CalibTables, GetCalibPntsCopiesByTheCountOnEntry) {
    auto lp = std::make_unique<tagLenPar>();
    auto five = makePoints(25, 1.0f);
    ASSERT_TRUE(CCalibAlg::setCalibPnts(*lp, 0, 5, five.data()));
    std::vector<tagCalData> back(25, tagCalData{{-1, -1}, {-1, -1}});
    int n = 2;  // asks for four records only
    ASSERT_TRUE(CCalibAlg::getCalibPnts(*lp, 0, n, back.data()));
    EXPECT_EQ(n, 5);
    EXPECT_TRUE(samePoint(back[3], five[3]));
    EXPECT_EQ(back[4].PntA.x, -1.0f);
}

TEST(CalibTables, EqualPointsSelectTablesByPathAndAxis) {
    auto lp = std::make_unique<tagLenPar>();
    lp->LineCount = 2;
    lp->ManLineCount = 3;
    const tagVeyPointF pts[] = {{1.0f, 2.0f}, {3.0f, 4.0f}, {5.0f, 6.0f}};
    const struct {
        int useLsm, axis;
        const double *target, *actual, *ratio;
        int count;
    } cases[] = {
        {1, 0, lp->XT, lp->XA, lp->XR, 2},
        {1, 1, lp->YT, lp->YA, lp->YR, 2},
        {0, 0, lp->ManXT, lp->ManXA, lp->ManXR, 3},
        {0, 2, lp->ManYT, lp->ManYA, lp->ManYR, 3},
    };
    for (const auto& c : cases) {
        lp->UseLsm = c.useLsm;
        ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, c.axis, 3, const_cast<tagVeyPointF*>(pts)));
        EXPECT_EQ(c.target[2], 5.0);
        EXPECT_EQ(c.actual[2], 6.0);
        EXPECT_EQ(c.ratio[2], 1.0);  // a zero ratio is initialised to 1
        tagVeyPointF back[3] = {};
        int count = -1;
        ASSERT_TRUE(CCalibAlg::getEqualPnts(*lp, c.axis, count, back));
        EXPECT_EQ(count, c.count);
        EXPECT_EQ(back[1].x, 3.0f);
        EXPECT_EQ(back[1].y, 4.0f);
    }
}

TEST(CalibTables, EqualPointsCapTheLeastSquaresTablesAt100) {
    auto lp = std::make_unique<tagLenPar>();
    lp->UseLsm = 1;
    std::vector<tagVeyPointF> pts(150, tagVeyPointF{7.0f, 8.0f});
    lp->YT[0] = 0.0;  // the entry after XT[99] in memory must stay untouched
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 0, 150, pts.data()));
    EXPECT_EQ(lp->XT[99], 7.0);
    EXPECT_EQ(lp->YT[0], 0.0);

    lp->LineCount = 150;
    std::vector<tagVeyPointF> back(101, tagVeyPointF{-1.0f, -1.0f});
    int count = 0;
    ASSERT_TRUE(CCalibAlg::getEqualPnts(*lp, 0, count, back.data()));
    EXPECT_EQ(count, 150);
    EXPECT_EQ(back[99].x, 7.0f);
    EXPECT_EQ(back[100].x, -1.0f);
}

TEST(CalibTables, RemeasuredYLineScalesItsRatio) {
    auto lp = std::make_unique<tagLenPar>();
    lp->UseLsm = 1;
    tagVeyPointF p{10.0f, 10.0f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 1, 1, &p));
    EXPECT_EQ(lp->YR[0], 1.0);

    // Same target, new measurement: ratio *= target / measured (single precision).
    p = {10.0f, 12.5f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 1, 1, &p));
    EXPECT_EQ(lp->YR[0], static_cast<double>(10.0f / 12.5f));

    // The same measurement again leaves it.
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 1, 1, &p));
    EXPECT_EQ(lp->YR[0], static_cast<double>(10.0f / 12.5f));

    // A target within 0.001 of zero resets it.
    p = {0.0f, 0.0f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 1, 1, &p));
    p = {0.0f, 0.3f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 1, 1, &p));
    EXPECT_EQ(lp->YR[0], 1.0);

    // The X axis never updates a ratio.
    lp->XR[0] = 2.0;
    p = {10.0f, 10.0f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 0, 1, &p));
    p = {10.0f, 12.5f};
    ASSERT_TRUE(CCalibAlg::setEqualPnts(*lp, 0, 1, &p));
    EXPECT_EQ(lp->XR[0], 2.0);
}
