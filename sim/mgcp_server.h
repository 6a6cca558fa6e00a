// The MGCP side of the simulated call server: it listens on port 2727 on
// loopback, answers the terminal's RSIP, NTFY and DLCX as the test scripts
// (at once, twice, only at the n-th copy, never), records every datagram
// with its arrival time, and sends the server's commands to port 2427.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <map>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "sim/udp_peer.h"

namespace sim {

constexpr std::uint16_t kMgcpServerPort = 2727;
constexpr std::uint16_t kMgcpTerminalPort = 2427;

enum class MgcpAnswer {
    Immediately,  // one answer to every copy
    Twice,        // two equal answers to every copy
    OnCopy,       // one answer, only to the n-th copy of a message
    Never,        // silence: the terminal retransmits until it gives up
};

class MgcpServer {
public:
    MgcpServer();
    ~MgcpServer();
    MgcpServer(const MgcpServer&) = delete;
    MgcpServer& operator=(const MgcpServer&) = delete;

    // Port 0 lets the system choose; port() tells which.
    bool start(std::uint16_t port = kMgcpServerPort);
    void stop();
    std::uint16_t port() const { return mPeer.port(); }
    // Where commands and late answers go; 2427 unless set.
    void setTerminalPort(std::uint16_t port) { mTerminalPort = port; }

    // `copy` counts for OnCopy only: 1 is the first transmission.
    void setAnswer(MgcpAnswer mode, int copy = 1);
    // The return code of the answers; "200" unless set.
    void setAnswerCode(std::string code);

    // Answers `tid` now, whatever the mode: a late answer that the test times.
    bool acknowledge(std::uint32_t tid, std::string_view code = "200");
    // A command text, sent as it is to the terminal's port on loopback.
    bool sendCommand(std::string_view text);

    std::vector<Datagram> received() const { return mPeer.received(); }
    std::size_t count() const { return mPeer.count(); }
    void clear();
    bool waitFor(const std::function<bool(const std::vector<Datagram>&)>& done, int timeoutMs) const {
        return mPeer.waitFor(done, timeoutMs);
    }
    bool waitForCount(std::size_t n, int timeoutMs) const { return mPeer.waitForCount(n, timeoutMs); }
    // Answers sent so far by the script (not by acknowledge).
    std::size_t answersSent() const;

private:
    void onDatagram(UdpPeer& peer, const Datagram& datagram);

    UdpPeer mPeer;
    mutable std::mutex mMutex;
    MgcpAnswer mMode = MgcpAnswer::Immediately;
    int mCopy = 1;
    std::string mCode = "200";
    std::map<std::string, int> mCopiesSeen;  // by the whole text
    std::size_t mAnswersSent = 0;
    std::atomic<std::uint16_t> mTerminalPort{kMgcpTerminalPort};
};

// Reading the texts, independent of the terminal's own code.
std::string_view mgcpVerb(std::string_view text);
// The number behind the first blank; 0 for none.
std::uint32_t mgcpTransactionId(std::string_view text);
// RSIP, NTFY and DLCX: the messages the terminal expects answers to.
bool isTerminalCommand(std::string_view text);
// The lines without their CR LF; a last line without CR LF counts too.
std::vector<std::string> mgcpLines(std::string_view text);
// "<code> <tid> OK" for 200, "<code> <tid>" otherwise, with CR LF.
std::string mgcpAnswer(std::string_view code, std::uint32_t tid);

}  // namespace sim
