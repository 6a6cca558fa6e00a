// The one lock kind of the engines: a recursive critical section.
#pragma once

#include <mutex>

namespace platform {

// Every critical section of the engines may be re-entered by its holder
// (the signal lock is taken again by MGCP's post on the same thread), so
// all of them are recursive.
class RecursiveLock {
public:
    void lock() { mMutex.lock(); }
    void unlock() { mMutex.unlock(); }
    bool try_lock() { return mMutex.try_lock(); }

private:
    std::recursive_mutex mMutex;
};

using LockGuard = std::lock_guard<RecursiveLock>;

}  // namespace platform
