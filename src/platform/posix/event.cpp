#include "platform/event.h"

#include <chrono>

namespace platform {

void ManualResetEvent::set() {
    std::lock_guard<std::mutex> lock(mMutex);
    mSet = true;
    mChanged.notify_all();
}

void ManualResetEvent::reset() {
    std::lock_guard<std::mutex> lock(mMutex);
    mSet = false;
}

bool ManualResetEvent::isSet() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSet;
}

bool ManualResetEvent::wait(unsigned timeoutMs) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return mSet; });
}

}  // namespace platform
