// Grid cell location: where a logical point falls in a measured grid table,
// and the residual distortion the four corners of its cell give there. The
// model, and the two halves the scan below is built from, are described in
// GridCell.h.
#include <zemcal/CalibAlg.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

#include "GridCell.h"
#include "OneCopy.h"

using zemcal_detail::UsableNodes;

namespace zemcal_detail {

namespace {

// base + diff * dist / pitch, single precision. A zero difference keeps the
// base bit for bit: a -0 stays -0, and a zero pitch gives no NaN there.
Floats4 EdgeAt(Floats4 base, Floats4 end, Floats4 dist, Floats4 pitch) {
    const Floats4 diff = end - base;
    return Select(diff == Broadcast(0.0f), base, base + diff * dist / pitch);
}

// Cramer's rule for lanes 2*half and 2*half + 1 of two sets of lines
// A*x + B*y + C = 0: the crossings' x in lanes 0 and 1 of the result, y in
// lanes 2 and 3. One copy (OneCopy.h): both halves, and so all four lanes,
// run the same instructions.
ZEMCAL_ONE_COPY Floats4 CrossHalf(Floats4 a1f, Floats4 b1f, Floats4 c1f, Floats4 a2f, Floats4 b2f,
                                  Floats4 c2f, int half) {
    const Doubles2 a1 = WidenHalf(a1f, half), b1 = WidenHalf(b1f, half), c1 = WidenHalf(c1f, half);
    const Doubles2 a2 = WidenHalf(a2f, half), b2 = WidenHalf(b2f, half), c2 = WidenHalf(c2f, half);
    const Doubles2 det = a1 * b2 - a2 * b1;
    const Doubles2 x = (b1 * c2 - b2 * c1) / det;
    const Doubles2 y = (c1 * a2 - a1 * c2) / det;
    return Floats4{static_cast<float>(x[0]), static_cast<float>(x[1]), static_cast<float>(y[0]),
                   static_cast<float>(y[1])};
}

}  // namespace

ZEMCAL_ONE_COPY ResidualLanes CellResidual(const CellLanes& c, Floats4 x, Floats4 y,
                                           Floats4 pitch, int lanes) {
    // The measured edge points: top T and bottom B at the point's x, left L
    // and right R at its y, each from its starting corner.
    const Floats4 dTop = Abs(x - c.n00x), dBottom = Abs(x - c.n10x);
    const Floats4 dLeft = Abs(y - c.n00y), dRight = Abs(y - c.n01y);
    const Floats4 tx = EdgeAt(c.m00x, c.m01x, dTop, pitch);
    const Floats4 ty = EdgeAt(c.m00y, c.m01y, dTop, pitch);
    const Floats4 bx = EdgeAt(c.m10x, c.m11x, dBottom, pitch);
    const Floats4 by = EdgeAt(c.m10y, c.m11y, dBottom, pitch);
    const Floats4 lx = EdgeAt(c.m00x, c.m10x, dLeft, pitch);
    const Floats4 ly = EdgeAt(c.m00y, c.m10y, dLeft, pitch);
    const Floats4 rx = EdgeAt(c.m01x, c.m11x, dRight, pitch);
    const Floats4 ry = EdgeAt(c.m01y, c.m11y, dRight, pitch);

    // The crossing of T-B with L-R: the operations of Line::GetLine and
    // Line::GetCrossPoint (Geometry.cpp) in the same order and precision.
    // Each line A*x + B*y + C = 0 has A, B and C formed in single precision
    // and widened; the crossing follows by Cramer's rule in double (two
    // lanes at a time) and is narrowed to float. Written out so that four
    // cells share each instruction; the corrector tests hold the two to the
    // same bits.
    const Floats4 a1 = ty - by, b1 = bx - tx, c1 = tx * by - bx * ty;
    const Floats4 a2 = ly - ry, b2 = rx - lx, c2 = lx * ry - rx * ly;
    const Floats4 low = CrossHalf(a1, b1, c1, a2, b2, c2, 0);
    const Floats4 high = lanes > 2 ? CrossHalf(a1, b1, c1, a2, b2, c2, 1) : low;
    ResidualLanes r;
    r.cx = Floats4{low[0], low[1], high[0], high[1]};
    r.cy = Floats4{low[2], low[3], high[2], high[3]};

    // The x residual is taken against the point's own x, the y residual
    // against the nominal y of the top and bottom rows. Grids measured
    // through this correction carry the asymmetry, so it stays.
    r.ox = Select(bx != tx, (tx - x) + (r.cx - tx) * ((bx - x) - (tx - x)) / (bx - tx), tx - x);
    r.oy = Select(by != ty,
                  (ty - c.n00y) + (r.cy - ty) * ((by - c.n10y) - (ty - c.n00y)) / (by - ty),
                  ly - y);
    return r;
}

}  // namespace zemcal_detail

