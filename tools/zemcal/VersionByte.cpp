// The version byte on the command line and in reports; see VersionByte.h.
#include "VersionByte.h"

#include <cerrno>
#include <cstdlib>

#include "Text.h"

namespace zemcal_tool {

std::optional<unsigned char> parseVersionByte(const std::string& text) {
    if (text.size() == 1) {
        const unsigned char c = static_cast<unsigned char>(text[0]);
        if (c < 0x20 || c > 0x7e) return std::nullopt;
        return c;
    }
    if (text.empty() || text[0] == '-' || text[0] == '+' || text[0] == ' ') return std::nullopt;
    const bool hex = text.size() > 2 && text[0] == '0' && (text[1] == 'x' || text[1] == 'X');
    errno = 0;
    char* end = nullptr;
    const unsigned long v = std::strtoul(text.c_str(), &end, hex ? 16 : 10);
    if (errno != 0 || end == nullptr || *end != '\0' || v > 255) return std::nullopt;
    return static_cast<unsigned char>(v);
}

std::string versionLabel(unsigned char v) {
    if (v >= 0x21 && v <= 0x7e) return strprintf("'%c' (0x%02X)", static_cast<char>(v), v);
    return strprintf("0x%02X", v);
}

const char* fitName(unsigned char v) { return v == 0x50 ? "classic" : "revised"; }

}  // namespace zemcal_tool
