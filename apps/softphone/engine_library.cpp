#include "engine_library.h"

#include <dlfcn.h>
#include <unistd.h>

#include <climits>

namespace client {

namespace {

// The library beside this program (a build folder), or in the installed
// package's library folder next to its bin/.
std::string besideThisProgram() {
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

}  // namespace

EngineLibrary::~EngineLibrary() {
    if (mHandle != nullptr) ::dlclose(mHandle);
}

bool EngineLibrary::load(const std::string& path) {
    mPath = path;
    if (mPath.empty()) mPath = besideThisProgram();
#ifdef SOFTPHONE_LIBRARY_PATH
    if (mPath.empty()) mPath = SOFTPHONE_LIBRARY_PATH;
#endif
    mHandle = ::dlopen(mPath.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (mHandle == nullptr) {
        const char* why = ::dlerror();
        mError = why != nullptr ? why : "dlopen failed";
        return false;
    }
#define CLIENT_RESOLVE(name)                                                     \
    mEngine.name = reinterpret_cast<decltype(&::name)>(::dlsym(mHandle, #name)); \
    if (mEngine.name == nullptr) {                                               \
        mError = "export " #name " is missing";                                  \
        return false;                                                            \
    }
    CLIENT_EXPORTS(CLIENT_RESOLVE)
#undef CLIENT_RESOLVE
    return true;
}

}  // namespace client
