#include "platform/wave_stream.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"

namespace platform {

namespace {
class SystemWaveClock final : public WaveClock {
public:
    std::uint64_t nowUs() const override {
        // The counter's rate is the system's: nanoseconds here, the
        // performance counter's on Windows.
        const std::uint64_t ticks = monotonicTicks();
        const std::uint64_t rate = ticksPerSecond();
        return ticks / rate * 1000000u + ticks % rate * 1000000u / rate;
    }
};
}  // namespace

const WaveClock& systemWaveClock() {
    static const SystemWaveClock clock;
    return clock;
}

bool isPlayablePcm(const WaveFormat& f) {
    if (f.formatTag != 1 || f.channels == 0 || f.channels > 8) return false;
    if (f.bitsPerSample != 8 && f.bitsPerSample != 16) return false;
    if (f.samplesPerSec < 1000 || f.samplesPerSec > 192000) return false;
    return f.blockAlign == f.channels * f.bitsPerSample / 8 && f.avgBytesPerSec == f.samplesPerSec * f.blockAlign;
}

WaveFormat pcmFormat(int bits, int rate, int channels) {
    WaveFormat f;
    f.formatTag = 1;
    f.channels = static_cast<std::uint16_t>(channels);
    f.samplesPerSec = static_cast<std::uint32_t>(rate);
    f.bitsPerSample = static_cast<std::uint16_t>(bits);
    f.blockAlign = static_cast<std::uint16_t>(channels * bits / 8);
    f.avgBytesPerSec = f.samplesPerSec * f.blockAlign;
    return f;
}

WaveStream::WaveStream(WaveDirection direction, const WaveFormat& format, WaveCallback callback, void* user,
                       const WaveClock& clock, std::uint32_t periodBytes, std::uint64_t maxLeadUs)
    : mDirection(direction),
      mFormat(format),
      mCallback(callback),
      mUser(user),
      mClock(clock),
      mPeriodBytes(std::max<std::uint32_t>(periodBytes - periodBytes % std::max<std::uint16_t>(format.blockAlign, 1),
                                           std::max<std::uint16_t>(format.blockAlign, 1))),
      mMaxLeadUs(maxLeadUs),
      mScratch(mPeriodBytes) {}

WaveStream::~WaveStream() {
    // Derived classes close before their members go; this is the last guard.
    WaveStream::close();
}

bool WaveStream::launch() {
    if (!mThread.createSuspended([this] { run(); })) return false;
    mThread.resume();
    return true;
}

int WaveStream::prepare(WaveHeader& header) {
    if (header.data == nullptr || header.length == 0) return kWaveError;
    header.prepared = true;
    header.done = false;
    return kWaveOk;
}

int WaveStream::unprepare(WaveHeader& header) {
    if (header.queued.load()) return kWaveStillPlaying;
    header.prepared = false;
    return kWaveOk;
}

int WaveStream::write(WaveHeader& header) {
    if (!header.prepared.load()) return kWaveUnprepared;
    if (header.data == nullptr || header.length == 0) return kWaveError;
    std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed || mClosing) return kWaveInvalidHandle;
    if (mLost) return kWaveNoDriver;
    if (header.queued.load()) return kWaveStillPlaying;
    if (mCount == kQueueSlots) return kWaveNoMemory;
    header.done = false;
    header.bytesRecorded = 0;
    header.queued = true;
    mQueue[(mHead + mCount) % kQueueSlots] = &header;
    ++mCount;
    mWake.notify_all();
    return kWaveOk;
}

int WaveStream::start() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed || mClosing) return kWaveInvalidHandle;
    if (mLost) return kWaveNoDriver;
    mStarted = true;
    mWake.notify_all();
    return kWaveOk;
}

int WaveStream::stop() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mClosed || mClosing) return kWaveInvalidHandle;
    mStarted = false;
    mWake.notify_all();
    return kWaveOk;
}

int WaveStream::reset() {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mClosed || mClosing) return kWaveInvalidHandle;
    // The callback runs on our thread; it can't wait for itself.
    if (mThread.isCurrent()) return kWaveError;
    if (mDirection == WaveDirection::Input) mStarted = false;
    const std::uint64_t target = mResets + 1;
    mResetPending = true;
    mInterrupt = true;
    mWake.notify_all();
    // Bounded: the thread answers within one period unless the device hangs.
    bool answered = mResetDone.wait_for(lock, std::chrono::seconds(2), [&] { return mResets >= target; });
    return answered ? kWaveOk : kWaveError;
}

