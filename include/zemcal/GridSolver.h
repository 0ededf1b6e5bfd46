// CGridSolver: the grid table that corrects a head from one measured grid.
//
// A grid measured through a calibration shows, at each node, where the mark
// landed. Stored as it is (CMeasurementFit), the table corrects each node by
// the error measured there; but the corrected command lands elsewhere, where
// the error differs, so a second measured pass is needed to get close to
// the interpolation floor. The solver removes that pass: it models the head
// from the measurement, and computes the table that makes the record's own
// correction command every node where the model says it lands on target.
//
// The head model: the commands sent and the positions measured, each a
// function of the node's (column, row) index, interpolated by local cubics
// (tensor Lagrange over the four nearest nodes on the node's own side of
// the middle row and column, where the correction bends). The command that
// lands on a point p is C(M^-1(p)): the index where the measured positions
// reach p (Newton), then the command there.
//
// The table: at each node P the correction must output C(M^-1(P)). The
// record's correction adds the summed table residual E(P) times a per-axis
// device factor (found by probing the record's own correction, so axis
// flags, fit version and line tables are all accounted for); the solver
// sets the new table's residual so that E lands where needed. A summed
// residual of at most 0.001 mm is applied at a quarter (revised fit) or not
// at all (classic fit): there the solver picks the representable residual
// nearest to the need.
//
// The prediction: the finished record's commands over a dense pattern
// (four points per cell and side), landed through the head model.
//
// Error contract: Solve returns false with a sentence in the result for a
// measurement it cannot model (an incomplete grid, nodes off their
// positions, commands not monotonic along rows and columns, a measurement
// that folds the field) or a model it cannot invert; it throws only
// std::bad_alloc. Nothing here prints.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

/// One node of a measured grid: the pattern's row and column, nominal
/// position (mm, logical frame), the command sent (galvo units, as the scan
/// card received it) and the position measured (mm, logical frame).
struct tagGridSample {
    std::int32_t Row = 0;
    std::int32_t Col = 0;
    tagVeyPointF Nominal{};
    tagVeyPointF Command{};
    tagVeyPointF Measured{};
};

/// What Solve computed.
struct tagSolvedTable {
    std::int32_t N = 0;               ///< points per side of the table
    std::vector<tagCalData> Pnts;     ///< the table, row by row, for CCalibAlg::setCalibPnts
    double PredictedMaxUm = 0.0;      ///< largest predicted error over the field, micrometres
    double PredictedRmsUm = 0.0;      ///< RMS predicted error
    std::string Error;                ///< why Solve refused; empty on success
};

class ZEMCAL_API CGridSolver {
public:
    /// [in] par: the calibration the grid was marked through (its tables
    /// stay; the solved table is added after them); [in] samples: the N x N
    /// measured grid, N a grid-table size, each node once, in any order;
    /// [out] result. True on success.
    static bool Solve(const tagLenPar& par, const std::vector<tagGridSample>& samples, tagSolvedTable& result);
};
