// The simulated calibration workflow end to end, with fixed seeds: the
// nine-point fit removes most of the raw error, each grid pass reduces the
// largest error further, and no point is clamped. These bounds are what the
// sign conventions between the tool, the library and the head must deliver.
// Refused settings are exercised through the tool (test_Cli.cpp).
#include <gtest/gtest.h>

#include <cstdio>

#include "Evaluate.h"
#include "FieldErrors.h"
#include "Simulate.h"
#include "../TempDir.h"

using namespace zemcal_tool;

namespace {

std::FILE* const kNull = std::fopen("/dev/null", "w");  // progress is not looked at

// Each head, edited from the defaults, with the share of the raw largest
// error a nine-point fit may leave. The fits model no rotation (the classic
// one straightens the grid before fitting, the revised one leaves it to shear
// and cross terms), so a mounting rotation stays until the grid tables take
// it out.
const struct { const char* name; void (*edit)(HeadParams&); double ninePointShare; } kHeads[] = {
    {"default head", [](HeadParams&) {}, 0.25},
    {"swapped, x inverted",
     [](HeadParams& p) { p.swap = p.invertX = true, p.rotationDeg = -0.4, p.offsetX = -0.1, p.seed = 7; }, 0.5},
    {"254 mm lens, y inverted",
     [](HeadParams& p) { p.focal = 254.0, p.f3 = -20.0, p.invertY = true, p.trapezoidX = -0.2, p.seed = 3; }, 0.5},
};

FieldReport simulateAndEvaluate(const HeadParams& head, const std::string& path, int grid, int passes) {
    runSimulation(head, {path, grid, passes}, kNull);
    VirtualHead h(head);
    return evaluateField(*loadForHead(path, head, kNull).rec, Rig(h), 101);
}

}  // namespace

TEST(Workflow, NinePointsAndGridPassesReduceTheErrorStepByStep) {
    for (const auto& c : kHeads) {
        SCOPED_TRACE(c.name);
        HeadParams head;
        c.edit(head);
        TempDir dir;
        const FieldReport classic = simulateAndEvaluate(head, dir.file("nine.cor"), 0, 1);
        const FieldReport one = simulateAndEvaluate(head, dir.file("one.zcal"), 17, 1);
        const FieldReport two = simulateAndEvaluate(head, dir.file("two.zcal"), 17, 2);
        // The same head, the same linear commands; the default head starts
        // about 2 mm off in the corners (1.8 to 2.6 mm).
        const double raw = classic.uncorrected.maxUm;
        EXPECT_EQ(two.uncorrected.maxUm, raw);
        EXPECT_TRUE(&c != &kHeads[0] || (raw > 1800.0 && raw < 2600.0)) << raw;
        // Either nine-point fit removes most of the raw error.
        EXPECT_LT(classic.ninePoint.maxUm, c.ninePointShare * raw);
        EXPECT_LT(two.ninePoint.maxUm, c.ninePointShare * raw);
        EXPECT_EQ(classic.full.maxUm, classic.ninePoint.maxUm);  // no tables in a text file
        // Pass one and pass two each reduce the largest error.
        EXPECT_EQ(one.ninePoint.maxUm, two.ninePoint.maxUm);
        EXPECT_LT(one.full.maxUm, 0.1 * one.ninePoint.maxUm);
        EXPECT_LT(two.full.maxUm, one.full.maxUm);
        EXPECT_LT(two.full.maxUm, 5.0);
        EXPECT_LE(two.full.p95Um, two.full.maxUm);
        EXPECT_LE(two.full.rmsUm, two.full.maxUm);
        for (const FieldReport* r : {&classic, &one, &two})
            EXPECT_EQ(r->uncorrected.clamped + r->ninePoint.clamped + r->full.clamped, 0);
    }
}
