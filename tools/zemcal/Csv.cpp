// Reading the tool's CSV files; see Csv.h.
#include "Csv.h"

#include <sys/stat.h>

#include <cerrno>
#include <charconv>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "Text.h"
#include "ToolError.h"

namespace zemcal_tool {

namespace {

std::string_view trim(std::string_view s) {
    while (!s.empty() && (s.front() == ' ' || s.front() == '\t')) s.remove_prefix(1);
    while (!s.empty() && (s.back() == ' ' || s.back() == '\t' || s.back() == '\r')) s.remove_suffix(1);
    return s;
}

std::vector<std::string_view> splitCells(std::string_view line) {
    std::vector<std::string_view> cells;
    for (std::size_t start = 0;;) {
        const std::size_t comma = line.find(',', start);
        cells.push_back(trim(line.substr(start, comma == std::string_view::npos ? std::string_view::npos : comma - start)));
        if (comma == std::string_view::npos) return cells;
        start = comma + 1;
    }
}

// A cell quoted in a message, cut when long.
std::string quoted(std::string_view cell) {
    constexpr std::size_t kShown = 40;
    if (cell.size() <= kShown) return "'" + std::string(cell) + "'";
    return "'" + std::string(cell.substr(0, kShown)) + "...' (" + std::to_string(cell.size()) + " characters)";
}

}  // namespace

std::vector<CsvRow> parseCsv(std::string_view text, const std::string& name,
                             const std::vector<std::string>& columns, std::size_t maxRows) {
    std::vector<CsvRow> rows;
    std::vector<std::size_t> at;  // cell index of each asked column
    std::size_t headerCells = 0;
    int lineNo = 0;
    std::string needs;  // the asked columns, for the message of a missing one
    for (const std::string& c : columns) needs += (needs.empty() ? "" : ",") + c;
    while (!text.empty()) {
        const std::size_t end = text.find('\n');
        const std::string_view line = trim(text.substr(0, end));
        text = end == std::string_view::npos ? std::string_view() : text.substr(end + 1);
        ++lineNo;
        if (line.empty() || line.front() == '#') continue;
        const std::vector<std::string_view> cells = splitCells(line);
        const std::string where = strprintf("%s: line %d: ", name.c_str(), lineNo);
        if (at.empty()) {
            for (const std::string& c : columns) {
                std::size_t i = 0;
                while (i < cells.size() && cells[i] != c) ++i;
                if (i == cells.size())
                    throw ToolError(where + "the header line has no column '" + c + "' (it needs " + needs + ")");
                at.push_back(i);
            }
            headerCells = cells.size();
            continue;
        }
        if (cells.size() != headerCells)
            throw ToolError(where + strprintf("%zu cells where the header names %zu", cells.size(), headerCells) +
                            (cells.size() > headerCells ? " (a decimal comma? use '.')" : ""));
        if (rows.size() == maxRows) throw ToolError(where + strprintf("more than %zu rows", maxRows));
        CsvRow row{lineNo, {}};
        for (std::size_t k = 0; k < at.size(); ++k) {
            const std::string_view cell = cells[at[k]];
            double v = 0.0;
            const char* first = cell.data();
            const char* last = first + cell.size();
            if (first != last && *first == '+') ++first;
            const auto r = std::from_chars(first, last, v, std::chars_format::general);
            const std::string col = "column '" + columns[k] + "': ";
            if (r.ec == std::errc() && r.ptr != last && *r.ptr == ',')
                throw ToolError(where + col + quoted(cell) + " has a decimal comma: use '.'");
            if (r.ec != std::errc() || r.ptr != last || cell.empty())
                throw ToolError(where + col + quoted(cell) + " is not a number");
            if (!std::isfinite(v)) throw ToolError(where + col + quoted(cell) + " is not a finite number");
            row.values.push_back(v);
        }
        rows.push_back(std::move(row));
    }
    if (at.empty()) throw ToolError(name + ": no header line naming the columns");
    return rows;
}

std::string readSmallFile(const std::string& path, std::size_t maxBytes) {
    struct stat st {};
    if (::stat(path.c_str(), &st) != 0) throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    if (!S_ISREG(st.st_mode)) throw ToolError("cannot read " + path + ": not a regular file");
    if (static_cast<unsigned long long>(st.st_size) > maxBytes)
        throw ToolError(path + strprintf(": larger than %zu bytes: not a pattern or measurement file", maxBytes));
    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    std::string text(maxBytes + 1, '\0');
    const std::size_t n = std::fread(text.data(), 1, text.size(), f);
    const bool failed = std::ferror(f) != 0;
    std::fclose(f);
    if (failed) throw ToolError("cannot read " + path + ": read error");
    if (n > maxBytes)
        throw ToolError(path + strprintf(": larger than %zu bytes: not a pattern or measurement file", maxBytes));
    text.resize(n);
    return text;
}

}  // namespace zemcal_tool
