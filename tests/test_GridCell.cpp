// Grid cell location and the cell and polygon queries. The distorted grid and
// its expected values come from tests/reference/geometry_reference.py
// (float32 emulated in Python); the other cases are worked out by hand.
#include <zemcal/CalibAlg.h>

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

namespace {

struct GridDrCase { const char* name; float x, y, sx, sy, ox, oy; };
#include "data/geometry_griddr_cases.inc"

const std::int32_t kHuge = std::numeric_limits<std::int32_t>::max();
const std::vector<float> kUntouched = {1, 1, 0, 0};

tagCalData Node(float nx, float ny, float mx, float my) { return {{nx, ny}, {mx, my}}; }

// A regular n x n grid over +-v/2, measured where it was aimed. The points
// fill their storage exactly, so a sanitizer sees any read past the table.
tagStack IdealGrid(double v, int n) {
    tagStack t{n, 0, std::vector<tagCalData>(static_cast<std::size_t>(n) * n)};
    for (int i = 0; i < n * n; ++i) {
        const float x = static_cast<float>(-v / 2 + i % n * (v / (n - 1)));
        const float y = static_cast<float>(v / 2 - i / n * (v / (n - 1)));
        t.Pnts[i] = Node(x, y, x, y);
    }
    return t;
}

// {scale.x, scale.y, offset.x, offset.y}, outputs preset to garbage.
std::vector<float> Locate(double valSize, const tagStack& table, float x, float y) {
    tagLenPar lp;
    lp.ValSize = valSize;
    tagVeyPointF scale{-7, -7}, offset{-7, -7};
    EXPECT_TRUE(CCalibAlg::GetGridDR(lp, tagVeyPointF{x, y}, scale, offset, table));
    return {scale.x, scale.y, offset.x, offset.y};
}

TEST(GridCellGetGridDR, DistortedGridBitForBit) {
    tagStack t{4, 0, {}};
    for (const auto& n : kDistortedNodes) t.Pnts.push_back(Node(n[0], n[1], n[2], n[3]));
    // Interiors, nodes, shared edges (the script checked that the two cells
    // disagree there, so only the upper/left one passes) and clamped points.
    for (const GridDrCase& c : kDistortedCases)
        EXPECT_EQ(Locate(80, t, c.x, c.y), (std::vector<float>{c.sx, c.sy, c.ox, c.oy})) << c.name;
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Locate(80, t, inf, -inf), Locate(80, t, 40, -40));  // clamped to the corner
}

TEST(GridCellGetGridDR, IdealGridLeavesNoResidual) {
    for (const auto& [v, n] : {std::pair{80.0, 2}, {100.0, 7}, {60.0, 33}}) {
        const tagStack t = IdealGrid(v, n);
        // 13 steps per side keep off the axes, where x / C.x magnifies noise.
        for (int i = 0; i < 14 * 14; ++i) {
            const float x = static_cast<float>(-v / 2 + v * (i % 14) / 13);
            const float y = static_cast<float>(v / 2 - v * (i / 14) / 13);
            const std::vector<float> r = Locate(v, t, x, y);
            for (int k = 0; k < 4; ++k) EXPECT_NEAR(r[k], kUntouched[k], 1e-5) << x << "," << y;
        }
    }
}

TEST(GridCellGetGridDR, IrregularDegenerateAndUnusableTables) {
    // The centre node of a 3 x 3 grid aimed at (5, 5): no cell's corner box
    // covers (-20, 2).
    tagStack gap = IdealGrid(80, 3);
    gap.Pnts[4].PntA = {5, 5};
    for (tagCalData& d : gap.Pnts) d.PntB = {d.PntA.x + 0.3f, d.PntA.y - 0.2f};
    EXPECT_EQ(Locate(80, gap, -20, 2), kUntouched);
    EXPECT_NE(Locate(80, gap, 20, 20), kUntouched);
    EXPECT_EQ(Locate(80, gap, std::nanf(""), 1), kUntouched);

    // Every node measured at y = 0.5: T = B = (10, 0.5), L and R on y = 0.5,
    // so C is NaN; offset.x = T.mx - x = 0, offset.y = L.my - y = -6.5.
    tagStack flat = IdealGrid(80, 2);
    for (tagCalData& d : flat.Pnts) d.PntB.y = 0.5f;
    const std::vector<float> r = Locate(80, flat, 10, 7);
    EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[1]) && r[2] == 0.0f && r[3] == -6.5f);
    // Measured x of -0 on all nodes: a zero difference keeps the base -0, so
    // offset.x = -0 - 0 stays -0 (adding a zero step would give +0).
    for (tagCalData& d : flat.Pnts) d.PntB = {-0.0f, d.PntA.y};
    EXPECT_TRUE(std::signbit(Locate(80, flat, 0, 20)[2]));

    // n < 2, and a Pnts shorter than n*n (one node short, or a huge n). The
    // copies below own exactly their nodes, so a sanitizer sees any overread.
    const std::vector<tagCalData> two = IdealGrid(80, 2).Pnts, three = IdealGrid(80, 3).Pnts;
    const std::vector<tagCalData> shortThree(three.begin(), three.end() - 1);
    for (const tagStack& t : {tagStack{1, 0, two}, tagStack{0, 0, two}, tagStack{-3, 0, two},
                              tagStack{3, 0, shortThree}, tagStack{kHuge, 0, shortThree}})
        EXPECT_EQ(Locate(80, t, 10, -10), kUntouched) << t.Num;
}

