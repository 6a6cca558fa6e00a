// The call server's side of the PTAP control link, on loopback port 9300:
// it answers START, OP_BEGIN and the terminal's other packets by a script
// that each test sets, sends keepalive requests, events and card queries,
// and records everything the terminal sent with its arrival time.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <initializer_list>
#include <mutex>
#include <optional>
#include <vector>

#include "platform/thread.h"
#include "sim/udp_peer.h"

namespace sim {

// One PTAP datagram as the server sees it.
struct PtapDatagram {
    std::uint32_t tid = 0;
    std::uint8_t type = 0;
    std::vector<std::uint8_t> payload;
    std::vector<std::uint8_t> bytes;
    std::uint64_t atMs = 0;  // monotonic milliseconds: arrival, or departure for what the server sent
};

class PtapServer {
public:
    static constexpr std::uint16_t kPort = 9300;
    static constexpr std::uint16_t kTerminalPort = 9301;

    // Packet types.
    static constexpr std::uint8_t kAck = 0x00;
    static constexpr std::uint8_t kCompulsionRestart = 0x03;
    static constexpr std::uint8_t kStart = 0x04;
    static constexpr std::uint8_t kOpBegin = 0x0F;
    static constexpr std::uint8_t kKeepaliveRequest = 0x10;
    static constexpr std::uint8_t kErrorResponse = 0x14;
    static constexpr std::uint8_t kEvent = 0x15;
    static constexpr std::uint8_t kCardQuery = 0x3C;
    static constexpr std::uint8_t kCardAnswer = 0x3D;

    PtapServer();
    ~PtapServer();
    PtapServer(const PtapServer&) = delete;
    PtapServer& operator=(const PtapServer&) = delete;

    // Port 0 lets the system choose; port() tells which.
    bool start(std::uint16_t port = kPort);
    void stop();
    std::uint16_t port() const { return mPeer.port(); }
    // Where packets go until the terminal has spoken.
    void setTerminalPort(std::uint16_t port);

    // ---- How START is answered. The answer rides in the acknowledgment
    // (type 0), followed by the parameter items. Default: accept, mode 0.
    // Mode 0: tag 0x20 = 0. Mode 1: an acceptable card record (tag 0x22).
    void acceptRegistration(int mode);
    // Tag 0x20 with 200 (the terminal's result 0xC9), or another value.
    void refuse(std::uint8_t value = 200);
    // Tag 0x20 with a busy value, 100 to 103.
    void stayBusy(std::uint8_t value = 100);
    // A card record that fails the terminal's check (result 0xD3).
    void rejectCard();
    // Any items of the answer, raw (without the closing byte).
    void answerStartWith(std::vector<std::uint8_t> items);
    // The parameter items sent behind the answer (raw, no closing byte).
    void setParameterItems(std::vector<std::uint8_t> items);
    // Answer START with a bare acknowledgment and the answer's items in a
    // second packet of `type`.
    void answerInSeparatePacket(std::uint8_t type);
    // Nothing at all is answered or acknowledged while silent.
    void staySilent(bool silent = true);
    // The next `count` packets of the terminal go unanswered.
    void dropAnswers(int count);
    // Answers leave this long after what they answer.
    void delayAnswers(int ms);

    // ---- Packets to the terminal. Each takes the next tid; result: the tid.
    std::uint32_t send(std::uint8_t type, const std::vector<std::uint8_t>& payload);
    // Sends raw bytes, for malformed datagrams.
    void sendRaw(const std::vector<std::uint8_t>& bytes);
    // A PTAP event of the form 20 00 01 <value> FF.
    std::uint32_t sendEvent(std::uint8_t value);
    std::uint32_t sendCardQuery();
    std::uint32_t sendKeepalive();
    std::uint32_t sendCompulsionRestart();
    // An acknowledgment of the terminal's packet `tid`, with no items.
    void acknowledge(std::uint32_t tid);
    void startKeepalives(int intervalMs);
    void stopKeepalives();

    // ---- What happened.
    std::vector<PtapDatagram> received() const;
    std::vector<PtapDatagram> receivedOfType(std::uint8_t type) const;
    std::vector<PtapDatagram> sent() const;
    std::optional<PtapDatagram> lastSentOfType(std::uint8_t type) const;
    // Waits until `count` packets of `type` from the terminal have arrived.
    bool waitForType(std::uint8_t type, std::size_t count, int timeoutMs) const;
    // Waits until the terminal has acknowledged `tid`.
    bool waitForAck(std::uint32_t tid, int timeoutMs) const;
    bool waitFor(const std::function<bool(const std::vector<PtapDatagram>&)>& done, int timeoutMs) const;
    void clear();

    // ---- Building blocks for scripts.
    static std::vector<std::uint8_t> item(std::uint8_t tag, std::initializer_list<std::uint8_t> value);
    static std::vector<std::uint8_t> item(std::uint8_t tag, const std::vector<std::uint8_t>& value);
    // A 32-byte card record that the terminal accepts, with values 9 and 10.
    static std::vector<std::uint8_t> cardRecord(std::uint16_t value9, std::uint16_t value10);
    // Parameter items with a keepalive time-out of `keepaliveSeconds` and a
    // known value in every other parameter tag.
    static std::vector<std::uint8_t> defaultParameterItems(std::uint8_t keepaliveSeconds = 30);
    static std::vector<std::uint8_t> packet(std::uint32_t tid, std::uint8_t type,
                                            const std::vector<std::uint8_t>& payload);
    static std::optional<PtapDatagram> parse(const Datagram& datagram);

private:
    void onDatagram(UdpPeer& peer, const Datagram& datagram);
    std::vector<std::uint8_t> answerFor(const PtapDatagram& packet);
    void enqueue(std::vector<std::uint8_t> bytes, std::uint64_t dueMs);
    void transmitNow(const std::vector<std::uint8_t>& bytes);
    std::uint32_t takeTid();
    void timerThread();

    UdpPeer mPeer;
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;

    // Script.
    std::vector<std::uint8_t> mStartAnswer;
    std::vector<std::uint8_t> mParameterItems;
    std::optional<std::uint8_t> mSeparateType;
    bool mSilent = false;
    int mDropCount = 0;
    int mDelayMs = 0;

    // Where the terminal is: 127.0.0.1:9301 until it speaks.
    std::uint32_t mTerminalAddress = kLoopbackAddress;
    std::uint16_t mTerminalPort = kTerminalPort;
    std::uint32_t mNextTid = 1;

    // Scheduled sends and the keepalive beat.
    struct Pending {
        std::uint64_t dueMs;
        std::vector<std::uint8_t> bytes;
    };
    std::vector<Pending> mPending;
    int mKeepaliveIntervalMs = 0;
    std::uint64_t mNextKeepaliveMs = 0;
    bool mTimerStop = false;
    platform::Thread mTimer;
    bool mTimerStarted = false;

    std::vector<PtapDatagram> mSent;
};

}  // namespace sim
