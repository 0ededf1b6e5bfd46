// Reading the tool's CSV files (patterns and measurements): a header line
// names the columns, which are found by name, in any order, among others
// that are ignored; '#' lines and blank lines are skipped; cells are numbers
// with '.' as the decimal point. Every refusal is one message naming the
// file, the line and the column.
#pragma once

#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

namespace zemcal_tool {

/// One data line: its 1-based line number and the values of the asked
/// columns, in the order they were asked for.
struct CsvRow {
    int line = 0;
    std::vector<double> values;
};

/// Parses text (the contents of the file called name) and returns one row
/// per data line, at most maxRows of them. Throws ToolError naming name, the
/// line and the problem: no header, a column missing from the header, a row
/// with another number of cells than the header, a cell that is not a
/// finite number (a decimal comma is named as such).
std::vector<CsvRow> parseCsv(std::string_view text, const std::string& name,
                             const std::vector<std::string>& columns, std::size_t maxRows);

/// Reads a regular file of at most maxBytes. Throws ToolError naming path.
std::string readSmallFile(const std::string& path, std::size_t maxBytes);

}  // namespace zemcal_tool
