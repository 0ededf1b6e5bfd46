// The calibration version byte as the tool reads and shows it: 'P' (0x50)
// selects the classic fit and correction, every other byte the revised ones,
// and '3' (0x33) is refused by the binary loader.
#pragma once

#include <optional>
#include <string>

namespace zemcal_tool {

/// Parses a version given on the command line: one character stands for
/// itself (P, `), anything longer is a number, decimal or 0x-prefixed hex,
/// 0..255. Returns nothing when the text is neither.
std::optional<unsigned char> parseVersionByte(const std::string& text);

/// "'P' (0x50)", or "0x07" for a byte that is not a printable character.
std::string versionLabel(unsigned char v);

/// "classic" for 'P', "revised" otherwise.
const char* fitName(unsigned char v);

}  // namespace zemcal_tool
