// Saving a file without putting the previous one at risk.
//
// Calibration files are rewritten in full on every save. Writing in place
// would leave a half-written file behind when the disk fills up or the
// process dies, so the new contents go to a temporary file beside the target
// (same directory, hence same file system), are flushed to the disk, and the
// temporary is then renamed over the target: a reader sees either the old
// file or the new one, never a mixture. Where no such temporary can be made,
// the space of the new contents is reserved in the target before any of its
// old bytes is overwritten.
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
///
/// The contents normally go to a temporary beside the target, renamed over
/// it. Where a replacement could not keep the above or cannot be made (no
/// temporary can be created beside the target: a read-only folder, a name
/// at the length limit, no free inodes; the target has further hard links,
/// all of whose names should see the new contents; it belongs to someone
/// whose ownership this process cannot reproduce; it is not a regular
/// file), the contents are staged in an anonymous temporary file and copied
/// into the target by commit, after the space of the whole new contents
/// has been reserved in it: a disk too full to hold them fails the save
/// before the old contents are touched. A device or FIFO is written as it
/// is, never waited on: a FIFO without a reader fails the save.
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
    /// path is as it was.
    bool commit();

private:
    bool copyIntoTarget();
    void discard();

    std::FILE* file_ = nullptr;
    std::string target_;   ///< the file commit() writes
    std::string temp_;     ///< the temporary beside it; empty when staged
    bool staged_ = false;  ///< file_ is an anonymous temporary copied in by commit()
};

}  // namespace zemcal::files
