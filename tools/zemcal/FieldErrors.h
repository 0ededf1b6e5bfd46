// Marking a dense test pattern through the library and the virtual head, and
// summarising where the points land against where they should.
//
// The error of a point is the distance between its nominal logical position
// and the true spot (no measurement noise: the noise belongs to the
// measurements a calibration is made from, not to the field it leaves).
#pragma once

#include <zemcal/LenPar.h>

#include <vector>

#include "Rig.h"

namespace zemcal_tool {

/// How a point is turned into galvo commands.
enum class CommandMode {
    Uncorrected,  ///< ideal linear command (LP2DPEX_Cal)
    Corrected,    ///< the record's correction (CalibPoint's commands, from a CPointCorrector)
};

/// An n x n pattern over the working field, row 0 at the top.
struct ErrorField {
    int n = 0;
    std::vector<Vec2> nominal;  ///< where each point should land, mm
    std::vector<Vec2> spot;     ///< where it lands, mm
    long clamped = 0;           ///< points whose command hit the clamp

    double errorUm(std::size_t i) const;
};

struct ErrorStats {
    double maxUm = 0.0;
    double rmsUm = 0.0;
    double p95Um = 0.0;  ///< nearest-rank 95th percentile
    long clamped = 0;
    long points = 0;
};

ErrorField markField(const tagLenPar& rec, const Rig& rig, int n, CommandMode mode);

ErrorStats summarize(const ErrorField& f);

/// The three configurations evaluate reports.
struct FieldReport {
    int n = 0;
    ErrorStats uncorrected;  ///< linear commands
    ErrorStats ninePoint;    ///< the same record without its grid tables
    ErrorStats full;         ///< the whole calibration
};

FieldReport evaluateField(const tagLenPar& rec, const Rig& rig, int n);

/// A copy of rec without its grid tables (the nine-point fit alone).
tagLenPar withoutTables(const tagLenPar& rec);

}  // namespace zemcal_tool
