// Any text run as a script of put, get, clear, shutdown and start steps on
// the jitter buffer (the language of tests/voice/buffer_script.h; the
// scenario tests' scripts are the seeds). Expected results are ignored.
// Each frame carries a tag in every sample; a frame may come out only if it
// went in, only once, and whole. Memory errors and leaks show through the
// sanitizers.
#include <array>
#include <bitset>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

#include "../tests/voice/buffer_script.h"
#include "voice/buffer.h"

namespace {

// Frames per input: each stored one scans the 2500-entry delay ring.
constexpr int kMaxTags = 1500;
constexpr int kMaxHeavySteps = 3;  // clears and starts may walk the whole table

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

    void put(const BufferStep& step, std::int32_t sequence, std::uint32_t timestamp, std::uint32_t arrival) {
        const int tag = nextTag++;
        VoiceFramePtr frame;
        if (!step.noFrame) {
            frame = std::make_unique<VoiceFrame>();
            frame->fill(static_cast<std::int16_t>(tag));
        }
        std::int32_t lengthOut = -1;
        const int result = buffer.put(frame, sequence, timestamp, step.length, &lengthOut, arrival);
        check(result == Buffer::kStored || result == Buffer::kRefused);
        if (result == Buffer::kStored) {
            check(frame == nullptr && lengthOut == step.length && !step.noFrame);
            check(sequence >= 0 && sequence < Buffer::kSlotCount && step.length >= 1 && step.length <= kFrameBytes);
            stored.set(tag);
            touched.push_back(sequence);
        } else {
            check((frame == nullptr) == step.noFrame && lengthOut == -1);
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
        const bool single = length >= 1 && length <= kFrameBytes;
        const bool burst = length % kFrameBytes == 0 && length <= 8 * kFrameBytes;
        check(single || burst);
        const int frames = single ? 1 : length / kFrameBytes;
        for (int f = 0; f < frames; ++f) {
            const std::uint8_t* bytes = out.data() + f * kFrameBytes;
            if (!single && Buffer::isLossMarker(bytes)) continue;
            VoiceFrame frame;
            std::memcpy(frame.data(), bytes, kFrameBytes);
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
    const BufferScript script = parseBufferScript(std::string_view(reinterpret_cast<const char*>(data), size));
    int heavySteps = 0;
    for (const BufferStep& step : script.steps) {
        using Kind = BufferStep::Kind;
        switch (step.kind) {
            case Kind::Put:
                forEachFrame(step, kMaxTags - harness.nextTag,
                             [&](std::int32_t sequence, std::uint32_t timestamp, std::uint32_t arrival) {
                                 harness.put(step, sequence, timestamp, arrival);
                             });
                break;
            case Kind::Get:
                harness.get();
                break;
            case Kind::Clear:
                if (++heavySteps > kMaxHeavySteps) break;
                harness.buffer.clear(static_cast<std::int32_t>(step.first), static_cast<std::int32_t>(step.last),
                                     step.reset, step.wipe);
                break;
            case Kind::Shutdown:
                harness.buffer.shutdown();
                break;
            case Kind::Start:
                if (++heavySteps > kMaxHeavySteps) break;
                check(harness.buffer.start() == 0);
                break;
            case Kind::Expect:
                break;
        }
    }
    return 0;
}
