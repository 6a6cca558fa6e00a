#include "voice/rtp.h"

#include <cstring>
#include <new>
#include <random>

#include "common/tracer.h"
#include "platform/clock.h"
#include "platform/socket_error.h"
#include "platform/thread.h"
#include "platform/udp_socket.h"

struct RTP::Data {
    platform::UdpSocket socket;
    std::atomic<std::uint32_t> ssrc{0};
    // Only the low 16 bits of the sequence go out; the counter runs on.
    std::atomic<std::uint32_t> nextSequence{0};
    std::atomic<std::uint32_t> nextTimestamp{0};
    std::minstd_rand random;
};

namespace {

// Seeded from the time of day and the high-resolution counter, so that two
// sessions begun within the same millisecond still start apart.
std::uint32_t randomSeed(const void* salt) {
    const platform::TimeOfDay now = platform::utcTimeOfDay();
    const std::uint64_t ticks = platform::monotonicTicks();
    std::seed_seq seq{
        static_cast<std::uint32_t>(now.hour * 3600000 + now.minute * 60000 + now.second * 1000 + now.millisecond),
        static_cast<std::uint32_t>(ticks), static_cast<std::uint32_t>(ticks >> 32),
        static_cast<std::uint32_t>(reinterpret_cast<std::uintptr_t>(salt))};
    std::uint32_t seed = 0;
    seq.generate(&seed, &seed + 1);
    return seed;
}

void storeBits(std::atomic<std::uint64_t>& word, std::uint64_t mask, std::uint64_t bits) {
    std::uint64_t old = word.load();
    while (!word.compare_exchange_weak(old, (old & ~mask) | (bits & mask))) {
    }
}

}  // namespace

RTP::RTP(std::uint16_t localPort) : mLocalPort(localPort) {
    Tracer::instance()->trace(kTraceStatus, "[RTP] Module created");
}

RTP::~RTP() {
    shutdown();
    Tracer::instance()->trace(kTraceStatus, "[RTP] Module destroyed");
}

int RTP::start() {
    Tracer::instance()->trace(kTraceStatus, "[RTP] Module starting");
    if (mData) return 0;
    mData.reset(new (std::nothrow) Data());
    if (!mData) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[RTP :: CRITICAL ERROR] Object creation failed - RTP data structure");
        shutdown();
        return 1;
    }
    mData->random.seed(randomSeed(mData.get()));
    return 0;
}

int RTP::shutdown() {
    if (!mData) return 0;
    close();
    mData.reset();
    Tracer::instance()->trace(kTraceStatus, "[RTP] Module shutdown");
    return 0;
}

int RTP::open(std::uint32_t ssrc) {
    if (!mData || remoteAddress() == 0) return 1;
    mData->ssrc = ssrc;
    const std::uint16_t port = mLocalPort.load();
    // A second open starts afresh rather than leaving the old port bound.
    close();
    if (!mData->socket.open(port)) return 1;
    // The port bound, which is the one asked for unless that was 0.
    storeBits(mDestination, 0xFFFF, mData->socket.localPort());
    mData->nextSequence = mData->random() & 0xFFFF;
    mData->nextTimestamp = mData->random() & 0xFFFF;
    return 0;
}

int RTP::close() {
    if (!mData) return 1;
    if (mData->socket.close() != 0) {
        Tracer::instance()->trace(kTraceWarning, "[RTP :: Warning] Close socket returned error: %d",
                                  platform::lastSocketError());
    }
    return 0;
}

bool RTP::isOpen() const {
    return mData && mData->socket.isOpen();
}

std::uint16_t RTP::boundPort() const {
    return mData ? mData->socket.localPort() : 0;
}

