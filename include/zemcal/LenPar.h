// The calibration record of one lens and the small point types that travel
// with it.
//
// Units used throughout the library:
//   - logical points: millimetres, field centre at the origin, y up;
//   - device points: galvo units from 0 to Resolution, field centre at Center.
//
// The record is a plain aggregate owned by the caller. Files are raw
// little-endian images of its fields, so the layout of the parameter block
// (Pnt through S) is fixed and checked at compile time below.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

#include <zemcal/Export.h>

/// A 2-D point of two single-precision floats (millimetres or galvo units,
/// depending on the call).
struct tagVeyPointF {
    float x;
    float y;
};

/// One calibration point pair, 16 bytes: PntA is the nominal (target)
/// position, PntB where that node was measured. Both in millimetres.
struct tagCalData {
    tagVeyPointF PntA;
    tagVeyPointF PntB;
};

/// A segment between two points, start then end.
struct LineSegment {
    tagVeyPointF Start;
    tagVeyPointF End;
};

/// The calibration version byte (the name keeps its historical spelling).
/// 'P' selects the classic second-order fit and correction; every other
/// value selects the revised ones. Only the byte value matters: a value
/// converted to CalVerion keeps its low byte.
enum CalVerion : unsigned char {
    CalVerRefused = 0x33,  ///< '3': refused by the binary loader
    CalVerClassic = 0x50,  ///< 'P': text import, classic fit
    CalVerRevised = 0x60,  ///< '`': stamped by ZemCal::setCalibPnts
};

/// One square calibration grid table of Num x Num measured points.
struct tagStack {
    std::int32_t Num = 0;   ///< points per side n
    std::int32_t Flag = 0;  ///< enabled flag: 1 when created by setCalibPnts;
                            ///< stored in the binary file, read by no correction
    /// n*n point pairs, row-major: row 0 at the largest nominal y, column 0
    /// at the smallest nominal x, column index fastest.
    std::vector<tagCalData> Pnts;
};

/// The calibration of one lens and field. Default construction sets the
/// documented defaults and zero-fills every other field, so no field is ever
/// read uninitialised. Copyable and movable; the only owning member is Stacks.
struct tagLenPar {
    float Scale0 = 10000.0f;     ///< not stored in the binary file
    double FieldSize = 100.0;    ///< mm: device span, Resolution units wide
    double ValSize = 80.0;       ///< mm: side of the working (calibrated) field
    std::int32_t Resolution = 65535;  ///< largest device coordinate (galvo units)
    std::int32_t Center = 32768;      ///< (Resolution+1)/2, derived by every load
    double CenterSq = 1073741824.0;   ///< Center*Center, derived with Center

    // Axis flags of the manual (box) correction path.
    std::int32_t XYFlip = 0;   ///< non-zero: X and Y exchange roles
    std::int32_t XInvert = 0;  ///< non-zero: X is negated
    std::int32_t YInvert = 0;  ///< non-zero: Y is negated

    double OffsetX = 0.0;  ///< mm added to x before the manual correction
    double OffsetY = 0.0;  ///< mm added to y before the manual correction
    double ManAux[3] = {};  ///< reserved for the manual half; read by no correction

    // Manual box correction factors, index 0 for x and 1 for y.
    double BoxBarrel[2] = {1.0, 1.0};    ///< barrel factor, 1.0 = none
    double BoxSkew[2] = {1.0, 1.0};      ///< skew factor, 1.0 = none
    double BoxTrap[2] = {1.0, 1.0};      ///< trapezoid factor, 1.0 = none
    double BoxScale[2] = {100.0, 100.0}; ///< scale in percent

    std::int32_t ManGrid = 0;        ///< 1: the manual line tables are applied
    std::int32_t ManLineCount = 21;  ///< entries in use in the manual line tables
    double ManXT[100] = {};  ///< mm: manual target positions along X
    double ManYT[100] = {};  ///< mm: manual target positions along Y
    double ManXA[100] = {};  ///< mm: manual measured positions along X
    double ManYA[100] = {};  ///< mm: manual measured positions along Y
    double ManXR[100] = {};  ///< manual ratios along X
    double ManYR[100] = {};  ///< manual ratios along Y

    float SftX = 0.0f;       ///< shift of LP2DPEX_SFT, a fraction of FieldSize
    float SftY = 0.0f;
    float SftScaleX = 1.0f;  ///< scale about Center applied by LP2DPEX_SFT
    float SftScaleY = 1.0f;

    /// Correction path: non-zero selects the least-squares path with the
    /// saved flag copies, zero the manual box path with XYFlip/XInvert/YInvert.
    /// Set by the application; never stored in a file.
    std::int32_t UseLsm = 0;
    unsigned char LsmAux[256] = {};  ///< reserved; read by no correction

