// Small text helpers shared by the commands: printf-style formatting into a
// std::string, and atomic file writing.
#pragma once

#include <string>

namespace zemcal_tool {

/// printf into a std::string (numbers in the "C" locale's format; the tool
/// never changes the locale).
std::string strprintf(const char* fmt, ...) __attribute__((format(printf, 1, 2)));

/// Writes content to path through a temporary file beside it, flushed and
/// renamed over the target, so a failure never leaves a half-written file.
/// Throws ToolError naming the path on failure.
void writeFileAtomically(const std::string& path, const std::string& content);

}  // namespace zemcal_tool