int RTP::send(RtpPacket* packet, const int* length, int* sent) {
    Data* data = mData.get();
    if (data == nullptr || packet == nullptr || !packet->payload || length == nullptr) return 1;
    // Only what the packet holds is sent, and no more than a datagram.
    if (*length < 0 || *length > packet->payloadLength ||
        static_cast<std::size_t>(*length) > kRtpMaxDatagram - kRtpHeaderBytes) {
        return 1;
    }
    const std::uint32_t sequence = data->nextSequence.fetch_add(1);
    const std::uint32_t timestamp = data->nextTimestamp.fetch_add(kTimestampStep);
    writeRtpHeader(packet->header, static_cast<std::uint8_t>(mPayloadType.load()), static_cast<std::uint16_t>(sequence),
                   timestamp, data->ssrc.load());

    std::uint8_t datagram[kRtpMaxDatagram];
    std::memcpy(datagram, packet->header, kRtpHeaderBytes);
    std::memcpy(datagram + kRtpHeaderBytes, packet->payload.get(), static_cast<std::size_t>(*length));
    const std::uint64_t destination = mDestination.load();
    const int result =
        data->socket.sendTo(static_cast<std::uint32_t>(destination >> 16), static_cast<std::uint16_t>(destination),
                            datagram, kRtpHeaderBytes + static_cast<std::size_t>(*length));
    if (sent != nullptr) *sent = result;
    return 0;
}

RtpPacket* RTP::receive(int* length) {
    Data* data = mData.get();
    if (data == nullptr) return nullptr;
    std::uint8_t datagram[kRtpMaxDatagram];
    const platform::ReceiveResult got = data->socket.receive(datagram, sizeof datagram);
    if (got.status != platform::ReceiveStatus::Data) return nullptr;
    if (length != nullptr) *length = static_cast<int>(got.length);

    const std::span<const std::uint8_t> bytes(datagram, got.length);
    const std::optional<std::size_t> payloadLength = rtpPayloadLength(bytes);
    if (!payloadLength) return nullptr;
    const int blockSize = static_cast<int>(got.length - kRtpHeaderBytes);
    RtpPacket* packet = createPacket(&blockSize);
    if (packet == nullptr) return nullptr;
    std::memcpy(packet->header, datagram, kRtpHeaderBytes);
    std::memcpy(packet->payload.get(), datagram + kRtpHeaderBytes, static_cast<std::size_t>(blockSize));
    packet->payloadLength = static_cast<std::int32_t>(*payloadLength);
    if (length != nullptr) *length = static_cast<int>(kRtpHeaderBytes + *payloadLength);
    return packet;
}

RtpPacket* RTP::createPacket(const int* size) {
    if (size == nullptr || *size < 0) return nullptr;
    auto* packet = new (std::nothrow) RtpPacket();
    if (packet == nullptr) return nullptr;
    packet->payload.reset(new (std::nothrow) std::uint8_t[static_cast<std::size_t>(*size)]());
    if (!packet->payload) {
        delete packet;
        return nullptr;
    }
    packet->payloadLength = *size;
    return packet;
}

int RTP::releasePacket(RtpPacket** packet) {
    if (packet == nullptr) return 0;
    delete *packet;
    *packet = nullptr;
    return 0;
}

std::uint32_t RTP::makeSsrc() {
    const std::uint32_t random = mData ? static_cast<std::uint32_t>(mData->random()) : 0;
    return platform::currentThreadId() << 16 | (random & 0xFFFF);
}

int RTP::setRemotePort(std::int32_t port) {
    storeBits(mDestination, 0xFFFF, static_cast<std::uint16_t>(port));
    return 0;
}

int RTP::setLocalPort(std::int32_t port) {
    mLocalPort = static_cast<std::uint16_t>(port);
    return 0;
}

int RTP::setRemoteAddress(std::uint32_t address) {
    storeBits(mDestination, 0xFFFFFFFF0000ull, static_cast<std::uint64_t>(address) << 16);
    return 0;
}

int RTP::setPayloadType(std::int32_t payloadType) {
    mPayloadType = payloadType;
    return 0;
}
