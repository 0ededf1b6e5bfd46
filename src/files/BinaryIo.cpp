// Opening calibration files for reading.
#include "files/BinaryIo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace zemcal::files {

bool InputFile::open(const char* path) {
    close();
    if (path == nullptr) return false;
    // O_NONBLOCK keeps the open itself from waiting for a writer on a FIFO;
    // the type check below then turns such a path away.
    const int fd = ::open(path, O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK);
    if (fd < 0) return false;
    struct stat st {};
    if (::fstat(fd, &st) != 0 || !S_ISREG(st.st_mode)) {
        ::close(fd);
        return false;
    }
    // Regular files ignore O_NONBLOCK; drop it anyway so the stream is an
    // ordinary blocking one.
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags != -1) ::fcntl(fd, F_SETFL, flags & ~O_NONBLOCK);
    f_ = ::fdopen(fd, "rb");
    if (f_ == nullptr) {
        ::close(fd);
        return false;
    }
    size_ = static_cast<std::int64_t>(st.st_size);
    return true;
}

bool InputFile::close() {
    if (f_ == nullptr) return false;
    const bool closed = std::fclose(f_) == 0;
    f_ = nullptr;
    return closed;
}

}  // namespace zemcal::files
