// CPointCorrector: a calibration prepared for correcting points at the rate
// of a scan card.
//
// ZemCal::CalibPoint locates every point in each grid table by testing the
// table's cells one by one: 4,096 cells for a 65 x 65 table, for every point.
// A CPointCorrector is built once from a loaded and fitted record and keeps
// what the record's correction reads, with an index of each grid table's
// cells, so that a point costs a few cell tests per table instead.
//
// Its results are bit for bit those of the facade on the record it was built
// from: Correct gives what ZemCal::CalibPoint gives, CorrectSft what
// ZemCal::LP2DPEX_SFT gives, for every point (NaN and infinities included)
// and every record, however irregular its grid tables.
//
// Units: logical points in millimetres, field centre at the origin, y up, in;
// device points in galvo units from 0 to Resolution, out.
//
// It copies what it needs: changing or destroying the record afterwards does
// not affect a corrector built from it (build a new one to take a change).
//
// Error contract: construction may throw std::bad_alloc (also for a grid
// table too large to index: more than 2^28 points); once built, nothing
// throws, fails or allocates. The prepared data is immutable and shared
// between copies, so copying is cheap, and any number of threads may correct
// points through one corrector, or through copies of it, at the same time.
#pragma once

#include <cstddef>
#include <memory>

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

class ZEMCAL_API CPointCorrector {
public:
    /// Prepares par's correction on the path par.UseLsm selects (non-zero:
    /// least squares with the saved flags; zero: manual box with the plain
    /// flags and the offsets), as the facade would choose it.
    explicit CPointCorrector(const tagLenPar& par);

    /// Prepares par's correction on the path given by useLsm, whatever
    /// par.UseLsm holds: the result is that of the facade on a copy of par
    /// with UseLsm set to 1 (true) or 0 (false).
    CPointCorrector(const tagLenPar& par, bool useLsm);

    /// Copies share the prepared data; a copied-from (or moved-from, which
    /// copies) corrector stays usable.
    CPointCorrector(const CPointCorrector& other) noexcept;
    CPointCorrector& operator=(const CPointCorrector& other) noexcept;
    ~CPointCorrector();

    /// True when points take the least-squares path.
    bool UsesLsm() const noexcept;

    /// One point, as ZemCal::CalibPoint(par, in, out). out may be the
    /// variable in was read from.
    void Correct(tagVeyPointF in, tagVeyPointF& out) const noexcept;

    /// One point, as ZemCal::LP2DPEX_SFT(in, out, par, shift): the
    /// correction, then with shift set the scale SftScaleX/Y about the centre
    /// and the shift SftX/Y, then (shift or not) the clamp to [0, Resolution].
    void CorrectSft(tagVeyPointF in, tagVeyPointF& out, bool shift) const noexcept;

    /// count points: out[i] as Correct(in[i], out[i]). [in] in and [out] out
    /// each hold count points; they are either the same array or do not
    /// overlap. Nothing happens for count 0. The points are corrected four
    /// at a time, sharing the grid tables' arithmetic: the fastest way to
    /// correct many points.
    void Correct(const tagVeyPointF* in, tagVeyPointF* out, std::size_t count) const noexcept;

    /// count points: out[i] as CorrectSft(in[i], out[i], shift); arrays as above.
    void CorrectSft(const tagVeyPointF* in, tagVeyPointF* out, std::size_t count,
                    bool shift) const noexcept;

private:
    struct Prepared;
    std::shared_ptr<const Prepared> prepared_;
};
