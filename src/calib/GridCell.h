// The two halves of locating a point in a grid table, shared by
// CCalibAlg::GetGridDR (which finds the cell by scanning every cell) and the
// bucket index of GridIndex.h (which finds the same cell faster). Internal to
// the library; never installed.
//
// Model: a table is n x n nodes stored row by row; node (r, c) is element
// r*n + c. Row 0 lies at the largest nominal y (y up), column 0 at the
// smallest nominal x. Each node pairs its nominal position (PntA, "n" below)
// with where it was measured (PntB, "m"), in millimetres. Cell (i, j), for
// i, j = 1..n-1, has the corners P00 = (i-1, j-1), P01 = (i-1, j),
// P10 = (i, j-1) and P11 = (i, j).
//
// (a) Location: the point is first clamped to the working field +-ValSize/2;
//     a cell holds it when P00.nx <= x <= P11.nx and P11.ny <= y <= P00.ny
//     (edges included), and of all holding cells the first in row-major
//     order is used.
// (b) Residual: the measured positions are interpolated along the four
//     edges at the point's x (top T, bottom B) and y (left L, right R); the
//     crossing C of the lines T-B and L-R is the measured image of the
//     point. The scale is p / C and the offset the measured-minus-nominal
//     residual at p.
//
// Precision: the pitch is V/(n-1) in double narrowed to float, and all of
// the interpolation is single precision; only the line intersection runs in
// double (as in Line). Those narrowings are part of the corrected points.
#pragma once

#include <cmath>
#include <cstddef>
#include <cstdint>

#include <zemcal/LenPar.h>

#include "Lanes.h"

namespace zemcal_detail {

/// Clamps a point to the working field [-V/2, V/2] on each axis, y first:
/// points beyond it are corrected as border points. The comparison is made
/// in double and the border stored as a float; a NaN is left as it is.
inline void ClampToField(double valSize, float& x, float& y) {
    const double v = valSize;
    const float low = static_cast<float>(-v / 2);
    const float high = static_cast<float>(v / 2);
    // Selects rather than branches: points beyond the field come at random.
    y = y < -v / 2 ? low : (y > v / 2 ? high : y);
    x = x < -v / 2 ? low : (x > v / 2 ? high : x);
}

/// Number of nodes a table really offers: n*n (in 64 bits) or fewer when a
/// hand-filled Pnts is short. Nothing past it is ever read.
inline std::size_t UsableNodes(const tagStack& table) {
    if (table.Num < 1) return 0;
    const std::uint64_t n = static_cast<std::uint64_t>(table.Num);
    const std::uint64_t nodes = n * n;
    const std::uint64_t size = table.Pnts.size();
    // The smaller of the two, so it always fits a size_t.
    return static_cast<std::size_t>(nodes < size ? nodes : size);
}

/// True when a table has cells at all: at least 2 x 2 nodes, all of them
/// present. A short hand-filled table is treated as holding no point.
inline bool HasCells(const tagStack& table) {
    if (table.Num < 2) return false;
    const std::uint64_t n = static_cast<std::uint64_t>(table.Num);
    return UsableNodes(table) >= n * n;
}

/// The nominal pitch V/(n-1), narrowed to float. It, not the cell's own
/// width, divides every edge interpolation: a stretched cell is
/// deliberately not renormalised.
inline float GridPitch(double valSize, std::int32_t n) {
    return static_cast<float>(valSize / (n - 1));
}

/// The holding test of a cell, given its top-left and bottom-right corners.
inline bool CellHolds(const tagCalData& p00, const tagCalData& p11, float x, float y) {
    return p00.PntA.x <= x && x <= p11.PntA.x && p11.PntA.y <= y && y <= p00.PntA.y;
}

/// The four corners of a located cell.
struct Cell {
    const tagCalData& p00;
    const tagCalData& p01;
    const tagCalData& p10;
    const tagCalData& p11;
};

/// The corners of the cell whose top-left node is element `topLeft` of a
/// table with n nodes per side.
inline Cell CellAt(const tagCalData* nodes, std::size_t n, std::size_t topLeft) {
    return {nodes[topLeft], nodes[topLeft + 1], nodes[topLeft + n], nodes[topLeft + n + 1]};
}

/// Up to four located cells side by side, one per lane: the corner values
/// the residual reads (nominal n, measured m; 00 top-left, 01 top-right,
/// 10 bottom-left, 11 bottom-right).
struct CellLanes {
    Floats4 n00x, n00y, n10x, n10y, n01y;
    Floats4 m00x, m00y, m01x, m01y, m10x, m10y, m11x, m11y;
};

/// The cells a, b, c, d in lanes 0 to 3.
inline CellLanes GatherCells(const Cell& a, const Cell& b, const Cell& c, const Cell& d) {
    const auto lanes = [&](auto get) { return Floats4{get(a), get(b), get(c), get(d)}; };
    CellLanes l;
    l.n00x = lanes([](const Cell& k) { return k.p00.PntA.x; });
    l.n00y = lanes([](const Cell& k) { return k.p00.PntA.y; });
    l.n10x = lanes([](const Cell& k) { return k.p10.PntA.x; });
    l.n10y = lanes([](const Cell& k) { return k.p10.PntA.y; });
    l.n01y = lanes([](const Cell& k) { return k.p01.PntA.y; });
    l.m00x = lanes([](const Cell& k) { return k.p00.PntB.x; });
    l.m00y = lanes([](const Cell& k) { return k.p00.PntB.y; });
    l.m01x = lanes([](const Cell& k) { return k.p01.PntB.x; });
    l.m01y = lanes([](const Cell& k) { return k.p01.PntB.y; });
    l.m10x = lanes([](const Cell& k) { return k.p10.PntB.x; });
    l.m10y = lanes([](const Cell& k) { return k.p10.PntB.y; });
    l.m11x = lanes([](const Cell& k) { return k.p11.PntB.x; });
    l.m11y = lanes([](const Cell& k) { return k.p11.PntB.y; });
    return l;
}

/// Half (b) for each lane: the residual (ox, oy) in mm and the crossing C
/// (cx, cy), the measured image of the point (x, y) in its cell.
struct ResidualLanes {
    Floats4 ox, oy, cx, cy;
};

/// Half (b), lane by lane, for points (x, y) in the cells of `cells`; only
/// lanes below `lanes` need be computed (the others hold copies).
///
/// Every caller runs this one compiled function (OneCopy.h), also for a
/// single point (in every lane), so that NaNs come out with the same bits.
ResidualLanes CellResidual(const CellLanes& cells, Floats4 x, Floats4 y, Floats4 pitch,
                           int lanes);

}  // namespace zemcal_detail
