#include "voice/plc.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kFrame = PLC::kFrameSamples;
constexpr int kDelay = PLC::kDelaySamples;
using Frame = std::array<std::int16_t, kFrame>;

Frame constantFrame(int value) {
    Frame frame;
    frame.fill(static_cast<std::int16_t>(value));
    return frame;
}

// Enough real frames of one level to fill the whole history.
void feedConstant(PLC& plc, int value, int frames = 8) {
    for (int i = 0; i < frames; ++i) {
        Frame frame = constantFrame(value);
        plc.addToHistory(frame.data());
    }
}

Frame conceal(PLC& plc) {
    Frame frame = constantFrame(12345);  // not read
    plc.conceal(frame.data());
    return frame;
}

// Samples `i` of frame `frameIndex` of a stream laid out as consecutive frames.
std::int16_t sampleOf(const std::vector<Frame>& frames, int index) {
    return frames[index / kFrame][index % kFrame];
}

TEST(PLC, DelaysEveryFrameBy75Samples) {
    PLC plc;
    std::vector<Frame> out;
    for (int f = 0; f < 6; ++f) {
        Frame frame;
        for (int i = 0; i < kFrame; ++i) frame[i] = static_cast<std::int16_t>(f * kFrame + i + 1);
        plc.addToHistory(frame.data());
        out.push_back(frame);
    }
    for (int n = 0; n < 6 * kFrame; ++n) {
        const int expected = n < kDelay ? 0 : n - kDelay + 1;
        ASSERT_EQ(sampleOf(out, n), expected) << n;
    }
    EXPECT_EQ(plc.eraseCount(), 0);
}

TEST(PLC, SilentHistoryGivesPitch201AndSilence) {
    PLC plc;
    const Frame frame = conceal(plc);
    EXPECT_EQ(plc.pitch(), 201);
    EXPECT_EQ(plc.overlapLength(), 50);
    EXPECT_EQ(plc.eraseCount(), 1);
    for (int i = 0; i < kFrame; ++i) EXPECT_EQ(frame[i], 0) << i;
}

TEST(PLC, ConcealedFramesFadeOutOverSixFrames) {
    PLC plc;
    feedConstant(plc, 1000);
    std::vector<Frame> out;
    for (int k = 0; k < 9; ++k) out.push_back(conceal(plc));
    out.push_back(constantFrame(0));  // the tail of the last concealed frame is still in the delay line
    // Concealed frame k, as it was before the delay: k = 0 at full level,
    // then from 1 - 0.2 (k - 1) down by 0.2 over the frame; from k = 6 on,
    // silence.
    for (int k = 0; k < 9; ++k) {
        for (int i = 0; i < kFrame; ++i) {
            const int n = k * kFrame + kDelay + i;
            if (n >= 9 * kFrame) break;
            double gain = 1.0;
            if (k >= 1 && k <= 5) gain = 1.0 - 0.2 * (k - 1) - 0.00125 * i;
            if (k >= 6) gain = 0.0;
            EXPECT_NEAR(sampleOf(out, n), 1000.0 * gain, 2.0) << "frame " << k << " sample " << i;
        }
    }
    EXPECT_EQ(plc.eraseCount(), 9);
}

// Samples of the first real frame after `lost` concealed frames, before the
// delay, when the real frame is `realLevel` throughout and the history
// before the loss was 1000 throughout.
Frame firstRealFrameAfter(int lost, int realLevel) {
    PLC plc;
    feedConstant(plc, 1000);
    for (int k = 0; k < lost; ++k) conceal(plc);
    Frame real = constantFrame(realLevel);
    plc.addToHistory(real.data());
    Frame next = constantFrame(realLevel);
    plc.addToHistory(next.data());
    Frame undelayed;
    for (int i = 0; i < kFrame; ++i) undelayed[i] = i + kDelay < kFrame ? real[i + kDelay] : next[i + kDelay - kFrame];
    EXPECT_EQ(plc.eraseCount(), 0);
    return undelayed;
}

struct BlendCase {
    int lost;
    int blendLength;
};

class PLCBlend : public testing::TestWithParam<BlendCase> {};

// Over a silent real frame only the fading synthetic part shows: it falls
// to zero at the last sample of the blend.
TEST_P(PLCBlend, BlendsTheFirstRealFrameOverAGrowingLength) {
    const Frame frame = firstRealFrameAfter(GetParam().lost, 0);
    int lastNonZero = -1;
    for (int i = 0; i < kFrame; ++i) {
        if (frame[i] != 0) lastNonZero = i;
    }
    EXPECT_EQ(lastNonZero + 2, GetParam().blendLength);
}

