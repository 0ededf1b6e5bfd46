// The virtual head's physics: landing positions against an independent
// model, the axis conventions the calibration relies on, the noise, and the
// parameter checks.
#include <gtest/gtest.h>

#include <cmath>

#include "VirtualHead.h"

using zemcal_tool::HeadParams;
using zemcal_tool::validateHeadParams;
using zemcal_tool::Vec2;
using zemcal_tool::VirtualHead;

namespace {

HeadParams ideal() {
    HeadParams p;
    p.rotationDeg = p.scaleLeft = p.scaleRight = p.scaleTop = p.scaleBottom = 0.0;
    p.trapezoidX = p.trapezoidY = p.shearDeg = p.offsetX = p.offsetY = 0.0;
    p.noiseUm = 0.0;
    return p;
}
HeadParams mounted() {
    HeadParams p = ideal();
    p.rotationDeg = 0.3;
    p.scaleLeft = 0.25, p.scaleRight = -0.15, p.scaleTop = 0.2, p.scaleBottom = -0.3;
    p.trapezoidX = 0.1, p.trapezoidY = -0.06, p.shearDeg = 0.05, p.offsetX = 0.04, p.offsetY = -0.03;
    return p;
}
HeadParams cubic() {
    HeadParams p = ideal();
    p.focal = 100.0, p.f2 = -3.0, p.f3 = 5.0, p.fieldSize = 120.0;
    return p;
}
HeadParams flipped() {
    HeadParams p = mounted();
    p.swap = p.invertX = true;
    return p;
}
const HeadParams kIdeal = ideal(), kMounted = mounted(), kCubic = cubic(), kFlipped = flipped();

struct LandingCase {
    const char* name;
    const HeadParams& head;
    double gx, gy;  // galvo commands
    double x, y;    // expected spot, mm
};

// Expected spots from tests/reference/cli_virtual_head.py.
const LandingCase kLandings[] = {
    {"IdealCorner", kIdeal, 62556.636363636368, 62556.636363636368, 50.801026081948059, 48.340628147540983},
    {"IdealEdgeX", kIdeal, 62556.636363636368, 32768, 50.000000000000007, 0},
    {"IdealOffAxis", kIdeal, 20852.545454545456, 53620.045454545456, -20.159724162261405, 34.81635064578132},
    {"MountedCentre", kMounted, 32768, 32768, 0.040000000000000001, -0.029999999999999999},
    {"MountedCorner", kMounted, 2979.363636363636, 2979.363636363636, -50.627820133220403, -48.521019926233144},
    {"MountedTopRight", kMounted, 59577.772727272728, 50641.181818181816, 45.129409032089221, 29.450138173067298},
    {"CubicLens", kCubic, 54613, 2731.125, 42.088564768407949, -52.032895310205831},
    {"SwappedInverted", kFlipped, 56598.909090909088, 26810.272727272728, -9.5930540714359083, -39.991224487644907},
};

}  // namespace

TEST(VirtualHead, LandsWhereTheIndependentModelSays) {
    for (const LandingCase& c : kLandings) {
        SCOPED_TRACE(c.name);
        const Vec2 s = VirtualHead(c.head).land(c.gx, c.gy);
        // Same formulas, different evaluation (atan2 against acos): agree to
        // far below a nanometre.
        EXPECT_NEAR(s.x, c.x, 1e-9);
        EXPECT_NEAR(s.y, c.y, 1e-9);
    }
}

TEST(VirtualHead, LinearCommandMissesTheCornerByAboutTwoMillimetres) {
    // The pincushion the calibration exists for: the corner of a 100 mm field
    // behind a 160 mm lens.
    const Vec2 s = VirtualHead(kIdeal).land(32768 + 50 * 65535 / 110.0, 32768 + 50 * 65535 / 110.0);
    EXPECT_NEAR(std::hypot(s.x - 50.0, s.y - 50.0), 1.84, 0.01);
}

