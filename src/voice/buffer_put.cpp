// Buffer: storing a frame, and the delay estimate that sets the depth.
#include <algorithm>
#include <utility>

#include "voice/buffer.h"

namespace {

constexpr int kMarkSpacing = 100;
constexpr int kMarkCycle = 1000;  // sequence numbers covered by the ten marks

int markIndex(std::int32_t sequence) {
    return (sequence % kMarkCycle) / kMarkSpacing;
}

}  // namespace

int Buffer::put(VoiceFramePtr& frame, std::int32_t sequence, std::uint32_t timestamp, std::int32_t length,
                std::int32_t* lengthOut, std::uint32_t arrival) {
    platform::LockGuard guard(mLock);
    // Nothing outside the table and no frame that get could not copy whole.
    if (!mSlots || !frame || sequence < 0 || sequence >= kSlotCount || length < 1 || length > kFrameBytes) {
        return kRefused;
    }

    const int fill = fillLocked();
    if (!mStarted) {
        if (mFirstIndex == -1) {
            mFirstArrival = arrival;
            mFirstIndex = sequence;
        }
        if (mReadIndex == -1) mReadIndex = mFirstIndex;
        if (mHighestIndex != -1 && fill > targetLocked()) mStarted = 1;
    }
    if (mStarted && sequence % kMarkSpacing == 0) recordMark(sequence, arrival);

    // Below the read index is late, unless the timestamp says the sequence
    // has wrapped. An empty read slot has no timestamp to tell: there a
    // sequence more than half the table behind, and no older than the
    // newest frame, counts as wrapped. Otherwise a single loss at 65535
    // with playout caught up would refuse every later frame of the call,
    // or a stale frame would take the slot of a coming one.
    if (sequence < mReadIndex) {
        const BufferSlot& readSlot = mSlots[mReadIndex];
        const bool wrapped =
            mReadIndex - sequence > kSlotCount / 2 && static_cast<std::int32_t>(timestamp - mHighestTimestamp) >= 0;
        if (timestamp < readSlot.timestamp || (readSlot.timestamp == 0 && !wrapped)) return kRefused;
    }

    BufferSlot& slot = mSlots[sequence];
    if (slot.length != 0 || slot.data) return kRefused;

    if (mHighestIndex < sequence || mSlots[mHighestIndex].timestamp < timestamp) {
        mHighestIndex = sequence;
        mHighestTimestamp = timestamp;
    }
    slot.data = std::move(frame);
    slot.length = length;
    slot.timestamp = timestamp;
    ++mPacketCount;

    if (sequence != mFirstIndex) updateJitter(sequence, arrival);
    if (lengthOut) *lengthOut = length;
    return kStored;
}

void Buffer::recordMark(std::int32_t sequence, std::uint32_t arrival) {
    ArrivalMark& mark = mHistory.marks[markIndex(sequence)];
    mark.relativeArrival = arrival - mFirstArrival;
    mark.sequence = sequence;
}

// How much later than a steady 20 ms per sequence number, counted from the
// newest nearby mark, this frame came. The depth is the worst of the last
// 2500 such delays.
void Buffer::updateJitter(std::int32_t sequence, std::uint32_t arrival) {
    auto& marks = mHistory.marks;
    const int k = markIndex(sequence);
    if (marks[k].relativeArrival == 0) return;

    // Mark k may be left over from the previous thousand: walk down to the
    // newest mark.
    int m = k;
    if (k == 0 && marks[0].relativeArrival < marks[BufferHistory::kMarkCount - 1].relativeArrival) {
        m = BufferHistory::kMarkCount - 1;
    } else {
        for (int i = k; i > 0 && marks[i].relativeArrival < marks[i - 1].relativeArrival; --i) m = i - 1;
    }
    ArrivalMark& reference = marks[m];

    std::int32_t distance = sequence - reference.sequence;
    if (distance >= 50000 || distance <= -50000) distance += kSlotCount;

    // Millisecond clocks wrap; the difference is taken modulo 2^32.
    const std::uint32_t expected =
        mFirstArrival + reference.relativeArrival + static_cast<std::uint32_t>(kFrameMs * distance);
    std::int32_t delay = static_cast<std::int32_t>(arrival - expected);
    if (delay < 0) {
        // Earlier than the mark predicts: the reference follows the
        // fastest path seen.
        reference.relativeArrival += static_cast<std::uint32_t>(delay);
        delay = 0;
    }

    const auto frames = static_cast<std::uint32_t>((static_cast<std::int64_t>(delay) + 5) / kFrameMs);
    mJitterFrames = static_cast<std::int32_t>(
        mHistory.record(static_cast<int>(mPacketCount % BufferHistory::kRingLength), frames));
}

std::uint32_t BufferHistory::record(int index, std::uint32_t delay) {
    const std::uint32_t replaced = std::exchange(ring[index], delay);
    if (delay >= worst) {
        worst = delay;
    } else if (replaced == worst) {
        worst = *std::max_element(ring.begin(), ring.end());
    }
    return worst;
}
