// The far end of the voice stream: sends a PCM signal as RTP in a chosen
// codec, with losses, reordering and delays, and records what the terminal
// sends.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <vector>

#include "platform/thread.h"
#include "sim/udp_peer.h"

namespace sim {

struct RtpStreamPlan {
    int payloadType = 0;  // 0, 8, 9 or 18
    std::uint16_t firstSequence = 1000;
    std::uint32_t firstTimestamp = 8000;
    std::uint32_t ssrc = 0x51DE5151;
    int intervalMs = 20;
    // Random loss with a fixed seed, and packets lost by index.
    double lossRate = 0.0;
    std::uint32_t lossSeed = 1;
    std::vector<int> lostPackets;
    // For each index k here, packets k and k + 1 go out in each other's
    // place.
    std::vector<int> swappedPackets;
    // Extra delay in ms of each packet, by index; send order follows.
    std::function<int(int)> extraDelayMs;
};

struct PlannedPacket {
    int index = 0;  // position in the signal, 20 ms each
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    int sendAtMs = 0;  // from the start of the stream
    bool lost = false;
    std::vector<std::uint8_t> payload;
    std::vector<std::uint8_t> datagram;
};

// The packets of `pcm` (160 samples each) in send order, lost ones marked.
std::vector<PlannedPacket> planRtpStream(std::span<const std::int16_t> pcm, const RtpStreamPlan& plan);

// One datagram in the RTP form the terminal sends.
struct RtpDatagram {
    std::uint8_t byte0 = 0;  // version, padding, extension, sources
    std::uint8_t payloadType = 0;
    bool marker = false;
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint8_t ssrc[4] = {};  // as on the wire
    std::vector<std::uint8_t> payload;
    std::uint64_t atMs = 0;
};

std::optional<RtpDatagram> parseRtpDatagram(const Datagram& datagram);

class RtpPeer {
public:
    RtpPeer() = default;
    ~RtpPeer();
    RtpPeer(const RtpPeer&) = delete;
    RtpPeer& operator=(const RtpPeer&) = delete;

    // Binds `port` on loopback; 0 lets the system choose.
    bool start(std::uint16_t port = 0);
    void stop();
    std::uint16_t port() const { return mUdp.port(); }

    // Sends one planned packet now (nothing for a lost one). False when
    // the send failed.
    bool send(const PlannedPacket& packet, std::uint32_t address, std::uint16_t port);
    bool sendRaw(std::span<const std::uint8_t> bytes, std::uint32_t address, std::uint16_t port);
    // Sends the packets at their times from now on, on a thread of the
    // peer; one stream at a time.
    bool play(std::vector<PlannedPacket> packets, std::uint32_t address, std::uint16_t port);
    bool waitPlayed(int timeoutMs);

    // What the terminal sent, in arrival order; datagrams that aren't RTP
    // are left out.
    std::vector<RtpDatagram> received() const;
    bool waitForPackets(std::size_t count, int timeoutMs) const { return mUdp.waitForCount(count, timeoutMs); }
    void clear() { mUdp.clear(); }

private:
    void stopPlaying();
    void runPlayer(std::vector<PlannedPacket> packets, std::uint32_t address, std::uint16_t port);

    UdpPeer mUdp;
    std::unique_ptr<platform::Thread> mPlayer;
    std::atomic<bool> mStopPlaying{false};
    std::mutex mMutex;
    std::condition_variable mPlayedChanged;
    bool mPlaying = false;
};

}  // namespace sim
