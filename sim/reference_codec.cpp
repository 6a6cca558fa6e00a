#include "sim/reference_codec.h"

// The coder library's headers declare C functions without saying so.
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

#include <algorithm>
#include <cmath>
#include <numbers>

namespace sim {

std::uint8_t ulawFromLinear(std::int16_t sample) {
    constexpr int kBias = 0x84;
    constexpr int kClip = 32635;
    int pcm = sample;
    const int sign = pcm < 0 ? 0x80 : 0;
    if (pcm < 0) pcm = -pcm;
    pcm = std::min(pcm, kClip) + kBias;
    int exponent = 7;
    for (int mask = 0x4000; (pcm & mask) == 0 && exponent > 0; mask >>= 1) --exponent;
    const int mantissa = (pcm >> (exponent + 3)) & 0x0F;
    return static_cast<std::uint8_t>(~(sign | exponent << 4 | mantissa));
}

std::int16_t ulawToLinear(std::uint8_t code) {
    const int u = ~code & 0xFF;
    const int exponent = (u >> 4) & 0x07;
    const int magnitude = ((((u & 0x0F) << 3) + 0x84) << exponent) - 0x84;
    return static_cast<std::int16_t>((u & 0x80) ? -magnitude : magnitude);
}

std::uint8_t alawFromLinear(std::int16_t sample) {
    static constexpr int kSegmentEnd[8] = {0x1F, 0x3F, 0x7F, 0xFF, 0x1FF, 0x3FF, 0x7FF, 0xFFF};
    int pcm = sample >> 3;
    int mask = 0xD5;
    if (pcm < 0) {
        mask = 0x55;
        pcm = -pcm - 1;
    }
    int segment = 0;
    while (segment < 8 && pcm > kSegmentEnd[segment]) ++segment;
    if (segment >= 8) return static_cast<std::uint8_t>(0x7F ^ mask);
    int code = segment << 4;
    code |= segment < 2 ? (pcm >> 1) & 0x0F : (pcm >> segment) & 0x0F;
    return static_cast<std::uint8_t>(code ^ mask);
}

std::int16_t alawToLinear(std::uint8_t code) {
    const int a = code ^ 0x55;
    int t = (a & 0x0F) << 4;
    const int segment = (a & 0x70) >> 4;
    if (segment == 0) {
        t += 8;
    } else {
        t += 0x108;
        if (segment > 1) t <<= segment - 1;
    }
    return static_cast<std::int16_t>((a & 0x80) ? t : -t);
}

int payloadBytes(int payloadType) {
    return payloadType == kPayloadG729 ? 20 : 160;
}

std::vector<std::vector<std::uint8_t>> encodeStream(int payloadType, std::span<const std::int16_t> pcm) {
    std::vector<std::vector<std::uint8_t>> payloads;
    bcg729EncoderChannelContextStruct* encoder = payloadType == kPayloadG729 ? initBcg729EncoderChannel(0) : nullptr;
    for (std::size_t start = 0; start + kSamplesPerPacket <= pcm.size(); start += kSamplesPerPacket) {
        const std::int16_t* frame = pcm.data() + start;
        std::vector<std::uint8_t> payload(static_cast<std::size_t>(payloadBytes(payloadType)));
        switch (payloadType) {
            case kPayloadPcmu:
                for (int i = 0; i < kSamplesPerPacket; ++i) payload[i] = ulawFromLinear(frame[i]);
                break;
            case kPayloadPcma:
                for (int i = 0; i < kSamplesPerPacket; ++i) payload[i] = alawFromLinear(frame[i]);
                break;
            case kPayloadG729:
                for (int half = 0; half < 2; ++half) {
                    std::uint8_t length = 0;
                    bcg729Encoder(encoder, frame + 80 * half, payload.data() + 10 * half, &length);
                }
                break;
            default:
                std::fill(payload.begin(), payload.end(), 0xFA);
                break;
        }
        payloads.push_back(std::move(payload));
    }
    if (encoder != nullptr) closeBcg729EncoderChannel(encoder);
    return payloads;
}

std::vector<std::int16_t> decodeStream(int payloadType, const std::vector<std::vector<std::uint8_t>>& payloads) {
    std::vector<std::int16_t> pcm;
    bcg729DecoderChannelContextStruct* decoder = payloadType == kPayloadG729 ? initBcg729DecoderChannel() : nullptr;
    for (const auto& payload : payloads) {
        std::int16_t frame[kSamplesPerPacket] = {};
        switch (payloadType) {
            case kPayloadPcmu:
                for (int i = 0; i < kSamplesPerPacket && i < static_cast<int>(payload.size()); ++i) {
                    frame[i] = ulawToLinear(payload[i]);
                }
                break;
            case kPayloadPcma:
                for (int i = 0; i < kSamplesPerPacket && i < static_cast<int>(payload.size()); ++i) {
                    frame[i] = alawToLinear(payload[i]);
                }
                break;
            case kPayloadG729:
                for (int half = 0; half < 2 && payload.size() >= static_cast<std::size_t>(10 * (half + 1)); ++half) {
                    bcg729Decoder(decoder, payload.data() + 10 * half, 10, 0, 0, 0, frame + 80 * half);
                }
                break;
            default:
                break;
        }
        pcm.insert(pcm.end(), frame, frame + kSamplesPerPacket);
    }
    if (decoder != nullptr) closeBcg729DecoderChannel(decoder);
    return pcm;
}

std::vector<std::int16_t> voicedSignal(int samples, double pitchHz, double peak) {
    // Formant peaks of an open vowel shape the harmonics' amplitudes.
    constexpr double kFormants[3] = {700.0, 1200.0, 2600.0};
    constexpr double kBandwidth = 150.0;
    std::vector<double> out(static_cast<std::size_t>(samples), 0.0);
    double phase = 0.0;
    for (int n = 0; n < samples; ++n) {
        const double t = n / 8000.0;
        const double f0 = pitchHz * (1.0 + 0.05 * std::sin(2 * std::numbers::pi * 3.0 * t));
        phase += 2 * std::numbers::pi * f0 / 8000.0;
        double value = 0.0;
        for (int h = 1; h * pitchHz < 3800.0; ++h) {
            const double f = h * f0;
            double gain = 0.0;
            for (double formant : kFormants) gain += 1.0 / (1.0 + std::pow((f - formant) / kBandwidth, 2));
            value += gain / h * std::sin(h * phase);
        }
        out[static_cast<std::size_t>(n)] = value;
    }
    double maxAbs = 1e-9;
    for (double v : out) maxAbs = std::max(maxAbs, std::fabs(v));
    std::vector<std::int16_t> pcm(out.size());
    for (std::size_t i = 0; i < out.size(); ++i)
        pcm[i] = static_cast<std::int16_t>(std::lround(out[i] / maxAbs * peak));
    return pcm;
}

double snrDb(std::span<const std::int16_t> reference, std::span<const std::int16_t> decoded, int delay) {
    double signal = 0.0;
    double noise = 0.0;
    for (std::size_t i = 0; i + static_cast<std::size_t>(delay) < decoded.size() && i < reference.size(); ++i) {
        const double r = reference[i];
        const double d = decoded[i + static_cast<std::size_t>(delay)];
        signal += r * r;
        noise += (r - d) * (r - d);
    }
    if (noise <= 0.0) return 200.0;
    return 10.0 * std::log10(signal / noise);
}

int bestDelay(std::span<const std::int16_t> reference, std::span<const std::int16_t> decoded, int maxDelay) {
    int best = 0;
    double bestSnr = -1e9;
    for (int delay = 0; delay <= maxDelay; ++delay) {
        const double snr = snrDb(reference, decoded, delay);
        if (snr > bestSnr) {
            bestSnr = snr;
            best = delay;
        }
    }
    return best;
}

}  // namespace sim
