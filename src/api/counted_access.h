// An export's use of a process-wide object, counted: the count goes up
// before the pointer is read, and retire clears the pointer before it reads
// the count (both sequentially consistent), so either the export sees null
// or retire sees the export and waits for it. Nothing is freed under a
// client thread that is still inside an export.
#pragma once

#include <atomic>

#include "platform/clock.h"

template <typename T>
class CountedAccess {
public:
    CountedAccess(const std::atomic<T*>& pointer, std::atomic<int>& users) : mUsers(users) {
        mUsers.fetch_add(1);
        mObject = pointer.load();
    }
    ~CountedAccess() { mUsers.fetch_sub(1); }
    CountedAccess(const CountedAccess&) = delete;
    CountedAccess& operator=(const CountedAccess&) = delete;

    T* get() const { return mObject; }
    explicit operator bool() const { return mObject != nullptr; }
    T* operator->() const { return mObject; }

    // Clears `pointer` and waits until no export still uses the old object,
    // which it gives back. An export never blocks for long inside these
    // objects, so the wait is short.
    static T* retire(std::atomic<T*>& pointer, const std::atomic<int>& users) {
        T* old = pointer.exchange(nullptr);
        while (users.load() != 0) platform::sleepMs(1);
        return old;
    }

private:
    std::atomic<int>& mUsers;
    T* mObject = nullptr;
};
