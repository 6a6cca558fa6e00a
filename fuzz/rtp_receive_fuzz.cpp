// Datagrams off a real socket through RTP::receive and on into Wave as its
// receive thread takes them, then playout. The input is a codec byte, then
// a run of datagrams, each a two-byte length (big-endian) and its bytes,
// each arriving 0 to 63 ms after the one before (the low six bits of its
// first length byte). What receive hands over is what was sent: the header
// bytes, the payload, a length that never passes the datagram; a refused
// datagram gives no packet. Playout gives whole frames within its room.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <optional>
#include <span>

#include "platform/udp_socket.h"
#include "voice/rtp.h"
#include "voice/rtp_header.h"
#include "voice/wave.h"

namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;
// Datagrams per input: enough for a fill, a start of playout and a burst.
constexpr int kMaxDatagrams = 64;

void check(bool condition) {
    if (!condition) std::abort();
}

// The socket pair lives for the whole run; each input drains what it sends.
struct Link {
    RTP rtp{0};
    platform::UdpSocket sender;
    Link() {
        check(rtp.start() == 0);
        check(sender.open(0));
        check(rtp.setRemoteAddress(kLoopback) == 0);
        check(rtp.setRemotePort(sender.localPort()) == 0);
        check(rtp.open(0x12345678) == 0);
    }
};

Link& link() {
    static Link* l = new Link();
    return *l;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Link& l = link();
    // One engine for the run: a fresh one walks its whole frame table twice,
    // which would take most of the time. Each input starts as a new call
    // does, with an emptied Buffer and no arrival marks; the jitter depth
    // and the decoders' memory carry over from input to input as they carry
    // from call to call.
    static Wave* engine = [] {
        auto* w = new Wave(0);
        check(w->start() == 0);
        w->setVoiceActive(true);
        return w;
    }();
    Wave& wave = *engine;
    check(wave.resetBuffer() == 0);
    // The session's codec: the first byte's choice among those the engine
    // knows, or one it doesn't.
    static constexpr std::int32_t kCodecs[] = {0, 8, 18, 9, 3};
    wave.setCodec(kCodecs[size == 0 ? 0 : data[0] % 5]);

    std::uint32_t arrivalMs = 1000;
    std::size_t at = 1;
    std::uint8_t out[Wave::kReceiveRoomBytes];
    for (int n = 0; n < kMaxDatagrams && at + 2 <= size; ++n) {
        const std::size_t wanted = (static_cast<std::size_t>(data[at]) << 8 | data[at + 1]) % 1600;
        arrivalMs += data[at] & 0x3F;
        at += 2;
        const std::size_t length = wanted < size - at ? wanted : size - at;
        const std::span<const std::uint8_t> datagram(data + at, length);
        at += length;
        check(l.sender.sendTo(kLoopback, l.rtp.boundPort(), datagram.data(), length) == static_cast<int>(length));

        // The socket takes datagrams of one packet; a larger one is refused
        // on arrival and nothing waits behind it.
        int got = -1;
        RtpPacket* packet = l.rtp.receive(&got);
        const std::optional<std::size_t> payload = rtpPayloadLength(datagram);
        if (packet == nullptr) {
            check(!payload || length > kRtpMaxDatagram);
            continue;
        }
        check(payload.has_value() && length <= kRtpMaxDatagram);
        check(got == static_cast<int>(kRtpHeaderBytes + *payload) && got <= static_cast<int>(length));
        check(packet->payloadLength == static_cast<std::int32_t>(*payload));
        check(std::memcmp(packet->header, datagram.data(), kRtpHeaderBytes) == 0);
        check(std::memcmp(packet->payload.get(), datagram.data() + kRtpHeaderBytes, *payload) == 0);
        wave.storePacket(*packet, arrivalMs);
        RTP::releasePacket(&packet);
        check(packet == nullptr);

        int played = -1;
        check(wave.receiveVoice(out, nullptr, &played) == 0);
        check(played >= 0 && played <= Wave::kReceiveRoomBytes && played % Wave::kFrameBytes == 0);
    }
    return 0;
}