bool CCalibAlg::GetGridDR(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& scale,
                          tagVeyPointF& offset, const tagStack& table) {
    // Copy the point before the outputs are written, so a caller may pass
    // the same variable for p and an output.
    float x = p.x;
    float y = p.y;
    scale = {1.0f, 1.0f};
    offset = {0.0f, 0.0f};

    zemcal_detail::ClampToField(lp.ValSize, x, y);
    if (!zemcal_detail::HasCells(table)) return true;
    const std::size_t n = static_cast<std::size_t>(table.Num);
    const float pitch = zemcal_detail::GridPitch(lp.ValSize, table.Num);

    // Every cell in row-major order; the first that holds the point wins, so
    // a point on a shared edge belongs to the upper or left cell.
    const tagCalData* nodes = table.Pnts.data();
    for (std::size_t i = 1; i < n; ++i) {
        for (std::size_t j = 1; j < n; ++j) {
            const zemcal_detail::Cell cell = zemcal_detail::CellAt(nodes, n, (i - 1) * n + (j - 1));
            if (!zemcal_detail::CellHolds(cell.p00, cell.p11, x, y)) continue;
            // The shared four-lane residual, with the cell and point in every lane.
            const zemcal_detail::ResidualLanes r = zemcal_detail::CellResidual(
                zemcal_detail::GatherCells(cell, cell, cell, cell), zemcal_detail::Broadcast(x),
                zemcal_detail::Broadcast(y), zemcal_detail::Broadcast(pitch), 1);
            offset = {r.ox[0], r.oy[0]};
            // The point over its measured image C, 1 on an axis where either is 0.
            if (x != 0.0f && r.cx[0] != 0.0f) scale.x = x / r.cx[0];
            if (y != 0.0f && r.cy[0] != 0.0f) scale.y = y / r.cy[0];
            return true;
        }
    }
    return true;
}

int CCalibAlg::GetQuadrant(tagVeyPointF p) {
    // Zero (either sign) counts as non-negative; so does NaN, which is not < 0.
    const bool left = p.x < 0.0f;
    const bool below = p.y < 0.0f;
    if (!below) return left ? 1 : 0;
    return left ? 2 : 3;
}

// The cell tests read four records through a raw pointer; a null pointer is
// taken as a cell that holds nothing rather than a crash.
bool CCalibAlg::PointInRect(tagCalData* cell, tagVeyPointF p) {
    if (cell == nullptr) return false;
    return cell[0].PntA.x <= p.x && p.x <= cell[1].PntA.x && cell[3].PntA.y <= p.y &&
           p.y <= cell[0].PntA.y;
}

namespace {

// x of edge a-b at height y (the caller knows a.y != b.y), single precision.
float EdgeXAt(tagVeyPointF a, tagVeyPointF b, float y) {
    return (b.x - a.x) * (y - a.y) / (b.y - a.y) + a.x;
}

}  // namespace

bool CCalibAlg::PntInRect(tagCalData* cell, tagVeyPointF p) {
    if (cell == nullptr) return false;
    // Even-odd crossing count of a ray from p towards +x, over the edges
    // (0,3), (1,0), (2,1), (3,2), with inclusive tests. On an axis-aligned
    // cell this puts points of the right and top edges inside and points of
    // the left and bottom edges outside.
    bool inside = false;
    for (int i = 0, k = 3; i < 4; k = i++) {
        const tagVeyPointF a = cell[i].PntA;
        const tagVeyPointF b = cell[k].PntA;
        if ((p.y <= a.y) != (p.y <= b.y) && EdgeXAt(a, b, p.y) >= p.x) inside = !inside;
    }
    return inside;
}

