// Tests of the fit sanity checks. Hex-float expectations were printed by
// tests/reference/numerics_reference.py (float32 steps emulated with struct);
// the rest are worked out in the comments.
#include <zemcal/CalibAlg.h>

#include <gtest/gtest.h>

#include <cfloat>
#include <cmath>

namespace {

// A record with measured pair (x, y); the nominal pair would change every
// result if it were read.
tagCalData M(float x, float y) { return {{1234.5f, -987.25f}, {x, y}}; }

TEST(FitChecks, CollinearIsTheFloatTriangleArea) {
    const struct { const char* name; tagCalData a, b, c; double area; } cases[] = {
        {"on one line", M(-1, -2), M(1, 2), M(3, 6), 0.0},
        {"right triangle 4 x 3", M(0, 0), M(4, 0), M(0, 3), 6.0},
        // The same expression in double gives 0x1.0a3d6cf5c2800p-3.
        {"float rounding", M(1.1f, 2.3f), M(3.7f, 5.9f), M(6.3f, 9.6f), 0x1.0a3d000000000p-3},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(CCalibAlg::GetCollinear(c.a, c.b, c.c), c.area) << c.name;
        // Either orientation gives the area, up to the float rounding.
        EXPECT_NEAR(CCalibAlg::GetCollinear(c.c, c.a, c.b), c.area, 1e-6) << c.name;
        EXPECT_NEAR(CCalibAlg::GetCollinear(c.b, c.a, c.c), c.area, 1e-6) << c.name;
    }
}

TEST(FitChecks, TwoLineAngleKeepsItsAsymmetricVerticalCases) {
    const struct { const char* name; tagCalData a[2], b[2]; double angle; } cases[] = {
        {"a vertical, b slope 2: atan 2", {M(1, 0), M(1, 5)}, {M(0, 0), M(1, 2)}, 0x1.1b6e192ebbe44p+0},
        {"a slope 2, b vertical: pi/2 - atan 2", {M(0, 0), M(1, 2)}, {M(2, -1), M(2, 4)}, 0x1.dac670561bb50p-2},
        {"both vertical, a upwards", {M(1, 0), M(1, 5)}, {M(2, 0), M(2, 1)}, 0.0},
        {"both vertical, a downwards", {M(1, 5), M(1, 0)}, {M(2, 0), M(2, 1)}, 3.141592653589793},  // pi
        {"general", {M(0.1f, 0.2f), M(10.3f, 0.7f)}, {M(-0.2f, 0.1f), M(0.4f, 9.8f)}, 0x1.75c51d1dfa070p+0},
    };
    for (auto c : cases) EXPECT_EQ(CCalibAlg::GetTwoLineAngle(c.a, c.b), c.angle) << c.name;
    tagCalData a[2] = {M(1, 1), M(1, 1)}, b[2] = {M(2, 0), M(2, 1)};  // 0/0
    EXPECT_TRUE(std::isnan(CCalibAlg::GetTwoLineAngle(a, b)));
}

TEST(FitChecks, FinitenessByRange) {
    const struct { double d; bool finite; } cases[] = {{-0.0, true},      {DBL_MAX, true},    {-DBL_MAX, true},
                                                       {DBL_TRUE_MIN, true}, {HUGE_VAL, false}, {-HUGE_VAL, false},
                                                       {NAN, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(IsFiniteNumber(c.d), c.finite) << c.d;
        EXPECT_EQ(hasNaN({1.0, 2.0, c.d}), !c.finite) << c.d;  // c.d is the last element
    }
    EXPECT_FALSE(hasNaN({}));
}

}  // namespace
