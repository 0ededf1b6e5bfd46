// Loading for the tool: CCalibFile does the work and words the failures; the
// tool turns a failure into a ToolError and keeps the record off the stack.
#include "Load.h"

#include <cmath>
#include <cstdio>

#include "ToolError.h"

namespace zemcal_tool {

std::string fieldSizeNote(const LoadedCalibration& lc) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g mm", lc.rec->FieldSize);
    return std::string(buf) + (lc.fieldSizeFromFile ? " (from the file)" : " (from --field-size)");
}

LoadedCalibration loadCalibration(const std::string& path, double fieldSize, Truncated truncated) {
    if (!(fieldSize > 0.0) || !std::isfinite(fieldSize))
        throw ToolError("--field-size must be a positive number of millimetres");
    LoadedCalibration lc;
    lc.path = path;
    lc.fieldSizeOption = fieldSize;
    lc.rec = std::make_unique<tagLenPar>();
    tagLoadInfo info;
    std::string message;
    if (CCalibFile::Load(path.c_str(), fieldSize, truncated == Truncated::Accept, *lc.rec, info,
                         message) != CCalibFile::Ok)
        throw ToolError(message);
    lc.binary = info.Binary;
    lc.fieldSizeFromFile = info.FieldSizeFromFile;
    lc.fileBytes = info.FileBytes;
    lc.completeBytes = info.CompleteBytes;
    return lc;
}

}  // namespace zemcal_tool
