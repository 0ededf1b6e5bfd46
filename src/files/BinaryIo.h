// Fixed-offset field access for the calibration files.
//
// The files are raw little-endian images of the record's i32, f32 and f64
// fields. On a little-endian host a field is therefore copied byte for byte;
// the check below refuses to build anywhere else rather than write files that
// no other machine could read.
//
// Reading is all or nothing per value: a value the file does not hold
// completely leaves its target as it was. Only the two raw images (the
// parameter block and a table's points) take whatever prefix the file holds,
// since they are one read each and a truncated file keeps what it delivered.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <type_traits>

#if defined(__BYTE_ORDER__) && defined(__ORDER_LITTLE_ENDIAN__)
static_assert(__BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__,
              "the calibration files are little-endian images of the record");
#elif !defined(_WIN32)
#error "cannot tell the byte order of this host; the calibration files need little-endian"
#endif

namespace zemcal::files {

/// Reads values at absolute offsets of an open stream.
class FieldReader {
public:
    explicit FieldReader(std::FILE* f) : f_(f) {}

    /// Moves to an absolute offset (beyond the end is allowed; reads then fail).
    bool seek(long offset) { return std::fseek(f_, offset, SEEK_SET) == 0; }

    /// Reads one value; false (and `out` untouched) unless all its bytes are there.
    template <class T>
    bool read(T& out) {
        static_assert(std::is_trivially_copyable_v<T>, "raw values only");
        unsigned char buf[sizeof(T)];
        if (std::fread(buf, 1, sizeof buf, f_) != sizeof buf) return false;
        std::memcpy(&out, buf, sizeof buf);
        return true;
    }

    /// Reads a raw image of `size` bytes; returns how many the file held.
    std::size_t readImage(void* dst, std::size_t size) { return std::fread(dst, 1, size, f_); }

private:
    std::FILE* f_;
};

/// Writes values at absolute offsets of an open stream and remembers whether
/// every seek and write succeeded. The bytes a seek skips are never written:
/// in a new file they read back as zero.
class FieldWriter {
public:
    explicit FieldWriter(std::FILE* f) : f_(f) {}

    void seek(long offset) { ok_ = ok_ && std::fseek(f_, offset, SEEK_SET) == 0; }

    template <class T>
    void write(const T& value) {
        static_assert(std::is_trivially_copyable_v<T>, "raw values only");
        writeImage(&value, sizeof value);
    }

    void writeImage(const void* src, std::size_t size) {
        if (size == 0) return;
        ok_ = ok_ && std::fwrite(src, 1, size, f_) == size;
    }

    /// True while no seek or write has failed.
    bool ok() const { return ok_ && std::ferror(f_) == 0; }

private:
    std::FILE* f_;
    bool ok_ = true;
};

/// An input stream on a regular file, closed on destruction.
class InputFile {
public:
    InputFile() = default;
    InputFile(const InputFile&) = delete;
    InputFile& operator=(const InputFile&) = delete;
    ~InputFile() { close(); }

    /// Opens `path` for binary reading. Only regular files are opened: no
    /// calibration lives in a directory, a device or a pipe, and reading one
    /// could block or never end.
    bool open(const char* path);

    std::FILE* get() const { return f_; }

    /// Size of the file in bytes when it was opened.
    std::int64_t size() const { return size_; }

    /// Closes the stream; true when it was open and closed cleanly.
    bool close();

private:
    std::FILE* f_ = nullptr;
    std::int64_t size_ = 0;
};

}  // namespace zemcal::files