TEST(GridCellQueries, QuadrantCellAndPolygon) {
    // Square (-1..1)^2 as top-left, top-right, bottom-right, bottom-left.
    tagCalData cell[4] = {Node(-1, 1, 0, 0), Node(1, 1, 0, 0), Node(1, -1, 0, 0), Node(-1, -1, 0, 0)};
    const std::vector<tagVeyPointF> quad = {{-1, 1}, {1, 1}, {1, -1}, {-1, -1}};
    // Worked by hand, {GetQuadrant, PointInRect, PntInRect of the cell,
    // PntInRect of the quad, PntInPolygon}. Zero of either sign counts as
    // non-negative. On the edges the inclusive crossing test keeps the right
    // and top ones, the strict one (and the polygon test) the left and bottom.
    const struct { float x, y; std::vector<int> want; } pts[] = {
        {0, 0, {0, 1, 1, 1, 2}},  {-0.0f, 0, {0, 1, 1, 1, 2}}, {-0.5f, -0.5f, {2, 1, 1, 1, 2}},
        {-1, 0, {1, 1, 0, 1, 2}}, {1, 0, {0, 1, 1, 0, 0}},     {0, 1, {0, 1, 1, 0, 0}},
        {0, -1, {3, 1, 0, 1, 2}}, {1.5f, 0, {0, 0, 0, 0, 0}}};
    for (const auto& c : pts) {
        const tagVeyPointF p{c.x, c.y};
        const std::vector<int> got = {CCalibAlg::GetQuadrant(p), CCalibAlg::PointInRect(cell, p),
                                      CCalibAlg::PntInRect(cell, p), CCalibAlg::PntInRect(quad, p),
                                      CCalibAlg::PntInPolygon(quad, p)};
        EXPECT_EQ(got, c.want) << c.x << "," << c.y;
    }
    EXPECT_FALSE(CCalibAlg::PntInRect({quad[0], quad[1], quad[2]}, {0, 0}));  // three corners
    // A U shape: the notch between the arms is outside.
    const std::vector<tagVeyPointF> u = {{0, 0}, {3, 0}, {3, 3}, {2, 3}, {2, 1}, {1, 1}, {1, 3}, {0, 3}};
    EXPECT_TRUE(CCalibAlg::PntInPolygon(u, {0.5f, 2}) == 2 && CCalibAlg::PntInPolygon(u, {1.5f, 2}) == 0);
}

// {found, row, col}, outputs preset to garbage.
std::vector<int> ColRow(const tagStack& t, float x, float y) {
    int row = 99, col = 99;
    const bool ok = CCalibAlg::GetPntColRow({x, y}, 40.0, t, row, col);
    return {ok, row, col};
}

TEST(GridCellGetPntColRow, CellsAndSides) {
    // Nodes at -40, 0, 40; cells half open towards the bottom right.
    tagStack grid = IdealGrid(80, 3);
    const struct { float x, y; std::vector<int> want; } cases[] = {
        {-20, 20, {1, 0, 0}}, {-20, -20, {1, 1, 0}}, {0, 0, {1, 1, 1}},
        {40, 40, {0, -1, -1}},                        // no cell reaches the corner
        {-50, -50, {1, 3, -1}}, {-20, 60, {1, -1, 0}}, {40, 70, {1, -1, -1}},
        {60, 20, {1, 0, 3}}, {60, -40, {1, -1, 3}}};  // left column has no band at -40
    for (const auto& c : cases) EXPECT_EQ(ColRow(grid, c.x, c.y), c.want) << c.x << "," << c.y;
    // The band search of the top row reads on into row 1 for the last column.
    tagStack wrap = grid;
    wrap.Pnts[3].PntA.x = 45;
    EXPECT_EQ(ColRow(wrap, 40, 70), (std::vector<int>{1, -1, 2}));

    // Short, oversized-Num and empty tables: nothing past Pnts is read.
    const std::vector<tagCalData> four(grid.Pnts.begin(), grid.Pnts.begin() + 4);
    for (const tagStack& t : {tagStack{3, 0, four}, tagStack{kHuge, 0, four}, tagStack{}}) {
        EXPECT_EQ(ColRow(t, -20, 20), (std::vector<int>{0, -1, -1}));
        EXPECT_EQ(ColRow(t, 60, -20), (std::vector<int>{1, -1, t.Num}));
    }
}

}  // namespace
