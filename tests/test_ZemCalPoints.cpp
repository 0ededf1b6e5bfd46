// The facade's point calls: inversion rules, offsets, shift signs, clamping
// and the rectangle-to-manual-parameter conversion.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace {

// The three flags of one set, walked through all eight combinations.
struct Flags {
    int flip, xInv, yInv;
};
constexpr Flags kAllFlags[] = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1},
                               {1, 0, 0}, {1, 1, 0}, {1, 0, 1}, {1, 1, 1}};

// A default record on the revised path: no coefficients, no tables, so both
// engines map linearly and the flag handling shows alone.
std::unique_ptr<tagLenPar> identityRecord(int useLsm = 0) {
    auto lp = std::make_unique<tagLenPar>();
    lp->Version = CalVerRevised;
    lp->UseLsm = useLsm;
    return lp;
}

// Sets the flag set of the active path; the other set holds the opposite,
// so reading the wrong set shows.
void setActiveFlags(tagLenPar& lp, const Flags& f) {
    const bool lsm = lp.UseLsm != 0;
    (lsm ? lp.XYFlipSaved : lp.XYFlip) = f.flip;
    (lsm ? lp.XInvertSaved : lp.XInvert) = f.xInv;
    (lsm ? lp.YInvertSaved : lp.YInvert) = f.yInv;
    (lsm ? lp.XInvert : lp.XInvertSaved) = !f.xInv;
    (lsm ? lp.YInvert : lp.YInvertSaved) = !f.yInv;
}

double unitsPerMm(const tagLenPar& lp) { return static_cast<double>(lp.Resolution) / lp.FieldSize; }

// The uncorrected mapping, formed in double.
float linear(const tagLenPar& lp, float v) { return static_cast<float>(v * unitsPerMm(lp) + lp.Center); }

// What both engines give on an identity record: a float device offset, and
// the centre added in single precision.
float corrected(const tagLenPar& lp, float v) {
    return static_cast<float>(v * unitsPerMm(lp)) + static_cast<float>(lp.Center);
}

}  // namespace

TEST(ZemCalPoints, LinearMappingUsesTheSavedFlagsAndClamps) {
    ZemCal zc;
    tagVeyPointF out{};
    for (const Flags& f : kAllFlags) {
        auto lp = identityRecord();
        lp->XYFlipSaved = f.flip;
        lp->XInvertSaved = f.xInv;
        lp->YInvertSaved = f.yInv;
        lp->XInvert = lp->YInvert = 1;  // the plain flags do not matter here
        ASSERT_TRUE(zc.LP2DPEX_Cal({10.0f, 20.0f}, out, *lp));
        EXPECT_EQ(out.x, linear(*lp, (f.flip ? f.yInv : f.xInv) ? -10.0f : 10.0f));
        EXPECT_EQ(out.y, linear(*lp, (f.flip ? f.xInv : f.yInv) ? -20.0f : 20.0f));
    }
    auto lp = identityRecord();
    ASSERT_TRUE(zc.LP2DPEX_Cal({0.0f, 0.0f}, out, *lp));
    EXPECT_EQ(out.x, 32768.0f);
    ASSERT_TRUE(zc.LP2DPEX_Cal({60.0f, -60.0f}, out, *lp));
    EXPECT_EQ(out.x, 65535.0f);
    EXPECT_EQ(out.y, 0.0f);
    ASSERT_TRUE(zc.LP2DPEX_Cal({NAN, 1.0f}, out, *lp));
    EXPECT_TRUE(std::isnan(out.x));
}

