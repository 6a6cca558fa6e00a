#include "platform/event.h"

#include <windows.h>

namespace platform {

// The event is made without its name: a named kernel object would be shared
// by every process that loads the library, and one instance would then set
// another's events. The name stays for the traces.
void* ManualResetEvent::handle() const {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mHandle == nullptr) mHandle = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    return mHandle;
}

ManualResetEvent::~ManualResetEvent() {
    if (mHandle != nullptr) ::CloseHandle(mHandle);
}

void ManualResetEvent::set() {
    if (void* h = handle()) ::SetEvent(h);
}

void ManualResetEvent::reset() {
    if (void* h = handle()) ::ResetEvent(h);
}

bool ManualResetEvent::isSet() const {
    void* h = handle();
    return h != nullptr && ::WaitForSingleObject(h, 0) == WAIT_OBJECT_0;
}

bool ManualResetEvent::wait(unsigned timeoutMs) const {
    void* h = handle();
    if (h == nullptr) {
        // No event object could be made: the wait still takes its time, so
        // a caller polling in a loop does not spin.
        ::Sleep(timeoutMs);
        return false;
    }
    // INFINITE is all ones; a caller's largest bound stays a bound.
    const DWORD limit = timeoutMs == INFINITE ? INFINITE - 1 : timeoutMs;
    return ::WaitForSingleObject(h, limit) == WAIT_OBJECT_0;
}

}  // namespace platform
