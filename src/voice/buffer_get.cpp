// Buffer: one playout tick. The fill against the target picks the regime:
// stretch (a concealed tick before a frame), one frame, a burst, or a drop.
#include <cstring>

#include "voice/buffer.h"

namespace {

constexpr int kIndexMask = Buffer::kSlotCount - 1;
constexpr int kMostFramesKept = 1000;
constexpr int kBurstMargin = 3;

// Frames a burst hands over for an excess of fill over target + 3:
// 1, 2, 1, 2, 3 ... 8 for 1, 2, 3, 4, 5 ... 10 or more.
int burstFrames(int excess) {
    if (excess > 9) excess = 10;
    if (excess > 2) excess -= 2;
    return excess;
}

}  // namespace

int Buffer::get(void* out, std::int32_t* length) {
    platform::LockGuard guard(mLock);
    if (!mSlots || !mStarted || mReadIndex == -1) return kNotStarted;
    int fill = fillLocked();
    if (fill < 1) return kEmpty;

    const int target = targetLocked();
    const int limit = limitLocked();
    if (fill > limit) {
        // Far behind the newest frame: skip ahead with no concealment.
        const int drop = fill > kMostFramesKept ? fill - kMostFramesKept : fill - limit;
        for (int i = 0; i <= drop; ++i) emptySlot((mReadIndex + i) & kIndexMask);
        mReadIndex = (mReadIndex + drop + 1) & kIndexMask;
        fill -= drop;
    }
    const bool low = fill <= target;

    BufferSlot& slot = mSlots[mReadIndex];
    if (slot.length == 0) {
        emptySlot(mReadIndex);
        advance();
        return kConceal;
    }
    auto* bytes = static_cast<std::uint8_t*>(out);
    if (low && slot.held == 0) {
        // Below the target the frame waits one tick; the concealed tick in
        // its place stretches playout by a frame.
        slot.held = 1;
        return kConceal;
    }
    if (!low && slot.held == 0 && fill > target + kBurstMargin) {
        const int frames = burstFrames(fill - (target + kBurstMargin));
        for (int i = 0; i < frames; ++i) {
            const BufferSlot& source = mSlots[(mReadIndex + i) & kIndexMask];
            if (source.length == 0) {
                std::memcpy(bytes + i * kFrameBytes, kLossMarker.data(), kLossMarker.size());
            } else {
                std::memcpy(bytes + i * kFrameBytes, source.data->data(), kFrameBytes);
            }
        }
        for (int i = 0; i < frames; ++i) emptySlot((mReadIndex + i) & kIndexMask);
        mReadIndex = (mReadIndex + frames) & kIndexMask;
        *length = frames * kFrameBytes;
        return kPlayed;
    }
    std::memcpy(bytes, slot.data->data(), kFrameBytes);
    *length = slot.length;
    emptySlot(mReadIndex);
    advance();
    return kPlayed;
}

// The read index moves on, wrapping after 65535, and may stand one past the
// newest frame. It stays put if the next slot holds a frame newer than the
// newest one known.
void Buffer::advance() {
    int next = (mReadIndex + 1) & kIndexMask;
    if (mHighestIndex >= 0 && next > mHighestIndex && mSlots[mHighestIndex].timestamp < mSlots[next].timestamp) {
        next = (next - 1) & kIndexMask;
    }
    mReadIndex = next;
}
