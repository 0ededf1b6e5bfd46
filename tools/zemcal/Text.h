// Small text helpers shared by the commands: printf-style formatting into a
// std::string, and atomic file writing.
#pragma once

#include <string>

namespace zemcal_tool {

/// printf into a std::string (numbers in the "C" locale's format; the tool
/// never changes the locale).
std::string strprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// Writes content to path as the library saves a calibration
/// (CCalibFile::WriteFile): a failure never leaves a half-written file, a
/// symbolic link stays a link, a file keeps its mode. Throws ToolError
/// naming the path on failure.
void writeFileAtomically(const std::string& path, const std::string& content);

}  // namespace zemcal_tool