bool CCalibAlg::PntInRect(std::vector<tagVeyPointF> quad, tagVeyPointF p) {
    // Fewer than four corners is no quadrilateral: nothing is inside it.
    if (quad.size() < 4) return false;
    // Strict tests: the mirror image of the overload above, so the left and
    // bottom edges of an axis-aligned quad are inside, right and top outside.
    bool inside = false;
    for (int i = 0, k = 3; i < 4; k = i++) {
        const tagVeyPointF a = quad[static_cast<std::size_t>(i)];
        const tagVeyPointF b = quad[static_cast<std::size_t>(k)];
        if ((p.y < a.y) != (p.y < b.y) && EdgeXAt(a, b, p.y) > p.x) inside = !inside;
    }
    return inside;
}

bool CCalibAlg::GetPntColRow(const tagVeyPointF& p, double half, const tagStack& table, int& row,
                             int& col) {
    const double x = p.x;
    const double y = p.y;
    row = -1;
    col = -1;
    const std::int32_t n = table.Num;
    const tagCalData* pts = table.Pnts.data();
    // Nodes past the table (or past a short Pnts) never match.
    const std::size_t nodes = UsableNodes(table);
    const std::size_t un = n > 0 ? static_cast<std::size_t>(n) : 0;

    const bool insideX = -half <= x && x <= half;
    const bool insideY = -half <= y && y <= half;
    if (insideX && insideY) {
        if (n < 1) return false;
        // Cell (r, c) spans node (r, c) to the diagonal node (r+1, c+1), half
        // open towards the bottom right. For the last column that node is the
        // first of row r+2 (kept as it is); the diagonal index only grows, so
        // the scan ends at the first one past the table.
        for (std::size_t r = 0; r < un; ++r) {
            for (std::size_t c = 0; c < un; ++c) {
                const std::size_t q = (r + 1) * un + c + 1;
                if (q >= nodes) return false;
                const tagVeyPointF a = pts[r * un + c].PntA;
                const tagVeyPointF b = pts[q].PntA;
                if (a.x <= x && x < b.x && b.y < y && y <= a.y) {
                    row = static_cast<int>(r);
                    col = static_cast<int>(c);
                    return true;
                }
            }
        }
        return false;
    }

    // Outside the square: report the side. On the axis that is still inside,
    // find the band of the top row (columns) or left column (rows) holding p.
    if (x < -half) {
        col = -1;
    } else if (x > half) {
        col = n;
    } else {
        for (std::size_t j = 0; j < un && j + 1 < nodes; ++j) {
            if (pts[j].PntA.x <= x && x < pts[j + 1].PntA.x) {
                col = static_cast<int>(j);
                break;
            }
        }
    }
    if (y < -half) {
        row = n;
    } else if (y > half) {
        row = -1;
    } else {
        for (std::size_t i = 0; i < un && (i + 1) * un < nodes; ++i) {
            if (pts[i * un].PntA.y >= y && y > pts[(i + 1) * un].PntA.y) {
                row = static_cast<int>(i);
                break;
            }
        }
    }
    return true;
}

int CCalibAlg::PntInPolygon(const std::vector<tagVeyPointF>& polygon, tagVeyPointF p) {
    // Even-odd rule with half-open edges: an edge counts when exactly one end
    // lies strictly above p (so a vertex at p's height is counted once) and
    // it crosses p's height strictly right of p. Points on left and bottom
    // edges are inside, on right and top edges outside, so of two polygons
    // sharing an edge exactly one claims a point on it - what a caller tiling
    // a field with polygons needs. The crossing x is taken in double, so near
    // an edge the answer follows the float vertices, not a float rounding of
    // the interpolation. Fewer than three vertices enclose nothing.
    const std::size_t count = polygon.size();
    if (count < 3) return 0;
    const double px = p.x;
    const double py = p.y;
    bool inside = false;
    for (std::size_t i = 0, k = count - 1; i < count; k = i++) {
        const double ax = polygon[i].x, ay = polygon[i].y;
        const double bx = polygon[k].x, by = polygon[k].y;
        if ((ay > py) != (by > py) && px < (bx - ax) * (py - ay) / (by - ay) + ax) {
            inside = !inside;
        }
    }
    return inside ? 2 : 0;
}
