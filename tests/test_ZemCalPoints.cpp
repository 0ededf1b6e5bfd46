// The facade's point calls: inversion rules, offsets, shift signs, clamping
// and the rectangle-to-manual-parameter conversion.
#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <cmath>
#include <memory>

namespace {

// The three flags of one set, as the tests walk through all eight combinations.
struct Flags {
    int flip, xInv, yInv;
};
constexpr Flags kAllFlags[] = {{0, 0, 0}, {0, 1, 0}, {0, 0, 1}, {0, 1, 1},
                               {1, 0, 0}, {1, 1, 0}, {1, 0, 1}, {1, 1, 1}};

// Which coordinates a flag set negates: with the flip set the invert flags
// act on the other coordinate.
bool negatesX(const Flags& f) { return f.flip ? f.yInv : f.xInv; }
bool negatesY(const Flags& f) { return f.flip ? f.xInv : f.yInv; }

std::unique_ptr<tagLenPar> identityRecord() {
    auto lp = std::make_unique<tagLenPar>();
    lp->Version = CalVerRevised;  // default record, revised path: no coefficients, no tables
    return lp;
}

double unitsPerMm(const tagLenPar& lp) { return static_cast<double>(lp.Resolution) / lp.FieldSize; }

// The uncorrected mapping, formed in double.
float linear(const tagLenPar& lp, float v) {
    return static_cast<float>(v * unitsPerMm(lp) + lp.Center);
}

// What both engines give on an identity record: the device offset is a
// float, and the centre is added in single precision.
float corrected(const tagLenPar& lp, float v) {
    return static_cast<float>(v * unitsPerMm(lp)) + static_cast<float>(lp.Center);
}

}  // namespace

TEST(ZemCalPoints, LinearMappingCentresScalesAndClamps) {
    ZemCal zc;
    auto lp = identityRecord();
    tagVeyPointF out{};
    ASSERT_TRUE(zc.LP2DPEX_Cal({0.0f, 0.0f}, out, *lp));
    EXPECT_EQ(out.x, 32768.0f);
    EXPECT_EQ(out.y, 32768.0f);
    ASSERT_TRUE(zc.LP2DPEX_Cal({60.0f, -60.0f}, out, *lp));
    EXPECT_EQ(out.x, 65535.0f);
    EXPECT_EQ(out.y, 0.0f);
    ASSERT_TRUE(zc.LP2DPEX_Cal({NAN, 1.0f}, out, *lp));
    EXPECT_TRUE(std::isnan(out.x));
}

TEST(ZemCalPoints, LinearMappingUsesTheSavedFlagsWhateverThePath) {
    ZemCal zc;
    for (const Flags& f : kAllFlags) {
        auto lp = identityRecord();
        lp->XYFlipSaved = f.flip;
        lp->XInvertSaved = f.xInv;
        lp->YInvertSaved = f.yInv;
        lp->XInvert = lp->YInvert = 1;  // the plain flags must not matter
        tagVeyPointF out{};
        ASSERT_TRUE(zc.LP2DPEX_Cal({10.0f, 20.0f}, out, *lp));
        EXPECT_EQ(out.x, linear(*lp, negatesX(f) ? -10.0f : 10.0f)) << f.flip << f.xInv << f.yInv;
        EXPECT_EQ(out.y, linear(*lp, negatesY(f) ? -20.0f : 20.0f)) << f.flip << f.xInv << f.yInv;
    }
}

TEST(ZemCalPoints, CalibPointInvertsByTheFlagsOfItsPath) {
    ZemCal zc;
    for (int useLsm : {0, 1}) {
        for (const Flags& f : kAllFlags) {
            auto lp = identityRecord();
            lp->UseLsm = useLsm;
            // Set the flags of the active path; the other set holds the opposite.
            (useLsm ? lp->XYFlipSaved : lp->XYFlip) = f.flip;
            (useLsm ? lp->XInvertSaved : lp->XInvert) = f.xInv;
            (useLsm ? lp->YInvertSaved : lp->YInvert) = f.yInv;
            (useLsm ? lp->XInvert : lp->XInvertSaved) = !f.xInv;
            (useLsm ? lp->YInvert : lp->YInvertSaved) = !f.yInv;
            tagVeyPointF out{};
            ASSERT_TRUE(zc.CalibPoint(*lp, {4.0f, -8.0f}, out));
            // Both engines map an identity record linearly (the least-squares
            // one undoes the inversion only for its grid residual, here zero).
            EXPECT_EQ(out.x, corrected(*lp, negatesX(f) ? -4.0f : 4.0f)) << useLsm << f.flip << f.xInv << f.yInv;
            EXPECT_EQ(out.y, corrected(*lp, negatesY(f) ? 8.0f : -8.0f)) << useLsm << f.flip << f.xInv << f.yInv;
        }
    }
}

