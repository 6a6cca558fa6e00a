#include "library_loader.h"

#include <windows.h>

namespace client {

std::string libraryBesideThisProgram() {
    // The path may be longer than MAX_PATH: the buffer grows until it fits.
    std::string self(MAX_PATH, '\0');
    for (;;) {
        const DWORD n = ::GetModuleFileNameA(nullptr, self.data(), static_cast<DWORD>(self.size()));
        if (n == 0) return {};
        if (n < self.size()) {
            self.resize(n);
            break;
        }
        if (self.size() >= 32768) return {};
        self.resize(self.size() * 2);
    }
    const std::string::size_type slash = self.find_last_of("\\/");
    if (slash == std::string::npos) return {};
    const std::string candidate = self.substr(0, slash + 1) + "softphone.dll";
    const DWORD attributes = ::GetFileAttributesA(candidate.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0) return {};
    return candidate;
}

void* openLibrary(const std::string& path, std::string& error) {
    HMODULE library = ::LoadLibraryA(path.c_str());
    if (library == nullptr) error = "LoadLibrary failed with error " + std::to_string(::GetLastError());
    return reinterpret_cast<void*>(library);
}

void* findExport(void* library, const char* name) {
    // Through a function type of no arguments, which every export converts
    // from without a warning about their differing signatures.
    return reinterpret_cast<void*>(reinterpret_cast<void (*)()>(::GetProcAddress(static_cast<HMODULE>(library), name)));
}

void closeLibrary(void* library) {
    ::FreeLibrary(static_cast<HMODULE>(library));
}

}  // namespace client
