// Saving a file without putting the previous one at risk.
//
// Calibration files are rewritten in full on every save. Writing in place
// would leave a half-written file behind when the disk fills up or the
// process dies, so the new contents go to a temporary file beside the target
// (same directory, hence same file system), are flushed to the disk, and the
// temporary is then renamed over the target: a reader sees either the old
// file or the new one, never a mixture.
#pragma once

#include <cstdio>
#include <string>

namespace zemcal::files {

/// Writes the new contents of one file; an uncommitted writer discards them.
///
/// The target keeps what the user set up around it:
/// - its permission bits, owner and group;
/// - a symbolic link keeps pointing at the file it names, whose contents are
///   replaced;
/// - a new file gets the usual 0666 less the umask.
/// The writer falls back to writing in place, with the plain "wb" semantics,
/// where a replacement could not keep those or cannot be made: no temporary
/// can be created beside the target (a writable file in a read-only folder),
/// the target is not a regular file (a device, a FIFO), it has further hard
/// links (all of its names should see the new contents), or it belongs to
/// someone whose ownership this process cannot reproduce.
class SafeFileWriter {
public:
    SafeFileWriter() = default;
    SafeFileWriter(const SafeFileWriter&) = delete;
    SafeFileWriter& operator=(const SafeFileWriter&) = delete;
    ~SafeFileWriter();

    /// Prepares to write `path`. False when it cannot be written (an existing
    /// file this process may not open for writing, a missing folder); the
    /// file at `path` is then untouched.
    bool open(const char* path);

    /// The stream to write to, positioned at offset 0 of an empty file.
    std::FILE* stream() const { return file_; }

    /// Flushes, syncs and closes the stream, then puts the new file in place.
    /// True only when all of it succeeded; on false a previous file at the
    /// path is as it was (unless it was being written in place).
    bool commit();

private:
    bool openInPlace(const char* path);
    void discard();

    std::FILE* file_ = nullptr;
    std::string target_;  ///< file replaced by commit(); empty when writing in place
    std::string temp_;    ///< the temporary beside it
};

}  // namespace zemcal::files
