// CCalibAlg: the calibration algorithms, in two halves.
//
// The fitting half keeps the calibration point tables of a record and turns
// its nine measured points into shape parameters and coefficients. The
// point-correction half turns a logical point (mm, field centre at the
// origin) into a device point (galvo units, 0..Resolution).
//
// The class holds no state: every operation works on the record passed in,
// and all members are static (an object may still be created and used).
//
// Error contract: nothing here throws or prints, except setCalibPnts, which
// can raise std::bad_alloc when memory is exhausted (the record is then left
// as it was). Table operations report success as bool; fits report nothing
// (degenerate grids store infinities or NaNs as they come); point
// corrections always return true and let degenerate values run into the
// final clamp to [0, Resolution].
#pragma once

#include <vector>

#include <zemcal/Export.h>
#include <zemcal/LenPar.h>

class ZEMCAL_API CCalibAlg {
public:
    // ---- Calibration point tables -------------------------------------

    /// Slot of a grid size: 5->1, 9->2, 17->3, 33->4, 65->5, 25->6, else 0.
    static int GetCalIndex(int n);

    /// Stores an n x n table. index < 0 with n == 3 writes the nine-point
    /// table Pnt; an index of an existing table overwrites it (false when its
    /// size differs from n); any other index appends a new table with Flag 1.
    /// [in] pts must hold n*n records.
    static bool setCalibPnts(tagLenPar& lp, int index, int n, tagCalData* pts);

    /// Reads a table. index < 0 reads Pnt and sets n to 3; otherwise n is set
    /// to the table's size (false when index is past the last table). The
    /// number of records copied is (n on entry) squared, at most the number
    /// the table holds (9 for Pnt): [out] pts must hold that many. [in,out] n.
    static bool getCalibPnts(const tagLenPar& lp, int index, int& n, tagCalData* pts);

    /// Stores line-table entries (target, measured) in mm for X (axis 0) or
    /// Y (axis non-zero); the least-squares tables when UseLsm is non-zero,
    /// the manual ones otherwise; at most 100 entries, the tables' size (a
    /// larger count stores the first 100). [in] pts holds count entries.
    /// Always true.
    static bool setEqualPnts(tagLenPar& lp, int axis, int count, tagVeyPointF* pts);

    /// Reads line-table entries as (target, measured); count receives the
    /// table's line count, at most 100 entries are written. Always true.
    static bool getEqualPnts(const tagLenPar& lp, int axis, int& count, tagVeyPointF* pts);

    // ---- Second-order fits --------------------------------------------

    /// Fits the nine points of par.Pnt: MVLSMCoef2 for version 'P',
    /// MVLSMCoef2_new for every other version.
    static void MVLSMCoef(tagLenPar& par);

    /// Classic fit: rotation, half-axes, offsets, scales, edge slopes,
    /// shear, and the cross terms K[2], K[3] (K[0] = K[1] = 1).
    static void MVLSMCoef2(tagLenPar& par);

    /// Revised fit: as MVLSMCoef2 without rotation, plus the quadratic
    /// middle-row and middle-column terms QX, QY.
    static void MVLSMCoef2_new(tagLenPar& par);

    // ---- Fit sanity checks ---------------------------------------------

    /// Area (mm^2) of the triangle of the measured pairs of a, b, c, in
    /// single precision; 0 for collinear points.
    static double GetCollinear(tagCalData a, tagCalData b, tagCalData c);

    /// Angle (radians) between line a (a[0]->a[1]) and line b (b[0]->b[1]),
    /// on the measured pairs. A vertical line a gives the slope angle of b;
    /// a vertical line b gives pi/2 minus the slope angle of a.
    static double GetTwoLineAngle(tagCalData* a, tagCalData* b);

    // ---- Grid cell location ---------------------------------------------

    /// Locates p (mm, clamped to +-ValSize/2) in one grid table. [out] scale:
    /// point over its measured image, (1, 1) where undefined; [out] offset:
    /// measured-minus-nominal residual in mm, (0, 0) when no cell holds p.
    /// Always true.
    static bool GetGridDR(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& scale,
                          tagVeyPointF& offset, const tagStack& table);

    /// Quadrant of p: 0 (x>=0, y>=0), 1 (x<0, y>=0), 2 (x<0, y<0), 3 (x>=0, y<0).
    static int GetQuadrant(tagVeyPointF p);

    /// Axis-aligned test of p against a cell given as four records
    /// (top-left, top-right, bottom-right, bottom-left), nominal pairs,
    /// edges included.
    static bool PointInRect(tagCalData* cell, tagVeyPointF p);

    /// Even-odd crossing test of p against the quadrilateral of the four
    /// nominal pairs of cell.
    static bool PntInRect(tagCalData* cell, tagVeyPointF p);

    /// The same test on the first four points of quad, strict comparisons.
    static bool PntInRect(std::vector<tagVeyPointF> quad, tagVeyPointF p);

    /// Row and column of the cell of table holding p, inside the square
    /// [-half, half]^2; outside it, the side of the field (col -1 left, n
    /// right; row -1 above, n below) and true.
    static bool GetPntColRow(const tagVeyPointF& p, double half, const tagStack& table, int& row,
                             int& col);

    /// Even-odd point-in-polygon test: 2 when p is inside polygon, 0 outside.
    static int PntInPolygon(const std::vector<tagVeyPointF>& polygon, tagVeyPointF p);

    // ---- Least-squares point correction ---------------------------------

    /// Corrects p (mm) to out (galvo units): CalibPoint2 for version 'P',
    /// CalibPoint2_new otherwise. The caller applies the saved inversions to
    /// p first (as ZemCal::CalibPoint does). Always true.
    static bool CalibLSM(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& out);

    /// Correction for records fitted by MVLSMCoef2. Always true.
    static bool CalibPoint2(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out);

    /// Correction for records fitted by MVLSMCoef2_new. Always true.
    static bool CalibPoint2_new(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out);

    /// The shaping stage alone (shear, trapezoid, scale), out in mm. Always true.
    static bool ShapePoint(const tagLenPar& lp, const tagVeyPointF& p, tagVeyPointF& out);

    /// Per-axis side scale at p (1.0 within 1 mm of each axis).
    static tagVeyPointF getPointScale(const tagLenPar& lp, tagVeyPointF p);

    /// Higher-order variant: out.x from K[1], K[3], ..., K[11] with the grid
    /// residual; out.y is not computed and keeps the caller's value before
    /// the residual, ratio, centre and clamp steps. Always true.
    static bool CalibPoint6(const tagLenPar& lp, tagVeyPointF p, tagVeyPointF& out);

    // ---- Manual box correction ------------------------------------------

    /// Scale, skew, trapezoid and barrel correction of p (mm, read only) to
    /// out (galvo units), then the manual line ratios. Always true.
    static bool CalibManual(const tagLenPar& lp, tagVeyPointF& p, tagVeyPointF& out);

    /// Ratio at position v (mm) from the line tables target/ratio of count
    /// entries (1..99; otherwise 1.0). actual is not read.
    static double GetScaleValue(int count, double v, const double* target, const double* actual,
                                const double* ratio);
};

/// True when d is a finite number (neither infinite nor NaN).
ZEMCAL_API bool IsFiniteNumber(double d);

/// True when some element of v is not a finite number; false for an empty v.
ZEMCAL_API bool hasNaN(std::vector<double> v);
