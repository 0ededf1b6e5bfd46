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

const float kNaN = std::numeric_limits<float>::quiet_NaN();
const std::int32_t kHuge = std::numeric_limits<std::int32_t>::max();

tagCalData Node(float nx, float ny, float mx, float my) { return {{nx, ny}, {mx, my}}; }

// A regular n x n grid over +-v/2, measured where it was aimed. The points
// fill their storage exactly, so a sanitizer sees any read past the table.
tagStack IdealGrid(double v, int n) {
    tagStack t;
    t.Num = n;
    t.Pnts.reserve(static_cast<std::size_t>(n) * n);
    for (int r = 0; r < n; ++r) {
        for (int c = 0; c < n; ++c) {
            const float x = static_cast<float>(-v / 2 + c * (v / (n - 1)));
            const float y = static_cast<float>(v / 2 - r * (v / (n - 1)));
            t.Pnts.push_back(Node(x, y, x, y));
        }
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
const std::vector<float> kUntouched = {1, 1, 0, 0};

TEST(GridCellGetGridDR, DistortedGridBitForBit) {
    tagStack t;
    t.Num = 4;
    for (const auto& n : kDistortedNodes) t.Pnts.push_back(Node(n[0], n[1], n[2], n[3]));
    // Interiors, nodes, shared edges (the script checked that the two cells
    // disagree there, so only the upper/left one passes) and clamped points.
    for (const GridDrCase& c : kDistortedCases) {
        EXPECT_EQ(Locate(80, t, c.x, c.y), (std::vector<float>{c.sx, c.sy, c.ox, c.oy})) << c.name;
    }
    const float inf = std::numeric_limits<float>::infinity();
    EXPECT_EQ(Locate(80, t, inf, -inf), Locate(80, t, 40, -40));  // clamped to the corner
}

TEST(GridCellGetGridDR, IdealGridLeavesNoResidual) {
    const struct { double v; int n; } grids[] = {{80, 2}, {80, 5}, {100, 7}, {60, 33}};
    for (const auto& g : grids) {
        const tagStack t = IdealGrid(g.v, g.n);
        // 13 steps per side keep off the axes, where x / C.x magnifies noise.
        for (int a = 0; a <= 13; ++a) {
            for (int b = 0; b <= 13; ++b) {
                const float x = static_cast<float>(-g.v / 2 + g.v * a / 13);
                const float y = static_cast<float>(g.v / 2 - g.v * b / 13);
                const std::vector<float> r = Locate(g.v, t, x, y);
                for (int k = 0; k < 4; ++k) EXPECT_NEAR(r[k], kUntouched[k], 1e-5) << x << "," << y;
            }
        }
    }
}

TEST(GridCellGetGridDR, NoCellOrNoUsableTable) {
    // The centre node of a 3 x 3 grid aimed at (5, 5): no cell's corner box
    // covers (-20, 2).
    tagStack gap = IdealGrid(80, 3);
    gap.Pnts[4].PntA = {5, 5};
    for (tagCalData& d : gap.Pnts) d.PntB = {d.PntA.x + 0.3f, d.PntA.y - 0.2f};
    EXPECT_EQ(Locate(80, gap, -20, 2), kUntouched);
    EXPECT_NE(Locate(80, gap, 20, 20), kUntouched);
    EXPECT_EQ(Locate(80, gap, kNaN, 1), kUntouched);

    tagStack shortTable = IdealGrid(80, 3);
    shortTable.Pnts.pop_back();
    shortTable.Pnts.shrink_to_fit();
    const struct { std::int32_t num; bool shortPnts; } bad[] = {{1, false}, {0, false}, {-3, false},
                                                                 {3, true}, {kHuge, true}};
    for (const auto& c : bad) {
        tagStack t = c.shortPnts ? shortTable : IdealGrid(80, 2);
        t.Num = c.num;
        EXPECT_EQ(Locate(80, t, 10, -10), kUntouched) << c.num;
    }
}

TEST(GridCellGetGridDR, DegenerateCellsFollowTheFallbacks) {
    // Every node measured at y = 0.5: T = B = (10, 0.5), L and R on y = 0.5,
    // so C is NaN; offset.x = T.mx - x = 0, offset.y = L.my - y = -6.5.
    tagStack flat = IdealGrid(80, 2);
    for (tagCalData& d : flat.Pnts) d.PntB.y = 0.5f;
    const std::vector<float> r = Locate(80, flat, 10, 7);
    EXPECT_TRUE(std::isnan(r[0]) && std::isnan(r[1]));
    EXPECT_EQ(r[2], 0.0f);
    EXPECT_EQ(r[3], -6.5f);
    // Measured x of -0 on all nodes: a zero difference keeps the base -0, so
    // offset.x = -0 - 0 stays -0 (adding a zero step would give +0).
    tagStack zero;
    zero.Num = 2;
    zero.Pnts = {Node(0, 40, -0.0f, 40), Node(40, 40, -0.0f, 40), Node(0, 0, -0.0f, 0),
                 Node(40, 0, -0.0f, 0)};
    EXPECT_TRUE(std::signbit(Locate(80, zero, 0, 20)[2]));
}

TEST(GridCellQueries, QuadrantCellAndPolygon) {
    const struct { float x, y; int q; } quads[] = {{1, 1, 0}, {-1, 1, 1}, {-1, -1, 2}, {0, -1, 3},
                                                   {-0.0f, 0, 0}, {-1, 0, 1}};
    for (const auto& c : quads) EXPECT_EQ(CCalibAlg::GetQuadrant({c.x, c.y}), c.q) << c.x << c.y;

    // Square (-1..1)^2 as top-left, top-right, bottom-right, bottom-left.
    tagCalData cell[4] = {Node(-1, 1, 0, 0), Node(1, 1, 0, 0), Node(1, -1, 0, 0),
                          Node(-1, -1, 0, 0)};
    const std::vector<tagVeyPointF> quad = {{-1, 1}, {1, 1}, {1, -1}, {-1, -1}};
    // Worked edge by edge: the inclusive crossing test keeps the right and
    // top edges, the strict one (and the polygon test) the left and bottom.
    const struct { float x, y; bool rect, inclusive, strict; } pts[] = {
        {0, 0, true, true, true},  {-1, 0, true, false, true}, {1, 0, true, true, false},
        {0, 1, true, true, false}, {0, -1, true, false, true}, {1.5f, 0, false, false, false}};
    for (const auto& c : pts) {
        EXPECT_EQ(CCalibAlg::PointInRect(cell, {c.x, c.y}), c.rect) << c.x << "," << c.y;
        EXPECT_EQ(CCalibAlg::PntInRect(cell, {c.x, c.y}), c.inclusive) << c.x << "," << c.y;
        EXPECT_EQ(CCalibAlg::PntInRect(quad, {c.x, c.y}), c.strict) << c.x << "," << c.y;
        EXPECT_EQ(CCalibAlg::PntInPolygon(quad, {c.x, c.y}), c.strict ? 2 : 0) << c.x << "," << c.y;
    }
    EXPECT_FALSE(CCalibAlg::PntInRect({quad[0], quad[1], quad[2]}, {0, 0}));  // three corners
    // A U shape: the notch between the arms is outside.
    const std::vector<tagVeyPointF> u = {{0, 0}, {3, 0}, {3, 3}, {2, 3},
                                         {2, 1}, {1, 1}, {1, 3}, {0, 3}};
    EXPECT_EQ(CCalibAlg::PntInPolygon(u, {0.5f, 2}), 2);
    EXPECT_EQ(CCalibAlg::PntInPolygon(u, {1.5f, 2}), 0);
    EXPECT_EQ(CCalibAlg::PntInPolygon({{0, 0}, {1, 1}}, {0.5f, 0.5f}), 0);
}

TEST(GridCellGetPntColRow, CellsAndSides) {
    // Nodes at -40, 0, 40; cells half open towards the bottom right.
    const tagStack grid = IdealGrid(80, 3);
    const struct { float x, y; bool ok; int row, col; } cases[] = {
        {-20, 20, true, 0, 0}, {-20, -20, true, 1, 0},   {0, 0, true, 1, 1},
        {40, 40, false, -1, -1},                          // no cell reaches the corner
        {-50, -50, true, 3, -1}, {-20, 60, true, -1, 0}, {40, 70, true, -1, -1},
        {60, 20, true, 0, 3},    {60, -40, true, -1, 3}}; // left column has no band at -40
    for (const auto& c : cases) {
        int row = 99, col = 99;
        EXPECT_EQ(CCalibAlg::GetPntColRow({c.x, c.y}, 40.0, grid, row, col), c.ok) << c.x << c.y;
        EXPECT_EQ(std::vector<int>({row, col}), std::vector<int>({c.row, c.col})) << c.x << c.y;
    }
    // The band search of the top row reads on into row 1 for the last column.
    tagStack wrap = grid;
    wrap.Pnts[3].PntA.x = 45;
    int row = 99, col = 99;
    EXPECT_TRUE(CCalibAlg::GetPntColRow({40, 70}, 40.0, wrap, row, col));
    EXPECT_EQ(col, 2);

    // Short, oversized-Num and empty tables: nothing past Pnts is read.
    tagStack shortTable = IdealGrid(80, 3);
    shortTable.Pnts.resize(4);
    shortTable.Pnts.shrink_to_fit();
    tagStack huge = shortTable;
    huge.Num = kHuge;
    for (const tagStack& t : {shortTable, huge, tagStack{}}) {
        EXPECT_FALSE(CCalibAlg::GetPntColRow({-20, 20}, 40.0, t, row, col));
        EXPECT_EQ(std::vector<int>({row, col}), std::vector<int>({-1, -1}));
        EXPECT_TRUE(CCalibAlg::GetPntColRow({60, -20}, 40.0, t, row, col));
        EXPECT_EQ(col, t.Num);
    }
}

}  // namespace
