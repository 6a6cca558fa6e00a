// The part every wave backend shares: a thread per open device that takes
// queued buffers in order, moves them through the backend one period at a
// time, marks them done and reports them, paced by a clock so that a device
// that never blocks still runs in real time.
#pragma once

#include <array>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <vector>

#include "platform/thread.h"
#include "platform/wave_device.h"

namespace platform {

// Microseconds on a clock the virtual device can be handed for tests.
class WaveClock {
public:
    virtual ~WaveClock() = default;
    virtual std::uint64_t nowUs() const = 0;
    // A clock that moves only when a test steps it: waits poll it.
    virtual bool stepped() const { return false; }
};

const WaveClock& systemWaveClock();

class WaveStream : public WaveDevice {
public:
    WaveStream(WaveDirection direction, const WaveFormat& format, WaveCallback callback, void* user,
               const WaveClock& clock, std::uint32_t periodBytes, std::uint64_t maxLeadUs);
    ~WaveStream() override;

    // Starts the device's thread, which reports Open first.
    bool launch();

    int prepare(WaveHeader& header) override;
    int unprepare(WaveHeader& header) override;
    int write(WaveHeader& header) override;
    int start() override;
    int stop() override;
    int reset() override;
    int close() override;
    std::uint32_t xruns() const override { return mXruns.load(); }

protected:
    // Interrupted: nothing was moved, as a reset or close came first.
    enum class Transfer { Ok, Lost, Interrupted };
    // Moves one chunk (at most a period) to or from the device; may block
    // for about its duration.
    virtual Transfer transfer(char* data, std::uint32_t bytes) = 0;
    // The stream halted. `discard`: a reset or stop, and the device drops
    // what it still holds at once. Otherwise the queue ran dry: an output
    // plays what it holds to the end.
    virtual void halted(bool discard) { (void)discard; }
    // Runs once the thread has ended, to free the device itself.
    virtual void release() {}
    void countXrun() { mXruns.fetch_add(1); }
    // A reset or close waits: a transfer waiting for the device gives up.
    bool interrupted() const { return mInterrupt.load(); }
    WaveDirection direction() const { return mDirection; }
    const WaveFormat& format() const { return mFormat; }

private:
    static constexpr std::size_t kQueueSlots = 64;

    void run();
    bool active() const;
    void finish(WaveHeader* header);
    void flush(std::unique_lock<std::mutex>& lock);
    void pace(std::unique_lock<std::mutex>& lock, std::uint64_t deadlineUs);

    const WaveDirection mDirection;
    const WaveFormat mFormat;
    const WaveCallback mCallback;
    void* const mUser;
    const WaveClock& mClock;
    const std::uint32_t mPeriodBytes;
    const std::uint64_t mMaxLeadUs;

    std::mutex mMutex;
    std::condition_variable mWake;
    std::condition_variable mResetDone;
    // A fixed ring, so that queueing a buffer never allocates.
    std::array<WaveHeader*, kQueueSlots> mQueue{};
    std::size_t mHead = 0;
    std::size_t mCount = 0;
    std::uint32_t mOffset = 0;  // bytes of the front buffer already moved
    bool mStarted = false;
    bool mClosing = false;
    bool mLost = false;
    bool mResetPending = false;
    std::uint64_t mResets = 0;
    std::vector<char> mScratch;  // input read while no buffer is queued
    std::atomic<std::uint32_t> mXruns{0};
    std::atomic<bool> mInterrupt{false};
    Thread mThread;
    bool mClosed = false;
};

}  // namespace platform
