#include "sim/rtp_peer.h"

#include <algorithm>
#include <chrono>
#include <random>

#include "platform/clock.h"
#include "sim/reference_codec.h"

namespace sim {

namespace {

std::vector<std::uint8_t> buildDatagram(const RtpStreamPlan& plan, const PlannedPacket& packet) {
    std::vector<std::uint8_t> bytes = {
        0x80,
        static_cast<std::uint8_t>(plan.payloadType & 0x7F),
        static_cast<std::uint8_t>(packet.sequence >> 8),
        static_cast<std::uint8_t>(packet.sequence),
        static_cast<std::uint8_t>(packet.timestamp >> 24),
        static_cast<std::uint8_t>(packet.timestamp >> 16),
        static_cast<std::uint8_t>(packet.timestamp >> 8),
        static_cast<std::uint8_t>(packet.timestamp),
        static_cast<std::uint8_t>(plan.ssrc >> 24),
        static_cast<std::uint8_t>(plan.ssrc >> 16),
        static_cast<std::uint8_t>(plan.ssrc >> 8),
        static_cast<std::uint8_t>(plan.ssrc),
    };
    bytes.insert(bytes.end(), packet.payload.begin(), packet.payload.end());
    return bytes;
}

}  // namespace

std::vector<PlannedPacket> planRtpStream(std::span<const std::int16_t> pcm, const RtpStreamPlan& plan) {
    std::vector<std::vector<std::uint8_t>> payloads = encodeStream(plan.payloadType, pcm);
    std::mt19937 random(plan.lossSeed);
    std::uniform_real_distribution<double> draw(0.0, 1.0);
    std::vector<PlannedPacket> packets;
    for (std::size_t i = 0; i < payloads.size(); ++i) {
        PlannedPacket packet;
        packet.index = static_cast<int>(i);
        packet.sequence = static_cast<std::uint16_t>(plan.firstSequence + i);
        packet.timestamp = plan.firstTimestamp + static_cast<std::uint32_t>(i) * 160;
        packet.sendAtMs = packet.index * plan.intervalMs;
        packet.lost = draw(random) < plan.lossRate || std::find(plan.lostPackets.begin(), plan.lostPackets.end(),
                                                                packet.index) != plan.lostPackets.end();
        packet.payload = std::move(payloads[i]);
        packet.datagram = buildDatagram(plan, packet);
        packets.push_back(std::move(packet));
    }
    for (int k : plan.swappedPackets) {
        if (k < 0 || static_cast<std::size_t>(k) + 1 >= packets.size()) continue;
        std::swap(packets[static_cast<std::size_t>(k)].sendAtMs, packets[static_cast<std::size_t>(k) + 1].sendAtMs);
    }
    if (plan.extraDelayMs) {
        for (auto& packet : packets) packet.sendAtMs += plan.extraDelayMs(packet.index);
    }
    std::stable_sort(packets.begin(), packets.end(),
                     [](const PlannedPacket& a, const PlannedPacket& b) { return a.sendAtMs < b.sendAtMs; });
    return packets;
}

std::optional<RtpDatagram> parseRtpDatagram(const Datagram& datagram) {
    const auto& b = datagram.bytes;
    if (b.size() < 12) return std::nullopt;
    RtpDatagram rtp;
    rtp.byte0 = b[0];
    rtp.marker = (b[1] & 0x80) != 0;
    rtp.payloadType = b[1] & 0x7F;
    rtp.sequence = static_cast<std::uint16_t>(b[2] << 8 | b[3]);
    rtp.timestamp = static_cast<std::uint32_t>(b[4]) << 24 | static_cast<std::uint32_t>(b[5]) << 16 |
                    static_cast<std::uint32_t>(b[6]) << 8 | b[7];
    std::copy(b.begin() + 8, b.begin() + 12, rtp.ssrc);
    rtp.payload.assign(b.begin() + 12, b.end());
    rtp.atMs = datagram.atMs;
    return rtp;
}

RtpPeer::~RtpPeer() {
    stop();
}

bool RtpPeer::start(std::uint16_t port) {
    return mUdp.start(port, kLoopbackAddress);
}

void RtpPeer::stop() {
    stopPlaying();
    mUdp.stop();
}

void RtpPeer::stopPlaying() {
    mStopPlaying = true;
    if (mPlayer) {
        mPlayer->join();
        mPlayer.reset();
    }
    mStopPlaying = false;
}

bool RtpPeer::send(const PlannedPacket& packet, std::uint32_t address, std::uint16_t port) {
    if (packet.lost) return true;
    return sendRaw(packet.datagram, address, port);
}

bool RtpPeer::sendRaw(std::span<const std::uint8_t> bytes, std::uint32_t address, std::uint16_t port) {
    return mUdp.sendTo(address, port, bytes.data(), bytes.size());
}

bool RtpPeer::play(std::vector<PlannedPacket> packets, std::uint32_t address, std::uint16_t port) {
    stopPlaying();
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mPlaying = true;
    }
    auto player = std::make_unique<platform::Thread>();
    const bool created = player->createSuspended([this, packets = std::move(packets), address, port]() mutable {
        runPlayer(std::move(packets), address, port);
    });
    if (!created) {
        std::lock_guard<std::mutex> lock(mMutex);
        mPlaying = false;
        return false;
    }
    mPlayer = std::move(player);
    mPlayer->resume();
    return true;
}

void RtpPeer::runPlayer(std::vector<PlannedPacket> packets, std::uint32_t address, std::uint16_t port) {
    const std::uint64_t startMs = platform::monotonicMs();
    for (const PlannedPacket& packet : packets) {
        for (;;) {
            if (mStopPlaying) break;
            const std::uint64_t now = platform::monotonicMs();
            const std::uint64_t due = startMs + static_cast<std::uint64_t>(std::max(packet.sendAtMs, 0));
            if (now >= due) break;
            // Short steps, so a stop is seen soon.
            platform::sleepMs(static_cast<unsigned>(std::min<std::uint64_t>(due - now, 5)));
        }
        if (mStopPlaying) break;
        send(packet, address, port);
    }
    std::lock_guard<std::mutex> lock(mMutex);
    mPlaying = false;
    mPlayedChanged.notify_all();
}

bool RtpPeer::waitPlayed(int timeoutMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    return mPlayedChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !mPlaying; });
}

std::vector<RtpDatagram> RtpPeer::received() const {
    std::vector<RtpDatagram> packets;
    for (const Datagram& datagram : mUdp.received()) {
        if (auto rtp = parseRtpDatagram(datagram)) packets.push_back(std::move(*rtp));
    }
    return packets;
}

}  // namespace sim
