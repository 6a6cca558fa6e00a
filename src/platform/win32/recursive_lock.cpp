#include "platform/recursive_lock.h"

#include <windows.h>

#include <new>

namespace platform {

namespace {
CRITICAL_SECTION* section(unsigned char* storage) {
    return std::launder(reinterpret_cast<CRITICAL_SECTION*>(storage));
}
}  // namespace

RecursiveLock::RecursiveLock() {
    static_assert(sizeof(mSection) == sizeof(CRITICAL_SECTION), "the lock's storage must hold a critical section");
    static_assert(alignof(CRITICAL_SECTION) <= alignof(void*), "the lock's storage is aligned for a pointer");
    ::InitializeCriticalSection(new (mSection) CRITICAL_SECTION);
}

RecursiveLock::~RecursiveLock() {
    ::DeleteCriticalSection(section(mSection));
}

void RecursiveLock::lock() {
    ::EnterCriticalSection(section(mSection));
}

void RecursiveLock::unlock() {
    ::LeaveCriticalSection(section(mSection));
}

bool RecursiveLock::try_lock() {
    return ::TryEnterCriticalSection(section(mSection)) != 0;
}

}  // namespace platform
