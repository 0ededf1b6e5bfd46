// Loading with clear errors. The library reports a refused file only as
// false, and a text key that does not hold a number as an escaping
// std::invalid_argument / std::out_of_range; here both become one message
// naming the file, and for text files the key and line, found by reading the
// file again with the importer's rules (LoadDiagnosis.cpp).
#include "Load.h"

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <new>
#include <stdexcept>

#include <sys/stat.h>

#include "ToolError.h"

namespace zemcal_tool {

namespace {

// The head of a binary calibration file: magic, version byte, and the stored
// FieldSize at offset 10.
struct FileHead {
    bool binary = false;
    bool hasVersion = false;
    unsigned char version = 0;
    bool hasFieldSize = false;
    double fieldSize = 0.0;
};

FileHead readHead(std::FILE* f) {
    unsigned char buf[18] = {};
    const std::size_t n = std::fread(buf, 1, sizeof buf, f);
    FileHead h;
    h.binary = n >= 7 && std::memcmp(buf, "ZEMCLDT", 7) == 0;
    h.hasVersion = n >= 8;
    h.version = buf[7];
    h.hasFieldSize = n >= 18;
    std::memcpy(&h.fieldSize, buf + 10, sizeof h.fieldSize);  // little-endian, as the library
    return h;
}

// The size of a complete binary file holding r: the writer always ends the
// fixed part with the Grid word, then the test lines (32 bytes each, at most
// 100), and when there are grid tables, their section: n, a second word and
// n*n point pairs of 16 bytes per table.
long long completeBinaryBytes(const tagLenPar& r) {
    constexpr long long kLinesStart = 4100;   // just after the Grid word at 4096
    constexpr long long kTablesStart = 64000;
    const long long lines = std::min(std::max(r.LineCount, 0), 100);
    long long end = kLinesStart + 32 * lines;
    if (!r.Stacks.empty()) {
        end = kTablesStart;
        for (const tagStack& t : r.Stacks) end += 8 + 16 * static_cast<long long>(t.Pnts.size());
    }
    return end;
}

std::string textProblem(const std::string& path, const std::string& fallback) {
    const TextDiagnosis d = diagnoseTextFile(path);
    if (d.what.empty()) return path + ": " + fallback;
    if (d.line > 0) return path + ":" + std::to_string(d.line) + ": " + d.what;
    return path + ": " + d.what;
}

}  // namespace

std::string fieldSizeNote(const LoadedCalibration& lc) {
    char buf[64];
    std::snprintf(buf, sizeof buf, "%g mm", lc.rec->FieldSize);
    return std::string(buf) + (lc.fieldSizeFromFile ? " (from the file)" : " (from --field-size)");
}

LoadedCalibration loadCalibration(const std::string& path, double fieldSize, Truncated truncated) {
    if (!(fieldSize > 0.0) || !std::isfinite(fieldSize))
        throw ToolError("--field-size must be a positive number of millimetres");

    struct stat st {};
    if (::stat(path.c_str(), &st) != 0)
        throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    if (S_ISDIR(st.st_mode)) throw ToolError("cannot open " + path + ": it is a directory");

    std::FILE* f = std::fopen(path.c_str(), "rb");
    if (f == nullptr) throw ToolError("cannot open " + path + ": " + std::strerror(errno));
    const FileHead head = readHead(f);
    std::fclose(f);

    if (head.binary && !head.hasVersion)
        throw ToolError(path + ": truncated binary calibration file (no version byte)");
    if (head.binary && head.version == CalVerRefused)
        throw ToolError(path + ": calibration version '3' (0x33) is refused by the library");

    LoadedCalibration lc;
    lc.path = path;
    lc.binary = head.binary;
    lc.fieldSizeOption = fieldSize;
    lc.rec = std::make_unique<tagLenPar>();
    lc.rec->FieldSize = fieldSize;

    bool ok = false;
    try {
        ok = ZemCal().loadUcf(path.c_str(), *lc.rec);
    } catch (const std::invalid_argument&) {
        throw ToolError(textProblem(path, "a numeric key does not hold a number"));
    } catch (const std::out_of_range&) {
        throw ToolError(textProblem(path, "a numeric key holds a number out of range"));
    } catch (const std::bad_alloc&) {
        throw ToolError(path + ": not enough memory to load this file");
    }
    if (!ok) {
        if (head.binary)
            throw ToolError(path + ": the library could not read this binary calibration file "
                                   "(declared tables too large, or a read error)");
        throw ToolError(textProblem(path, "not a calibration file: neither the binary magic "
                                          "ZEMCLDT nor the nine base points PNT0..PNT8 of [Cal3]"));
    }
    lc.fieldSizeFromFile = head.binary && head.hasFieldSize && head.fieldSize > 1.0;
    lc.fileBytes = static_cast<long long>(st.st_size);
    if (lc.binary) lc.completeBytes = completeBinaryBytes(*lc.rec);
    if (lc.truncated() && truncated == Truncated::Refuse)
        throw ToolError(path + ": truncated binary calibration file: it ends at byte " +
                        std::to_string(lc.fileBytes) + " of " + std::to_string(lc.completeBytes) +
                        " (zemcal info shows what it holds)");
    return lc;
}

}  // namespace zemcal_tool
