#include "platform/input_file.h"

#include <windows.h>

namespace platform {

bool readWholeFile(const std::string& path, std::size_t maxBytes, std::vector<std::uint8_t>& out) {
    HANDLE h = ::CreateFileA(path.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE,
                             nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    // Only a file on disk: a pipe or device under the name is refused rather
    // than read without end.
    LARGE_INTEGER size{};
    bool ok = ::GetFileType(h) == FILE_TYPE_DISK && ::GetFileSizeEx(h, &size) && size.QuadPart >= 0 &&
              static_cast<std::uint64_t>(size.QuadPart) <= maxBytes;
    if (ok) {
        out.resize(static_cast<std::size_t>(size.QuadPart));
        std::size_t got = 0;
        while (got < out.size()) {
            DWORD n = 0;
            const std::size_t left = out.size() - got;
            const DWORD chunk = left > 0x40000000u ? 0x40000000u : static_cast<DWORD>(left);
            if (!::ReadFile(h, out.data() + got, chunk, &n, nullptr) || n == 0) break;
            got += n;
        }
        // A file that shrank while read is taken as far as it goes.
        out.resize(got);
    }
    ::CloseHandle(h);
    return ok;
}

}  // namespace platform
