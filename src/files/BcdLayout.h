// Layout of the binary calibration file and of the base-parameter file.
//
// The calibration file is a sparse image of part of tagLenPar at fixed
// offsets. The writer seeks to each section; the bytes it skips are never
// written and read back as zero. All values little-endian.
//
//   offset  size        content
//   0       7           magic "ZEMCLDT", no terminator
//   7       1           Version (the CalVerion byte)
//   8       2           gap
//   10      8           FieldSize (f64); loaded only when > 1.0
//   18      8           ValSize (f64); loaded only when > 1.0
//   26      8           reserved: written as zero, ignored on load
//   34      4           LineCount (i32)
//   38      4           Resolution (i32); loaded with a floor of 65535
//   42      4           XYFlip in bits 0-7, XYFlipSaved in bits 8-15
//   46      4           XInvert / XInvertSaved, packed the same way
//   50      4           YInvert / YInvertSaved, packed the same way
//   54      8           f64 4.0, always written, ignored on load
//   62      194         gap
//   256     600         parameter block Pnt..S, one raw image
//   856     3240        gap
//   4096    4           Grid (i32)
//   4100    32 per line XT[i], YT[i], XA[i], YA[i] (f64), i < min(LineCount, 100)
//   60000   4           N = number of grid tables (i32); section absent when N < 1
//   60004   4 per table n of each table (the table headers below override it)
//   64000   variable    per table: n (i32), Flag (i32), n*n tagCalData (16 bytes each)
//
// With more than 999 tables the size list runs past 64000 and the tables
// overwrite its tail; the loader takes each n from the table header, so
// nothing is lost.
//
// The base-parameter file reuses the head of that layout and nothing else:
//   10 FieldSize (f64), 18 ValSize (f64), 26 f64 4.0, 34 ManLineCount (i32);
//   38 bytes in all, bytes 0-9 never written.
#pragma once

#include <cstddef>
#include <cstdint>

namespace zemcal::files::bcd {

constexpr char kMagic[7] = {'Z', 'E', 'M', 'C', 'L', 'D', 'T'};

constexpr long kHeaderAt = 10;
constexpr long kBlockAt = 256;
constexpr std::size_t kBlockSize = 600;
constexpr long kLinesAt = 4096;
constexpr int kMaxLines = 100;
constexpr long kTableCountAt = 60000;
constexpr long kTablesAt = 64000;

/// Written after the flag words (and at 26 of the base-parameter file).
constexpr double kHeaderConstant = 4.0;

/// A FieldSize or ValSize stored at or below this is not loaded.
constexpr double kMinStoredSize = 1.0;
/// The loader raises any smaller Resolution to this.
constexpr std::int32_t kMinResolution = 65535;

// Memory limits of the loader. Real calibrations hold a few grids of at most
// 65 x 65 points, so these are far above anything genuine; they only stop a
// damaged or hostile file from claiming gigabytes. With them every table
// size, every n*n and every file offset stays below 2^31.
constexpr std::int64_t kMaxTables = 4096;
constexpr std::int64_t kMaxPoints = std::int64_t{64} * 1024 * 1024;  // 1 GiB of point pairs

}  // namespace zemcal::files::bcd
