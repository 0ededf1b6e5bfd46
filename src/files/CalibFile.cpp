// Loading and saving with one message per failure. The file is looked at
// before the library loads it (is it there, is it binary, which version
// byte) so that the refusals the library reports as a bare false can be
// told apart; a refused text file is read again by diagnoseTextFile to name
// the key and line that stopped the import.
#include <zemcal/CalibFile.h>

#include <zemcal/Facade.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <new>
#include <stdexcept>
#include <system_error>

#include "files/SafeFile.h"
#include "files/TextDiagnosis.h"

namespace {

using zemcal::files::diagnoseTextFile;
using zemcal::files::TextDiagnosis;

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
    constexpr long long kLinesStart = 4100;  // just after the Grid word at 4096
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

CCalibFile::Status fail(std::string& message, CCalibFile::Status status, std::string text) {
    message = std::move(text);
    return status;
}

}  // namespace

CCalibFile::Status CCalibFile::Load(const char* path, double fieldSize, bool acceptTruncated,
                                    tagLenPar& par, tagLoadInfo& info, std::string& message) {
    info = tagLoadInfo{};
    try {
        if (path == nullptr) return fail(message, BadArgument, "no file name given");
        const std::string name = path;
        if (!(fieldSize > 0.0) || !std::isfinite(fieldSize))
            return fail(message, BadArgument,
                        "the field size must be a positive number of millimetres");

        std::error_code ec;
        const auto st = std::filesystem::status(name, ec);
        if (ec) return fail(message, FileError, "cannot open " + name + ": " + ec.message());
        if (std::filesystem::is_directory(st))
            return fail(message, FileError, "cannot open " + name + ": it is a directory");
        // A FIFO would wait for a writer and a device might never end.
        if (!std::filesystem::is_regular_file(st))
            return fail(message, FileError, "cannot open " + name + ": not a regular file");
        const auto bytes = std::filesystem::file_size(name, ec);

        errno = 0;
        std::FILE* f = std::fopen(path, "rb");
        if (f == nullptr)
            return fail(message, FileError, "cannot open " + name + ": " + std::strerror(errno));
        const FileHead head = readHead(f);
        std::fclose(f);

        if (head.binary && !head.hasVersion)
            return fail(message, DataError,
                        name + ": truncated binary calibration file (no version byte)");
        if (head.binary && head.version == CalVerRefused)
            return fail(message, DataError,
                        name + ": calibration version '3' (0x33) is refused by the library");

        par.FieldSize = fieldSize;
        bool ok = false;
        try {
            ok = ZemCal().loadUcf(path, par);
        } catch (const std::invalid_argument&) {
            return fail(message, DataError,
                        textProblem(name, "a numeric key does not hold a number"));
        } catch (const std::out_of_range&) {
            return fail(message, DataError,
                        textProblem(name, "a numeric key holds a number out of range"));
        }
        if (!ok) {
            if (head.binary)
                return fail(message, DataError,
                            name + ": the library could not read this binary calibration file "
                                   "(declared tables too large, or a read error)");
            return fail(message, DataError,
                        textProblem(name, "not a calibration file: neither the binary magic "
                                          "ZEMCLDT nor the nine base points PNT0..PNT8 of [Cal3]"));
        }
        info.Binary = head.binary;
        info.FieldSizeFromFile = head.binary && head.hasFieldSize && head.fieldSize > 1.0;
        info.FileBytes = ec ? 0 : static_cast<long long>(bytes);
        if (info.Binary) info.CompleteBytes = completeBinaryBytes(par);
        if (info.Truncated() && !acceptTruncated)
            return fail(message, DataError,
                        name + ": truncated binary calibration file: it ends at byte " +
                            std::to_string(info.FileBytes) + " of " +
                            std::to_string(info.CompleteBytes) +
                            " (zemcal info shows what it holds)");
        return Ok;
    } catch (const std::bad_alloc&) {
        return fail(message, NoMemory,
                    std::string(path) + ": not enough memory to load this file");
    }
}

CCalibFile::Status CCalibFile::Save(const char* path, tagLenPar& par, CalVerion ver,
                                    std::string& message) {
    if (path == nullptr) return fail(message, BadArgument, "no file name given");
    if (ver == CalVerRefused)
        return fail(message, BadArgument,
                    "version '3' (0x33) would write a file the library refuses to load");
    try {
        errno = 0;
        if (!ZemCal().saveUcf(path, par, ver))
            return fail(message, FileError,
                        std::string("cannot write ") + path +
                            (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
        return Ok;
    } catch (const std::bad_alloc&) {
        return fail(message, NoMemory, std::string(path) + ": not enough memory to save this file");
    }
}

CCalibFile::Status CCalibFile::WriteFile(const char* path, const std::string& contents, std::string& message) {
    if (path == nullptr) return fail(message, BadArgument, "no file name given");
    errno = 0;
    zemcal::files::SafeFileWriter file;
    const bool ok = file.open(path) &&
                    std::fwrite(contents.data(), 1, contents.size(), file.stream()) == contents.size() &&
                    file.commit();
    if (ok) return Ok;
    return fail(message, FileError,
                std::string("cannot write ") + path + (errno != 0 ? std::string(": ") + std::strerror(errno) : ""));
}
