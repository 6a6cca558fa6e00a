#include "platform/input_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>

namespace platform {

bool readWholeFile(const std::string& path, std::size_t maxBytes, std::vector<std::uint8_t>& out) {
    // Not blocking: a FIFO or device under the name must not hang the caller;
    // it is refused below as no regular file.
    int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return false;
    struct stat st {};
    bool ok = ::fstat(fd, &st) == 0 && S_ISREG(st.st_mode) && static_cast<std::uint64_t>(st.st_size) <= maxBytes;
    if (ok) {
        out.resize(static_cast<std::size_t>(st.st_size));
        std::size_t got = 0;
        while (got < out.size()) {
            ssize_t n = ::read(fd, out.data() + got, out.size() - got);
            if (n < 0 && errno == EINTR) continue;
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        // A file that shrank while read is taken as far as it goes.
        out.resize(got);
    }
    ::close(fd);
    return ok;
}

}  // namespace platform
