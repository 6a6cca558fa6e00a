// The RTP receive check and the receive path behind it, on any datagram.
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <span>

#include "voice/rtp.h"
#include "voice/rtp_header.h"
#include "voice/wave.h"

namespace {

void check(bool condition) {
    if (!condition) __builtin_trap();
}

// One engine for the whole run, its session never started: the packets
// come straight from the fuzzer.
Wave& engine() {
    static Wave* wave = [] {
        auto* w = new Wave();
        w->start();
        w->setVoiceActive(true);
        return w;
    }();
    return *wave;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::span<const std::uint8_t> datagram(data, size);
    const std::optional<std::size_t> payload = rtpPayloadLength(datagram);
    if (!payload) return 0;
    check(size > kRtpHeaderBytes && size <= kRtpMaxDatagram);
    check(*payload <= size - kRtpHeaderBytes);

    // What is read back from a header, written again, gives its bytes but
    // the flags and the marker.
    const RtpHeader header = readRtpHeader(datagram.first<kRtpHeaderBytes>());
    check(header.version == kRtpVersion);
    std::uint8_t rebuilt[kRtpHeaderBytes];
    writeRtpHeader(rebuilt, header.payloadType, header.sequence, header.timestamp, header.ssrc);
    check((rebuilt[1] ^ data[1]) == (data[1] & 0x80));
    check(std::memcmp(rebuilt + 2, data + 2, kRtpHeaderBytes - 2) == 0);

    // The receive path decodes by the session's codec; here the packet's
    // own type picks it, so every decoder meets every length.
    const int blockSize = static_cast<int>(size - kRtpHeaderBytes);
    RtpPacket* packet = RTP::createPacket(&blockSize);
    std::memcpy(packet->header, data, kRtpHeaderBytes);
    std::memcpy(packet->payload.get(), data + kRtpHeaderBytes, static_cast<std::size_t>(blockSize));
    packet->payloadLength = static_cast<std::int32_t>(*payload);
    Wave& wave = engine();
    wave.setCodec(header.payloadType);
    wave.storePacket(*packet, header.timestamp / 8);
    RTP::releasePacket(&packet);

    std::uint8_t out[Wave::kReceiveRoomBytes];
    int length = 0;
    wave.receiveVoice(out, nullptr, &length);
    check(length >= 0 && length <= Wave::kReceiveRoomBytes && length % kFrameBytes == 0);
    return 0;
}
