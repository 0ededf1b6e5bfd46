// ToolError: the one exception the tool's commands throw for a failure the
// user can fix (a missing file, a file the library refuses, a bad option
// value). main() prints its message as one line and exits with status 1.
#pragma once

#include <stdexcept>
#include <string>

namespace zemcal_tool {

class ToolError : public std::runtime_error {
public:
    explicit ToolError(const std::string& message) : std::runtime_error(message) {}
};

}  // namespace zemcal_tool
