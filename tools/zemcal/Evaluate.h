// Shared by evaluate and plot: loading a calibration for a virtual head and
// warning when the file and the head do not describe the same setup.
#pragma once

#include <cstdio>

#include "Load.h"
#include "VirtualHead.h"

namespace zemcal_tool {

/// Loads file with the head's span as FieldSize (a binary file's own value
/// wins), selects the least-squares path, says on log that the calibration
/// is judged on the virtual head, and prints a warning to log for every
/// geometry or axis flag that differs from the head.
LoadedCalibration loadForHead(const std::string& file, const HeadParams& head, std::FILE* log);

}  // namespace zemcal_tool
