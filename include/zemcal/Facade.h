// ZemCal: the facade through which a host uses the library.
//
// It holds no state: every call forwards to CBcdFile and CCalibAlg and runs
// to completion on the caller's data. Any number of ZemCal objects may
// exist; none needs to outlive a call.
//
// Error contract: file and table calls report success as bool; point
// corrections always return true and let degenerate records run into the
// clamp to [0, Resolution]. Nothing throws, except that loading a text
// correction file whose numeric key does not hold a number raises
// std::invalid_argument or std::out_of_range, and the table calls can raise
// std::bad_alloc when memory is exhausted.
#pragma once

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

class ZEMCAL_API ZemCal {
public:
    ZemCal() {}
    ~ZemCal() {}

    // ---- Files and tables ---------------------------------------------

    /// Loads a binary calibration file, or imports and fits a text
    /// correction file, into par.
    bool loadUcf(const char* path, tagLenPar& par);

    /// Stamps par.Version = ver, refits par (classic fit for 'P', revised
    /// otherwise) and writes it as a binary calibration file. par changes.
    bool saveUcf(const char* path, tagLenPar& par, CalVerion ver);

    /// Reads FieldSize, ValSize (mm) and the line count from a file head.
    bool getBasePara(const char* path, double& fieldSize, double& valSize, int& lineCount);

    /// Loads path into a fresh record (a missing file gives the defaults),
    /// stores the n x n table pnts at index (index < 0 with n == 3: the nine
    /// points), stamps version 0x60, refits and saves to path, creating it
    /// when missing. The result is that of the save.
    bool setCalibPnts(const char* path, int index, int count, tagCalData* pnts);

    /// Reads a table of the file at path (see CCalibAlg::getCalibPnts).
    bool getCalibPnts(const char* path, int index, int& count, tagCalData* pnts);

    /// Applies line-table entries to a temporary copy of the file's record
    /// and discards it: nothing is saved (see CCalibAlg::setEqualPnts for
    /// the bound on count). index is the axis: 0 for X, non-zero for Y.
    bool setEqualPnts(const char* path, int index, int count, tagVeyPointF* pnts);

    /// Reads line-table entries of the file at path (see
    /// CCalibAlg::getEqualPnts); index is the axis: 0 for X, non-zero for Y.
    bool getEqualPnts(const char* path, int index, int& count, tagVeyPointF* pnts);

    // ---- Point correction: logical mm in, galvo units out --------------

    /// Corrects one point. UseLsm non-zero: the saved inversions, then the
    /// least-squares correction. UseLsm zero: the plain inversions, the
    /// offsets OffsetX/OffsetY, then the manual box correction.
    bool CalibPoint(const tagLenPar& par, tagVeyPointF in, tagVeyPointF& out);

    /// The least-squares correction alone: no inversion, no offsets.
    bool Calib9Pt(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out);

    /// The manual box correction alone: no inversion, no offsets.
    bool CalibBox(const tagLenPar& par, tagVeyPointF& in, tagVeyPointF& out);

    /// Uncorrected linear mapping Center + in * Resolution/FieldSize with the
    /// saved inversions, clamped to [0, Resolution]. Always true.
    bool LP2DPEX_Cal(tagVeyPointF in, tagVeyPointF& out, const tagLenPar& par);

    /// CalibPoint, then (when shift is set) the scale SftScaleX/Y about the
    /// centre and the shift SftX/Y (fractions of FieldSize), then the clamp.
    /// Always true.
    bool LP2DPEX_SFT(const tagVeyPointF& in, tagVeyPointF& out, const tagLenPar& par, bool shift);

    /// Turns a rectangle measurement a[9], b[9] into eight manual-correction
    /// values out[8], each cut toward zero to six decimals (non-finite or out
    /// of range: -2147.483648). a[2] is an angle in degrees. Always true.
    bool getRecManParas(double* a, double* b, double* out);
};
