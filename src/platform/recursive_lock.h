// The one lock kind of the engines: a recursive critical section.
#pragma once

#include <mutex>

namespace platform {

// Every critical section of the engines may be re-entered by its holder
// (the signal lock is taken again by MGCP's post on the same thread), so
// all of them are recursive.
#if defined(_WIN32)
// Windows: the system's critical section, kept in place here so that no
// engine sees the system's headers.
class RecursiveLock {
public:
    RecursiveLock();
    ~RecursiveLock();
    RecursiveLock(const RecursiveLock&) = delete;
    RecursiveLock& operator=(const RecursiveLock&) = delete;
    void lock();
    void unlock();
    bool try_lock();

private:
    alignas(void*) unsigned char mSection[sizeof(void*) == 8 ? 40 : 24];
};
#else
class RecursiveLock {
public:
    void lock() { mMutex.lock(); }
    void unlock() { mMutex.unlock(); }
    bool try_lock() { return mMutex.try_lock(); }

private:
    std::recursive_mutex mMutex;
};
#endif

using LockGuard = std::lock_guard<RecursiveLock>;

}  // namespace platform
