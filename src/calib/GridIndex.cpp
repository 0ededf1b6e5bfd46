// The bucket index of one grid table; see GridIndex.h for why its answer is
// always the cell the row-major scan of GetGridDR finds.
#include "GridIndex.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <new>
#include <utility>

#include "GridCell.h"

namespace zemcal_detail {

namespace {

// As many buckets as cells on each axis (moved by kNudge below): a point
// then meets the cell that holds it first in most buckets.
constexpr std::uint64_t kBucketsPerCell = 1;
// At most 1024 x 1024 buckets (4 MiB of bucket starts), whatever the table.
constexpr std::uint64_t kMaxBucketsPerAxis = 1024;
// On a regular grid the bucket edges would fall exactly on the cell edges,
// and rounding would put a shared edge into either neighbouring bucket.
// Moving the buckets a little (this fraction of a bucket) puts it into the
// bucket of the cell scanned first: the left one in x, the upper one in y.
// That cell is then also the first candidate of each bucket it covers, and
// a point meets one test in most buckets.
constexpr double kNudge = 1.0 / 64;
// Cells whose rectangles are much larger than the pitch (a hostile or
// scrambled table) are listed in many buckets; the layout is coarsened
// until the lists hold at most this many entries per cell on average.
constexpr std::uint64_t kMaxEntriesPerCell = 16;
// Node numbers and list positions are 32-bit: entries stay below
// kMaxEntriesPerCell * 2^28 = 2^32.
constexpr std::uint64_t kMaxNodes = std::uint64_t{1} << 28;

// The nominal rectangle [a, b] x [c, d] of a cell: a = P00.nx, b = P11.nx,
// c = P11.ny, d = P00.ny.
struct Rect {
    float a, b, c, d;
};

Rect RectOf(const Cell& cell) {
    return {cell.p00.PntA.x, cell.p11.PntA.x, cell.p11.PntA.y, cell.p00.PntA.y};
}

// Only a cell with a <= b and c <= d can hold a point: a <= x <= b needs
// a <= b, and with a NaN corner every comparison fails.
bool CanHold(const Rect& r) {
    return r.a <= r.b && r.c <= r.d;
}

// Visits every cell that can hold a point, in row-major order, with the
// element number of its top-left node and its rectangle.
template <class Visit>
void ForEachCell(const std::vector<tagCalData>& nodes, std::size_t n, const Visit& visit) {
    for (std::size_t i = 1; i < n; ++i) {
        for (std::size_t j = 1; j < n; ++j) {
            const std::size_t topLeft = (i - 1) * n + (j - 1);
            const Rect r = RectOf(CellAt(nodes.data(), n, topLeft));
            if (CanHold(r)) visit(topLeft, r);
        }
    }
}

}  // namespace

GridIndex::Axis GridIndex::FitAxis(double lo, double hi, double half, std::uint64_t wanted,
                                   double nudge) {
    if (half > 0.0 && std::isfinite(half)) {
        lo = std::max(lo, -half);
        hi = std::min(hi, half);
    }
    Axis axis;
    if (wanted < 2 || !std::isfinite(lo) || !std::isfinite(hi) || !(lo < hi)) return axis;
    const double scale = static_cast<double>(wanted) / (hi - lo);
    if (!std::isfinite(scale)) return axis;
    axis.lo = lo + nudge / scale;
    axis.scale = scale;
    axis.count = static_cast<std::uint32_t>(wanted);
    axis.last = static_cast<double>(wanted - 1);
    return axis;
}

GridIndex::GridIndex(tagStack&& table, double valSize) {
    // Start with a single empty bucket: an index without cells holds no point.
    start_.assign(2, 0);
    if (!HasCells(table)) return;
    const std::uint64_t n = static_cast<std::uint64_t>(table.Num);
    if (n * n > kMaxNodes) throw std::bad_alloc();
    n_ = static_cast<std::size_t>(n);
    pitch_ = GridPitch(valSize, table.Num);
    nodes_ = std::move(table.Pnts);
    nodes_.resize(n_ * n_);  // only the first n*n points belong to the grid
    Build(valSize);
}

std::uint64_t GridIndex::CountEntries(const Axis& ax, const Axis& ay) const {
    std::uint64_t entries = 0;
    ForEachCell(nodes_, n_, [&](std::size_t, const Rect& r) {
        const std::uint64_t columns = ax.BucketOf(r.b) - ax.BucketOf(r.a) + 1;
        const std::uint64_t rows = ay.BucketOf(r.d) - ay.BucketOf(r.c) + 1;
        entries += columns * rows;
    });
    return entries;
}

void GridIndex::Build(double valSize) {
    // The extent of the cells that can hold a point.
    constexpr float kInf = std::numeric_limits<float>::infinity();
    float left = kInf, right = -kInf, bottom = kInf, top = -kInf;
    std::uint64_t cells = 0;
    ForEachCell(nodes_, n_, [&](std::size_t, const Rect& r) {
        left = std::min(left, r.a);
        right = std::max(right, r.b);
        bottom = std::min(bottom, r.c);
        top = std::max(top, r.d);
        ++cells;
    });
    if (cells == 0) return;

    // The finest layout whose lists stay within the budget; a single bucket
    // (every cell listed once) always does.
    const double half = valSize / 2;
    std::uint64_t wanted = std::min<std::uint64_t>(kBucketsPerCell * (n_ - 1), kMaxBucketsPerAxis);
    std::uint64_t entries = 0;
    for (;;) {
        x_ = FitAxis(left, right, half, wanted, kNudge);
        y_ = FitAxis(bottom, top, half, wanted, -kNudge);
        entries = CountEntries(x_, y_);
        if (entries <= kMaxEntriesPerCell * cells || wanted < 2) break;
        wanted /= 2;
    }

    // Counting sort of (bucket, cell) pairs: cells are visited in row-major
    // order, so each bucket's list comes out in that order too.
    const std::size_t buckets = std::size_t{x_.count} * y_.count;
    start_.assign(buckets + 1, 0);
    const auto forEachBucket = [this](const Rect& r, auto&& use) {
        const std::uint32_t x0 = x_.BucketOf(r.a), x1 = x_.BucketOf(r.b);
        const std::uint32_t y0 = y_.BucketOf(r.c), y1 = y_.BucketOf(r.d);
        for (std::uint32_t by = y0; by <= y1; ++by) {
            for (std::uint32_t bx = x0; bx <= x1; ++bx) use(std::size_t{by} * x_.count + bx);
        }
    };
    ForEachCell(nodes_, n_, [&](std::size_t, const Rect& r) {
        forEachBucket(r, [this](std::size_t b) { ++start_[b + 1]; });
    });
    for (std::size_t b = 0; b < buckets; ++b) start_[b + 1] += start_[b];

    cells_.resize(static_cast<std::size_t>(entries));
    std::vector<std::uint32_t> next(start_.begin(), start_.end() - 1);
    ForEachCell(nodes_, n_, [&](std::size_t topLeft, const Rect& r) {
        forEachBucket(r, [&](std::size_t b) {
            cells_[next[b]++] = static_cast<std::uint32_t>(topLeft);
        });
    });
}

const tagCalData* GridIndex::Locate(float x, float y) const noexcept {
    const std::size_t b = std::size_t{y_.BucketOf(y)} * x_.count + x_.BucketOf(x);
    const std::uint32_t end = start_[b + 1];
    for (std::uint32_t k = start_[b]; k < end; ++k) {
        const tagCalData* topLeft = nodes_.data() + cells_[k];
        if (CellHolds(topLeft[0], topLeft[n_ + 1], x, y)) return topLeft;
    }
    return nullptr;
}

OffsetLanes GridIndex::OffsetsAt(Floats4 x, Floats4 y, int count) const noexcept {
    // Locate each point; a lane without a cell borrows a located one (and
    // its top-left node as the point), so that it computes on ordinary
    // numbers, and is masked to (0, 0) afterwards. Lanes are built from
    // values, never loaded from floats just stored one by one (see
    // SumGridResidual).
    const auto locate = [&](int i) { return i < count ? Locate(x[i], y[i]) : nullptr; };
    const tagCalData* c0 = locate(0);
    const tagCalData* c1 = locate(1);
    const tagCalData* c2 = locate(2);
    const tagCalData* c3 = locate(3);
    const tagCalData* any = c0 ? c0 : c1 ? c1 : c2 ? c2 : c3;
    const Floats4 zero = Broadcast(0.0f);
    if (any == nullptr) return {zero, zero};

    const Mask4 found{c0 ? -1 : 0, c1 ? -1 : 0, c2 ? -1 : 0, c3 ? -1 : 0};
    const auto corners = [this, any](const tagCalData* topLeft) {
        if (topLeft == nullptr) topLeft = any;
        return Cell{topLeft[0], topLeft[1], topLeft[n_], topLeft[n_ + 1]};
    };
    const ResidualLanes r =
        CellResidual(GatherCells(corners(c0), corners(c1), corners(c2), corners(c3)),
                     Select(found, x, Broadcast(any->PntA.x)),
                     Select(found, y, Broadcast(any->PntA.y)), Broadcast(pitch_), count);
    return {Select(found, r.ox, zero), Select(found, r.oy, zero)};
}

OffsetLanes GridIndex::OffsetsAcross(const GridIndex* grids, int count, float x,
                                     float y) noexcept {
    const Floats4 zero = Broadcast(0.0f);
    if (count == 1) {
        // A single table: its cell and the point in every lane, as the scan
        // computes it, without the bookkeeping of empty lanes.
        const tagCalData* topLeft = grids[0].Locate(x, y);
        if (topLeft == nullptr) return {zero, zero};
        const std::size_t n = grids[0].n_;
        const Cell cell{topLeft[0], topLeft[1], topLeft[n], topLeft[n + 1]};
        const ResidualLanes r = CellResidual(GatherCells(cell, cell, cell, cell), Broadcast(x),
                                             Broadcast(y), Broadcast(grids[0].pitch_), 1);
        return {r.ox, r.oy};
    }

    // As OffsetsAt, with a table per lane instead of a point per lane.
    const auto locate = [&](int i) { return i < count ? grids[i].Locate(x, y) : nullptr; };
    const tagCalData* c0 = locate(0);
    const tagCalData* c1 = locate(1);
    const tagCalData* c2 = locate(2);
    const tagCalData* c3 = locate(3);
    const int first = c0 ? 0 : c1 ? 1 : c2 ? 2 : c3 ? 3 : -1;
    if (first < 0) return {zero, zero};

    const tagCalData* any = first == 0 ? c0 : first == 1 ? c1 : first == 2 ? c2 : c3;
    const Mask4 found{c0 ? -1 : 0, c1 ? -1 : 0, c2 ? -1 : 0, c3 ? -1 : 0};
    const auto corners = [&](int i, const tagCalData* topLeft) {
        const std::size_t n = grids[topLeft ? i : first].n_;
        if (topLeft == nullptr) topLeft = any;
        return Cell{topLeft[0], topLeft[1], topLeft[n], topLeft[n + 1]};
    };
    const auto pitch = [&](int i, const tagCalData* topLeft) {
        return grids[topLeft ? i : first].pitch_;
    };
    const ResidualLanes r = CellResidual(
        GatherCells(corners(0, c0), corners(1, c1), corners(2, c2), corners(3, c3)),
        Select(found, Broadcast(x), Broadcast(any->PntA.x)),
        Select(found, Broadcast(y), Broadcast(any->PntA.y)),
        Floats4{pitch(0, c0), pitch(1, c1), pitch(2, c2), pitch(3, c3)}, count);
    return {Select(found, r.ox, zero), Select(found, r.oy, zero)};
}

}  // namespace zemcal_detail
