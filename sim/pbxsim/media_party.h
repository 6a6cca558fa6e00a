// The far party of the call server: it echoes what the terminal says, or
// speaks a test tone, as RTP through an impaired link, and counts the
// packets each way.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <mutex>
#include <queue>
#include <vector>

#include "platform/thread.h"
#include "platform/udp_socket.h"
#include "sim/pbxsim/link_impairment.h"

namespace sim {

enum class PartyKind { Echo, TestTone };

struct PartyCounts {
    std::uint64_t received = 0;  // RTP packets from the terminal
    std::uint64_t sent = 0;      // RTP packets to the terminal
    std::uint64_t dropped = 0;   // lost on purpose by the impaired link
    // RTP packets from the terminal while its connection did not let it
    // send: before the far end answered (ringback, recvonly) or after the
    // connection was deleted, one frame's grace past the answer to that.
    std::uint64_t stray = 0;
    // Monotonic send time (us) of each packet to the terminal, in order,
    // lost ones included, when asked for by recordSendTimes.
    std::vector<std::uint64_t> sentUs;
};

class MediaParty {
public:
    MediaParty(PartyKind kind, const LinkImpairment& impairment);
    ~MediaParty();
    MediaParty(const MediaParty&) = delete;
    MediaParty& operator=(const MediaParty&) = delete;

    bool start(std::uint16_t port);
    void stop();
    std::uint16_t port() const { return mSocket.localPort(); }

    // Talks to the terminal at `address`:`port` in `payloadType` (0 or 8)
    // until disconnect().
    void connect(std::uint32_t address, std::uint16_t port, int payloadType);
    void disconnect();
    // Whether the terminal's connection lets it send now; connect() sets it.
    // Packets that come while it does not count as stray.
    void expectTerminalMedia(bool on);
    void recordSendTimes(bool on);
    PartyCounts counts() const;

private:
    struct Pending {
        std::uint64_t dueUs;
        std::uint64_t order;
        std::vector<std::uint8_t> bytes;
        bool operator>(const Pending& other) const {
            return dueUs != other.dueUs ? dueUs > other.dueUs : order > other.order;
        }
    };

    void receiveLoop();
    void sendLoop();
    // Builds the next packet and hands it to the impaired link; under mMutex.
    void queuePacket(const std::uint8_t* payload, std::size_t length, std::uint64_t nowUs);
    void speakToneFrame(std::uint64_t nowUs);

    const PartyKind mKind;
    ImpairedLink mLink;
    platform::UdpSocket mSocket;
    platform::Thread mReceiver;
    platform::Thread mSender;
    std::atomic<bool> mStopping{false};

    mutable std::mutex mMutex;
    std::condition_variable mWake;
    std::priority_queue<Pending, std::vector<Pending>, std::greater<>> mQueue;
    bool mConnected = false;
    bool mExpecting = false;
    bool mRecordSendTimes = false;
    std::uint64_t mStrayFromUs = 0;
    std::uint32_t mAddress = 0;
    std::uint16_t mPort = 0;
    int mPayloadType = 0;
    std::uint16_t mSequence = 4000;
    std::uint32_t mTimestamp = 16000;
    std::uint64_t mOrder = 0;
    std::uint64_t mNextToneUs = 0;
    std::uint64_t mTonePhase = 0;
    PartyCounts mCounts;
};

}  // namespace sim
