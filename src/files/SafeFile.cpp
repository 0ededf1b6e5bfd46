// SafeFileWriter: temporary file beside the target, fsync, rename over it.
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
    if (!exists) {
        // A new file, unless the path is a dangling symbolic link (or cannot
        // be looked up at all): then "wb" decides, creating the file the link
        // names or failing.
        struct stat link {};
        if (errno != ENOENT || ::lstat(path, &link) == 0) return openInPlace(path);
        target = path;
    } else {
        if (!S_ISREG(old.st_mode) || old.st_nlink > 1) return openInPlace(path);
        // A file this process may not open for writing is not replaced either:
        // the save fails, as a plain open would, and the file stays as it is.
        const int probe = ::open(path, O_WRONLY | O_CLOEXEC | O_NOCTTY);
        if (probe < 0) return false;
        ::close(probe);
        // Through symbolic links to the file itself, so the links survive.
        std::unique_ptr<char, void (*)(void*)> real(::realpath(path, nullptr), &std::free);
        if (!real) return openInPlace(path);
        target = real.get();
    }

    int fd = createTemporary(target, temp_);
    if (fd >= 0 && exists && !copyOwnership(fd, old)) {
        ::close(fd);
        ::unlink(temp_.c_str());
        fd = -1;
    }
    if (fd < 0) {
        temp_.clear();
        return openInPlace(path);
    }
    file_ = ::fdopen(fd, "wb");
    if (file_ == nullptr) {
        ::close(fd);
        discard();
        return false;
    }
    target_ = target;
    return true;
}

bool SafeFileWriter::openInPlace(const char* path) {
    file_ = std::fopen(path, "wb");
    return file_ != nullptr;
}

bool SafeFileWriter::commit() {
    if (file_ == nullptr) return false;
    const bool replacing = !temp_.empty();
    bool ok = std::fflush(file_) == 0 && std::ferror(file_) == 0;
    // The new contents are on the disk before they replace anything.
    if (replacing) ok = ok && ::fsync(::fileno(file_)) == 0;
    ok = std::fclose(file_) == 0 && ok;
    file_ = nullptr;
    if (replacing) {
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
}

}  // namespace zemcal::files
