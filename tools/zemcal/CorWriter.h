// Writing a text correction file of the nine points, as the library's text
// import reads it.
#pragma once

#include <zemcal/LenPar.h>

#include <string>
#include <vector>

namespace zemcal_tool {

/// The text of a correction file holding rec's ValSize, Resolution, axis
/// flags and nine points, each "PNTi=u v x y" (nominal then measured, single
/// spaces, every float written so that it reads back to the same bits).
/// commentLines are written first, each after a ';'.
std::string correctionFileText(const tagLenPar& rec, const std::vector<std::string>& commentLines);

}  // namespace zemcal_tool