int WaveStream::close() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        if (mClosed) return kWaveInvalidHandle;
        if (mThread.isCurrent()) return kWaveError;
        mClosing = true;
        mInterrupt = true;
        mWake.notify_all();
    }
    mThread.join();
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mClosed) {
        mClosed = true;
        release();
    }
    return kWaveOk;
}

bool WaveStream::active() const {
    if (mLost) return false;
    return mDirection == WaveDirection::Output ? mCount > 0 : mStarted;
}

void WaveStream::finish(WaveHeader* header) {
    header->queued = false;
    if (mDirection == WaveDirection::Output) {
        // The device no longer reads the buffer: its owner may refill it now.
        header->done = true;
        mCallback(WaveMessage::Done, header, mUser);
    } else {
        // The owner requeues on the done mark, so the data must have been
        // handed over first.
        mCallback(WaveMessage::Data, header, mUser);
        header->done = true;
    }
}

void WaveStream::flush(std::unique_lock<std::mutex>& lock) {
    while (mCount > 0) {
        WaveHeader* header = mQueue[mHead];
        mHead = (mHead + 1) % kQueueSlots;
        --mCount;
        lock.unlock();
        finish(header);
        lock.lock();
    }
    mOffset = 0;
}

void WaveStream::pace(std::unique_lock<std::mutex>& lock, std::uint64_t deadlineUs) {
    while (!mClosing && !mResetPending) {
        const std::uint64_t now = mClock.nowUs();
        if (now >= deadlineUs) return;
        auto wait = std::chrono::microseconds(mClock.stepped() ? 1000 : deadlineUs - now);
        mWake.wait_for(lock, wait);
    }
}

void WaveStream::run() {
    mCallback(WaveMessage::Open, nullptr, mUser);
    std::unique_lock<std::mutex> lock(mMutex);
    bool streaming = false;
    std::uint64_t streamStartUs = 0;
    std::uint64_t streamBytes = 0;
    while (!mClosing) {
        if (mResetPending) {
            flush(lock);
            streaming = false;
            lock.unlock();
            halted(true);
            lock.lock();
            mResetPending = false;
            mInterrupt = mClosing;
            ++mResets;
            mResetDone.notify_all();
            continue;
        }
        if (!active()) {
            if (streaming) {
                streaming = false;
                lock.unlock();
                halted(mDirection == WaveDirection::Input);
                lock.lock();
                continue;
            }
            mWake.wait(lock);
            continue;
        }
        WaveHeader* header = mCount > 0 ? mQueue[mHead] : nullptr;
        char* data = mScratch.data();
        std::uint32_t bytes = mPeriodBytes;
        if (header != nullptr) {
            data = header->data + mOffset;
            bytes = std::min(mPeriodBytes, header->length - mOffset);
            bytes -= bytes % mFormat.blockAlign;
        }
        if (!streaming) {
            streaming = true;
            streamStartUs = mClock.nowUs();
            streamBytes = 0;
        }
        lock.unlock();
        Transfer result = bytes > 0 ? transfer(data, bytes) : Transfer::Ok;
        lock.lock();
        if (result == Transfer::Interrupted) continue;
        if (result == Transfer::Lost) {
            mLost = true;
            flush(lock);
            continue;
        }
        streamBytes += bytes;
        if (header != nullptr && mCount > 0 && mQueue[mHead] == header) {
            mOffset += bytes;
            if (mDirection == WaveDirection::Input) header->bytesRecorded = mOffset;
            // A rest smaller than one block can't be moved: the buffer is done.
            if (header->length - mOffset < mFormat.blockAlign) {
                mHead = (mHead + 1) % kQueueSlots;
                --mCount;
                mOffset = 0;
                lock.unlock();
                finish(header);
                lock.lock();
            }
        }
        const std::uint64_t playedUs = streamBytes * 1000000u / mFormat.avgBytesPerSec;
        const std::uint64_t deadline = streamStartUs + playedUs;
        if (deadline > mMaxLeadUs) pace(lock, deadline - mMaxLeadUs);
    }
    lock.unlock();
    mCallback(WaveMessage::Close, nullptr, mUser);
}

}  // namespace platform
