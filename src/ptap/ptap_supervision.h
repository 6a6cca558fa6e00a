// The watch on the link: the server's keepalive requests must keep coming
// within the time-out it gave. Pure: time comes in as `now`, in milliseconds
// of a monotonic clock. Its fields are atomics, since the socket thread
// stamps them while the keepalive thread reads them.
#pragma once

#include <atomic>
#include <cstdint>
#include <limits>

namespace ptap {

class KeepaliveSupervisor {
public:
    static constexpr std::uint64_t kNever = std::numeric_limits<std::uint64_t>::max();

    struct Poll {
        bool timedOut = false;
        std::uint32_t runningSeconds = 0;  // whole seconds of silence, when armed
    };

    // Not armed, no threshold, no contact: the state at each start.
    void reset();
    // Tag 0x1A: the threshold in seconds, and a contact now.
    void setTimeout(std::uint8_t seconds, std::uint64_t nowMs);
    // A keepalive request arrived.
    void stampContact(std::uint64_t nowMs);
    void forgetContact() { mLastContactMs = kNoContact; }
    void disarm() { mArmed = false; }

    // One look at the silence. Not armed: arms once a threshold and a
    // contact are known, and says nothing else. Armed: times out when the
    // whole seconds since the last contact pass the threshold.
    Poll poll(std::uint64_t nowMs);

    // When a poll can next tell something new: the moment the silence
    // passes the threshold (its whole second included); at once while a
    // threshold and a contact wait to arm it; never while they are missing,
    // since only a new time-out or contact can change that.
    std::uint64_t nextPollMs() const;

    bool armed() const { return mArmed.load(); }
    std::uint32_t threshold() const { return mThreshold.load(); }
    bool hasContact() const { return mLastContactMs.load() != kNoContact; }

private:
    static constexpr std::uint64_t kNoContact = kNever;

    std::atomic<std::uint32_t> mThreshold{0};
    std::atomic<std::uint64_t> mLastContactMs{kNoContact};
    std::atomic<bool> mArmed{false};
};

}  // namespace ptap
