// CBcdFile::LoadCorFile: import of the INI-style text correction file.
//
// Model: the file names every calibration value by key. Section "CalCoefs"
// holds the field (ValSize mm, Resolution galvo units, axis flags, grid
// order); section "Cal3" the nine base points of the 3 x 3 calibration, the
// scalar shape parameters, the coefficient tables K and S and the test
// lines; sections "Cal5", "Cal9", ... the larger measured grids.
//
// Precision: every numeric key is read in single precision (std::stof) and
// widened into the record's doubles, and every point-row number goes through
// strtod and is narrowed to float. That float precision is part of the
// imported calibration: fits and corrections computed from it reproduce
// those of files imported by earlier versions only with exactly these bits.
// Defaults computed from other values (ValSize/2, the test-line spread) are
// likewise computed in double and narrowed to float.
//
// Numbers are read with '.' as the decimal point whatever the host's locale
// (support/Numbers.h). Keys are read in a fixed order; a conversion error
// (std::invalid_argument / std::out_of_range for a key whose text does not
// start with a number) is not caught and leaves the fields read so far in the
// record.
#include <zemcal/BcdFile.h>
#include <zemcal/CfgFile.h>
#include <zemcal/StringUtil.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <vector>

#include "support/Numbers.h"

namespace {

const char* const kCoefs = "CalCoefs";
const char* const kCal3 = "Cal3";

// Grid sizes of the optional grid sections, in the order they are read. The
// last entry is 25 although it breaks the ascending order: files written by
// earlier versions list their grids in this order, and Stacks keeps it.
const int kGridSizes[] = {5, 9, 17, 33, 65, 25};

// Single-precision value nearest to pi/2 (bits 0x3FC90FDB): the default angle
// between the axes, read like every other key in float precision.
const float kHalfPiF = static_cast<float>(1.5707963267948966);

// Unmeasured test lines carry this marker in XA/YA.
const float kNotMeasured = -100000.0f;

// Splits a point row "xa ya xb yb" on single spaces. Exactly four parts are
// required: a doubled or leading space makes an empty part and so a fifth
// one. Each number is read by strtod in the "C" locale (text that is not a
// number gives 0, a trailing '\r' is ignored) and narrowed to float.
bool parseRow(std::string row, tagCalData& out) {
    std::vector<std::string> parts;
    StringUtil::split(row, " ", parts);
    if (parts.size() != 4) return false;
    float v[4];
    for (int k = 0; k < 4; ++k) {
        v[k] = static_cast<float>(zemcal::support::strtodClassic(parts[k].c_str()));
    }
    out.PntA.x = v[0];
    out.PntA.y = v[1];
    out.PntB.x = v[2];
    out.PntB.y = v[3];
    return true;
}

// "order" is truncated toward zero. A value outside the int range (or NaN)
// gives INT32_MIN, as the x86 conversion of earlier versions did, so an
// absurd order enables no grid instead of being undefined.
int orderLimit(float order) {
    if (!(order >= -2147483648.0f && order < 2147483648.0f)) return INT32_MIN;
    return static_cast<int>(order);
}

// (Resolution + 1) / 2 in 32-bit arithmetic, truncating toward zero. The
// increment wraps like the 32-bit code of earlier versions instead of
// overflowing for Resolution = INT32_MAX.
std::int32_t centerOf(std::int32_t resolution) {
    const auto next = static_cast<std::int32_t>(static_cast<std::uint32_t>(resolution) + 1u);
    return next / 2;
}

void readTestLines(CCfgFile& cfg, tagLenPar& par) {
    if (par.LineCount < 2) return;  // the arrays keep their contents
    // FieldSize is not in this file: it is whatever the record holds.
    const double step = par.FieldSize / (par.LineCount - 1);
    for (int i = 0;; ++i) {
        // Spread evenly from -FieldSize/2 to +FieldSize/2.
        const float spread = static_cast<float>(i * step + par.FieldSize * -0.5);
        par.XT[i] = cfg.GetFloat(kCal3, StringUtil::format("XT%d", i), spread);
        par.YT[i] = cfg.GetFloat(kCal3, StringUtil::format("YT%d", i), spread);
        par.XA[i] = cfg.GetFloat(kCal3, StringUtil::format("XA%d", i), kNotMeasured);
        par.YA[i] = cfg.GetFloat(kCal3, StringUtil::format("YA%d", i), kNotMeasured);
        par.XR[i] = cfg.GetFloat(kCal3, StringUtil::format("XR%d", i), 1.0f);
        par.YR[i] = cfg.GetFloat(kCal3, StringUtil::format("YR%d", i), 1.0f);
        if (i >= 99 || i + 1 >= par.LineCount) break;  // the arrays hold 100
    }
}

// Appends the grid sections that are complete. A grid is best-effort: the
// rows are read until the first missing or malformed one, and a table that
// did not get all n*n points is dropped without error.
void readGrids(CCfgFile& cfg, tagLenPar& par, int limit) {
    for (const int n : kGridSizes) {
        tagStack stack;
        stack.Num = n;
        stack.Flag = n <= limit ? 1 : 0;
        const std::string section = StringUtil::format("Cal%d", n);
        const std::size_t count = static_cast<std::size_t>(n) * static_cast<std::size_t>(n);
        for (std::size_t j = 0; j < count; ++j) {
            tagCalData pnt;
            const std::string key = StringUtil::format("PNT%d", static_cast<int>(j));
            if (!parseRow(cfg.GetString(section, key, ""), pnt)) break;
            stack.Pnts.push_back(pnt);
        }
        if (stack.Pnts.size() == count) par.Stacks.push_back(std::move(stack));
    }
}

}  // namespace

