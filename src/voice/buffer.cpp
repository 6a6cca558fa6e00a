// Buffer: lifecycle, clearing and the derived state (fill, target, limit).
#include "voice/buffer.h"

#include <cstring>
#include <new>

#include "common/tracer.h"

BufferHistory& BufferHistory::processWide() {
    static BufferHistory history;
    return history;
}

bool Buffer::isLossMarker(const void* frame) {
    return std::memcmp(frame, kLossMarker.data(), kLossMarker.size()) == 0;
}

Buffer::Buffer() : Buffer(BufferHistory::processWide()) {}

Buffer::Buffer(BufferHistory& history) : mHistory(history) {
    Tracer::instance()->trace(kTraceStatus, "[BUFFER] Module created");
}

Buffer::~Buffer() {
    shutdown();
    Tracer::instance()->trace(kTraceStatus, "[BUFFER] Module destroyed");
}

int Buffer::start() {
    {
        platform::LockGuard guard(mLock);
        clearMarks();
        Tracer::instance()->trace(kTraceStatus, "[BUFFER] Module starting");
        mReadIndex = -1;
        mStarted = 0;
        mHighestIndex = -1;
        mHighestTimestamp = 0;
        mFirstIndex = -1;
        mFirstArrival = 0;
        mJitterFrames = 0;
        mPacketCount = 0;
        if (mSlots) return 0;
        mSlots.reset(new (std::nothrow) BufferSlot[kSlotCount]);
        if (mSlots) {
            clear(0, kSlotCount, true, true);
            return 0;
        }
        Tracer::instance()->trace(kTraceCritical,
                                  "[BUFFER :: CRITICAL ERROR] Object creation failed - Buffer Container");
    }
    shutdown();
    return 1;
}

int Buffer::shutdown() {
    platform::LockGuard guard(mLock);
    if (mSlots) {
        clear(0, kSlotCount, true, false);
        mSlots.reset();
        Tracer::instance()->trace(kTraceStatus, "[BUFFER] Module shutdown");
    }
    return 0;
}

int Buffer::clear(std::int32_t first, std::int32_t last, bool resetState, bool wipe) {
    platform::LockGuard guard(mLock);
    if (mSlots) {
        if (wipe) {
            // Meant for a table just allocated; the owning slots make sure
            // that a frame found here anyway is freed, not lost.
            for (int i = 0; i < kSlotCount; ++i) mSlots[i] = BufferSlot{};
        } else {
            first = first < 0 ? 0 : (first >= kSlotCount ? kSlotCount - 1 : first);
            last = last < 0 ? 0 : (last > kSlotCount ? kSlotCount : last);
            if (last >= first) {
                for (int i = first; i < last; ++i) emptySlot(i);
            } else {
                for (int i = first; i < kSlotCount; ++i) emptySlot(i);
                for (int i = 0; i < last; ++i) emptySlot(i);
            }
        }
    }
    if (resetState) {
        // The delay history stays: the next call starts at the depth that
        // this one reached.
        mReadIndex = -1;
        mHighestIndex = -1;
        mHighestTimestamp = 0;
        mFirstIndex = -1;
        mStarted = 0;
        clearMarks();
    }
    return 0;
}

// Most slots a clear walks are empty already; they are only read.
void Buffer::emptySlot(int index) {
    BufferSlot& slot = mSlots[index];
    if (slot.data || slot.length != 0 || slot.timestamp != 0 || slot.held != 0) slot = BufferSlot{};
}

void Buffer::clearMarks() {
    mHistory.marks.fill(ArrivalMark{});
}

// Frames from the read index up to the newest one; 0 counts as empty.
int Buffer::fillLocked() const {
    if (!mSlots || mReadIndex < 0 || mHighestIndex < 0) return 0;
    int fill = mHighestIndex - mReadIndex + 1;
    if (fill < 0 && mSlots[mReadIndex].timestamp < mSlots[mHighestIndex].timestamp) {
        // The newest frame has wrapped past slot 65535.
        fill = kSlotCount + 1 - (mReadIndex - mHighestIndex);
    }
    return fill < 1 ? 0 : fill;
}

int Buffer::targetLocked() const {
    if (mJitterFrames < 1) return 1;
    if (mJitterFrames > 1000) return 1000;
    return mJitterFrames;
}

int Buffer::limitLocked() const {
    return targetLocked() + (mJitterFrames < 36 ? 10 : 30);
}

int Buffer::readIndex() const {
    platform::LockGuard guard(mLock);
    return mReadIndex;
}

int Buffer::highestIndex() const {
    platform::LockGuard guard(mLock);
    return mHighestIndex;
}

bool Buffer::started() const {
    platform::LockGuard guard(mLock);
    return mStarted != 0;
}

int Buffer::jitterFrames() const {
    platform::LockGuard guard(mLock);
    return mJitterFrames;
}

int Buffer::targetFrames() const {
    platform::LockGuard guard(mLock);
    return targetLocked();
}

int Buffer::limitFrames() const {
    platform::LockGuard guard(mLock);
    return limitLocked();
}

int Buffer::fill() const {
    platform::LockGuard guard(mLock);
    return fillLocked();
}

std::uint32_t Buffer::packetCount() const {
    platform::LockGuard guard(mLock);
    return mPacketCount;
}
