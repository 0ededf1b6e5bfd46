// The summed grid residual of the least-squares corrections; see
// CorrectionSteps.h.
#include "CorrectionSteps.h"

#include "OneCopy.h"

namespace zemcal_detail {

ZEMCAL_ONE_COPY Floats4 AddLanes(Floats4 sum, Floats4 offsets) {
    return sum + offsets;
}

ZEMCAL_ONE_COPY void SumGridResidual(const tagLenPar& lp, const tagVeyPointF* p, int count,
                                     std::size_t tables, TableOffsetsFn offsetsAt,
                                     const void* context, tagVeyPointF* e) {
    const ResidualSigns s = SavedResidualSigns(lp);
    if (tables == 0) {
        // Nothing to add: zeros with the signs of the output frame.
        for (int i = 0; i < count; ++i) e[i] = {s.negX ? -0.0f : 0.0f, s.negY ? -0.0f : 0.0f};
        return;
    }

    // Lanes are built from values, never loaded from floats just stored one
    // by one: a processor cannot forward such stores to a wide load and
    // waits for them to reach the cache.
    const auto qx = [&](int i) { return i < count ? (s.negX ? -p[i].x : p[i].x) : 0.0f; };
    const auto qy = [&](int i) { return i < count ? (s.negY ? -p[i].y : p[i].y) : 0.0f; };
    const Floats4 x{qx(0), qx(1), qx(2), qx(3)};
    const Floats4 y{qy(0), qy(1), qy(2), qy(3)};

    Floats4 ex = Broadcast(0.0f);
    Floats4 ey = Broadcast(0.0f);
    for (std::size_t t = 0; t < tables; ++t) {
        const OffsetLanes o = offsetsAt(context, t, x, y, count);
        ex = AddLanes(ex, o.x);
        ey = AddLanes(ey, o.y);
    }
    for (int i = 0; i < count; ++i) {
        e[i] = {s.negX ? -ex[i] : ex[i], s.negY ? -ey[i] : ey[i]};
    }
}

namespace {

// One point at a time: GetGridDR on the record's own table.
OffsetLanes RecordTableOffsets(const void* context, std::size_t table, Floats4 x, Floats4 y,
                               int count) {
    const tagLenPar& lp = *static_cast<const tagLenPar*>(context);
    const auto at = [&](int i) {
        tagVeyPointF scale{1.0f, 1.0f};
        tagVeyPointF offset{0.0f, 0.0f};
        if (i < count) {
            CCalibAlg::GetGridDR(lp, tagVeyPointF{x[i], y[i]}, scale, offset, lp.Stacks[table]);
        }
        return offset;
    };
    const tagVeyPointF o0 = at(0), o1 = at(1), o2 = at(2), o3 = at(3);
    return {Floats4{o0.x, o1.x, o2.x, o3.x}, Floats4{o0.y, o1.y, o2.y, o3.y}};
}

}  // namespace

tagVeyPointF GridResidual(const tagLenPar& lp, tagVeyPointF p) {
    if (lp.Stacks.empty()) {
        // Nothing to add: zeros with the signs of the output frame.
        const ResidualSigns s = SavedResidualSigns(lp);
        return {s.negX ? -0.0f : 0.0f, s.negY ? -0.0f : 0.0f};
    }
    tagVeyPointF e;
    SumGridResidual(lp, &p, 1, lp.Stacks.size(), &RecordTableOffsets, &lp, &e);
    return e;
}

}  // namespace zemcal_detail