    // Copies of the axis flags used by the least-squares path.
    std::int32_t XYFlipSaved = 0;
    std::int32_t XInvertSaved = 0;
    std::int32_t YInvertSaved = 0;

    // ---- Parameter block: Pnt through S, 600 contiguous bytes, stored in
    // ---- the binary file as one raw image.
    /// The nine-point table, a 3x3 grid row by row from the top-left corner:
    /// Pnt[4] is the centre. PntA nominal, PntB measured, millimetres.
    alignas(8) tagCalData Pnt[9] = {};
    double QX[2] = {0.0, 0.0};          ///< revised fit: {1, middle-row quadratic coefficient}
    double QXAux[3] = {1.0, 0.0, 0.0};  ///< kept in the block, no meaning assigned
    double QY[2] = {0.0, 0.0};          ///< revised fit: {1, middle-column quadratic coefficient}
    double QYAux[3] = {1.0, 0.0, 0.0};  ///< kept in the block, no meaning assigned
    double AxisXL = 50.0;  ///< mm: measured half-extent to the left
    double AxisXR = 50.0;  ///< mm: to the right
    double AxisYT = 50.0;  ///< mm: to the top
    double AxisYB = 50.0;  ///< mm: to the bottom
    double OX = 0.0;       ///< mm: field offset in x
    double OY = 0.0;       ///< mm: field offset in y
    double SXL = 1.0;      ///< scale of the left half
    double SXR = 1.0;      ///< scale of the right half
    double SX = 1.0;       ///< ValSize / (AxisXL + AxisXR)
    double SYT = 1.0;      ///< scale of the top half
    double SYB = 1.0;      ///< scale of the bottom half
    double SY = 1.0;       ///< ValSize / (AxisYT + AxisYB)
    double TXL = 0.0;      ///< left edge slope, dx per dy (trapezoid)
    double TXR = 0.0;      ///< right edge slope, dx per dy
    double TYT = 0.0;      ///< top edge slope, dy per dx
    double TYB = 0.0;      ///< bottom edge slope, dy per dx
    double PLX = 0.0;      ///< shear applied to x (x -= PLX*y)
    double PLY = 0.0;      ///< shear copy, read by no correction
    double Y2XAngle = 1.5707963267948966;  ///< radians between the Y and X axes
    double K[20] = {};     ///< correction coefficients; K[2], K[3] the cross terms
    double S[8] = {};      ///< further coefficients, kept in the block
    // ---- end of the parameter block

    /// Measured grid tables, applied in order by the least-squares path.
    std::vector<tagStack> Stacks;
    std::int32_t Grid = 0;        ///< 1: the least-squares line tables are applied
    std::int32_t LineCount = 21;  ///< test lines in use, at most 100
    double XT[100] = {};  ///< mm: test-line target positions along X
    double YT[100] = {};  ///< mm: test-line target positions along Y
    double XA[100] = {};  ///< mm: measured positions; -100000 = not measured
    double YA[100] = {};
    double XR[100] = {};  ///< ratios along X; not stored in the binary file
    double YR[100] = {};  ///< ratios along Y; not stored in the binary file
    CalVerion Version = static_cast<CalVerion>(0);  ///< the version byte
};

// What the file formats depend on.
static_assert(sizeof(tagVeyPointF) == 8, "tagVeyPointF is two floats");
static_assert(sizeof(tagCalData) == 16, "tagCalData is stored as 16 raw bytes");
static_assert(sizeof(LineSegment) == 16, "LineSegment is two points");
static_assert(sizeof(CalVerion) == 1, "the version is one byte");
static_assert(sizeof(float) == 4 && sizeof(double) == 8, "IEEE single and double");
static_assert(offsetof(tagLenPar, QX) == offsetof(tagLenPar, Pnt) + 144, "block: Pnt");
static_assert(offsetof(tagLenPar, AxisXL) == offsetof(tagLenPar, Pnt) + 224, "block: QX..QYAux");
static_assert(offsetof(tagLenPar, SX) == offsetof(tagLenPar, Pnt) + 288, "block: axes, offsets, SXL/SXR");
static_assert(offsetof(tagLenPar, TXL) == offsetof(tagLenPar, Pnt) + 320, "block: SX..SY");
static_assert(offsetof(tagLenPar, Y2XAngle) == offsetof(tagLenPar, Pnt) + 368, "block: slopes, shear");
static_assert(offsetof(tagLenPar, K) == offsetof(tagLenPar, Pnt) + 376, "block: Y2XAngle");
static_assert(offsetof(tagLenPar, S) + sizeof(tagLenPar::S) - offsetof(tagLenPar, Pnt) == 600,
              "the parameter block is exactly 600 contiguous bytes");
static_assert(offsetof(tagLenPar, XYFlipSaved) - offsetof(tagLenPar, UseLsm) == 260,
              "UseLsm and LsmAux form one 260-byte run");
