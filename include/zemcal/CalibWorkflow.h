// The calibration of a physical head, step by step: which points to mark
// (CCalibPattern), and how a measurement of the marks goes into the record
// (CMeasurementFit).
//
// The workflow:
//   1. a record of the head, uncorrected (the nine points exact, no tables);
//   2. CCalibPattern::NinePoints: the nine points with the plain linear
//      mapping; mark them, measure them, CMeasurementFit::Apply fits them;
//   3. CCalibPattern::Grid: an n x n grid commanded through the calibration;
//      mark, measure, CMeasurementFit::Apply adds it as a grid table; repeat.
//
// Frames and units: nominal and measured positions are logical millimetres
// (field centre at the origin, y up, the workpiece as the camera sees it).
// Commands are galvo units, the device point the host hands to the scan card
// with the record's saved axis flags applied (with the flip flag set the card
// sends the x command to the Y mirror).
//
// Node layout: an n x n pattern covers the working field with its outer
// nodes exactly on +-ValSize/2, pitch ValSize/(n-1); row 0 is the top
// (largest y), column 0 the left; nodes are listed row by row.
//
// Error contract: Grid throws std::invalid_argument for a size the grid
// tables do not take; Check and Apply report a refused measurement through
// their result (the record is then untouched) and throw only std::bad_alloc.
// Nothing here prints.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

/// One node of a pattern: where it should land and what to command.
struct tagPatternNode {
    std::int32_t Row = 0;    ///< 0 at the top (largest nominal y)
    std::int32_t Col = 0;    ///< 0 at the left (smallest nominal x)
    tagVeyPointF Nominal{};  ///< mm, logical frame
    tagVeyPointF Command{};  ///< galvo units, as sent to the scan card
};

/// The points a technician marks.
class ZEMCAL_API CCalibPattern {
public:
    /// True for the grid sizes a grid table takes: 5, 9, 17, 25, 33, 65.
    static bool IsGridSize(int n);

    /// Nominal position (mm, logical frame) of node (row, col) of an n x n
    /// pattern over a working field of side valSize (mm); n >= 2.
    static tagVeyPointF Node(double valSize, int n, int row, int col);

    /// [in] par: the record of the head. The nine calibration points with
    /// the plain linear mapping (ZemCal::LP2DPEX_Cal): the nine-point fit is
    /// made from uncorrected marks.
    static std::vector<tagPatternNode> NinePoints(const tagLenPar& par);

    /// [in] par: the calibration to mark through. The n x n nodes commanded
    /// through its least-squares correction, as ZemCal::CalibPoint with
    /// UseLsm set gives them. Throws std::invalid_argument unless
    /// IsGridSize(n).
    static std::vector<tagPatternNode> Grid(const tagLenPar& par, int n);
};

/// One measured node: the nominal position from the pattern, and where the
/// mark was measured. Millimetres, logical frame.
struct tagMeasuredNode {
    tagVeyPointF Nominal{};
    tagVeyPointF Measured{};
};

/// Something wrong with one node, or with the whole measurement.
struct tagMeasurementProblem {
    std::int32_t Index = -1;  ///< the measured node (position in the input), -1 for the whole
    std::int32_t Row = -1;    ///< its pattern node, -1 where it has none
    std::int32_t Col = -1;
    std::string Message;      ///< one sentence; empty when there is no problem
};

/// The error of one node: |measured - nominal|.
struct tagNodeError {
    std::int32_t Index = 0;  ///< position in the input
    std::int32_t Row = 0;
    std::int32_t Col = 0;
    double ErrorUm = 0.0;    ///< micrometres
};

/// What a measurement holds and what Apply did with it.
struct tagMeasurementReport {
    std::int32_t N = 0;            ///< nodes per side (3: the nine points)
    double LargestUm = 0.0;        ///< largest node error, micrometres
    double RmsUm = 0.0;            ///< root mean square of the node errors
    std::vector<tagNodeError> Worst;                ///< at most five, largest first
    std::vector<tagMeasurementProblem> Outliers;    ///< nodes that depart from their neighbours
    std::int32_t TableIndex = -1;  ///< the grid table stored; -1 for the nine points
    std::int32_t TablesDropped = 0;  ///< tables a nine-point refit made obsolete
};

/// Checks a measurement against its pattern and fits it into a record.
///
/// A measurement is the n x n pattern of CCalibPattern (n = 3 or a grid
/// size), every node exactly once, in any order: a node is recognised by its
/// nominal position (to 0.1 um).
///
/// Refused (the first problem found is returned): a node count that is no
/// pattern; a nominal position that is no node; a node missing or given
/// twice; a measured position farther from nominal than 5 % of the working
/// field (with the likely cause: micrometres or galvo units instead of
/// millimetres, swapped columns, an inverted axis, another head).
///
/// Outliers (grids of 5 x 5 and more): a node whose error departs from what
/// its neighbours predict (a cubic through the nearest nodes of its row and
/// of its column) by more than 5 times the measurement's median departure
/// and by more than 10 um, both scaled by the noise of the node's predictor
/// (larger at the edges). They are reported, not refused: the caller decides.
class ZEMCAL_API CMeasurementFit {
public:
    /// [in] par: the calibration the pattern was made for; [in] nodes: the
    /// measurement; [out] report. False with [out] problem set when the
    /// measurement is refused.
    static bool Check(const tagLenPar& par, const std::vector<tagMeasuredNode>& nodes,
                      tagMeasurementReport& report, tagMeasurementProblem& problem);

    /// Check, then store: nine points replace par.Pnt (in the command frame)
    /// and refit with par's own fit version (which never changes), and the
    /// grid tables, measured through the previous fit, are removed; a grid
    /// is added as a new table, or replaces table replaceIndex (>= 0), which
    /// must have the same size. [in,out] par is untouched when false is
    /// returned.
    static bool Apply(tagLenPar& par, const std::vector<tagMeasuredNode>& nodes, int replaceIndex,
                      tagMeasurementReport& report, tagMeasurementProblem& problem);
};