bool CBcdFile::LoadCorFile(const char* path, tagLenPar& par) {
    // A null path reads like a file that cannot be opened: defaults, then false.
    const std::string file = path != nullptr ? path : "";
    CCfgFile cfg;
    cfg.setFilename(file);
    cfg.loadItems(file);  // always true; a missing file is an empty store

    par.ValSize = cfg.GetFloat(kCoefs, "ValSize", 100.0f);
    par.Resolution = cfg.GetInt(kCoefs, "Resolution", 65535);
    // Both copies of each flag: the manual path reads the first, the
    // least-squares path the saved one.
    par.XYFlip = par.XYFlipSaved = cfg.GetInt(kCoefs, "LEN_XYFLIP", 0);
    par.XInvert = par.XInvertSaved = cfg.GetInt(kCoefs, "LEN_XINVERT", 0);
    par.YInvert = par.YInvertSaved = cfg.GetInt(kCoefs, "LEN_YINVERT", 0);
    par.Center = centerOf(par.Resolution);
    par.CenterSq = static_cast<double>(par.Center) * static_cast<double>(par.Center);
    const int limit = orderLimit(cfg.GetFloat(kCoefs, "order", 3.0f));

    // The nine base points are the only required part of the file.
    for (int i = 0; i < 9; ++i) {
        if (!parseRow(cfg.GetString(kCal3, StringUtil::format("PNT%d", i), ""), par.Pnt[i])) {
            return false;
        }
    }

    par.Grid = cfg.GetInt(kCal3, "grid", 0);
    const float halfField = static_cast<float>(par.ValSize * 0.5);
    par.AxisXL = cfg.GetFloat(kCal3, "AxisXL", halfField);
    par.AxisXR = cfg.GetFloat(kCal3, "AxisXR", halfField);
    par.AxisYT = cfg.GetFloat(kCal3, "AxisYT", halfField);
    par.AxisYB = cfg.GetFloat(kCal3, "AxisYB", halfField);
    par.TXL = cfg.GetFloat(kCal3, "TXL", 1.0f);
    par.TXR = cfg.GetFloat(kCal3, "TXR", 1.0f);
    par.TYT = cfg.GetFloat(kCal3, "TYT", 1.0f);
    par.TYB = cfg.GetFloat(kCal3, "TYB", 1.0f);
    par.SXL = cfg.GetFloat(kCal3, "SXL", 1.0f);
    par.SXR = cfg.GetFloat(kCal3, "SXR", 1.0f);
    par.SYT = cfg.GetFloat(kCal3, "SYT", 1.0f);
    par.SYB = cfg.GetFloat(kCal3, "SYB", 1.0f);
    par.OX = cfg.GetFloat(kCal3, "OX", 0.0f);
    par.OY = cfg.GetFloat(kCal3, "OY", 0.0f);
    par.PLX = cfg.GetFloat(kCal3, "PLX", 0.0f);
    par.PLY = cfg.GetFloat(kCal3, "PLY", 0.0f);
    par.Y2XAngle = cfg.GetFloat(kCal3, "Y2XAngle", kHalfPiF);
    for (int i = 0; i < 20; ++i) par.K[i] = cfg.GetFloat(kCal3, StringUtil::format("k%d", i), 1.0f);
    for (int i = 0; i < 8; ++i) par.S[i] = cfg.GetFloat(kCal3, StringUtil::format("s%d", i), 0.0f);
    par.LineCount = cfg.GetInt(kCal3, "LineCount", 0);

    readTestLines(cfg, par);
    readGrids(cfg, par, limit);
    return true;
}