// Every flag combination on both paths: the point inversion, and the shift
// signs, which pair crosswise with the invert flags when the flip is clear.
TEST(ZemCalPoints, InversionAndShiftSignsFollowTheActiveFlags) {
    ZemCal zc;
    const double sx = static_cast<double>(0.01f * 65535.0f) / 100.0;
    const double sy = static_cast<double>(0.02f * 65535.0f) / 100.0;
    for (int useLsm : {0, 1}) {
        for (const Flags& f : kAllFlags) {
            SCOPED_TRACE(testing::Message() << "lsm " << useLsm << " flags " << f.flip << f.xInv << f.yInv);
            auto lp = identityRecord(useLsm);
            setActiveFlags(*lp, f);
            tagVeyPointF out{};
            ASSERT_TRUE(zc.CalibPoint(*lp, {4.0f, -8.0f}, out));
            EXPECT_EQ(out.x, corrected(*lp, (f.flip ? f.yInv : f.xInv) ? -4.0f : 4.0f));
            EXPECT_EQ(out.y, corrected(*lp, (f.flip ? f.xInv : f.yInv) ? 8.0f : -8.0f));

            lp->SftX = 0.01f;
            lp->SftY = 0.02f;
            ASSERT_TRUE(zc.LP2DPEX_SFT({0.0f, 0.0f}, out, *lp, true));  // the centre stays at Center
            EXPECT_EQ(out.x, static_cast<float>(32768.0f + ((f.flip ? f.xInv : f.yInv) ? -sx : sx)));
            EXPECT_EQ(out.y, static_cast<float>(32768.0f + ((f.flip ? f.yInv : f.xInv) ? -sy : sy)));
        }
    }
}

TEST(ZemCalPoints, OffsetsScaleAndClamp) {
    ZemCal zc;
    auto lp = identityRecord();
    lp->OffsetX = 0.5;
    lp->OffsetY = -0.25;
    tagVeyPointF out{};
    ASSERT_TRUE(zc.CalibPoint(*lp, {10.0f, 10.0f}, out));  // offsets on the manual path only
    EXPECT_EQ(out.x, corrected(*lp, 10.5f));
    EXPECT_EQ(out.y, corrected(*lp, 9.75f));
    lp->UseLsm = 1;
    ASSERT_TRUE(zc.CalibPoint(*lp, {10.0f, 10.0f}, out));
    EXPECT_EQ(out.x, corrected(*lp, 10.0f));

    // The shift's scale works about the centre in single precision.
    lp = identityRecord();
    lp->SftScaleX = 2.0f;
    lp->SftScaleY = 0.5f;
    ASSERT_TRUE(zc.LP2DPEX_SFT({10.0f, 10.0f}, out, *lp, true));
    const float c = 32768.0f;
    EXPECT_EQ(out.x, (corrected(*lp, 10.0f) - c) * 2.0f + c);
    EXPECT_EQ(out.y, (corrected(*lp, 10.0f) - c) * 0.5f + c);
    // Without the shift the point is still clamped to the device range.
    lp->BoxScale[0] = 200.0;
    ASSERT_TRUE(zc.LP2DPEX_SFT({40.0f, -60.0f}, out, *lp, false));
    EXPECT_EQ(out.x, 65535.0f);
    EXPECT_EQ(out.y, 0.0f);
}

TEST(ZemCalPoints, RectangleMeasurementToManualParameters) {
    ZemCal zc;
    // a: measured sides, corner angle (degrees) and half-widths; b: current values.
    double a[9] = {2.0, 3.0, 90.0, 10.0, 10.0, 10.0, 20.0, 20.0, 20.0};
    double b[9] = {0.12345678, -0.12345678, 1.0, 1.0, 0.5, 0.25, 0.0, 0.0, 2.0};
    double out[8];
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[0], 0.024691);   // 2 * 0.12345678 / 10, cut toward zero
    EXPECT_EQ(out[1], -0.018518);  // 3 * -0.12345678 / 20, cut toward zero
    EXPECT_EQ(out[2], 1.0);        // straight sides: no barrel change
    EXPECT_EQ(out[4], 0.5);        // 90 degrees: b[4] kept
    EXPECT_EQ(out[5], 0.25);
    // 45 degrees goes through the constant 3.14159: 0.5 - 1/tan(0.7853975)
    // (python: int((0.5 - 1/math.tan(45*3.14159/180))*1e6)/1e6).
    a[2] = 45.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[4], -0.500001);
    // Zero divisors: the non-finite value comes out as the integer minimum.
    a[4] = 0.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[0], -2147.483648);
    EXPECT_EQ(out[7], -2147.483648);
}
