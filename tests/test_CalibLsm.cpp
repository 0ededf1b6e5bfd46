// Tests of the least-squares point correction (CalibLSM with both engines,
// ShapePoint, getPointScale) and of CalibPoint6. Every expected float is
// printed by tests/reference/correction_reference.py (the model in Python
// doubles, narrowed with struct) and compared bit for bit.
#include <zemcal/CalibAlg.h>

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

namespace {

const float kNaN = std::nanf("");
const float kR11 = 0.00048828125f;  // 2^-11 mm, below the 1 um threshold

// A 2 x 2 table whose one cell spans 80 mm (the pitch of the default 80 mm
// working field) from its top-left node; every node measured (dx, dy) off.
tagStack Shifted(float left, float top, float dx, float dy) {
    tagStack t{2, 1, {}};
    for (float y : {top, top - 80.0f})
        for (float x : {left, left + 80.0f}) t.Pnts.push_back({{x, y}, {x + dx, y + dy}});
    return t;
}

// Axis scales SX 1.25, SY 0.8 (which must scale the residual), grid tables
// and saved axis flags.
tagLenPar WithTables(std::vector<tagStack> tables, int flip = 0, int xinv = 0, int yinv = 0) {
    tagLenPar lp;
    lp.SX = 1.25, lp.SY = 0.8, lp.Stacks = tables;
    lp.XYFlipSaved = flip, lp.XInvertSaved = xinv, lp.YInvertSaved = yinv;
    return lp;
}

tagLenPar ShapedRecord() {
    tagLenPar lp;
    lp.QX[1] = 0.002, lp.QY[1] = -0.0015, lp.PLX = 0.01;
    lp.TXL = 0.02, lp.TXR = -0.015, lp.TYT = 0.012, lp.TYB = -0.018;
    lp.AxisXL = 49.0, lp.AxisXR = 51.0, lp.AxisYT = 50.5, lp.AxisYB = 48.5;
    lp.SX = 1.01, lp.SY = 0.99, lp.K[2] = 0.03, lp.K[3] = -0.02;
    return lp;
}

// Line ratio tables XT = YT = 1 + 0.5 i, XR = 1.01 + 0.001 i, YR = 0.99 -
// 0.0005 i, and Center 0, which keeps the last bits of the product.
tagLenPar Ratios(int grid, int count, int xinv) {
    tagLenPar lp;
    lp.Center = 0, lp.Grid = grid, lp.LineCount = count, lp.XInvertSaved = xinv;
    for (int i = 0; i < 100; ++i)
        lp.XT[i] = lp.YT[i] = 1.0 + 0.5 * i, lp.XR[i] = 1.01 + 0.001 * i, lp.YR[i] = 0.99 - 0.0005 * i;
    return lp;
}

// Equal, with any NaN matching any NaN.
bool Same(float want, float got) { return std::isnan(want) ? std::isnan(got) : want == got; }

// Each row: a record and a point through both engines, want = classic x, y,
// then revised x, y.
TEST(CalibLsm, PointsThroughBothEngines) {
    tagLenPar zeroField, zeroAxis;
    zeroField.FieldSize = 0.0, zeroAxis.AxisXL = 0.0, zeroAxis.TXL = 0.1;
    const tagLenPar plain, shaped = ShapedRecord();
    // Table A adds 0.5 mm to x where x >= 0, B 0.25 mm to y where y >= 0, C
    // (0.125, 0.0625) mm everywhere: the result shows which point was looked
    // up, the sign given back and the axis scale.
    const std::vector<tagStack> abc = {Shifted(0, 40, 0.5f, 0), Shifted(-40, 80, 0, 0.25f),
                                       Shifted(-40, 40, 0.125f, 0.0625f)};
    const tagStack r11 = Shifted(-40, 40, kR11, kR11);  // one full-field table of 2^-11 mm
    const struct { const char* name; tagLenPar lp; float x, y, want[4]; } cases[] = {
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
        // The grid residual with each combination of the saved flags, at (10, -5).
        {"flags 000", WithTables(abc, 0, 0, 0), 10, -5, {40447.8828f, 30113.832f, 40447.8828f, 30113.832f}},
        {"flags 001", WithTables(abc, 0, 0, 1), 10, -5, {40447.8828f, 30310.4375f, 40447.8828f, 30310.4375f}},
        {"flags 010", WithTables(abc, 0, 1, 0), 10, -5, {41062.2734f, 30113.832f, 41062.2734f, 30113.832f}},
        {"flags 101", WithTables(abc, 1, 0, 1), 10, -5, {41025.4102f, 30095.4004f, 41025.4102f, 30095.4004f}},
        {"flags 110", WithTables(abc, 1, 1, 0), 10, -5, {40632.1992f, 30402.5957f, 40632.1992f, 30402.5957f}},
        // A summed residual of at most 1 um: quartered by the revised engine, dropped by the classic one.
        {"one 2^-11", WithTables({r11}), 10, 5, {40959.875f, 35389.3984f, 40959.7734f, 35389.3359f}},
        {"two 2^-11", WithTables({r11, r11}), 10, 5, {40959.875f, 35389.3984f, 40959.6758f, 35389.2734f}},
        {"one 2^-9", WithTables({Shifted(-40, 40, 4 * kR11, 4 * kR11)}), 10, 5,
         {40958.2734f, 35388.375f, 40958.2734f, 35388.375f}},
        // Line ratios, looked up by the input point, only for Grid 1 and 1 to 99 lines. With no
        // quadratic term and no residual both engines agree. The x of the rows marked * is one
        // float step lower if the ratio is narrowed before the product.
        {"0 lines", Ratios(1, 0, 0), 10.3f, 4.5f, {6750.10498f, 2949.07495f, 6750.10498f, 2949.07495f}},
        {"1 line", Ratios(1, 1, 0), 10.3f, 4.5f, {6817.60596f, 2919.58423f, 6817.60596f, 2919.58423f}},
        {"99 lines *", Ratios(1, 99, 0), 10.3f, 4.5f, {6943.1582f, 2909.26245f, 6943.1582f, 2909.26245f}},
        {"flags ignored *", Ratios(1, 99, 1), 10.3f, 4.5f, {6943.1582f, 2909.26245f, 6943.1582f, 2909.26245f}},
        {"below, above *", Ratios(1, 99, 0), 0.5f, 55.0f, {330.951752f, 33917.6406f, 330.951752f, 33917.6406f}},
        {"100 lines", Ratios(1, 100, 0), 10.3f, 4.5f, {6750.10498f, 2949.07495f, 6750.10498f, 2949.07495f}},
        {"Grid 2", Ratios(2, 99, 0), 10.3f, 4.5f, {6750.10498f, 2949.07495f, 6750.10498f, 2949.07495f}},
    };
    for (auto c : cases) {
        tagVeyPointF classic{}, revised{};
        c.lp.Version = CalVerClassic;
        EXPECT_TRUE(CCalibAlg::CalibLSM(c.lp, {c.x, c.y}, classic));
        c.lp.Version = CalVerRevised;
        EXPECT_TRUE(CCalibAlg::CalibLSM(c.lp, {c.x, c.y}, revised));
        const float got[4] = {classic.x, classic.y, revised.x, revised.y};
        for (int i = 0; i < 4; ++i) EXPECT_TRUE(Same(c.want[i], got[i])) << c.name << ", value " << i << ": " << got[i];
    }

    tagVeyPointF mm{};
    EXPECT_TRUE(CCalibAlg::ShapePoint(shaped, {-12.5f, 7.25f}, mm));
    EXPECT_TRUE(mm.x == -12.7358017f && mm.y == 7.19894266f);
}

// The x term is Center + k*Y (not k*X) plus the odd cubic; the residual is
// not axis-scaled nor quartered; out.y keeps the caller's 100 (+ Center).
TEST(CalibPoint6, OddCubicInXResidualUnscaledAndCallersY) {
    tagLenPar cubic = ShapedRecord();
    cubic.K[1] = 0.004, cubic.K[3] = -0.003, cubic.K[5] = 0.002;
    cubic.K[7] = 0.0015, cubic.K[9] = 0.05, cubic.K[11] = 2.5;
    const struct { tagLenPar lp; float x, y, wantX, wantY; } cases[] = {
        {tagLenPar{}, 10.0f, -7.5f, 27852.875f, 32868.0f},
        {cubic, 12.5f, 7.25f, 37500.2344f, 32868.0f},
        {WithTables({Shifted(-40, 40, 0.5f, 0.25f)}), 10.0f, 5.0f, 35061.7266f, 32704.1621f},
        {WithTables({Shifted(-40, 40, kR11, kR11)}), 10.0f, 5.0f, 35389.3984f, 32868.0f},
    };
    for (const auto& c : cases) {
        tagVeyPointF out{-1.0f, 100.0f};
        EXPECT_TRUE(CCalibAlg::CalibPoint6(c.lp, {c.x, c.y}, out));
        EXPECT_TRUE(out.x == c.wantX && out.y == c.wantY) << c.x << ", " << c.y << ": " << out.x << ", " << out.y;
    }
}

// 1 within 1 mm of an axis, then growing linearly towards the half's scale.
TEST(CalibLsm, PointScaleHasOneMillimetreDeadBand) {
    tagLenPar lp;
    lp.SXL = 1.02, lp.SXR = 0.97, lp.SYB = 1.05, lp.SYT = 0.96;
    const tagVeyPointF band = CCalibAlg::getPointScale(lp, {-1.0f, 1.0f});
    const tagVeyPointF near = CCalibAlg::getPointScale(lp, {-1.5f, 1.5f});
    const tagVeyPointF far = CCalibAlg::getPointScale(lp, {30.25f, -30.25f});
    EXPECT_TRUE(band.x == 1.0f && band.y == 1.0f && near.x == 1.00037503f && near.y == 0.999249995f);
    EXPECT_TRUE(far.x == 0.988656223f && far.y == 1.01890624f);
}

}  // namespace
