// PLC cost per 20 ms frame, this engine's beside spandsp's, on the same
// speech-like frames and loss mask.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <vector>

#include "plc_quality_signal.h"
#include "voice/plc.h"

#if SOFTPHONE_HAVE_SPANDSP
#include <spandsp.h>
#endif

namespace {

constexpr int kFrame = bench::kFrameSamples;

struct Material {
    std::vector<std::int16_t> speech = bench::speechLikeSignal(10, 4242);
    int frames = static_cast<int>(speech.size()) / kFrame;
    std::vector<bool> mask = bench::randomLossMask(frames, 0.04, 99);
    const std::int16_t* frame(int index) const { return speech.data() + (index % frames) * kFrame; }
};

const Material& material() {
    static const Material m;
    return m;
}

void BM_PlcAddToHistory(benchmark::State& state) {
    const auto& m = material();
    PLC plc;
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index++), kFrame, frame.begin());
        plc.addToHistory(frame.data());
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(BM_PlcAddToHistory);

// One real frame, then the first frame of a loss with its pitch search:
// the most a loss costs, per pair of frames.
void BM_PlcRealThenConceal(benchmark::State& state) {
    const auto& m = material();
    PLC plc;
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index++), kFrame, frame.begin());
        plc.addToHistory(frame.data());
        plc.conceal(frame.data());
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(BM_PlcRealThenConceal);

// The playout path at 4% random loss, per frame.
void BM_PlcReceivePath4PercentLoss(benchmark::State& state) {
    const auto& m = material();
    PLC plc;
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index), kFrame, frame.begin());
        if (m.mask[index % m.frames]) {
            plc.conceal(frame.data());
        } else {
            plc.addToHistory(frame.data());
        }
        ++index;
        benchmark::DoNotOptimize(frame.data());
    }
}
BENCHMARK(BM_PlcReceivePath4PercentLoss);

#if SOFTPHONE_HAVE_SPANDSP
void BM_SpandspPlcRx(benchmark::State& state) {
    const auto& m = material();
    plc_state_t* plc = plc_init(nullptr);
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index++), kFrame, frame.begin());
        plc_rx(plc, frame.data(), kFrame);
        benchmark::DoNotOptimize(frame.data());
    }
    plc_free(plc);
}
BENCHMARK(BM_SpandspPlcRx);

void BM_SpandspPlcRxThenFillin(benchmark::State& state) {
    const auto& m = material();
    plc_state_t* plc = plc_init(nullptr);
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index++), kFrame, frame.begin());
        plc_rx(plc, frame.data(), kFrame);
        plc_fillin(plc, frame.data(), kFrame);
        benchmark::DoNotOptimize(frame.data());
    }
    plc_free(plc);
}
BENCHMARK(BM_SpandspPlcRxThenFillin);

void BM_SpandspPlcReceivePath4PercentLoss(benchmark::State& state) {
    const auto& m = material();
    plc_state_t* plc = plc_init(nullptr);
    std::array<std::int16_t, kFrame> frame;
    int index = 0;
    for (auto _ : state) {
        std::copy_n(m.frame(index), kFrame, frame.begin());
        if (m.mask[index % m.frames]) {
            plc_fillin(plc, frame.data(), kFrame);
        } else {
            plc_rx(plc, frame.data(), kFrame);
        }
        ++index;
        benchmark::DoNotOptimize(frame.data());
    }
    plc_free(plc);
}
BENCHMARK(BM_SpandspPlcReceivePath4PercentLoss);
#endif

}  // namespace
