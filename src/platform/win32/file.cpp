#include "platform/file.h"

#include <windows.h>

namespace platform {

namespace {
HANDLE asHandle(std::intptr_t fd) {
    return reinterpret_cast<HANDLE>(fd);
}
}  // namespace

OutputFile::~OutputFile() {
    close();
}

bool OutputFile::create(const char* path) {
    close();
    // Not buffered by the process: once WriteFile returns, a crash of the
    // process loses nothing and a viewer following the file sees the line.
    HANDLE h = ::CreateFileA(path, GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr, CREATE_ALWAYS,
                             FILE_ATTRIBUTE_NORMAL, nullptr);
    if (h == INVALID_HANDLE_VALUE) return false;
    mFd = reinterpret_cast<std::intptr_t>(h);
    return true;
}

bool OutputFile::seekToEnd() {
    if (mFd == -1) return false;
    return ::SetFilePointer(asHandle(mFd), 0, nullptr, FILE_END) != INVALID_SET_FILE_POINTER ||
           ::GetLastError() == NO_ERROR;
}

bool OutputFile::write(const char* data, std::size_t length) {
    if (mFd == -1) return false;
    while (length > 0) {
        const DWORD chunk = length > 0x40000000u ? 0x40000000u : static_cast<DWORD>(length);
        DWORD written = 0;
        if (!::WriteFile(asHandle(mFd), data, chunk, &written, nullptr) || written == 0) return false;
        data += written;
        length -= written;
    }
    return true;
}

void OutputFile::close() {
    if (mFd != -1) ::CloseHandle(asHandle(mFd));
    mFd = -1;
}

}  // namespace platform
