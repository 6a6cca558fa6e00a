#include "platform/file.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

OutputFile::~OutputFile() {
    close();
}

bool OutputFile::create(const char* path) {
    close();
    // No user-space buffer stands between a line and the system: once
    // write() returns, a crash of the process loses nothing and a viewer
    // following the file sees the line.
    mFd = ::open(path, O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    return mFd >= 0;
}

bool OutputFile::seekToEnd() {
    return mFd >= 0 && ::lseek(mFd, 0, SEEK_END) >= 0;
}

bool OutputFile::write(const char* data, std::size_t length) {
    if (mFd < 0) return false;
    while (length > 0) {
        ssize_t n = ::write(mFd, data, length);
        if (n < 0) {
            if (errno == EINTR) continue;
            return false;
        }
        data += n;
        length -= static_cast<std::size_t>(n);
    }
    return true;
}

void OutputFile::close() {
    if (mFd >= 0) ::close(mFd);
    mFd = -1;
}

}  // namespace platform