// Pitch 201 on a level history: a quarter period is 50 samples; 32 more
// per concealed frame beyond the first, never more than a frame.
INSTANTIATE_TEST_SUITE_P(LostFrames, PLCBlend,
                         testing::Values(BlendCase{1, 50}, BlendCase{2, 82}, BlendCase{3, 114}, BlendCase{4, 146},
                                         BlendCase{5, 160}));

TEST(PLC, RealFrameAfterSixLostFramesGetsNothingFromTheSynthetic) {
    for (int lost : {6, 7, 12}) {
        const Frame frame = firstRealFrameAfter(lost, 2000);
        for (int i = 0; i < kFrame; ++i) {
            EXPECT_NEAR(frame[i], 2000.0 * (i + 1) / kFrame, 1.0) << "lost " << lost << " sample " << i;
        }
    }
    // After five the synthetic part still weighs 0.2 at the head.
    const Frame afterFive = firstRealFrameAfter(5, 2000);
    EXPECT_NEAR(afterFive[0], 2000.0 / kFrame + 1000.0 * 0.2 * (1.0 - 1.0 / kFrame), 2.0);
}

std::vector<std::int16_t> periodicSignal(int period, int length) {
    std::vector<std::int16_t> signal(length);
    const double pi = std::acos(-1.0);
    for (int n = 0; n < length; ++n) {
        const double phase = 2.0 * pi * n / period;
        signal[n] = static_cast<std::int16_t>(6000.0 * std::sin(phase) + 2500.0 * std::sin(3.0 * phase + 0.4));
    }
    return signal;
}

class PLCPitch : public testing::TestWithParam<int> {};

TEST_P(PLCPitch, FindsThePeriodAndContinuesTheWaveform) {
    const int period = GetParam();
    const int realFrames = 10;
    const auto signal = periodicSignal(period, (realFrames + 1) * kFrame);
    PLC plc;
    for (int f = 0; f < realFrames; ++f) {
        Frame frame;
        std::copy_n(signal.begin() + f * kFrame, kFrame, frame.begin());
        plc.addToHistory(frame.data());
    }
    const Frame concealed = conceal(plc);
    EXPECT_NEAR(plc.pitch(), period, 1);
    EXPECT_EQ(plc.overlapLength(), plc.pitch() / 4);
    // What comes out is the signal 75 samples late, the lost frame replaced
    // by its replica.
    double signalEnergy = 0;
    double errorEnergy = 0;
    for (int i = 0; i < kFrame; ++i) {
        const double expected = signal[realFrames * kFrame + i - kDelay];
        signalEnergy += expected * expected;
        errorEnergy += (concealed[i] - expected) * (concealed[i] - expected);
    }
    EXPECT_GT(10.0 * std::log10(signalEnergy / (errorEnergy + 1.0)), 20.0);
}

INSTANTIATE_TEST_SUITE_P(Periods, PLCPitch, testing::Values(200, 215, 250, 280, 300));

TEST(PLC, PeriodBelowTheRangeIsReplicatedByAMultiple) {
    const auto signal = periodicSignal(100, 10 * kFrame);
    PLC plc;
    for (int f = 0; f < 10; ++f) {
        Frame frame;
        std::copy_n(signal.begin() + f * kFrame, kFrame, frame.begin());
        plc.addToHistory(frame.data());
    }
    conceal(plc);
    EXPECT_NEAR(plc.pitch(), 200, 1);
    EXPECT_NE(plc.pitch(), 300);
}

// Float arithmetic without fused multiply-adds and with truncating
// conversions gives these very samples on every build. Letting the
// compiler fuse multiply-adds (-ffp-contract=fast on a machine with FMA)
// changes them, and so would fast-math.
TEST(PLC, GivesTheSameSamplesOnEveryBuild) {
    PLC plc;
    std::uint32_t noise = 12345;
    std::uint64_t hash = 1469598103934665603ULL;
    // Integer input only, so that nothing but the concealment is under test.
    auto triangle = [](int n, int period) { return std::abs(2 * (n % period) - period) * 2 - period; };
    for (int f = 0; f < 3000; ++f) {
        Frame frame;
        for (int i = 0; i < kFrame; ++i) {
            noise = noise * 1664525u + 1013904223u;
            const int n = f * kFrame + i;
            const int voiced = triangle(n, 61) * (triangle(n, 4000) + 4000) / 70;
            frame[i] = static_cast<std::int16_t>(voiced + static_cast<int>(noise >> 22) - 512);
        }
        if (f % 5 == 3 || f % 23 == 11 || f % 23 == 12 || f % 41 == 13) {
            plc.conceal(frame.data());
        } else {
            plc.addToHistory(frame.data());
        }
        for (std::int16_t s : frame) {
            hash ^= static_cast<std::uint16_t>(s);
            hash *= 1099511628211ULL;
        }
    }
    EXPECT_EQ(hash, 16290296956361871365ULL);
}

}  // namespace
