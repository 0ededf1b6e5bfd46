// CBcdFile: the binary calibration file (layout in BcdLayout.h).
//
// The file carries the fitted parameter block, so loading it restores a
// calibration without refitting. A file without the magic is a text
// correction file: it is imported and then fitted, because the text format
// holds measurements, not coefficients.
//
// Derived on load: Center = (Resolution + 1) / 2 as an unsigned shift (so
// Resolution 2^31-1 still gives 2^30) and CenterSq = Center * Center in
// double. Resolution is first raised to at least 65535: a file may widen the
// device range but never narrow it.
//
// Reads are all or nothing per value (see BinaryIo.h): a file cut short
// leaves every field it no longer holds as it was, and still loads.
#include <zemcal/BcdFile.h>
#include <zemcal/CalibAlg.h>

#include <algorithm>
#include <cstring>

#include "files/BcdLayout.h"
#include "files/BcdStacks.h"
#include "files/BinaryIo.h"
#include "files/SafeFile.h"

using namespace zemcal::files;
using namespace zemcal::files::bcd;

namespace {

/// One flag word: the plain flag in bits 0-7, its saved copy from bit 8 on.
std::uint32_t packFlags(std::int32_t plain, std::int32_t saved) {
    return (static_cast<std::uint32_t>(saved) << 8) | static_cast<std::uint32_t>(plain);
}

void unpackFlags(std::uint32_t word, std::int32_t& plain, std::int32_t& saved) {
    plain = static_cast<std::int32_t>(word & 0xFFu);
    saved = static_cast<std::int32_t>((word >> 8) & 0xFFu);
}

/// Test lines stored: LineCount, at most 100, none when it is not positive.
int storedLines(std::int32_t lineCount) { return std::clamp(lineCount, 0, kMaxLines); }

unsigned char* blockImage(tagLenPar& par) { return reinterpret_cast<unsigned char*>(&par.Pnt[0]); }

/// The header from offset 10: sizes, line count, resolution, flags.
void readHeader(FieldReader& in, tagLenPar& par) {
    in.seek(kHeaderAt);
    double size = 0.0;
    if (in.read(size) && size > kMinStoredSize) par.FieldSize = size;
    if (in.read(size) && size > kMinStoredSize) par.ValSize = size;
    std::uint64_t reserved = 0;
    in.read(reserved);
    in.read(par.LineCount);
    in.read(par.Resolution);
    std::uint32_t word = 0;
    if (in.read(word)) unpackFlags(word, par.XYFlip, par.XYFlipSaved);
    if (in.read(word)) unpackFlags(word, par.XInvert, par.XInvertSaved);
    if (in.read(word)) unpackFlags(word, par.YInvert, par.YInvertSaved);
    double constant = 0.0;
    in.read(constant);

    if (par.Resolution < kMinResolution) par.Resolution = kMinResolution;
    par.Center = static_cast<std::int32_t>((static_cast<std::uint32_t>(par.Resolution) + 1u) >> 1);
    par.CenterSq = static_cast<double>(par.Center) * static_cast<double>(par.Center);
}

/// Grid and the test lines from offset 4096.
void readLines(FieldReader& in, tagLenPar& par) {
    in.seek(kLinesAt);
    in.read(par.Grid);
    const int lines = storedLines(par.LineCount);
    for (int i = 0; i < lines; ++i) {
        in.read(par.XT[i]);
        in.read(par.YT[i]);
        in.read(par.XA[i]);
        in.read(par.YA[i]);
    }
}

/// Imports a text correction file; a successful import is fitted with the
/// classic method its version selects.
bool loadText(const char* path, tagLenPar& par) {
    if (!CBcdFile::LoadCorFile(path, par)) return false;
    par.Version = CalVerClassic;
    CCalibAlg::MVLSMCoef(par);
    return true;
}

}  // namespace

bool CBcdFile::SaveBcdFile(const char* path, tagLenPar& par) {
    // A record whose tables could not be loaded back (or hold fewer points
    // than they claim) is not written: the previous file is worth more.
    if (!stacksCanBeSaved(par.Stacks)) return false;
    SafeFileWriter file;
    if (!file.open(path)) return false;
    FieldWriter out(file.stream());

    out.write(kMagic);
    out.write(static_cast<unsigned char>(par.Version));

    out.seek(kHeaderAt);
    out.write(par.FieldSize);
    out.write(par.ValSize);
    out.write(std::uint64_t{0});
    out.write(par.LineCount);
    out.write(par.Resolution);
    out.write(packFlags(par.XYFlip, par.XYFlipSaved));
    out.write(packFlags(par.XInvert, par.XInvertSaved));
    out.write(packFlags(par.YInvert, par.YInvertSaved));
    out.write(kHeaderConstant);

    out.seek(kBlockAt);
    out.writeImage(blockImage(par), kBlockSize);

    out.seek(kLinesAt);
    out.write(par.Grid);
    const int lines = storedLines(par.LineCount);
    for (int i = 0; i < lines; ++i) {
        out.write(par.XT[i]);
        out.write(par.YT[i]);
        out.write(par.XA[i]);
        out.write(par.YA[i]);
    }

    writeStacks(out, par.Stacks);
    return out.ok() && file.commit();
}

bool CBcdFile::LoadBcdFile(const char* path, tagLenPar& par) {
    par.Stacks.clear();
    InputFile file;
    if (!file.open(path)) return false;
    FieldReader in(file.get());

    char magic[sizeof kMagic];
    if (!in.read(magic) || std::memcmp(magic, kMagic, sizeof kMagic) != 0) {
        file.close();
        return loadText(path, par);
    }
    unsigned char version = 0;
    if (in.read(version)) {
        if (version == CalVerRefused) return false;
        par.Version = static_cast<CalVerion>(version);
    }

    readHeader(in, par);
    in.seek(kBlockAt);
    in.readImage(blockImage(par), kBlockSize);
    readLines(in, par);
    if (!readStacks(in, file.size(), par.Stacks)) return false;
    return file.close();
}

int CBcdFile::GetCalOrder(int code) {
    // Grid sizes 2^k + 1 for the codes 1 to 5; code 6 is 25 on purpose.
    static constexpr int kSizes[] = {5, 9, 17, 33, 65, 25};
    if (code < 1 || code > 6) return 3;
    return kSizes[code - 1];
}
