// Arbitrary streams of put, get and clear on the jitter buffer. Each frame
// carries a tag in every sample; a frame may come out only if it went in,
// only once, and whole. Memory errors and leaks show through the
// sanitizers.
//
// Input, one step after another:
//   op & 3 == 0 or 1: put. With op & 4 the next frame of a steady stream
//     (sequence + 1, timestamp + 160, arrival + 20 + 8 x (op >> 3) ms);
//     otherwise 9 more bytes: sequence (2), timestamp (4), arrival step in
//     ms (2), length choice (1: 249 puts the sequence outside the table,
//     250 and up give an odd length, the rest 320).
//   op & 3 == 2: get; with op & 4, (op >> 3) + 1 gets.
//   op & 3 == 3: clear, 4 more bytes: first, last (each modulo 65537);
//     op & 4 resets the state, op & 8 wipes.
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <vector>

#include "voice/buffer.h"

namespace {

constexpr int kMaxTags = 30000;
constexpr int kMaxClears = 2;  // each may walk the whole table

class Reader {
public:
    Reader(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}
    bool has(std::size_t n) const { return mSize - mPos >= n; }
    std::uint8_t byte() { return mData[mPos++]; }
    std::uint32_t bytes(int n) {
        std::uint32_t value = 0;
        for (int i = 0; i < n; ++i) value = (value << 8) | byte();
        return value;
    }

private:
    const std::uint8_t* mData;
    std::size_t mSize;
    std::size_t mPos = 0;
};

void check(bool condition) {
    if (!condition) std::abort();
}

struct Harness {
    BufferHistory history;
    Buffer buffer{history};
    std::bitset<kMaxTags> stored;
    std::bitset<kMaxTags> played;
    int nextTag = 1;
    std::vector<std::int32_t> touched;

    Harness() { check(buffer.start() == 0); }

    // A fresh buffer for each input, without walking the whole table.
    void reset() {
        for (std::int32_t sequence : touched) buffer.clear(sequence, sequence + 1, false, false);
        touched.clear();
        history = BufferHistory{};
        buffer.clear(0, 0, true, false);
        check(buffer.start() == 0);
        stored.reset();
        played.reset();
        nextTag = 1;
    }

    void put(std::int32_t sequence, std::uint32_t timestamp, std::int32_t length, std::uint32_t arrival) {
        if (nextTag >= kMaxTags) return;
        const int tag = nextTag++;
        auto frame = std::make_unique<VoiceFrame>();
        frame->fill(static_cast<std::int16_t>(tag));
        std::int32_t lengthOut = -1;
        const int result = buffer.put(frame, sequence, timestamp, length, &lengthOut, arrival);
        check(result == Buffer::kStored || result == Buffer::kRefused);
        if (result == Buffer::kStored) {
            check(frame == nullptr && lengthOut == length);
            check(sequence >= 0 && sequence < Buffer::kSlotCount && length >= 1 && length <= Buffer::kFrameBytes);
            stored.set(tag);
            touched.push_back(sequence);
        } else {
            check(frame != nullptr && lengthOut == -1);
        }
    }

    void get() {
        std::array<std::uint8_t, Buffer::kMaxGetBytes> out;
        std::int32_t length = -1;
        const int result = buffer.get(out.data(), &length);
        if (result != Buffer::kPlayed) {
            check(result == Buffer::kEmpty || result == Buffer::kConceal || result == Buffer::kNotStarted);
            check(length == -1);
            return;
        }
        const bool single = length >= 1 && length <= Buffer::kFrameBytes;
        const bool burst = length % Buffer::kFrameBytes == 0 && length <= 8 * Buffer::kFrameBytes;
        check(single || burst);
        const int frames = single ? 1 : length / Buffer::kFrameBytes;
        for (int f = 0; f < frames; ++f) {
            const std::uint8_t* bytes = out.data() + f * Buffer::kFrameBytes;
            if (!single && Buffer::isLossMarker(bytes)) continue;
            VoiceFrame frame;
            std::memcpy(frame.data(), bytes, Buffer::kFrameBytes);
            const int tag = frame[0];
            check(tag > 0 && tag < kMaxTags && stored.test(tag) && !played.test(tag));
            for (std::int16_t sample : frame) check(sample == tag);
            played.set(tag);
        }
        check(buffer.fill() >= 0 && buffer.fill() <= Buffer::kSlotCount + 1);
        check(buffer.readIndex() >= 0 && buffer.readIndex() < Buffer::kSlotCount);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static Harness harness;
    harness.reset();
    Reader in(data, size);
    std::int32_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t arrival = 1000;
    int clears = 0;
    while (in.has(1)) {
        const std::uint8_t op = in.byte();
        switch (op & 3) {
            case 0:
            case 1:
                if (op & 4) {
                    sequence = (sequence + 1) & 0xFFFF;
                    timestamp += 160;
                    arrival += 20 + 8u * (op >> 3);
                    harness.put(sequence, timestamp, Buffer::kFrameBytes, arrival);
                } else {
                    if (!in.has(9)) return 0;
                    sequence = static_cast<std::int32_t>(in.bytes(2));
                    timestamp = in.bytes(4);
                    arrival += in.bytes(2);
                    const std::uint8_t choice = in.byte();
                    // Mostly whole frames; now and then a length or a
                    // sequence that must be refused.
                    constexpr std::array<std::int32_t, 6> kOddLengths = {0, 1, 160, 319, 321, -1};
                    std::int32_t length = Buffer::kFrameBytes;
                    if (choice >= 250) length = kOddLengths[choice - 250];
                    std::int32_t put = sequence;
                    if (choice == 249) put = sequence + Buffer::kSlotCount;
                    harness.put(put, timestamp, length, arrival);
                }
                break;
            case 2: {
                const int gets = (op & 4) ? (op >> 3) + 1 : 1;
                for (int i = 0; i < gets; ++i) harness.get();
                break;
            }
            default: {
                if (!in.has(4)) return 0;
                const auto first = static_cast<std::int32_t>(in.bytes(2));
                const auto last = static_cast<std::int32_t>(in.bytes(2));
                if (++clears > kMaxClears) break;
                harness.buffer.clear(first, last, (op & 4) != 0, (op & 8) != 0);
                break;
            }
        }
    }
    return 0;
}
