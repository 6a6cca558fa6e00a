#include "ptap/ptap_supervision.h"

namespace ptap {

void KeepaliveSupervisor::reset() {
    mArmed = false;
    mThreshold = 0;
    mLastContactMs = kNoContact;
}

void KeepaliveSupervisor::setTimeout(std::uint8_t seconds, std::uint64_t nowMs) {
    mThreshold = seconds;
    mLastContactMs = nowMs;
}

void KeepaliveSupervisor::stampContact(std::uint64_t nowMs) {
    mLastContactMs = nowMs;
}

KeepaliveSupervisor::Poll KeepaliveSupervisor::poll(std::uint64_t nowMs) {
    Poll result;
    const std::uint64_t last = mLastContactMs.load();
    if (!mArmed.load()) {
        if (mThreshold.load() != 0 && last != kNoContact) mArmed = true;
        return result;
    }
    if (last == kNoContact || nowMs < last) return result;
    const std::uint64_t seconds = (nowMs - last) / 1000;
    result.runningSeconds = seconds > std::numeric_limits<std::uint32_t>::max()
                                ? std::numeric_limits<std::uint32_t>::max()
                                : static_cast<std::uint32_t>(seconds);
    result.timedOut = result.runningSeconds > mThreshold.load();
    return result;
}

std::uint64_t KeepaliveSupervisor::nextPollMs() const {
    const std::uint64_t last = mLastContactMs.load();
    if (last == kNoContact) return kNever;
    if (!mArmed.load()) return mThreshold.load() != 0 ? 0 : kNever;
    return last + (static_cast<std::uint64_t>(mThreshold.load()) + 1) * 1000;
}

}  // namespace ptap
