#include "voice/plc.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <cstdlib>
#include <vector>

namespace {

constexpr int kFrame = kFrameSamples;
constexpr int kDelay = PLC::kDelaySamples;
using Frame = std::array<std::int16_t, kFrame>;

Frame constantFrame(int value) {
    Frame frame;
    frame.fill(static_cast<std::int16_t>(value));
    return frame;
}

Frame conceal(PLC& plc) {
    Frame frame = constantFrame(12345);  // not read
    plc.conceal(frame.data());
    return frame;
}

// Float arithmetic without fused multiply-adds and with truncating
// conversions gives these very samples on every build; fused multiply-adds
// (-ffp-contract=fast on a machine with FMA) or fast-math change them. The
// run holds single losses, pairs, a loss of eight frames (fade-out to
// silence, a blend with nothing of the synthetic) and a loss after a
// silent stretch.
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
        if (f >= 2000 && f < 2010) frame.fill(0);
        const bool lost =
            f % 5 == 3 || f % 23 == 11 || f % 23 == 12 || f % 41 == 13 || (f >= 1000 && f < 1008) || f == 2007;
        if (lost) {
            plc.conceal(frame.data());
        } else {
            plc.addToHistory(frame.data());
        }
        for (std::int16_t s : frame) {
            hash ^= static_cast<std::uint16_t>(s);
            hash *= 1099511628211ULL;
        }
    }
    EXPECT_EQ(hash, 2476580437719203996ULL);
}

TEST(PLC, DelaysEveryFrameBy75SamplesAndConcealsSilenceAsSilence) {
    PLC plc;
    std::vector<std::int16_t> out;
    for (int f = 0; f < 6; ++f) {
        Frame frame;
        for (int i = 0; i < kFrame; ++i) frame[i] = static_cast<std::int16_t>(f * kFrame + i + 1);
        plc.addToHistory(frame.data());
        out.insert(out.end(), frame.begin(), frame.end());
    }
    for (int n = 0; n < 6 * kFrame; ++n) ASSERT_EQ(out[n], n < kDelay ? 0 : n - kDelay + 1) << n;
    EXPECT_EQ(plc.eraseCount(), 0);

    // A silent history scores 0 at every lag: the coarse search ends on its
    // last lag, the fine one stays on its first.
    PLC silent;
    EXPECT_EQ(conceal(silent), constantFrame(0));
    EXPECT_EQ(silent.pitch(), 201);
    EXPECT_EQ(silent.overlapLength(), 50);
}

}  // namespace
