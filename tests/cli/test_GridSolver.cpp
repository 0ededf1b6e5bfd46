// The grid solver on the virtual head: one measured 17 x 17 grid corrects
// the field as far as two plain passes (the interpolation floor of this
// head, whose half-axis scale bends the field off the table's node lines),
// for either fit version and a mirrored head; and the measurements it
// cannot model are refused with their reason.
#include <gtest/gtest.h>

#include "Evaluate.h"
#include "FieldErrors.h"
#include "Workflow.h"

using namespace zemcal_tool;

namespace {

// The nine-point fit of head, then one 17 x 17 grid measured through it.
struct Marked {
    std::unique_ptr<tagLenPar> rec;
    std::vector<tagGridSample> grid;
};

Marked markHead(const HeadParams& head, bool classic) {
    VirtualHead vh(head);
    Marked m{newRecord(setupOf(head, classic)), {}};
    const std::string nine = measureVirtually(patternCsv(CCalibPattern::NinePoints(*m.rec)), "nine", vh);
    fitMeasurement(*m.rec, parseMeasurement(nine, "nine"), "nine", -1, false);
    m.grid = parseGridSamples(measureVirtually(patternCsv(CCalibPattern::Grid(*m.rec, 17)), "grid", vh), "grid");
    return m;
}

}  // namespace

TEST(GridSolver, OnePassReachesTheFloorOfTheVirtualHead) {
    const struct { const char* name; bool classic, invertX; double boundUm; } cases[] = {
        {"revised fit", false, false, 1.7},  // 1.55 um; two plain passes 1.49 um, one 9.67 um
        {"classic fit", true, false, 1.4},   // 1.26 um; two plain passes 1.46 um
        {"mirrored head", false, true, 1.7}, // 1.55 um
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        HeadParams head;
        head.noiseUm = 0.0;
        head.invertX = c.invertX;
        Marked m = markHead(head, c.classic);
        tagSolvedTable t;
        ASSERT_TRUE(CGridSolver::Solve(*m.rec, m.grid, t)) << t.Error;
        CCalibAlg::setCalibPnts(*m.rec, 0, t.N, t.Pnts.data());
        VirtualHead vh(head);
        const double actual = evaluateField(*m.rec, Rig(vh), 101).full.maxUm;
        EXPECT_LT(actual, c.boundUm);
        EXPECT_NEAR(t.PredictedMaxUm, actual, 0.3);  // the prediction is what the head does
    }
}

TEST(GridSolver, RefusesWhatItCannotModel) {
    const Marked good = markHead(HeadParams(), false);
    const struct { const char* name; void (*edit)(std::vector<tagGridSample>&); const char* error; } cases[] = {
        {"a node missing", [](std::vector<tagGridSample>& g) { g.pop_back(); },
         "a solved grid has 5, 9, 17, 25, 33 or 65 nodes per side, each once; this one has 288 nodes"},
        {"a node twice", [](std::vector<tagGridSample>& g) { g[1] = g[0]; }, "node (row 0, column 0) is given twice"},
        {"commands out of order", [](std::vector<tagGridSample>& g) { std::swap(g[20].Command, g[21].Command); },
         "the commands do not change monotonically along row 1 (at node (row 1, column 4))"},
        {"a folded field", [](std::vector<tagGridSample>& g) { std::swap(g[20].Measured, g[21].Measured); },
         "the measured positions fold the field: the head cannot be modelled from them"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<tagGridSample> grid = good.grid;
        c.edit(grid);
        tagSolvedTable t;
        EXPECT_FALSE(CGridSolver::Solve(*good.rec, grid, t));
        EXPECT_EQ(t.Error, c.error);
    }
}
