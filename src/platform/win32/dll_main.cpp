// The library's attach and detach notifications. The C runtime fills the
// key tables (static construction) before the attach reaches here, and runs
// the library's teardown (static destruction: the CallProcessor stopped,
// its threads joined) after the detach has been noted here, so the joins of
// that teardown know to be bounded.
#include <windows.h>

#include <atomic>

#include "platform/win32/process_state.h"

namespace platform::win32 {

namespace {
std::atomic<bool> gDetaching{false};
std::atomic<bool> gProcessEnding{false};
}  // namespace

bool libraryDetaching() {
    return gDetaching.load();
}

bool processEnding() {
    return gProcessEnding.load();
}

}  // namespace platform::win32

extern "C" BOOL WINAPI DllMain(HINSTANCE instance, DWORD reason, LPVOID reserved) {
    switch (reason) {
        case DLL_PROCESS_ATTACH:
            // No thread notifications: the library keeps nothing per thread
            // that needs them. Load always succeeds.
            ::DisableThreadLibraryCalls(instance);
            break;
        case DLL_PROCESS_DETACH:
            // A non-null `reserved` is process exit; null is FreeLibrary.
            if (reserved != nullptr) platform::win32::gProcessEnding = true;
            platform::win32::gDetaching = true;
            break;
        default:
            break;
    }
    return TRUE;
}
