// Text helpers; see Text.h.
#include "Text.h"

#include <cstdarg>
#include <cstdio>
#include <vector>

#include <zemcal/CalibFile.h>

#include "ToolError.h"

namespace zemcal_tool {

std::string strprintf(const char* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, fmt, copy);
    va_end(copy);
    std::string s;
    if (n > 0) {
        std::vector<char> buf(static_cast<std::size_t>(n) + 1);
        std::vsnprintf(buf.data(), buf.size(), fmt, args);
        s.assign(buf.data(), static_cast<std::size_t>(n));
    }
    va_end(args);
    return s;
}

void writeFileAtomically(const std::string& path, const std::string& content) {
    std::string message;
    if (CCalibFile::WriteFile(path.c_str(), content, message) != CCalibFile::Ok) throw ToolError(message);
}

}  // namespace zemcal_tool
