// The dense test pattern; see FieldErrors.h.
#include "FieldErrors.h"

#include <algorithm>
#include <cmath>

namespace zemcal_tool {

double ErrorField::errorUm(std::size_t i) const {
    return std::hypot(spot[i].x - nominal[i].x, spot[i].y - nominal[i].y) * 1000.0;
}

ErrorField markField(const tagLenPar& rec, const Rig& rig, int n, CommandMode mode) {
    ErrorField f;
    f.n = n;
    const std::size_t count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
    f.nominal.reserve(count);
    for (int row = 0; row < n; ++row) {
        for (int col = 0; col < n; ++col) {
            const tagVeyPointF node = CCalibPattern::Node(rec.ValSize, n, row, col);
            f.nominal.push_back({node.x, node.y});
        }
    }
    // Corrected commands come from one prepared corrector, as a marking job
    // would make them (the same commands as the facade's, bit for bit).
    std::vector<Shot> shots;
    if (mode == CommandMode::Corrected) {
        shots = rig.correctedAll(rec, f.nominal);
    } else {
        shots.reserve(count);
        for (const Vec2& p : f.nominal) shots.push_back(rig.linear(rec, p));
    }
    f.spot.reserve(count);
    for (const Shot& s : shots) {
        f.spot.push_back(s.spot);
        if (s.clamped) ++f.clamped;
    }
    return f;
}

ErrorStats summarize(const ErrorField& f) {
    ErrorStats s;
    const std::size_t count = f.nominal.size();
    s.points = static_cast<long>(count);
    s.clamped = f.clamped;
    if (count == 0) return s;
    std::vector<double> e(count);
    double sumSq = 0.0;
    for (std::size_t i = 0; i < count; ++i) {
        e[i] = f.errorUm(i);
        sumSq += e[i] * e[i];
    }
    std::sort(e.begin(), e.end());
    s.maxUm = e.back();
    s.rmsUm = std::sqrt(sumSq / static_cast<double>(count));
    const std::size_t rank = static_cast<std::size_t>(std::ceil(0.95 * static_cast<double>(count)));
    s.p95Um = e[rank == 0 ? 0 : rank - 1];
    return s;
}

tagLenPar withoutTables(const tagLenPar& rec) {
    tagLenPar r = rec;
    r.Stacks.clear();
    return r;
}

FieldReport evaluateField(const tagLenPar& rec, const Rig& rig, int n) {
    FieldReport r;
    r.n = n;
    tagLenPar lsm = rec;
    lsm.UseLsm = 1;
    r.uncorrected = summarize(markField(lsm, rig, n, CommandMode::Uncorrected));
    const tagLenPar nine = withoutTables(lsm);
    r.ninePoint = summarize(markField(nine, rig, n, CommandMode::Corrected));
    r.full = summarize(markField(lsm, rig, n, CommandMode::Corrected));
    return r;
}

}  // namespace zemcal_tool
