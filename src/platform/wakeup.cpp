#include "platform/wakeup.h"

namespace platform {

bool Wakeup::waitUntil(std::uint64_t deadlineMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mWoken && mClock.monotonicMs() < deadlineMs) mClock.waitUntil(mChanged, lock, deadlineMs);
    const bool woken = mWoken;
    mWoken = false;
    return woken;
}

bool Wakeup::waitFor(unsigned milliseconds) {
    return waitUntil(mClock.monotonicMs() + milliseconds);
}

void Wakeup::wake() {
    std::lock_guard<std::mutex> lock(mMutex);
    mWoken = true;
    mChanged.notify_all();
}

}  // namespace platform
