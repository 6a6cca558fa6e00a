#include "engine_library.h"

#include "library_loader.h"

namespace client {

EngineLibrary::~EngineLibrary() {
    if (mHandle != nullptr) closeLibrary(mHandle);
}

bool EngineLibrary::load(const std::string& path) {
    mPath = path;
    if (mPath.empty()) mPath = libraryBesideThisProgram();
#ifdef SOFTPHONE_LIBRARY_PATH
    if (mPath.empty()) mPath = SOFTPHONE_LIBRARY_PATH;
#endif
    mHandle = openLibrary(mPath, mError);
    if (mHandle == nullptr) return false;
#define CLIENT_RESOLVE(name)                                                        \
    mEngine.name = reinterpret_cast<decltype(&::name)>(findExport(mHandle, #name)); \
    if (mEngine.name == nullptr) {                                                  \
        mError = "export " #name " is missing";                                     \
        return false;                                                               \
    }
    CLIENT_EXPORTS(CLIENT_RESOLVE)
#undef CLIENT_RESOLVE
    return true;
}

}  // namespace client
