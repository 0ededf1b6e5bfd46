// The command-line options that describe a virtual head, shared by
// simulate, evaluate and plot so that the same words give the same head.
#pragma once

#include <CLI/CLI.hpp>

#include "VirtualHead.h"

namespace zemcal_tool {

/// Adds the head options, in their own group of the --help text, writing
/// into p (whose values are the defaults shown).
void addHeadOptions(CLI::App& sub, HeadParams& p);

/// Validates p (ToolError naming the problem) and prints the parameters in
/// use to out, one per line, under a heading.
void checkAndPrintHead(const HeadParams& p, std::FILE* out);

}  // namespace zemcal_tool
