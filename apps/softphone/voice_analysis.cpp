#include "voice_analysis.h"

#include <algorithm>
#include <cmath>

#include "voice_bridge.h"

namespace client {

namespace {

constexpr double kPi = 3.14159265358979323846;
constexpr double kIntactSnrDb = 25.0;
constexpr int kSearchAhead = 12;  // frames: loss and reordering skip some

double snrDb(const std::int16_t* reference, const std::int16_t* frame, int count) {
    double signal = 0.0, noise = 0.0;
    for (int i = 0; i < count; ++i) {
        const double d = static_cast<double>(frame[i]) - reference[i];
        signal += static_cast<double>(reference[i]) * reference[i];
        noise += d * d;
    }
    if (signal < 1.0) return 0.0;  // a silent frame proves nothing
    return noise < 1e-9 ? 100.0 : 10.0 * std::log10(signal / noise);
}

}  // namespace

std::vector<std::int16_t> speechLikeSignal(int samples) {
    std::vector<std::int16_t> out(static_cast<std::size_t>(std::max(samples, 0)));
    double phase = 0.0;
    std::uint32_t noise = 12345;
    for (std::size_t n = 0; n < out.size(); ++n) {
        const double t = static_cast<double>(n) / 8000.0;
        // Syllables of 250 ms: 210 ms voiced, 40 ms of breath.
        const double inSyllable = std::fmod(t, 0.25);
        const int syllable = static_cast<int>(t / 0.25);
        const double envelope = inSyllable < 0.21 ? std::sin(kPi * inSyllable / 0.21) : 0.0;
        const double pitch = 110.0 + 25.0 * std::sin(2.0 * kPi * 0.7 * t) + 8.0 * (syllable % 3);
        phase += 2.0 * kPi * pitch / 8000.0;
        // Two moving formants over the harmonics.
        const double f1 = 500.0 + 250.0 * std::sin(2.0 * kPi * 1.3 * t + syllable);
        const double f2 = 1500.0 + 500.0 * std::sin(2.0 * kPi * 0.9 * t + 2.0 * syllable);
        double voiced = 0.0;
        for (int h = 1; h * pitch < 3400.0; ++h) {
            const double f = h * pitch;
            const double weight =
                1.0 / (1.0 + std::pow((f - f1) / 150.0, 2)) + 0.6 / (1.0 + std::pow((f - f2) / 250.0, 2));
            voiced += weight * std::sin(h * phase);
        }
        noise = noise * 1664525u + 1013904223u;
        const double breath = (static_cast<double>(noise >> 16) / 65536.0 - 0.5) * 300.0;
        out[n] = static_cast<std::int16_t>(std::clamp(2500.0 * envelope * voiced + breath, -32000.0, 32000.0));
    }
    return out;
}

double alignedCorrelation(const std::vector<std::int16_t>& sent, const std::vector<std::int16_t>& recorded,
                          int maxShift, int* shift) {
    const auto n = static_cast<long>(sent.size());
    const auto m = static_cast<long>(recorded.size());
    double best = -1.0;
    for (long s = 0; s <= maxShift; ++s) {
        const long end = std::min(n, m - s);
        if (end < n / 2) break;
        double xy = 0.0, xx = 0.0, yy = 0.0;
        for (long i = 0; i < end; ++i) {
            const double x = sent[static_cast<std::size_t>(i)];
            const double y = recorded[static_cast<std::size_t>(i + s)];
            xy += x * y;
            xx += x * x;
            yy += y * y;
        }
        if (xx > 0.0 && yy > 0.0 && xy / std::sqrt(xx * yy) > best) {
            best = xy / std::sqrt(xx * yy);
            if (shift != nullptr) *shift = static_cast<int>(s);
        }
    }
    return best;
}

FrameMatch matchFrames(const std::vector<std::int16_t>& sent, const std::vector<std::uint64_t>& sentTicks,
                       const std::vector<std::int16_t>& played, const std::vector<std::uint64_t>& playedTicks,
                       int lagSamples) {
    FrameMatch match;
    const int sentFrames = static_cast<int>(std::min(sent.size() / kFrameSamples, sentTicks.size()));
    const int playedFrames = static_cast<int>(std::min(played.size() / kFrameSamples, playedTicks.size()));
    int last = -1;  // the sent frame of the last intact one
    int lastIntact = -1;
    int missesSinceIntact = 0;
    for (int j = 0; j < playedFrames; ++j) {
        const std::int16_t* frame = played.data() + static_cast<std::size_t>(j) * kFrameSamples;
        const int from = last + 1;
        const int to = last < 0 ? sentFrames : std::min(sentFrames, last + 1 + kSearchAhead);
        int found = -1;
        // Sent frame k reaches the played frame as the window that starts
        // `lagSamples` before it.
        for (int k = from; k < to && found < 0; ++k) {
            const long start = static_cast<long>(k) * kFrameSamples - lagSamples;
            // The start of the first frame stands in the concealment's delay
            // line, before the voice: only the rest is compared.
            const int skip = start < 0 ? static_cast<int>(-start) : 0;
            const std::int16_t* reference = sent.data() + (start + skip);
            if (snrDb(reference, frame + skip, kFrameSamples - skip) >= kIntactSnrDb) found = k;
        }
        if (found < 0) {
            ++missesSinceIntact;
            continue;
        }
        if (match.firstIntact < 0) match.firstIntact = j;
        if (lastIntact >= 0) match.filledIn += missesSinceIntact;
        missesSinceIntact = 0;
        lastIntact = j;
        last = found;
        ++match.intact;
        match.pairs.emplace_back(found, j);
        match.delayTicks.push_back(
            static_cast<int>(playedTicks[static_cast<std::size_t>(j)] - sentTicks[static_cast<std::size_t>(found)]));
    }
    return match;
}

}  // namespace client
