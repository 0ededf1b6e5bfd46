// The facade's point calls: inversion rules, offsets, shift signs, clamping
// and the rectangle-to-manual-parameter conversion.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>
#include <tuple>
#include <utility>

namespace {

// One flag set and the coordinates it negates: with the flip set each
// invert flag acts on the other coordinate.
struct Flags { int flip, xInv, yInv; };
bool negX(const Flags& f) { return f.flip ? f.yInv : f.xInv; }
bool negY(const Flags& f) { return f.flip ? f.xInv : f.yInv; }

// A default record on the revised path: no coefficients, no tables, so both
// engines map linearly and the flag handling shows alone.
std::unique_ptr<tagLenPar> identityRecord(int useLsm = 0) {
    auto lp = std::make_unique<tagLenPar>();
    lp->Version = CalVerRevised;
    lp->UseLsm = useLsm;
    return lp;
}

// The uncorrected mapping, formed in double.
float linear(const tagLenPar& lp, float v) {
    return static_cast<float>(v * (lp.Resolution / lp.FieldSize) + lp.Center);
}

// What both engines give on an identity record: a float device offset, and
// the centre added in single precision.
float corrected(const tagLenPar& lp, float v) {
    return static_cast<float>(v * (lp.Resolution / lp.FieldSize)) + static_cast<float>(lp.Center);
}

std::pair<float, float> xy(const tagVeyPointF& p) { return {p.x, p.y}; }

}  // namespace

// Every flag combination on both paths; the other path's set holds the
// opposite, so reading the wrong set shows. CalibPoint inverts by the active
// set, LP2DPEX_Cal always by the saved one, and the shift signs pair
// crosswise with the invert flags when the flip is clear.
TEST(ZemCalPoints, InversionAndShiftSignsFollowTheirFlagSets) {
    ZemCal zc;
    const double sx = static_cast<double>(0.01f * 65535.0f) / 100.0;
    const double sy = static_cast<double>(0.02f * 65535.0f) / 100.0;
    for (int bits = 0; bits < 16; ++bits) {  // path, flip, X-invert, Y-invert
        SCOPED_TRACE(bits);
        const Flags f{bits >> 2 & 1, bits >> 1 & 1, bits & 1}, opposite{0, !f.xInv, !f.yInv};
        auto lp = identityRecord(bits >> 3);
        const Flags& plain = lp->UseLsm ? opposite : f;
        const Flags& saved = lp->UseLsm ? f : opposite;
        lp->XYFlip = plain.flip, lp->XInvert = plain.xInv, lp->YInvert = plain.yInv;
        lp->XYFlipSaved = saved.flip, lp->XInvertSaved = saved.xInv, lp->YInvertSaved = saved.yInv;
        tagVeyPointF out{};
        ASSERT_TRUE(zc.CalibPoint(*lp, {4.0f, -8.0f}, out));
        EXPECT_EQ(xy(out), xy({corrected(*lp, negX(f) ? -4.0f : 4.0f), corrected(*lp, negY(f) ? 8.0f : -8.0f)}));
        ASSERT_TRUE(zc.LP2DPEX_Cal({10.0f, 20.0f}, out, *lp));
        EXPECT_EQ(xy(out),
                  xy({linear(*lp, negX(saved) ? -10.0f : 10.0f), linear(*lp, negY(saved) ? -20.0f : 20.0f)}));

        lp->SftX = 0.01f, lp->SftY = 0.02f;
        ASSERT_TRUE(zc.LP2DPEX_SFT({0.0f, 0.0f}, out, *lp, true));  // the centre stays at Center
        EXPECT_EQ(xy(out), xy({static_cast<float>(32768.0f + (negY(f) ? -sx : sx)),
                               static_cast<float>(32768.0f + (negX(f) ? -sy : sy))}));
    }
}

// The offsets belong to the manual path only. The shift's scale works about
// the centre in single precision; without the shift the point stays as
// corrected. The linear mapping clamps to the device range; NaN passes through.
TEST(ZemCalPoints, OffsetsShiftScaleAndClamp) {
    ZemCal zc;
    auto lp = identityRecord();
    lp->OffsetX = 0.5, lp->OffsetY = -0.25, lp->SftScaleX = 2.0f, lp->SftScaleY = 0.5f;
    const float c = 32768.0f, x = corrected(*lp, 10.5f), y = corrected(*lp, 9.75f);
    tagVeyPointF out{};
    ASSERT_TRUE(zc.LP2DPEX_SFT({10.0f, 10.0f}, out, *lp, false));
    EXPECT_EQ(xy(out), xy({x, y}));
    ASSERT_TRUE(zc.LP2DPEX_SFT({10.0f, 10.0f}, out, *lp, true));
    EXPECT_EQ(xy(out), xy({(x - c) * 2.0f + c, (y - c) * 0.5f + c}));
    lp->UseLsm = 1;
    ASSERT_TRUE(zc.CalibPoint(*lp, {10.0f, 10.0f}, out));
    EXPECT_EQ(xy(out), xy({corrected(*lp, 10.0f), corrected(*lp, 10.0f)}));
    ASSERT_TRUE(zc.LP2DPEX_Cal({60.0f, -60.0f}, out, *lp));
    EXPECT_EQ(xy(out), xy({65535.0f, 0.0f}));
    ASSERT_TRUE(zc.LP2DPEX_Cal({NAN, 1.0f}, out, *lp));
    EXPECT_TRUE(std::isnan(out.x));
}

TEST(ZemCalPoints, RectangleMeasurementToManualParameters) {
    ZemCal zc;
    // a: measured sides, corner angle (degrees) and half-widths; b: current values.
    double a[9] = {2.0, 3.0, 90.0, 10.0, 10.0, 10.0, 20.0, 20.0, 20.0};
    double b[9] = {0.12345678, -0.12345678, 1.0, 1.0, 0.5, 0.25, 0.0, 0.0, 2.0};
    double out[8];
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    // 2 * 0.12345678 / 10 and 3 * -0.12345678 / 20 cut toward zero; straight
    // sides leave the barrel as it is, and 90 degrees keeps b[4].
    EXPECT_EQ(std::make_tuple(out[0], out[1], out[2], out[4], out[5]),
              std::make_tuple(0.024691, -0.018518, 1.0, 0.5, 0.25));
    // 45 degrees goes through the constant 3.14159: 0.5 - 1/tan(0.7853975)
    // (python: int((0.5 - 1/math.tan(45*3.14159/180))*1e6)/1e6).
    a[2] = 45.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[4], -0.500001);
    // Zero divisors: the non-finite value comes out as the integer minimum.
    a[4] = 0.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(std::make_pair(out[0], out[7]), std::make_pair(-2147.483648, -2147.483648));
}
