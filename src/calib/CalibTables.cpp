// Calibration point tables of a record: the nine-point table Pnt, the grid
// tables in Stacks, and the per-axis line tables of both correction halves.
//
// Callers pass buffers large enough for what they ask: the copies are sized
// by the caller's counts, not by the tables' real sizes, as hosts of this
// interface have always relied on.
#include <zemcal/CalibAlg.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace {

// The three line tables one setEqualPnts/getEqualPnts call works on:
// the least-squares half when UseLsm is set, the manual half otherwise.
template <typename Table>
struct LineTables {
    Table* target;
    Table* actual;
    Table* ratio;
    std::int32_t count;
};

template <typename Record>
auto selectLineTables(Record& lp, int axis) {
    using Table = std::remove_reference_t<decltype(lp.XT[0])>;
    const bool y = axis != 0;
    if (lp.UseLsm != 0) {
        return LineTables<Table>{y ? lp.YT : lp.XT, y ? lp.YA : lp.XA, y ? lp.YR : lp.XR,
                                         lp.LineCount};
    }
    return LineTables<Table>{y ? lp.ManYT : lp.ManXT, y ? lp.ManYA : lp.ManXA,
                                     y ? lp.ManYR : lp.ManXR, lp.ManLineCount};
}

// Grid tables are addressed by a signed index taken as unsigned, so a
// negative index never names an existing table.
bool isExistingTable(const tagLenPar& lp, int index) {
    return static_cast<std::uint64_t>(static_cast<std::int64_t>(index)) < lp.Stacks.size();
}

}  // namespace

int CCalibAlg::GetCalIndex(int n) {
    switch (n) {
        case 5: return 1;
        case 9: return 2;
        case 17: return 3;
        case 33: return 4;
        case 65: return 5;
        case 25: return 6;
        default: return 0;
    }
}

bool CCalibAlg::setCalibPnts(tagLenPar& lp, int index, int n, tagCalData* pts) {
    if (index < 0 && n == 3) {
        std::memcpy(lp.Pnt, pts, sizeof lp.Pnt);
        return true;
    }
    const std::int64_t count = static_cast<std::int64_t>(n) * n;
    if (isExistingTable(lp, index)) {
        tagStack& table = lp.Stacks[static_cast<std::size_t>(index)];
        if (table.Num != n) return false;
        // The table was created with n*n points; its size is trusted.
        if (count > 0) std::memcpy(table.Pnts.data(), pts, static_cast<std::size_t>(count) * sizeof(tagCalData));
        return true;
    }
    // Build the new table completely before touching the record, so an
    // allocation failure leaves the record as it was.
    tagStack table;
    table.Num = n;
    table.Flag = 1;
    for (std::int64_t i = 0; i < count; ++i) table.Pnts.push_back(pts[i]);
    lp.Stacks.push_back(std::move(table));
    return true;
}

bool CCalibAlg::getCalibPnts(const tagLenPar& lp, int index, int& n, tagCalData* pts) {
    // The number of records copied is fixed by n on entry, bounded by what
    // the table holds: a larger n never reads past the table.
    std::int64_t count = static_cast<std::int64_t>(n) * n;
    const tagCalData* source = nullptr;
    std::int64_t held = 0;
    if (index < 0) {
        n = 3;
        source = lp.Pnt;
        held = 9;
    } else {
        if (!isExistingTable(lp, index)) return false;
        const tagStack& table = lp.Stacks[static_cast<std::size_t>(index)];
        n = table.Num;
        source = table.Pnts.data();
        held = static_cast<std::int64_t>(table.Pnts.size());
    }
    count = std::min(count, held);
    if (count > 0) std::memcpy(pts, source, static_cast<std::size_t>(count) * sizeof(tagCalData));
    return true;
}

bool CCalibAlg::setEqualPnts(tagLenPar& lp, int axis, int count, tagVeyPointF* pts) {
    if (count <= 0) return true;
    auto t = selectLineTables(lp, axis);
    const bool lsm = lp.UseLsm != 0;
    // Each line table holds 100 entries: at most that many are stored.
    const int entries = count > 100 ? 100 : count;
    // Only a re-measured Y line of the least-squares half updates its ratio:
    // the same target measured again at a new place scales the ratio by
    // target/measured. Elsewhere the ratio is only ever initialised.
    const bool tracksMoves = lsm && axis != 0;
    for (int i = 0; i < entries; ++i) {
        const double x = pts[i].x;
        const double y = pts[i].y;
        const double oldTarget = t.target[i];
        const double oldActual = t.actual[i];
        t.target[i] = x;
        t.actual[i] = y;
        double& ratio = t.ratio[i];
        if (ratio == 0.0 || std::isnan(ratio)) {
            ratio = 1.0;
            continue;
        }
        if (!tracksMoves) continue;
        if (std::fabs(oldTarget - x) < 1e-6 && std::fabs(oldActual - y) > 1e-6) {
            if (std::fabs(x) < 0.001) {
                ratio = 1.0;
            } else if (std::fabs(y) > 1e-6) {
                ratio = ratio * (pts[i].x / pts[i].y);  // quotient in single precision
            }
        }
    }
    return true;
}

bool CCalibAlg::getEqualPnts(const tagLenPar& lp, int axis, int& count, tagVeyPointF* pts) {
    const auto t = selectLineTables(lp, axis);
    count = t.count;
    if (count <= 0) return true;
    const int entries = count > 100 ? 100 : count;
    for (int i = 0; i < entries; ++i) {
        pts[i] = {static_cast<float>(t.target[i]), static_cast<float>(t.actual[i])};
    }
    return true;
}
