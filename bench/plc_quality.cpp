// Concealment quality, reported in the benchmark context at start-up:
// segmental SNR against the clean signal at 4% random frame loss, for this
// engine's PLC (its 75-sample delay taken out) and, when present, for
// spandsp's on the same signal and loss masks.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "plc_quality_signal.h"
#include "voice/plc.h"

#if SOFTPHONE_HAVE_SPANDSP
#include <spandsp.h>
#endif

namespace {

constexpr int kFrame = bench::kFrameSamples;
constexpr int kSeconds = 30;
constexpr int kRuns = 5;
constexpr double kLossRate = 0.04;
constexpr double kMinSnr = -10.0;
constexpr double kMaxSnr = 35.0;
// Frames quieter than this (RMS) are pauses and don't count.
constexpr double kActiveRms = 100.0;

struct Score {
    double sum = 0;
    int count = 0;
    void add(double snr) {
        sum += snr;
        ++count;
    }
    double mean() const { return count ? sum / count : 0.0; }
};

struct Quality {
    Score all;       // every active frame
    Score lost;      // active frames that were concealed
    Score recovery;  // active real frames right after a loss
};

// Frame-by-frame SNR of `output` against `clean`, `output` lagging by `delay`.
void score(const std::vector<std::int16_t>& clean, const std::vector<std::int16_t>& output, int delay,
           const std::vector<bool>& mask, Quality& quality) {
    const int frames = static_cast<int>(clean.size()) / kFrame - 1;
    for (int f = 0; f < frames; ++f) {
        double signal = 0;
        double error = 0;
        for (int i = 0; i < kFrame; ++i) {
            const double x = clean[f * kFrame + i];
            const double y = output[f * kFrame + i + delay];
            signal += x * x;
            error += (x - y) * (x - y);
        }
        if (signal / kFrame < kActiveRms * kActiveRms) continue;
        const double snr = std::clamp(10.0 * std::log10(signal / std::max(error, 1e-9)), kMinSnr, kMaxSnr);
        quality.all.add(snr);
        if (mask[f]) quality.lost.add(snr);
        if (!mask[f] && f > 0 && mask[f - 1]) quality.recovery.add(snr);
    }
}

std::vector<std::int16_t> runEngine(const std::vector<std::int16_t>& clean, const std::vector<bool>& mask) {
    PLC plc;
    std::vector<std::int16_t> out(clean.size());
    for (std::size_t f = 0; f < mask.size(); ++f) {
        std::int16_t* frame = out.data() + f * kFrame;
        std::copy_n(clean.data() + f * kFrame, kFrame, frame);
        if (mask[f]) {
            plc.conceal(frame);
        } else {
            plc.addToHistory(frame);
        }
    }
    return out;
}

#if SOFTPHONE_HAVE_SPANDSP
std::vector<std::int16_t> runSpandsp(const std::vector<std::int16_t>& clean, const std::vector<bool>& mask) {
    plc_state_t* plc = plc_init(nullptr);
    std::vector<std::int16_t> out(clean.size());
    for (std::size_t f = 0; f < mask.size(); ++f) {
        std::int16_t* frame = out.data() + f * kFrame;
        std::copy_n(clean.data() + f * kFrame, kFrame, frame);
        if (mask[f]) {
            plc_fillin(plc, frame, kFrame);
        } else {
            plc_rx(plc, frame, kFrame);
        }
    }
    plc_free(plc);
    return out;
}
#endif

std::string describe(const Quality& q) {
    char text[160];
    std::snprintf(text, sizeof text, "segSNR %.2f dB all, %.2f dB concealed (%d frames), %.2f dB first real after loss",
                  q.all.mean(), q.lost.mean(), q.lost.count, q.recovery.mean());
    return text;
}

bool reportQuality() {
    Quality engine;
    Quality spandsp;
    int lostFrames = 0;
    int totalFrames = 0;
    for (int run = 0; run < kRuns; ++run) {
        const auto clean = bench::speechLikeSignal(kSeconds, 1000u + static_cast<std::uint32_t>(run));
        const int frames = static_cast<int>(clean.size()) / kFrame;
        const auto mask = bench::randomLossMask(frames, kLossRate, 77u + static_cast<std::uint32_t>(run));
        lostFrames += static_cast<int>(std::count(mask.begin(), mask.end(), true));
        totalFrames += frames;
        score(clean, runEngine(clean, mask), PLC::kDelaySamples, mask, engine);
#if SOFTPHONE_HAVE_SPANDSP
        score(clean, runSpandsp(clean, mask), 0, mask, spandsp);
#endif
    }
    char header[120];
    std::snprintf(header, sizeof header, "%d x %d s speech-like, %d of %d frames lost (%.2f%%)", kRuns, kSeconds,
                  lostFrames, totalFrames, 100.0 * lostFrames / totalFrames);
    benchmark::AddCustomContext("plc_quality.material", header);
    benchmark::AddCustomContext("plc_quality.engine", describe(engine));
#if SOFTPHONE_HAVE_SPANDSP
    benchmark::AddCustomContext("plc_quality.spandsp", describe(spandsp));
    benchmark::AddCustomContext("plc_quality.engine_at_least_spandsp",
                                engine.all.mean() >= spandsp.all.mean() ? "yes" : "NO");
#endif
    return true;
}

const bool kQualityReported = reportQuality();

}  // namespace
