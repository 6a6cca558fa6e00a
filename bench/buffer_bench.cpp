// Jitter buffer cost per 20 ms frame: one put (with its frame allocation,
// as the receive thread does) and one get.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <memory>

#include "voice/buffer.h"

namespace {

struct Playout {
    BufferHistory history;
    Buffer buffer{history};
    std::array<std::uint8_t, Buffer::kMaxGetBytes> out{};
    Playout() { buffer.start(); }
    void put(std::uint32_t sequence, std::uint32_t arrivalJitter) {
        auto frame = std::make_unique<VoiceFrame>();
        buffer.put(frame, static_cast<std::int32_t>(sequence & 0xFFFF), sequence * 160u, kFrameBytes, nullptr,
                   sequence * 20u + arrivalJitter);
    }
    int get() {
        std::int32_t length = 0;
        return buffer.get(out.data(), &length);
    }
};

void BM_BufferPutGetSteady(benchmark::State& state) {
    Playout playout;
    std::uint32_t sequence = 0;
    for (int i = 0; i < 3; ++i) playout.put(sequence++, 0);
    for (auto _ : state) {
        playout.put(sequence++, 0);
        benchmark::DoNotOptimize(playout.get());
    }
}
BENCHMARK(BM_BufferPutGetSteady);

// Pairs arrive swapped and up to 30 ms late: holes, stretching and bursts
// all take their turn.
void BM_BufferPutGetReorderedJitter(benchmark::State& state) {
    Playout playout;
    std::uint32_t sequence = 0;
    for (int i = 0; i < 3; ++i) playout.put(sequence++, 0);
    std::uint32_t noise = 1;
    bool odd = false;
    for (auto _ : state) {
        noise = noise * 1664525u + 1013904223u;
        const std::uint32_t late = (noise >> 24) % 30;
        // Two frames arrive every second tick; one get per tick.
        if (odd) {
            playout.put(sequence + 1, late);
            playout.put(sequence, late);
            sequence += 2;
        }
        odd = !odd;
        benchmark::DoNotOptimize(playout.get());
    }
}
BENCHMARK(BM_BufferPutGetReorderedJitter);

// The reset at each change of media: the whole table walked.
void BM_BufferClearWholeTable(benchmark::State& state) {
    Playout playout;
    std::uint32_t sequence = 0;
    for (auto _ : state) {
        for (int i = 0; i < 10; ++i) playout.put(sequence++, 0);
        playout.buffer.clear(0, Buffer::kSlotCount, true, false);
    }
}
BENCHMARK(BM_BufferClearWholeTable);

}  // namespace
