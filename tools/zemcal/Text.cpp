// Text helpers; see Text.h.
#include "Text.h"

#include <cerrno>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <vector>

#include <unistd.h>

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
    const std::string tmp = path + ".tmp" + std::to_string(static_cast<long>(::getpid()));
    std::FILE* f = std::fopen(tmp.c_str(), "wb");
    if (f == nullptr)
        throw ToolError("cannot write " + path + ": " + std::strerror(errno));
    const bool written = std::fwrite(content.data(), 1, content.size(), f) == content.size();
    const int savedErrno = errno;
    const bool closed = std::fclose(f) == 0;
    if (!written || !closed) {
        std::remove(tmp.c_str());
        throw ToolError("cannot write " + path + ": " + std::strerror(written ? errno : savedErrno));
    }
    if (std::rename(tmp.c_str(), path.c_str()) != 0) {
        const int e = errno;
        std::remove(tmp.c_str());
        throw ToolError("cannot write " + path + ": " + std::strerror(e));
    }
}

}  // namespace zemcal_tool
