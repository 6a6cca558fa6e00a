// G.711 cost per 20 ms frame (160 samples), this engine's beside spandsp's
// on the same speech-like frames. At start-up the benchmark context gets
// the comparison of the two sample by sample.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "plc_quality_signal.h"
#include "voice/g711.h"

#if SOFTPHONE_HAVE_SPANDSP
#include <spandsp.h>
#endif

namespace {

constexpr int kFrame = kFrameSamples;

struct Material {
    std::vector<std::int16_t> speech = bench::speechLikeSignal(10, 777);
    int frames = static_cast<int>(speech.size()) / kFrame;
    std::vector<std::uint8_t> ulaw;
    std::vector<std::uint8_t> alaw;
    Material() {
        G711 g711;
        ulaw.resize(speech.size());
        alaw.resize(speech.size());
        for (int f = 0; f < frames; ++f) {
            g711.ulawCompress(ulaw.data() + f * kFrame, speech.data() + f * kFrame);
            g711.alawCompress(alaw.data() + f * kFrame, speech.data() + f * kFrame);
        }
    }
    const std::int16_t* pcm(int index) const { return speech.data() + (index % frames) * kFrame; }
    const std::uint8_t* ulawFrame(int index) const { return ulaw.data() + (index % frames) * kFrame; }
    const std::uint8_t* alawFrame(int index) const { return alaw.data() + (index % frames) * kFrame; }
};

const Material& material() {
    static const Material m;
    return m;
}

void BM_G711UlawCompress(benchmark::State& state) {
    const auto& m = material();
    G711 g711;
    std::array<std::uint8_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        g711.ulawCompress(out.data(), m.pcm(index++));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_G711UlawCompress);

void BM_G711UlawExpand(benchmark::State& state) {
    const auto& m = material();
    G711 g711;
    std::array<std::int16_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        g711.ulawExpand(m.ulawFrame(index++), out.data());
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_G711UlawExpand);

void BM_G711AlawCompress(benchmark::State& state) {
    const auto& m = material();
    G711 g711;
    std::array<std::uint8_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        g711.alawCompress(out.data(), m.pcm(index++));
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_G711AlawCompress);

void BM_G711AlawExpand(benchmark::State& state) {
    const auto& m = material();
    const int shift = static_cast<int>(state.range(0));
    G711 g711;
    std::array<std::int16_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        g711.alawExpand(m.alawFrame(index++), out.data(), shift);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_G711AlawExpand)->ArgName("shift")->Arg(3)->Arg(4);

#if SOFTPHONE_HAVE_SPANDSP
void BM_SpandspUlawCompress(benchmark::State& state) {
    const auto& m = material();
    std::array<std::uint8_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        const std::int16_t* in = m.pcm(index++);
        for (int i = 0; i < kFrame; ++i) out[i] = linear_to_ulaw(in[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_SpandspUlawCompress);

void BM_SpandspUlawExpand(benchmark::State& state) {
    const auto& m = material();
    std::array<std::int16_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        const std::uint8_t* in = m.ulawFrame(index++);
        for (int i = 0; i < kFrame; ++i) out[i] = ulaw_to_linear(in[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_SpandspUlawExpand);

void BM_SpandspAlawCompress(benchmark::State& state) {
    const auto& m = material();
    std::array<std::uint8_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        const std::int16_t* in = m.pcm(index++);
        for (int i = 0; i < kFrame; ++i) out[i] = linear_to_alaw(in[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_SpandspAlawCompress);

void BM_SpandspAlawExpand(benchmark::State& state) {
    const auto& m = material();
    std::array<std::int16_t, kFrame> out;
    int index = 0;
    for (auto _ : state) {
        const std::uint8_t* in = m.alawFrame(index++);
        for (int i = 0; i < kFrame; ++i) out[i] = alaw_to_linear(in[i]);
        benchmark::DoNotOptimize(out.data());
        benchmark::ClobberMemory();
    }
    state.SetItemsProcessed(state.iterations() * kFrame);
}
BENCHMARK(BM_SpandspAlawExpand);

// Sample-by-sample agreement with spandsp, into the benchmark context.
bool reportAgreement() {
    int ulawExpandDiffers = 0;
    int alawExpandDiffers = 0;
    for (int code = 0; code < 256; ++code) {
        const auto c = static_cast<std::uint8_t>(code);
        ulawExpandDiffers += G711::ulawToLinear(c) != ulaw_to_linear(c);
        alawExpandDiffers += G711::alawToLinear(c, G711::kAlawShiftStandard) != alaw_to_linear(c);
    }
    int ulawCompressDiffers = 0;
    int ulawCompressDiffersNegative = 0;
    int alawCompressDiffers = 0;
    for (int sample = -32768; sample <= 32767; ++sample) {
        const auto s = static_cast<std::int16_t>(sample);
        if (G711::linearToUlaw(s) != linear_to_ulaw(sample)) {
            ++ulawCompressDiffers;
            ulawCompressDiffersNegative += sample < 0;
        }
        // Ours takes the sample down by one more bit: spandsp's code for half of it.
        alawCompressDiffers += G711::linearToAlaw(s) != linear_to_alaw(sample >> 1);
    }
    auto verdict = [](int differs, int of) {
        char text[80];
        std::snprintf(text, sizeof text, "%s (%d of %d differ)", differs == 0 ? "bit-exact" : "DIFFERENT", differs, of);
        return std::string(text);
    };
    benchmark::AddCustomContext("g711.ulaw_expand_vs_spandsp", verdict(ulawExpandDiffers, 256));
    benchmark::AddCustomContext("g711.alaw_expand_shift4_vs_spandsp", verdict(alawExpandDiffers, 256));
    char text[120];
    std::snprintf(text, sizeof text, "%d of 65536 inputs differ, %d of them negative", ulawCompressDiffers,
                  ulawCompressDiffersNegative);
    benchmark::AddCustomContext("g711.ulaw_compress_vs_spandsp", text);
    benchmark::AddCustomContext("g711.alaw_compress_vs_spandsp_of_half_sample", verdict(alawCompressDiffers, 65536));
    return true;
}

const bool kAgreementReported = reportAgreement();
#endif

}  // namespace