TEST(VirtualHead, LensFollowsFThetaOnTheAxesAndVanishesAtTheCentre) {
    const VirtualHead h(kIdeal);
    const Vec2 zero = h.lensSpot(0.0, 0.0);
    EXPECT_EQ(zero.x, 0.0);
    EXPECT_EQ(zero.y, 0.0);
    // Along one axis the field angle is the mirror angle: r = f*th exactly.
    EXPECT_NEAR(h.lensSpot(0.25, 0.0).x, 160.0 * 0.25, 1e-12);
    EXPECT_NEAR(h.lensSpot(0.0, -0.25).y, 160.0 * -0.25, 1e-12);
    // Tiny angles do not lose precision (no 0/0 near the axis).
    EXPECT_NEAR(h.lensSpot(1e-9, 0.0).x, 160e-9, 1e-20);
}

TEST(VirtualHead, AxisFlagsActInTheHeadFrame) {
    // A command on the X mirror alone: with swap it moves the spot along y,
    // and invert-x reverses it whichever logical axis it lands on.
    const double gx = 32768 + 30 * 65535 / 110.0, gy = 32768;
    struct Case {
        bool swap, invertX, invertY;
        double sx, sy;  // sign of the spot along x and y (0: stays on the axis)
    } cases[] = {{false, false, false, 1, 0}, {false, true, false, -1, 0}, {false, false, true, 1, 0},
                 {true, false, false, 0, 1},  {true, true, false, 0, -1},  {true, false, true, 0, 1}};
    for (const Case& c : cases) {
        HeadParams p = kIdeal;
        p.swap = c.swap, p.invertX = c.invertX, p.invertY = c.invertY;
        const Vec2 s = VirtualHead(p).land(gx, gy);
        SCOPED_TRACE(testing::Message() << c.swap << c.invertX << c.invertY);
        EXPECT_NEAR(s.x, c.sx * 30.0, 1e-9);
        EXPECT_NEAR(s.y, c.sy * 30.0, 1e-9);
    }
}

TEST(VirtualHead, NoiseIsSeededAndHasTheRequestedSpread) {
    HeadParams p = kIdeal;
    p.noiseUm = 2.0;
    VirtualHead a(p), b(p);
    double sum = 0.0, sumSq = 0.0;
    const int n = 20000;
    for (int i = 0; i < n; ++i) {
        const Vec2 m = a.measure(32768, 32768);
        const Vec2 again = b.measure(32768, 32768);
        ASSERT_EQ(m.x, again.x);  // same seed, same sequence
        sum += m.x * 1000.0;
        sumSq += m.x * 1000.0 * m.x * 1000.0;
    }
    const double mean = sum / n, sd = std::sqrt(sumSq / n - mean * mean);
    EXPECT_NEAR(mean, 0.0, 0.05);  // 5 standard errors of the mean
    EXPECT_NEAR(sd, 2.0, 0.05);

    HeadParams other = p;
    other.seed = 2;
    EXPECT_NE(VirtualHead(other).measure(32768, 32768).x, VirtualHead(p).measure(32768, 32768).x);
    VirtualHead quiet(kIdeal);  // noise 0: measuring is landing
    EXPECT_EQ(quiet.measure(40000, 20000).x, quiet.land(40000, 20000).x);
}

TEST(VirtualHead, ParameterChecksNameTheProblem) {
    struct Case {
        const char* name;
        void (*edit)(HeadParams&);
        const char* expected;  // substring of the message; nullptr: accepted
    } cases[] = {
        {"defaults", [](HeadParams&) {}, nullptr},
        {"span equal to field", [](HeadParams& p) { p.fieldSize = p.valSize; }, "must exceed"},
        {"negative focal", [](HeadParams& p) { p.focal = -1; }, "focal length must be positive"},
        {"short focal", [](HeadParams& p) { p.focal = 50; }, "too short"},
        {"folding lens", [](HeadParams& p) { p.f2 = -1000; }, "must grow"},
        {"12-bit head", [](HeadParams& p) { p.resolution = 4095; }, "resolution"},
        {"NaN rotation", [](HeadParams& p) { p.rotationDeg = std::nan(""); }, "finite"},
        {"huge scale", [](HeadParams& p) { p.scaleTop = 20; }, "10 percent"},
        {"huge offset", [](HeadParams& p) { p.offsetX = 20; }, "tenth"},
        {"negative noise", [](HeadParams& p) { p.noiseUm = -1; }, "noise"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        HeadParams p;
        c.edit(p);
        const std::string msg = validateHeadParams(p);
        if (c.expected == nullptr)
            EXPECT_EQ(msg, "");
        else
            EXPECT_NE(msg.find(c.expected), std::string::npos) << msg;
    }
}
