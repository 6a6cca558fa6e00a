// The jitter buffer between the RTP receive thread and the playout caller:
// decoded 20 ms frames in a flat table with one slot per RTP sequence
// number, a playout depth taken from the worst delay of the last 2500
// frames, and playout speed adjusted by whole frames (concealed ticks to
// stretch, bursts and drops to catch up).
#pragma once

#include <array>
#include <cstdint>
#include <memory>

#include "common/module.h"
#include "common/voice_frame.h"
#include "platform/recursive_lock.h"

// A decoded frame.
using VoiceFrame = std::array<std::int16_t, kFrameSamples>;
// The owner of a frame: the producer until a successful Buffer::put, then
// the Buffer.
using VoiceFramePtr = std::unique_ptr<VoiceFrame>;

struct BufferSlot {
    VoiceFramePtr data;
    std::uint32_t timestamp = 0;  // RTP timestamp, host order; 0 = empty
    std::int32_t length = 0;      // bytes in the frame; 0 = empty
    std::uint8_t held = 0;        // this frame has already cost one concealed tick
};

// Arrival of a sequence number that is a multiple of 100: the reference
// for the delay of the frames that follow it.
struct ArrivalMark {
    std::uint32_t relativeArrival = 0;  // ms since the first frame; 0 = unset
    std::int32_t sequence = 0;
};

// The delay measurement that outlives a call, and by default the Buffer
// itself: one instance serves the process. Tests and fuzzing give each
// Buffer its own.
struct BufferHistory {
    static constexpr int kMarkCount = 10;
    static constexpr int kRingLength = 2500;

    std::array<ArrivalMark, kMarkCount> marks{};
    std::array<std::uint32_t, kRingLength> ring{};  // delay in frames, per stored frame
    std::uint32_t worst = 0;                        // the largest delay in the ring

    // Writes a delay into the ring and gives the largest one there. The
    // largest is kept up to date as delays come in; the ring is walked only
    // when the one holding it is overwritten by a smaller delay.
    std::uint32_t record(int index, std::uint32_t delay);

    static BufferHistory& processWide();
};

class Buffer : public Module {
public:
    static constexpr int kSlotCount = 65536;
    // Room the caller of get provides: 10 frames. A burst fills at most 8.
    static constexpr int kMaxGetFrames = SP_RECV_VOICE_BYTES / SP_VOICE_FRAME_BYTES;
    static constexpr int kMaxGetBytes = kMaxGetFrames * kFrameBytes;

    // put results.
    static constexpr int kStored = 0;
    static constexpr int kRefused = 1;  // late or duplicate; the caller keeps the frame
    // get results.
    static constexpr int kPlayed = 0;        // frames copied, *length = bytes
    static constexpr int kEmpty = 1;         // playout has caught up with the newest frame
    static constexpr int kConceal = 600;     // play a concealed frame for this tick
    static constexpr int kNotStarted = 601;  // playout hasn't begun

    // Written at the head of a frame of a burst in place of a lost one.
    static constexpr std::array<std::uint8_t, 8> kLossMarker = {0x0D, 0x0E, 0x0A, 0x0D, 0x0B, 0x0E, 0x0E, 0x0F};
    // True when the first 8 bytes of `frame` are the loss marker.
    static bool isLossMarker(const void* frame);

    // Uses the process-wide history.
    Buffer();
    // Uses `history`, which must outlive the Buffer.
    explicit Buffer(BufferHistory& history);
    ~Buffer() override;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    // 0, or 1 when the table can't be allocated.
    int start() override;
    int shutdown() override;

    // Stores `frame` in the slot of `sequence` (0 to 65535). On kStored the
    // Buffer owns the frame and `frame` is left empty; on kRefused `frame`
    // is untouched. `length` is the frame's byte count, 1 to 320;
    // `lengthOut`, if not null, receives it on success. `arrival` is the
    // arrival time in ms.
    int put(VoiceFramePtr& frame, std::int32_t sequence, std::uint32_t timestamp, std::int32_t length,
            std::int32_t* lengthOut, std::uint32_t arrival);

    // One playout tick. `out` has room for kMaxGetBytes. Returns kPlayed
    // (with *length = 320, or n x 320 in a burst), kEmpty, kConceal or
    // kNotStarted; *length is written only with kPlayed.
    int get(void* out, std::int32_t* length);

    // Frees and zeroes the slots from `first` up to but not including `last`
    // (0 to 65536), running on from slot 0 when `last` is below `first`.
    // clear(0, kSlotCount, true, false) empties the whole table for a new
    // call. `resetState` makes playout wait for a new fill; the delay
    // history survives it. `wipe` zeroes the whole table at once.
    int clear(std::int32_t first, std::int32_t last, bool resetState, bool wipe);

    // State, for tests and traces.
    int readIndex() const;
    int highestIndex() const;
    bool started() const;
    int jitterFrames() const;
    int targetFrames() const;
    int limitFrames() const;
    int fill() const;
    std::uint32_t packetCount() const;

private:
    int fillLocked() const;
    int targetLocked() const;
    int limitLocked() const;
    void recordMark(std::int32_t sequence, std::uint32_t arrival);
    void updateJitter(std::int32_t sequence, std::uint32_t arrival);
    void advance();
    void emptySlot(int index);
    void clearMarks();

    mutable platform::RecursiveLock mLock;
    BufferHistory& mHistory;
    std::unique_ptr<BufferSlot[]> mSlots;
    std::int32_t mReadIndex = -1;
    std::uint8_t mStarted = 0;
    std::int32_t mHighestIndex = -1;
    // Timestamp of the newest frame, kept when its slot has been played.
    std::uint32_t mHighestTimestamp = 0;
    std::int32_t mFirstIndex = -1;
    std::uint32_t mFirstArrival = 0;
    std::int32_t mJitterFrames = 0;
    std::uint32_t mPacketCount = 0;
};
