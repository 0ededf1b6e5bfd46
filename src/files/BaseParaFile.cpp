// CBcdFile: the base-parameter file (layout at the end of BcdLayout.h).
//
// It holds FieldSize, ValSize (mm) and a line count at the header positions
// of the calibration file, so GetBasePara reads either kind: the word at 26
// (4.0 here, zero in a calibration file) is skipped. There is no magic; both
// calls always return true, and a caller that needs to know whether a file
// was read checks for it first.
#include <zemcal/BcdFile.h>

#include "files/BcdLayout.h"
#include "files/BinaryIo.h"
#include "files/SafeFile.h"

using namespace zemcal::files;
using namespace zemcal::files::bcd;

static_assert(sizeof(int) == 4, "the line count is stored as a 32-bit integer");

bool CBcdFile::GetBasePara(const char* path, double& fieldSize, double& valSize, int& lineCount) {
    InputFile file;
    if (!file.open(path)) return true;
    // Straight into the caller's variables; one the file does not hold in
    // full keeps its value, and so does every one after it.
    FieldReader in(file.get());
    double skipped = 0.0;
    if (in.seek(kHeaderAt) && in.read(fieldSize) && in.read(valSize) && in.read(skipped)) {
        in.read(lineCount);
    }
    return true;
}

bool CBcdFile::SaveBasePara(const char* path, tagLenPar& par) {
    SafeFileWriter file;
    if (!file.open(path)) return true;
    FieldWriter out(file.stream());
    out.seek(kHeaderAt);
    out.write(par.FieldSize);
    out.write(par.ValSize);
    out.write(kHeaderConstant);
    out.write(par.ManLineCount);
    // A failed write is not committed, so the previous file survives it.
    if (out.ok()) file.commit();
    return true;
}
