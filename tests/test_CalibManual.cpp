// Tests of the manual box correction (CalibManual) and of the line ratio
// lookup GetScaleValue. Expected values are printed by
// tests/reference/correction_reference.py (Python doubles, float32 by
// struct) and compared bit for bit.
#include <zemcal/CalibAlg.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

TEST(CalibManual, ScaleSkewTrapezoidBarrelChainAndClamp) {
    tagLenPar box;
    box.BoxScale[0] = 90.0, box.BoxScale[1] = 110.0, box.BoxSkew[0] = 1.01, box.BoxSkew[1] = 0.98;
    box.BoxTrap[0] = 0.97, box.BoxTrap[1] = 1.02, box.BoxBarrel[0] = 1.05, box.BoxBarrel[1] = 0.95;
    const tagLenPar plain;  // all factors neutral: Center + k*p
    const struct { const tagLenPar& lp; float x, y, wantX, wantY; } cases[] = {
        {plain, -33.3f, 21.7f, 10944.8457f, 46989.0938f}, {box, 55.0f, -60.0f, 65535.0f, 0.0f},
        {box, 12.5f, 7.25f, 40167.3828f, 37857.0039f}, {box, -12.5f, -7.25f, 25299.6426f, 27725.1562f},
        {box, -33.3f, 21.7f, 13345.1992f, 48341.3594f},  // Dx narrowed would differ
    };
    for (const auto& c : cases) {
        tagVeyPointF p{c.x, c.y}, out{};
        EXPECT_TRUE(CCalibAlg::CalibManual(c.lp, p, out));
        EXPECT_TRUE(out.x == c.wantX && out.y == c.wantY) << c.x << ", " << c.y << ": " << out.x << ", " << out.y;
    }
}

TEST(CalibManual, LineRatiosLookUpThePointWithInversionsUndone) {
    // Ratio tables {-1, 1} -> {1.1, 0.9} for x and {1.3, 0.7} for y: the
    // factor shows the sign of the looked-up coordinate. The ratio is
    // narrowed to float before the product; a double product would differ
    // in the last bit in every row. Only ManGrid 1 switches the tables on.
    const struct { int grid, flip, xinv, yinv; float wantX, wantY; } cases[] = {
        {1, 0, 0, 0, 40258.6484f, 24333.6465f}, {1, 0, 0, 1, 40258.6484f, 28226.4258f},
        {1, 0, 1, 0, 41923.2422f, 24333.6465f}, {1, 1, 0, 1, 41923.2422f, 24333.6465f},
        {1, 1, 1, 0, 40258.6484f, 28226.4258f}, {2, 0, 0, 0, 41090.9453f, 26280.0352f},
    };
    tagLenPar lp;
    lp.ManLineCount = 2;
    lp.ManXT[0] = lp.ManYT[0] = -1.0, lp.ManXT[1] = lp.ManYT[1] = 1.0;
    lp.ManXR[0] = 1.1, lp.ManXR[1] = 0.9, lp.ManYR[0] = 1.3, lp.ManYR[1] = 0.7;
    tagVeyPointF p{12.7f, -9.9f}, out{};
    for (const auto& c : cases) {
        lp.ManGrid = c.grid, lp.XYFlip = c.flip, lp.XInvert = c.xinv, lp.YInvert = c.yinv;
        CCalibAlg::CalibManual(lp, p, out);
        EXPECT_TRUE(out.x == c.wantX && out.y == c.wantY) << c.grid << c.flip << c.xinv << c.yinv;
    }
}

TEST(CalibManual, ScaleValueLookupRules) {
    // Targets ascend with one repeated entry; the rest of the arrays is 0.
    double t[100] = {-10.0, -5.0, 0.0, 5.0, 5.0, 10.0};
    double r[100] = {1.2, 1.1, 1.0, 0.9, 0.8, 0.7};
    const struct { const char* name; int count; double v, want; } cases[] = {
        {"interpolated", 6, 7.3, 0.754},          {"repeated target", 6, 5.0, 0.8},
        {"below the first", 6, -12.0, 1.2},       {"at the last", 6, 10.0, 0.7},
        {"inside the dead band", 6, 9e-07, 1.0},  {"at the dead band", 6, 1e-06, 0.99999998},
        {"single line", 1, 3.0, 1.2},             {"no lines", 0, 3.0, 1.0},
        {"99 lines", 99, -30.0, 1.2},             {"100 lines refused", 100, -30.0, 1.0},
        {"lowest count", std::numeric_limits<int>::min(), -30.0, 1.0}, {"NaN", 6, std::nan(""), 1.0},
    };
    // The measured table is never read.
    for (const auto& c : cases) EXPECT_EQ(c.want, CCalibAlg::GetScaleValue(c.count, c.v, t, nullptr, r)) << c.name;
    t[1] = std::nan("");  // no segment holds -2.5 any more
    EXPECT_EQ(1.0, CCalibAlg::GetScaleValue(6, -2.5, t, nullptr, r));
}
