#include "library_loader.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

namespace client {

std::string libraryBesideThisProgram() {
    char self[PATH_MAX];
    const ssize_t n = ::readlink("/proc/self/exe", self, sizeof self - 1);
    if (n <= 0) return {};
    std::string dir(self, static_cast<std::size_t>(n));
    dir.erase(dir.rfind('/') + 1);
    for (const std::string& candidate : {dir + "libsoftphone.so",
#ifdef SOFTPHONE_LIBDIR_FROM_BIN
                                         dir + SOFTPHONE_LIBDIR_FROM_BIN "/libsoftphone.so.1",
#endif
                                         std::string()}) {
        if (!candidate.empty() && ::access(candidate.c_str(), R_OK) == 0) return candidate;
    }
    return {};
}

void* openLibrary(const std::string& path, std::string& error) {
    void* library = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (library == nullptr) {
        const char* why = ::dlerror();
        error = why != nullptr ? why : "dlopen failed";
    }
    return library;
}

void* findExport(void* library, const char* name) {
    return ::dlsym(library, name);
}

void closeLibrary(void* library) {
    ::dlclose(library);
}

}  // namespace client
