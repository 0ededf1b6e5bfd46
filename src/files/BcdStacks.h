// The grid-table section of the binary calibration file (offsets 60000 and
// 64000, see BcdLayout.h) and the loader's memory limits for it.
#pragma once

#include <cstdint>
#include <vector>

#include <zemcal/LenPar.h>

#include "files/BinaryIo.h"

namespace zemcal::files {

/// True when `stacks` can be written faithfully and loaded back: at most
/// kMaxTables tables and kMaxPoints points, and every table holding at least
/// Num*Num points.
bool stacksCanBeSaved(const std::vector<tagStack>& stacks);

/// Writes the table section; writes nothing for an empty list.
void writeStacks(FieldWriter& out, const std::vector<tagStack>& stacks);

/// Reads the table section into `stacks`, which is empty on entry. A file
/// without the section (shorter than 60004 bytes, or N < 1) gives no tables
/// and true. False when the declared tables exceed the limits; `stacks` is
/// then left empty. `fileSize` is the size of the file in bytes.
bool readStacks(FieldReader& in, std::int64_t fileSize, std::vector<tagStack>& stacks);

}  // namespace zemcal::files
