// The codec adaptor against the coder called directly, per 20 ms frame.
#include <benchmark/benchmark.h>

extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <vector>

#include "voice/codec_lib.h"

namespace {

// The machine is shared: the fastest repetition is the one least disturbed.
double fastest(const std::vector<double>& times) {
    return *std::min_element(times.begin(), times.end());
}

constexpr int kFrameSamples = 160;  // 20 ms
constexpr int kFrames = 50;         // one second of signal, cycled

// A voiced signal: harmonics of 120 Hz, falling with their order.
std::vector<std::int16_t> voiced() {
    std::vector<std::int16_t> pcm(kFrameSamples * kFrames);
    for (std::size_t n = 0; n < pcm.size(); ++n) {
        double v = 0.0;
        for (int h = 1; h < 30; ++h) v += std::sin(2 * M_PI * 120.0 * h * static_cast<double>(n) / 8000.0) / h;
        pcm[n] = static_cast<std::int16_t>(3000.0 * v);
    }
    return pcm;
}

std::vector<std::uint8_t> coded(const std::vector<std::int16_t>& pcm) {
    bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
    std::vector<std::uint8_t> code(pcm.size() / 8);
    for (std::size_t i = 0; i < pcm.size() / 80; ++i) {
        std::uint8_t length = 0;
        bcg729Encoder(encoder, pcm.data() + 80 * i, code.data() + 10 * i, &length);
    }
    closeBcg729EncoderChannel(encoder);
    return code;
}

void BM_Bcg729EncodeDirect(benchmark::State& state) {
    const std::vector<std::int16_t> pcm = voiced();
    bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
    std::uint8_t out[20];
    int frame = 0;
    for (auto _ : state) {
        const std::int16_t* in = pcm.data() + kFrameSamples * frame;
        std::uint8_t length = 0;
        bcg729Encoder(encoder, in, out, &length);
        bcg729Encoder(encoder, in + 80, out + 10, &length);
        benchmark::DoNotOptimize(out);
        frame = (frame + 1) % kFrames;
    }
    closeBcg729EncoderChannel(encoder);
}
BENCHMARK(BM_Bcg729EncodeDirect)->ComputeStatistics("min", fastest);

void BM_CodecLibEncode(benchmark::State& state) {
    const std::vector<std::int16_t> pcm = voiced();
    CodecHandle* encoder = nullptr;
    codecLibOpen(&encoder, kCodecIdG729, kCodecDirectionEncode, 0);
    std::uint8_t out[20];
    int frame = 0;
    for (auto _ : state) {
        int samples = kFrameSamples;
        int bytes = sizeof out;
        codecLibEncode(&encoder, pcm.data() + kFrameSamples * frame, &samples, out, &bytes, nullptr, 0);
        benchmark::DoNotOptimize(out);
        frame = (frame + 1) % kFrames;
    }
    codecLibClose(encoder, 0);
}
BENCHMARK(BM_CodecLibEncode)->ComputeStatistics("min", fastest);

void BM_Bcg729DecodeDirect(benchmark::State& state) {
    const std::vector<std::uint8_t> code = coded(voiced());
    bcg729DecoderChannelContextStruct* decoder = initBcg729DecoderChannel();
    std::int16_t out[kFrameSamples];
    int frame = 0;
    for (auto _ : state) {
        const std::uint8_t* in = code.data() + 20 * frame;
        bcg729Decoder(decoder, in, 10, 0, 0, 0, out);
        bcg729Decoder(decoder, in + 10, 10, 0, 0, 0, out + 80);
        benchmark::DoNotOptimize(out);
        frame = (frame + 1) % kFrames;
    }
    closeBcg729DecoderChannel(decoder);
}
BENCHMARK(BM_Bcg729DecodeDirect)->ComputeStatistics("min", fastest);

void BM_CodecLibDecode(benchmark::State& state) {
    const std::vector<std::uint8_t> code = coded(voiced());
    CodecHandle* decoder = nullptr;
    codecLibOpen(&decoder, kCodecIdG729, kCodecDirectionDecode, 0);
    std::int16_t out[kFrameSamples];
    int frame = 0;
    for (auto _ : state) {
        int bytes = 20;
        int samples = kFrameSamples;
        codecLibDecode(&decoder, code.data() + 20 * frame, &bytes, out, &samples, nullptr, 0);
        benchmark::DoNotOptimize(out);
        frame = (frame + 1) % kFrames;
    }
    codecLibClose(decoder, 0);
}
BENCHMARK(BM_CodecLibDecode)->ComputeStatistics("min", fastest);

}  // namespace
