// Tests of the least-squares point correction (CalibLSM with both engines,
// ShapePoint, getPointScale) and of CalibPoint6. Every expected float is
// printed by tests/reference/correction_reference.py (the model in Python
// doubles, narrowed with struct) and compared bit for bit.
#include <zemcal/CalibAlg.h>

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace {

const float kNaN = std::numeric_limits<float>::quiet_NaN();

// Both engines on one point: want = classic x, y, then revised x, y.
void ExpectEngines(tagLenPar lp, tagVeyPointF p, const float (&want)[4], const char* what) {
    tagVeyPointF classic{}, revised{};
    lp.Version = CalVerClassic;
    EXPECT_TRUE(CCalibAlg::CalibLSM(lp, p, classic));
    lp.Version = CalVerRevised;
    EXPECT_TRUE(CCalibAlg::CalibLSM(lp, p, revised));
    const float got[4] = {classic.x, classic.y, revised.x, revised.y};
    for (int i = 0; i < 4; ++i) {
        if (std::isnan(want[i])) {
            EXPECT_TRUE(std::isnan(got[i])) << what << " " << i;
        } else {
            EXPECT_EQ(want[i], got[i]) << what << " " << i;
        }
    }
}

// A 2 x 2 table whose one cell spans 80 mm (the pitch of the default 80 mm
// working field) from its top-left node; every node measured (dx, dy) off.
tagStack Shifted(float left, float top, float dx, float dy) {
    tagStack t{2, 1, {}};
    for (float y : {top, top - 80.0f}) {
        for (float x : {left, left + 80.0f}) t.Pnts.push_back({{x, y}, {x + dx, y + dy}});
    }
    return t;
}

tagLenPar ShapedRecord() {
    tagLenPar lp;
    lp.QX[1] = 0.002, lp.QY[1] = -0.0015, lp.PLX = 0.01;
    lp.TXL = 0.02, lp.TXR = -0.015, lp.TYT = 0.012, lp.TYB = -0.018;
    lp.AxisXL = 49.0, lp.AxisXR = 51.0, lp.AxisYT = 50.5, lp.AxisYB = 48.5;
    lp.SX = 1.01, lp.SY = 0.99, lp.K[2] = 0.03, lp.K[3] = -0.02;
    return lp;
}

TEST(CalibLsm, PointsThroughBothEngines) {
    tagLenPar zeroField;
    zeroField.FieldSize = 0.0;
    tagLenPar zeroAxis;
    zeroAxis.AxisXL = 0.0, zeroAxis.TXL = 0.1;
    const tagLenPar plain;
    const tagLenPar shaped = ShapedRecord();
    const struct { const char* name; const tagLenPar& lp; float x, y, want[4]; } cases[] = {
        {"centre", plain, 0.0f, 0.0f, {32768.0f, 32768.0f, 32768.0f, 32768.0f}},
        {"Center + k*p", plain, -33.3f, 21.7f, {10944.8457f, 46989.0938f, 10944.8457f, 46989.0938f}},
        // One point per quadrant: each shear and trapezoid sign branch.
        {"++", shaped, 12.5f, 7.25f, {41030.6719f, 37435.2383f, 41238.3398f, 37382.9961f}},
        {"-+", shaped, -12.5f, 7.25f, {24401.791f, 37462.4727f, 24610.9473f, 37412.2148f}},
        {"--", shaped, -12.5f, -7.25f, {24547.0156f, 28065.1172f, 24754.1074f, 28013.3848f}},
        {"+-", shaped, 12.5f, -7.25f, {41091.4375f, 28109.1133f, 41299.0781f, 28060.168f}},
        {"beyond +", plain, 60.0f, 55.0f, {65535.0f, 65535.0f, 65535.0f, 65535.0f}},
        {"beyond -", plain, -60.0f, -55.0f, {0.0f, 0.0f, 0.0f, 0.0f}},
        {"NaN x", plain, kNaN, 1.0f, {kNaN, kNaN, kNaN, kNaN}},
        // k is infinite: k*0 is NaN, and so is the revised engine's quarter
        // step of a zero residual.
        {"FieldSize 0", zeroField, 10.0f, 0.0f, {65535.0f, kNaN, kNaN, kNaN}},
        {"AxisXL 0", zeroAxis, -10.0f, 5.0f, {kNaN, kNaN, kNaN, kNaN}},
    };
    for (const auto& c : cases) ExpectEngines(c.lp, {c.x, c.y}, c.want, c.name);

    tagVeyPointF mm{};
    EXPECT_TRUE(CCalibAlg::ShapePoint(shaped, {-12.5f, 7.25f}, mm));
    EXPECT_EQ(-12.7358017f, mm.x);
    EXPECT_EQ(7.19894266f, mm.y);
}

TEST(CalibLsm, GridResidualFollowsFlipAndInvertFlags) {
    // Table A adds 0.5 mm to x where x >= 0, B 0.25 mm to y where y >= 0,
    // C (0.125, 0.0625) mm everywhere: the result shows which point was
    // looked up, the sign given back and the axis scale (SX 1.25, SY 0.8).
    const struct { int flip, xinv, yinv; float want[4]; } cases[] = {
        {0, 0, 0, {40447.8828f, 30113.832f, 40447.8828f, 30113.832f}},
        {0, 0, 1, {40447.8828f, 30310.4375f, 40447.8828f, 30310.4375f}},
        {0, 1, 0, {41062.2734f, 30113.832f, 41062.2734f, 30113.832f}},
        {1, 0, 1, {41025.4102f, 30095.4004f, 41025.4102f, 30095.4004f}},
        {1, 1, 0, {40632.1992f, 30402.5957f, 40632.1992f, 30402.5957f}},
    };
    for (const auto& c : cases) {
        tagLenPar lp;
        lp.SX = 1.25, lp.SY = 0.8;
        lp.XYFlipSaved = c.flip, lp.XInvertSaved = c.xinv, lp.YInvertSaved = c.yinv;
        lp.Stacks = {Shifted(0.0f, 40.0f, 0.5f, 0.0f), Shifted(-40.0f, 80.0f, 0.0f, 0.25f),
                     Shifted(-40.0f, 40.0f, 0.125f, 0.0625f)};
        ExpectEngines(lp, {10.0f, -5.0f}, c.want, "flags");
    }
}

TEST(CalibLsm, ResidualBelowOneMicronIsQuarteredOnlyByTheRevisedEngine) {
    const float r11 = std::ldexp(1.0f, -11);  // 0.00049 mm
    const struct { const char* name; float each; int tables; float want[4]; } cases[] = {
        {"one 2^-11", r11, 1, {40959.875f, 35389.3984f, 40959.7734f, 35389.3359f}},
        {"summed 2 x 2^-11", r11, 2, {40959.875f, 35389.3984f, 40959.6758f, 35389.2734f}},
        {"one 2^-9", 4 * r11, 1, {40958.2734f, 35388.375f, 40958.2734f, 35388.375f}},
    };
    for (const auto& c : cases) {
        tagLenPar lp;
        lp.SX = 1.25, lp.SY = 0.8;
        for (int i = 0; i < c.tables; ++i) lp.Stacks.push_back(Shifted(-40, 40, c.each, c.each));
        ExpectEngines(lp, {10.0f, 5.0f}, c.want, c.name);
    }
}

TEST(CalibLsm, LineRatiosUseTheInputPointAndCountsOneTo99) {
    // Center 0 keeps the last bits of the product: the x of the rows marked
    // * is one float step lower if the ratio is narrowed before the product.
    const struct { int grid, count, xinv; float x, y, wantX, wantY; } cases[] = {
        {1, 0, 0, 10.3f, 4.5f, 6750.10498f, 2949.07495f},
        {1, 1, 0, 10.3f, 4.5f, 6817.60596f, 2919.58423f},
        {1, 99, 0, 10.3f, 4.5f, 6943.1582f, 2909.26245f},       // *
        {1, 99, 1, 10.3f, 4.5f, 6943.1582f, 2909.26245f},       // * lookup ignores flags
        {1, 99, 0, 0.5f, 55.0f, 330.951752f, 33917.6406f},      // * below / above
        {1, 99, 0, 5e-07f, 9e-07f, 0.000327674992f, 0.000589814968f},  // dead band
        {1, 100, 0, 10.3f, 4.5f, 6750.10498f, 2949.07495f},
        {2, 99, 0, 10.3f, 4.5f, 6750.10498f, 2949.07495f},
    };
    for (const auto& c : cases) {
        tagLenPar lp;
        lp.Center = 0, lp.Grid = c.grid, lp.LineCount = c.count, lp.XInvertSaved = c.xinv;
        for (int i = 0; i < 100; ++i) {
            lp.XT[i] = lp.YT[i] = 1.0 + 0.5 * i;
            lp.XR[i] = 1.01 + 0.001 * i;
            lp.YR[i] = 0.99 - 0.0005 * i;
        }
        tagVeyPointF out{};
        CCalibAlg::CalibPoint2_new(lp, {c.x, c.y}, out);
        EXPECT_EQ(c.wantX, out.x) << c.grid << " " << c.count << " " << c.x;
        EXPECT_EQ(c.wantY, out.y) << c.grid << " " << c.count << " " << c.y;
    }
}

TEST(CalibPoint6, OddCubicInXResidualUnscaledAndCallersY) {
    tagLenPar cubic = ShapedRecord();
    cubic.K[1] = 0.004, cubic.K[3] = -0.003, cubic.K[5] = 0.002, cubic.K[7] = 0.0015;
    cubic.K[9] = 0.05, cubic.K[11] = 2.5;
    tagLenPar big, small;  // uniform residuals; SX, SY must not scale them
    big.SX = small.SX = 1.25, big.SY = small.SY = 0.8;
    big.Stacks = {Shifted(-40, 40, 0.5f, 0.25f)};
    small.Stacks = {Shifted(-40, 40, std::ldexp(1.0f, -11), std::ldexp(1.0f, -11))};
    const tagLenPar plain;
    // out.y starts at 100 each time; out.x of the plain record is Center + k*y.
    const struct { const tagLenPar& lp; float x, y, wantX, wantY; } cases[] = {
        {plain, 10.0f, -7.5f, 27852.875f, 32868.0f},
        {cubic, 12.5f, 7.25f, 37500.2344f, 32868.0f},
        {cubic, -12.5f, -7.25f, 28009.4395f, 32868.0f},
        {big, 10.0f, 5.0f, 35061.7266f, 32704.1621f},
        {small, 10.0f, 5.0f, 35389.3984f, 32868.0f},
    };
    for (const auto& c : cases) {
        tagVeyPointF out{-1.0f, 100.0f};
        EXPECT_TRUE(CCalibAlg::CalibPoint6(c.lp, {c.x, c.y}, out));
        EXPECT_EQ(c.wantX, out.x) << c.x << ", " << c.y;
        EXPECT_EQ(c.wantY, out.y) << c.x << ", " << c.y;
    }
}

TEST(CalibLsm, PointScaleHasOneMillimetreDeadBand) {
    tagLenPar lp;
    lp.SXL = 1.02, lp.SXR = 0.97, lp.SYB = 1.05, lp.SYT = 0.96;
    const struct { float x, y, sx, sy; } cases[] = {
        {-1.0f, 1.0f, 1.0f, 1.0f},
        {-1.5f, 1.5f, 1.00037503f, 0.999249995f},
        {30.25f, -30.25f, 0.988656223f, 1.01890624f},
    };
    for (const auto& c : cases) {
        const tagVeyPointF s = CCalibAlg::getPointScale(lp, {c.x, c.y});
        EXPECT_EQ(c.sx, s.x) << c.x;
        EXPECT_EQ(c.sy, s.y) << c.y;
    }
}

}  // namespace
