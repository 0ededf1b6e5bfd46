// SafeFileWriter: temporary file beside the target, fsync, rename over it;
// or, where that cannot be, staged contents copied in after the space of
// them is reserved.
#include "files/SafeFile.h"

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <memory>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zemcal::files {
namespace {

/// Splits a path into its folder and its last name.
void splitPath(const std::string& path, std::string& dir, std::string& name) {
    const std::size_t slash = path.rfind('/');
    if (slash == std::string::npos) {
        dir = ".";
        name = path;
        return;
    }
    dir = slash == 0 ? std::string("/") : path.substr(0, slash);
    name = path.substr(slash + 1);
}

/// Creates a new, empty temporary beside `target`; returns its descriptor or
/// -1. The name is hidden and carries the process id and a clock-derived
/// number, so concurrent savers do not collide, and O_EXCL guarantees that an
/// existing file is never reused. Mode 0666 lets the umask decide, exactly as
/// for a file created by fopen.
int createTemporary(const std::string& target, std::string& temp) {
    std::string dir, name;
    splitPath(target, dir, name);
    if (name.empty()) return -1;
    const auto pid = static_cast<unsigned long long>(::getpid());
    const auto seed = static_cast<unsigned long long>(
        std::chrono::steady_clock::now().time_since_epoch().count());
    for (unsigned attempt = 0; attempt < 64; ++attempt) {
        temp = dir + "/." + name + ".tmp-" + std::to_string(pid) + "-" + std::to_string(seed + attempt);
        const int fd = ::open(temp.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC | O_NOCTTY, 0666);
        if (fd >= 0 || errno != EEXIST) return fd;
    }
    return -1;
}

/// Gives a temporary the owner, group and permission bits of the file it is
/// to replace. False where this process cannot reproduce them.
bool copyOwnership(int fd, const struct stat& old) {
    if (old.st_uid != ::geteuid() || old.st_gid != ::getegid()) {
        if (::fchown(fd, old.st_uid, old.st_gid) != 0) return false;
    }
    // After the chown, which clears the set-id bits.
    return ::fchmod(fd, old.st_mode & 07777) == 0;
}

/// Makes a completed rename durable. Best effort: not every file system can
/// sync a folder, and the new file itself is already on the disk.
void syncFolder(const std::string& target) {
    std::string dir, name;
    splitPath(target, dir, name);
    const int fd = ::open(dir.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

}  // namespace

SafeFileWriter::~SafeFileWriter() { discard(); }

bool SafeFileWriter::open(const char* path) {
    discard();
    if (path == nullptr || *path == '\0') return false;

    struct stat old {};
    const bool exists = ::stat(path, &old) == 0;
    std::string target;
    bool replaceable = false;
    if (!exists) {
        // A new file, unless the path is a dangling symbolic link (or cannot
        // be looked up at all): then the link's own target is written.
        struct stat link {};
        replaceable = errno == ENOENT && ::lstat(path, &link) != 0;
        target = path;
    } else {
        // A file this process may not open for writing is not written at
        // all: the save fails and the file stays as it is. O_NONBLOCK keeps
        // the probe from waiting for a reader on a FIFO.
        const int probe = ::open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
        if (probe < 0) return false;
        ::close(probe);
        // Through symbolic links to the file itself, so the links survive.
        std::unique_ptr<char, void (*)(void*)> real(::realpath(path, nullptr), &std::free);
        replaceable = S_ISREG(old.st_mode) && old.st_nlink == 1 && real != nullptr;
        target = real != nullptr ? real.get() : path;
    }

    if (replaceable) {
        int fd = createTemporary(target, temp_);
        if (fd >= 0 && exists && !copyOwnership(fd, old)) {
            ::close(fd);
            ::unlink(temp_.c_str());
            fd = -1;
        }
        if (fd >= 0) file_ = ::fdopen(fd, "wb");
        if (file_ != nullptr) {
            target_ = target;
            return true;
        }
        if (fd >= 0) ::close(fd);
        if (!temp_.empty()) ::unlink(temp_.c_str());
        temp_.clear();
    }
    // Staged: the contents are written to an anonymous temporary file and
    // copied into the target by commit, once its space is reserved.
    file_ = std::tmpfile();
    if (file_ == nullptr) return false;
    target_ = target;
    staged_ = true;
    return true;
}

bool SafeFileWriter::copyIntoTarget() {
    const long size = std::ftell(file_);
    if (size < 0 || std::fseek(file_, 0, SEEK_SET) != 0) return false;
    const int fd = ::open(target_.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, 0666);
    if (fd < 0) return false;
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0;
    const bool regular = ok && S_ISREG(st.st_mode);
    // The space of the new contents is taken before the first byte of the
    // old ones is overwritten: a full disk refuses here, with the file whole.
    if (regular && size > 0) ok = ::posix_fallocate(fd, 0, size) == 0;
    const int flags = ::fcntl(fd, F_GETFL);
    if (ok && flags != -1) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    char buf[65536];
    for (off_t at = 0; ok && at < size;) {
        const std::size_t n = std::fread(buf, 1, sizeof buf, file_);
        if (n == 0) ok = false;
        for (std::size_t done = 0; ok && done < n;) {
            const ssize_t w = regular ? ::pwrite(fd, buf + done, n - done, at) : ::write(fd, buf + done, n - done);
            if (w <= 0) ok = false;
            else done += static_cast<std::size_t>(w), at += w;
        }
    }
    if (ok && regular) ok = ::ftruncate(fd, size) == 0 && ::fsync(fd) == 0;
    return ::close(fd) == 0 && ok;
}

bool SafeFileWriter::commit() {
    if (file_ == nullptr) return false;
    bool ok = std::fflush(file_) == 0 && std::ferror(file_) == 0;
    if (staged_) {
        ok = ok && copyIntoTarget();
    } else {
        // The new contents are on the disk before they replace anything.
        ok = ok && ::fsync(::fileno(file_)) == 0;
        ok = std::fclose(file_) == 0 && ok;
        file_ = nullptr;
        ok = ok && ::rename(temp_.c_str(), target_.c_str()) == 0;
        if (ok) {
            temp_.clear();
            syncFolder(target_);
        }
    }
    discard();
    return ok;
}

void SafeFileWriter::discard() {
    if (file_ != nullptr) {
        std::fclose(file_);
        file_ = nullptr;
    }
    if (!temp_.empty()) {
        ::unlink(temp_.c_str());
        temp_.clear();
    }
    target_.clear();
    staged_ = false;
}

}  // namespace zemcal::files
