// Grid cell location: where a logical point falls in a measured grid table,
// and the residual distortion the four corners of its cell give there.
//
// Model: a table is n x n nodes stored row by row; node (r, c) is element
// r*n + c. Row 0 lies at the largest nominal y (y up), column 0 at the
// smallest nominal x. Each node pairs its nominal position (PntA, "n" below)
// with where it was measured (PntB, "m"), in millimetres.
//
// For a point p inside cell (i-1..i, j-1..j) the measured positions are
// interpolated along the four edges at p's x (top T, bottom B) and at p's y
// (left L, right R); the crossing C of the lines T-B and L-R is the measured
// image of p. The scale is p / C and the offset the measured-minus-nominal
// residual at p.
//
// Precision: the pitch is V/(n-1) in double narrowed to float, and all of the
// interpolation is single precision; only the line intersection runs in
// double (inside Line). Those narrowings are part of the corrected points.
#include <zemcal/CalibAlg.h>

#include <zemcal/Geometry.h>

#include <cmath>
#include <cstddef>
#include <cstdint>

namespace {

// Number of nodes a table really offers: n*n (in 64 bits) or fewer when a
// hand-filled Pnts is short. Nothing past it is ever read.
std::size_t UsableNodes(const tagStack& table) {
    if (table.Num < 1) return 0;
    const std::uint64_t n = static_cast<std::uint64_t>(table.Num);
    const std::uint64_t nodes = n * n;
    const std::uint64_t size = table.Pnts.size();
    // The smaller of the two, so it always fits a size_t.
    return static_cast<std::size_t>(nodes < size ? nodes : size);
}

// base + diff * dist / pitch, single precision. A zero difference keeps the
// base bit for bit: a -0 stays -0, and a zero pitch gives no NaN there.
float EdgeAt(float base, float end, float dist, float pitch) {
    const float diff = end - base;
    if (diff == 0.0f) return base;
    return base + diff * dist / pitch;
}

// The measured position at a nominal distance along the edge from corner a
// towards corner b.
tagVeyPointF EdgePoint(const tagCalData& a, const tagCalData& b, float dist, float pitch) {
    return {EdgeAt(a.PntB.x, b.PntB.x, dist, pitch), EdgeAt(a.PntB.y, b.PntB.y, dist, pitch)};
}

}  // namespace

bool CCalibAlg::GetGridDR(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& scale,
                          tagVeyPointF& offset, const tagStack& table) {
    // Copy the point before the outputs are written, so a caller may pass
    // the same variable for p and an output.
    float x = p.x;
    float y = p.y;
    scale = {1.0f, 1.0f};
    offset = {0.0f, 0.0f};

    // Points beyond the working field are corrected as border points.
    const double v = lp.ValSize;
    if (y < -v / 2) {
        y = static_cast<float>(-v / 2);
    } else if (y > v / 2) {
        y = static_cast<float>(v / 2);
    }
    if (x < -v / 2) {
        x = static_cast<float>(-v / 2);
    } else if (x > v / 2) {
        x = static_cast<float>(v / 2);
    }

    const std::int32_t n = table.Num;
    if (n < 2) return true;
    // A short hand-filled table is treated as holding no point at all.
    const std::uint64_t n64 = static_cast<std::uint64_t>(n);
    if (UsableNodes(table) < n64 * n64) return true;
    const std::size_t un = static_cast<std::size_t>(n);

    // The nominal pitch, not the cell's own width, divides every edge
    // interpolation below: a stretched cell is deliberately not renormalised.
    const float pitch = static_cast<float>(v / (n - 1));

    const tagCalData* pts = table.Pnts.data();
    for (std::size_t i = 1; i < un; ++i) {
        for (std::size_t j = 1; j < un; ++j) {
            const tagCalData& p00 = pts[(i - 1) * un + (j - 1)];
            const tagCalData& p01 = pts[(i - 1) * un + j];
            const tagCalData& p10 = pts[i * un + (j - 1)];
            const tagCalData& p11 = pts[i * un + j];
            // Edges included; the first cell in scan order wins, so a point on
            // a shared edge belongs to the upper or left cell.
            if (!(p00.PntA.x <= x && x <= p11.PntA.x && p11.PntA.y <= y && y <= p00.PntA.y)) {
                continue;
            }

            const tagVeyPointF top = EdgePoint(p00, p01, std::fabs(x - p00.PntA.x), pitch);
            const tagVeyPointF bottom = EdgePoint(p10, p11, std::fabs(x - p10.PntA.x), pitch);
            const tagVeyPointF left = EdgePoint(p00, p10, std::fabs(y - p00.PntA.y), pitch);
            const tagVeyPointF right = EdgePoint(p01, p11, std::fabs(y - p01.PntA.y), pitch);

            Line line;
            const tagVeyPointF c =
                line.GetCrossPoint(line.GetLine(top, bottom), line.GetLine(left, right));

            if (x != 0.0f && c.x != 0.0f) scale.x = x / c.x;
            if (y != 0.0f && c.y != 0.0f) scale.y = y / c.y;

            // The x residual is taken against the point's own x, the y residual
            // against the nominal y of the top and bottom rows. Grids measured
            // through this correction carry the asymmetry, so it stays.
            if (bottom.x != top.x) {
                offset.x = (top.x - x) +
                           (c.x - top.x) * ((bottom.x - x) - (top.x - x)) / (bottom.x - top.x);
            } else {
                offset.x = top.x - x;
            }
            if (bottom.y != top.y) {
                offset.y = (top.y - p00.PntA.y) +
                           (c.y - top.y) * ((bottom.y - p10.PntA.y) - (top.y - p00.PntA.y)) /
                               (bottom.y - top.y);
            } else {
                offset.y = left.y - y;
            }
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