TEST(ZemCalPoints, OffsetsApplyOnTheManualPathOnly) {
    ZemCal zc;
    auto lp = identityRecord();
    lp->OffsetX = 0.5;
    lp->OffsetY = -0.25;
    tagVeyPointF out{};
    ASSERT_TRUE(zc.CalibPoint(*lp, {10.0f, 10.0f}, out));
    EXPECT_EQ(out.x, corrected(*lp, 10.5f));
    EXPECT_EQ(out.y, corrected(*lp, 9.75f));

    lp->UseLsm = 1;
    ASSERT_TRUE(zc.CalibPoint(*lp, {10.0f, 10.0f}, out));
    EXPECT_EQ(out.x, corrected(*lp, 10.0f));
    EXPECT_EQ(out.y, corrected(*lp, 10.0f));
}

TEST(ZemCalPoints, ShiftSignsPairWithTheFlagsAsHeadsExpect) {
    ZemCal zc;
    for (int useLsm : {0, 1}) {
        for (const Flags& f : kAllFlags) {
            auto lp = identityRecord();
            lp->UseLsm = useLsm;
            (useLsm ? lp->XYFlipSaved : lp->XYFlip) = f.flip;
            (useLsm ? lp->XInvertSaved : lp->XInvert) = f.xInv;
            (useLsm ? lp->YInvertSaved : lp->YInvert) = f.yInv;
            lp->SftX = 0.01f;
            lp->SftY = 0.02f;
            tagVeyPointF out{};
            // The centre corrects to Center whatever the inversion.
            ASSERT_TRUE(zc.LP2DPEX_SFT({0.0f, 0.0f}, out, *lp, true));
            // With the flip clear the pairing is crossed: Y-invert turns the x shift.
            const bool negSx = f.flip ? f.xInv : f.yInv;
            const bool negSy = f.flip ? f.yInv : f.xInv;
            const double sx = static_cast<double>(0.01f * 65535.0f) / 100.0;
            const double sy = static_cast<double>(0.02f * 65535.0f) / 100.0;
            EXPECT_EQ(out.x, static_cast<float>(32768.0f + (negSx ? -sx : sx))) << useLsm << f.flip << f.xInv << f.yInv;
            EXPECT_EQ(out.y, static_cast<float>(32768.0f + (negSy ? -sy : sy))) << useLsm << f.flip << f.xInv << f.yInv;
        }
    }
}

TEST(ZemCalPoints, ShiftScalesAboutTheCentreAndAlwaysClamps) {
    ZemCal zc;
    auto lp = identityRecord();
    lp->SftScaleX = 2.0f;
    lp->SftScaleY = 0.5f;
    tagVeyPointF out{};
    ASSERT_TRUE(zc.LP2DPEX_SFT({10.0f, 10.0f}, out, *lp, true));
    const float c = 32768.0f;
    EXPECT_EQ(out.x, (corrected(*lp, 10.0f) - c) * 2.0f + c);
    EXPECT_EQ(out.y, (corrected(*lp, 10.0f) - c) * 0.5f + c);

    lp->BoxScale[0] = 200.0;  // pushes x past the device range
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
    EXPECT_EQ(out[6], 0.0);

    // 45 degrees goes through the constant 3.14159: 0.5 - 1/tan(0.7853975).
    a[2] = 45.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[4], -0.500001);

    // Zero divisors: the non-finite value comes out as the integer minimum.
    a[4] = 0.0;
    ASSERT_TRUE(zc.getRecManParas(a, b, out));
    EXPECT_EQ(out[0], -2147.483648);
    EXPECT_EQ(out[7], -2147.483648);
}
