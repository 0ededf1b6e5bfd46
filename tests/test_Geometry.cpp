// Geometry primitives. Values marked "script" were printed by
// tests/reference/geometry_reference.py (float32 emulated in Python). This
// file also stands for a host that includes <cmath> before the library.
#include <cmath>

#include <zemcal/ZemCal.h>

#include <gtest/gtest.h>

#include <limits>
#include <vector>

namespace {

const double kInf = std::numeric_limits<double>::infinity();

tagVeyPointF P(float x, float y) { return {x, y}; }
LineSegment S(float x1, float y1, float x2, float y2) { return {{x1, y1}, {x2, y2}}; }

TEST(GeometryRound, HalfAwayFromZeroAndDistinctFromTheCLibrary) {
    // 0.5 - 2^-54 plus 0.5 rounds to 1 before floor: 1, where std::round gives 0.
    const double cases[][2] = {{2.5, 3}, {-2.5, -3}, {-0.5, -1}, {0.49999, 0}, {-1.4, -1},
                               {0.49999999999999994, 1}, {kInf, kInf}};
    for (const auto& c : cases) EXPECT_EQ(zemcal::round(c[0]), c[1]) << c[0];
    // Zero takes the ceil(v - 0.5) branch and gives -0.
    EXPECT_TRUE(std::signbit(zemcal::round(0.0)) && std::isnan(zemcal::round(std::nan(""))));
    // ::round, std::round and an unqualified round stay the C library's.
    double (*c)(double) = &::round;
    EXPECT_NE(c, &zemcal::round);
    EXPECT_FALSE(std::signbit(::round(0.0)) || std::signbit(round(0.0)));
    EXPECT_EQ(std::round(0.49999999999999994), 0.0);
}

TEST(GeometryPredicates, CrossOnlineIntersect) {
    EXPECT_EQ(Multiply(P(1, 0), P(0, 1), P(0, 0)), 1.0);   // counter-clockwise
    // Float differences and products; in double the result would be -0.017.
    EXPECT_EQ(Multiply(P(0.1f, 0.2f), P(0.3f, 0.7f), P(0.05f, -0.01f)), -0.017000000923871994);

    const struct { tagVeyPointF p; bool on; } online[] = {
        {P(0, 0), true}, {P(1, 0), true}, {P(0.5f, 0), true},  // ends included
        {P(0.5f, 1e-3f), false}, {P(2, 0), false}, {P(-1, 0), false}};
    for (const auto& c : online) EXPECT_EQ(IsOnline(c.p, S(0, 0, 1, 0)), c.on) << c.p.x;

    const struct { const char* name; LineSegment u, v; bool hit; } cases[] = {
        {"crossing", S(0, 0, 2, 2), S(0, 2, 2, 0), true},
        {"shared end", S(0, 0, 1, 1), S(1, 1, 2, 0), true},
        {"collinear overlap", S(0, 0, 2, 0), S(1, 0, 3, 0), true},
        {"collinear apart", S(0, 0, 1, 0), S(2, 0, 3, 0), false},
        {"parallel", S(0, 0, 2, 0), S(0, 1, 2, 1), false},
        {"boxes overlap only", S(0, 0, 2, 2), S(1.5f, 0, 3, 1), false},
        {"only v straddles", S(0, 0, 2, 0), S(1.5f, 1, 3.5f, -1), false}};
    for (const auto& c : cases) EXPECT_TRUE(Intersect(c.u, c.v) == c.hit && Intersect(c.v, c.u) == c.hit) << c.name;
}

TEST(GeometryValues, RotationAnglesAndLines) {
    tagCalData pt{{7, 8}, {12.5f, -3.25f}};
    const tagCalData back = RotatePoint(pt, tagCalData{{100, 100}, {1.5f, 2.0f}}, 0.3);
    // Script; the nominal pair stays.
    EXPECT_TRUE(pt.PntB.x == 13.5601826f && pt.PntB.y == 0.23520571f && pt.PntA.x == 7.0f && back.PntB.y == pt.PntB.y);

    EXPECT_EQ(getAngle(P(1, 0), P(0, 0), P(0, 1)), std::acos(0.0));
    EXPECT_EQ(getAngle(P(3.1f, 0.2f), P(0.3f, 0.1f), P(1.7f, 2.9f)), 1.0714495655300083);  // script
    EXPECT_TRUE(std::isnan(getAngle(P(0, 0), P(0, 0), P(1, 0))));
    EXPECT_EQ(getSlop(P(0.1f, 0.2f), P(0.7f, 0.3f)), 0.1666666865348816);  // float quotient
    EXPECT_TRUE(getSlop(P(0, 0), P(0, -1)) == -kInf && std::isnan(getSlop(P(1, 1), P(1, 1))));
    EXPECT_EQ(std::vector<double>({getDip(P(0, 0), P(1, 1)), getDip(P(0, 0), P(0, 1)), getDip(P(0, 0), P(0, -1)),
                                   getDip(P(0.1f, 0.2f), P(0.7f, 0.3f))}),
              std::vector<double>({45.0, 90.0, -90.0, 9.462323315623857}));  // the last by script

    Line ln;
    const Line l1 = ln.GetLine(P(0.1f, 0.2f), P(3.3f, 1.7f));
    // Script: float differences and products, widened.
    EXPECT_TRUE(l1.A == -1.5 && l1.B == 3.200000047683716 && l1.C == -0.49000000953674316);
    const tagVeyPointF c = ln.GetCrossPoint(l1, ln.GetLine(P(-1.1f, 2.5f), P(2.9f, -0.4f)));
    EXPECT_TRUE(c.x == 1.29790568f && c.y == 0.7615183f);  // script
    // Parallel lines are not detected: the crossing is simply not finite.
    EXPECT_FALSE(std::isfinite(ln.GetCrossPoint(ln.GetLine(P(0, 0), P(1, 1)), ln.GetLine(P(0, 1), P(1, 2))).x));
}

}  // namespace
