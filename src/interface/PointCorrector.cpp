// The prepared corrector: the facade's point calls with the grid tables
// located through an index (calib/GridIndex.h) instead of a scan.
//
// Everything else is the facade's own compiled code: the inversions, offsets
// and shift of FacadeSteps.h, the residual sum of calib/CorrectionSteps.h,
// the cell residual of calib/GridCell.h, the least-squares engines of
// calib/LsmEngines.h and CCalibAlg::CalibManual, run on a private copy of
// the record. The only step replaced is where the scan of GetGridDR finds a
// point's cell, and the index finds the same cell (calib/GridIndex.h says
// why), so the corrected points are the same bits, NaNs included.
#include <zemcal/PointCorrector.h>

#include <cstdint>
#include <utility>
#include <vector>

#include "FacadeSteps.h"
#include "calib/CorrectionSteps.h"
#include "calib/GridCell.h"
#include "calib/GridIndex.h"
#include "calib/LsmEngines.h"

struct CPointCorrector::Prepared {
    tagLenPar rec;  // the record, without its grid tables
    std::vector<zemcal_detail::GridIndex> grids;  // its grid tables, in order

    // A copy of par that takes the path useLsm selects, as UseLsm does.
    Prepared(const tagLenPar& par, std::int32_t useLsm) : rec(par) {
        rec.UseLsm = useLsm;
        // Only the least-squares path reads the grid tables.
        if (rec.UseLsm != 0) {
            grids.reserve(rec.Stacks.size());
            for (tagStack& table : rec.Stacks) grids.emplace_back(std::move(table), rec.ValSize);
        }
        std::vector<tagStack>().swap(rec.Stacks);
    }

    // GetGridDR through the index: the same clamp, the same cell, the same
    // residual.
    static zemcal_detail::OffsetLanes TableOffsets(const void* context, std::size_t table,
                                                   zemcal_detail::Floats4 x,
                                                   zemcal_detail::Floats4 y, int count) {
        const Prepared& p = *static_cast<const Prepared*>(context);
        const auto clamped = [&](int i) {
            tagVeyPointF q{x[i], y[i]};
            zemcal_detail::ClampToField(p.rec.ValSize, q.x, q.y);
            return q;
        };
        const tagVeyPointF q0 = clamped(0), q1 = clamped(1), q2 = clamped(2), q3 = clamped(3);
        return p.grids[table].OffsetsAt(zemcal_detail::Floats4{q0.x, q1.x, q2.x, q3.x},
                                        zemcal_detail::Floats4{q0.y, q1.y, q2.y, q3.y}, count);
    }

    // ZemCal::CalibPoint for up to four points in[i] to out[i], i < count;
    // every input is read before any output is written.
    void Correct(const tagVeyPointF* in, tagVeyPointF* out, int count) const noexcept {
        tagVeyPointF p[4];
        for (int i = 0; i < count; ++i) p[i] = in[i];
        if (rec.UseLsm == 0) {
            for (int i = 0; i < count; ++i) zemcal_detail::ManualPoint(rec, p[i], out[i]);
            return;
        }
        for (int i = 0; i < count; ++i) zemcal_detail::Invert(p[i], zemcal_detail::SavedFlags(rec));
        tagVeyPointF e[4];
        zemcal_detail::SumGridResidual(rec, p, count, grids.size(), &TableOffsets, this, e);
        for (int i = 0; i < count; ++i) zemcal_detail::LsmPoint(rec, p[i], e[i], out[i]);
    }

    // ZemCal::CalibPoint for one point: on the least-squares path its grid
    // tables, four at a time, share the residual's instructions.
    void Correct(tagVeyPointF in, tagVeyPointF& out) const noexcept {
        if (rec.UseLsm == 0) {
            zemcal_detail::ManualPoint(rec, in, out);
            return;
        }
        zemcal_detail::Invert(in, zemcal_detail::SavedFlags(rec));
        // SumGridResidual for one point, with the tables in the lanes.
        const zemcal_detail::ResidualSigns s = zemcal_detail::SavedResidualSigns(rec);
        float x = s.negX ? -in.x : in.x;
        float y = s.negY ? -in.y : in.y;
        zemcal_detail::ClampToField(rec.ValSize, x, y);
        zemcal_detail::Floats4 ex = zemcal_detail::Broadcast(0.0f);
        zemcal_detail::Floats4 ey = zemcal_detail::Broadcast(0.0f);
        for (std::size_t t = 0; t < grids.size(); t += 4) {
            const int lanes = grids.size() - t < 4 ? static_cast<int>(grids.size() - t) : 4;
            const zemcal_detail::OffsetLanes o =
                zemcal_detail::GridIndex::OffsetsAcross(&grids[t], lanes, x, y);
            for (int k = 0; k < lanes; ++k) {
                ex = zemcal_detail::AddLanes(ex, zemcal_detail::Broadcast(o.x[k]));
                ey = zemcal_detail::AddLanes(ey, zemcal_detail::Broadcast(o.y[k]));
            }
        }
        const tagVeyPointF e{s.negX ? -ex[0] : ex[0], s.negY ? -ey[0] : ey[0]};
        zemcal_detail::LsmPoint(rec, in, e, out);
    }

    // Arrays in blocks of four, each block's points sharing the residual's
    // instructions.
    void CorrectArray(const tagVeyPointF* in, tagVeyPointF* out, std::size_t count,
                      const bool* shift) const noexcept {
        for (std::size_t i = 0; i < count; i += 4) {
            const int block = count - i < 4 ? static_cast<int>(count - i) : 4;
            Correct(in + i, out + i, block);
            if (shift == nullptr) continue;
            for (int k = 0; k < block; ++k) zemcal_detail::ShiftCorrected(rec, out[i + k], *shift);
        }
    }
};

CPointCorrector::CPointCorrector(const tagLenPar& par)
    : prepared_(std::make_shared<const Prepared>(par, par.UseLsm)) {}

CPointCorrector::CPointCorrector(const tagLenPar& par, bool useLsm)
    : prepared_(std::make_shared<const Prepared>(par, useLsm ? 1 : 0)) {}

CPointCorrector::CPointCorrector(const CPointCorrector& other) noexcept = default;
CPointCorrector& CPointCorrector::operator=(const CPointCorrector& other) noexcept = default;
CPointCorrector::~CPointCorrector() = default;

bool CPointCorrector::UsesLsm() const noexcept {
    return prepared_->rec.UseLsm != 0;
}

void CPointCorrector::Correct(tagVeyPointF in, tagVeyPointF& out) const noexcept {
    prepared_->Correct(in, out);
}

void CPointCorrector::CorrectSft(tagVeyPointF in, tagVeyPointF& out, bool shift) const noexcept {
    const Prepared& p = *prepared_;
    p.Correct(in, out);
    zemcal_detail::ShiftCorrected(p.rec, out, shift);
}

void CPointCorrector::Correct(const tagVeyPointF* in, tagVeyPointF* out,
                              std::size_t count) const noexcept {
    prepared_->CorrectArray(in, out, count, nullptr);
}

void CPointCorrector::CorrectSft(const tagVeyPointF* in, tagVeyPointF* out, std::size_t count,
                                 bool shift) const noexcept {
    prepared_->CorrectArray(in, out, count, &shift);
}
