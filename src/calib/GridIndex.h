// GridIndex: one grid table prepared for fast location of points. Internal
// to the library; never installed.
//
// CCalibAlg::GetGridDR tests every cell of a table in row-major order and
// takes the first that holds the point (GridCell.h). This index gives the
// same cell in a few tests: a uniform grid of buckets is laid over the
// nominal extent of the cells, and each bucket lists, in row-major order,
// every cell whose nominal rectangle reaches into it. A point's bucket is
// found by arithmetic, and its candidates are tested with the very same
// comparison as the scan; the first that holds is the first holding cell of
// the whole table, because every cell that can hold a point is listed in
// that point's bucket:
//   - the bucket of a coordinate v is floor((v - lo) * buckets / (hi - lo)),
//     clamped to the first and last bucket, computed in double; every step
//     is monotone (IEEE rounding never reverses an order), so a point inside
//     [a, b] falls in a bucket between those of a and b, which are the
//     buckets the cell is listed in;
//   - a NaN coordinate goes to bucket 0, where no candidate holds it (every
//     comparison with a NaN is false), as in the scan;
//   - a cell with an inverted or NaN rectangle can hold no point and is not
//     listed at all.
// The bucket layout (lo, hi, count) therefore affects only the speed, never
// the result.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <zemcal/LenPar.h>

#include "CorrectionSteps.h"
#include "Lanes.h"

namespace zemcal_detail {

class GridIndex {
public:
    /// Indexes table for a record whose working field is valSize wide,
    /// taking over its nodes (the caller's copy is moved from). A table
    /// without cells (fewer than 2 x 2 nodes, or fewer points than Num*Num)
    /// gives an index that holds no point. Throws std::bad_alloc when memory
    /// is exhausted or the table has more than 2^28 nodes.
    GridIndex(tagStack&& table, double valSize);

    /// GetGridDR's offsets at up to four points (x[i], y[i]), i < count,
    /// already clamped to the working field: the measured-minus-nominal
    /// residual (mm) of the first holding cell in row-major order, (0, 0)
    /// where no cell holds the point (and in the lanes from count on).
    /// Allocates nothing.
    OffsetLanes OffsetsAt(Floats4 x, Floats4 y, int count) const noexcept;

    /// GetGridDR's offsets of up to four tables, grids[i] for i < count, at
    /// one point (x, y) already clamped to the working field, one table per
    /// lane; lanes from count on are ignored. Allocates nothing.
    static OffsetLanes OffsetsAcross(const GridIndex* grids, int count, float x, float y) noexcept;

private:
    // One axis of the bucket grid.
    struct Axis {
        double lo = 0.0;    // coordinate of the first bucket's lower edge
        double scale = 0.0; // buckets per millimetre (0 with a single bucket)
        std::uint32_t count = 1;
        double last = 0.0;  // count - 1

        std::uint32_t BucketOf(double v) const noexcept {
            double t = (v - lo) * scale;
            // Below the first bucket, and NaN, go to bucket 0; beyond the
            // last to the last. Written as selects, which compile without
            // branches: points beyond the field come often and at random.
            t = t >= 0.0 ? t : 0.0;
            t = t < last ? t : last;
            return static_cast<std::uint32_t>(t);
        }
    };

    // An axis of `wanted` buckets over [lo, hi], the extent of the cells on
    // that axis, moved by `nudge` buckets. Points reach the lookup clamped to
    // [-half, half], so the buckets need not extend beyond it. An empty,
    // non-finite or degenerate extent gets a single bucket.
    static Axis FitAxis(double lo, double hi, double half, std::uint64_t wanted, double nudge);

    void Build(double valSize);

    // The top-left node of the first cell holding (x, y), or null.
    const tagCalData* Locate(float x, float y) const noexcept;
    std::uint64_t CountEntries(const Axis& ax, const Axis& ay) const;

    std::vector<tagCalData> nodes_;
    std::size_t n_ = 0;  // nodes per side; 0 when the table has no cells
    float pitch_ = 0.0f;
    Axis x_, y_;
    // Candidates of bucket (row by, column bx), b = by * x_.count + bx:
    // cells_[start_[b]] .. cells_[start_[b + 1] - 1], each the element
    // number of the cell's top-left node.
    std::vector<std::uint32_t> start_;
    std::vector<std::uint32_t> cells_;
};

}  // namespace zemcal_detail
