// Wave's send and receive paths, per 20 ms frame: coding and packetising
// with the socket left out, and the send path once more with it.
#include <benchmark/benchmark.h>

#include <cmath>
#include <cstdint>
#include <cstring>
#include <vector>

#include "platform/udp_socket.h"
#include "voice/buffer.h"
#include "voice/codec_lib.h"
#include "voice/g711.h"
#include "voice/rtp.h"
#include "voice/wave.h"

namespace {

constexpr int kFrames = 50;

std::vector<std::uint8_t> voicedBytes() {
    std::vector<std::int16_t> pcm(160 * kFrames);
    for (std::size_t n = 0; n < pcm.size(); ++n) {
        double v = 0.0;
        for (int h = 1; h < 30; ++h) v += std::sin(2 * M_PI * 120.0 * h * static_cast<double>(n) / 8000.0) / h;
        pcm[n] = static_cast<std::int16_t>(3000.0 * v);
    }
    std::vector<std::uint8_t> bytes(pcm.size() * 2);
    std::memcpy(bytes.data(), pcm.data(), bytes.size());
    return bytes;
}

// Encoding, packet, header and copy; the session isn't open, so the send
// itself fails at once and unnoticed, as on a closed socket.
void BM_SendPath(benchmark::State& state) {
    const std::vector<std::uint8_t> pcm = voicedBytes();
    Wave wave(0);
    wave.start();
    wave.setCodec(static_cast<std::int32_t>(state.range(0)));
    const int length = kFrameBytes;
    int frame = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(wave.sendVoice(pcm.data() + kFrameBytes * frame, &length));
        frame = (frame + 1) % kFrames;
    }
    state.SetLabel(state.range(0) == toInt(PayloadType::kG729) ? "G.729" : "G.711 u-law");
}
BENCHMARK(BM_SendPath)->Arg(toInt(PayloadType::kPcmu))->Arg(toInt(PayloadType::kG729));

// The same with the datagram going out to a loopback socket.
void BM_SendPathWithSocket(benchmark::State& state) {
    const std::vector<std::uint8_t> pcm = voicedBytes();
    platform::UdpSocket sink;
    sink.open(0);
    Wave wave(0);
    wave.start();
    wave.setRemoteAddress(0x7F000001);
    wave.startSession();
    wave.setRemotePort(sink.localPort());
    wave.setCodec(static_cast<std::int32_t>(state.range(0)));
    const int length = kFrameBytes;
    int frame = 0;
    std::uint8_t drain[1500];
    for (auto _ : state) {
        benchmark::DoNotOptimize(wave.sendVoice(pcm.data() + kFrameBytes * frame, &length));
        frame = (frame + 1) % kFrames;
        state.PauseTiming();
        sink.receive(drain, sizeof drain, 0);
        state.ResumeTiming();
    }
    wave.shutdown();
    state.SetLabel(state.range(0) == toInt(PayloadType::kG729) ? "G.729" : "G.711 u-law");
}
BENCHMARK(BM_SendPathWithSocket)->Arg(toInt(PayloadType::kPcmu))->Arg(toInt(PayloadType::kG729));

// From the datagram as it left the socket to the frame the client plays:
// receive checks, packet, decoding, Buffer, concealment's delay line.
void BM_ReceivePath(benchmark::State& state) {
    const auto codec = static_cast<std::int32_t>(state.range(0));
    const std::vector<std::uint8_t> pcm = voicedBytes();
    // The payloads, coded once beforehand.
    std::vector<std::vector<std::uint8_t>> payloads;
    CodecHandle* encoder = nullptr;
    codecLibOpen(&encoder, kCodecIdG729, kCodecDirectionEncode, 0);
    G711 g711;
    for (int f = 0; f < kFrames; ++f) {
        std::int16_t samples[160];
        std::memcpy(samples, pcm.data() + kFrameBytes * f, kFrameBytes);
        std::vector<std::uint8_t> payload(codec == toInt(PayloadType::kG729) ? 20 : 160);
        if (codec == toInt(PayloadType::kG729)) {
            int count = 160;
            int bytes = 20;
            codecLibEncode(&encoder, samples, &count, payload.data(), &bytes, nullptr, 0);
        } else {
            g711.ulawCompress(payload.data(), samples);
        }
        payloads.push_back(std::move(payload));
    }
    codecLibClose(encoder, 0);
    BufferHistory::processWide() = BufferHistory{};
    Wave wave(0);
    wave.start();
    wave.setCodec(codec);
    wave.setVoiceActive(true);
    std::uint8_t datagram[kRtpMaxDatagram];
    std::uint8_t out[Wave::kReceiveRoomBytes];
    std::uint32_t k = 0;
    for (auto _ : state) {
        const std::vector<std::uint8_t>& payload = payloads[k % kFrames];
        writeRtpHeader(std::span<std::uint8_t, kRtpHeaderBytes>(datagram, kRtpHeaderBytes), 0,
                       static_cast<std::uint16_t>(k), 160 * k + 160, 1);
        std::memcpy(datagram + kRtpHeaderBytes, payload.data(), payload.size());
        const std::size_t size = kRtpHeaderBytes + payload.size();

        const std::optional<std::size_t> payloadLength = rtpPayloadLength({datagram, size});
        int blockSize = static_cast<int>(size - kRtpHeaderBytes);
        RtpPacket* packet = RTP::createPacket(&blockSize);
        std::memcpy(packet->header, datagram, kRtpHeaderBytes);
        std::memcpy(packet->payload.get(), datagram + kRtpHeaderBytes, static_cast<std::size_t>(blockSize));
        packet->payloadLength = static_cast<std::int32_t>(*payloadLength);
        wave.storePacket(*packet, 20 * k);
        RTP::releasePacket(&packet);

        int length = 0;
        wave.receiveVoice(out, nullptr, &length);
        benchmark::DoNotOptimize(out);
        ++k;
    }
    state.SetLabel(codec == toInt(PayloadType::kG729) ? "G.729" : "G.711 u-law");
}
BENCHMARK(BM_ReceivePath)->Arg(toInt(PayloadType::kPcmu))->Arg(toInt(PayloadType::kG729));

}  // namespace
