// The MGCP engine between a socket and its parent: a started engine on a
// free port, registered with a call server played by the fuzzer on
// loopback, on a clock that stands still. The input is a script of steps:
// whole datagrams from the server (commands and answers), key presses sent
// as NTFY, DLCX, a new RSIP (answered), and a new RTP port. Each datagram is
// followed by an RQNT of the server's own, whose answer tells that the
// engine has handled the datagram. Checked after each step: every command
// is answered as often as its verb says and only with answers; a CRCX or
// MDCX answer carries the local description with the port last set; the
// commands waiting for their answer are those sent and not answered by
// number; every event reaches the parent under the signal lock, with a
// sound session record and a terminated signal block.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "mgcp/mgcp.h"
#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_parent.h"
#include "mgcp/signal_block.h"
#include "platform/recursive_lock.h"
#include "sim/virtual_clock.h"

namespace {

using fuzz::kLoopback;
constexpr int kMaxSteps = 24;
// Far longer than a loopback round trip; only a lost answer waits this long.
constexpr int kAnswerWaitMs = 5000;
constexpr const char* kEndpoint = "d1@0011223344ff";

using fuzz::check;

template <std::size_t N>
bool terminated(const char (&field)[N]) {
    return std::memchr(field, 0, N) != nullptr;
}

void checkSession(const MediaSession& s) {
    check(terminated(s.mEndpointName) && terminated(s.mCallId), "session name fields unterminated");
    // The far end's description lines may fill their fields to the last
    // byte without a terminator; their readers stop at the field's end.
    check(terminated(s.mLocalOrigin) && terminated(s.mLocalMediaLine) && terminated(s.mLocalAttribute) &&
              terminated(s.mLocalConnectionLine),
          "local description fields unterminated");
    check(s.mConnectionMode >= kModeSendRecv && s.mConnectionMode <= kModeRecvOnly, "connection mode out of range");
    check(s.mCodecType == 0 || s.mCodecType == 8 || s.mCodecType == 9 || s.mCodecType == 18, "unknown codec");
    check(s.mServerEndpoint.address == kLoopback, "server address changed");
}

thread_local int tSignalDepth = 0;

class RecordingParent : public MgcpParent {
public:
    MGCP* engine = nullptr;
    platform::RecursiveLock signalLock;
    int events = 0;  // under the signal lock

    void lockSignal(const bool* on) override {
        if (*on) {
            signalLock.lock();
            ++tSignalDepth;
        } else {
            check(tSignalDepth > 0, "signal lock released more often than taken");
            --tSignalDepth;
            signalLock.unlock();
        }
    }
    int onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) override {
        check(tSignalDepth > 0, "event outside the signal lock");
        check(takeLock != nullptr && !*takeLock, "event asks for the lock it holds");
        const auto op = static_cast<MgcpOperation>(event->code);
        check(op == MgcpOperation::kCrcx || op == MgcpOperation::kMdcx || op == MgcpOperation::kDlcxReceived ||
                  op == MgcpOperation::kRqnt,
              "event of no command");
        if (op == MgcpOperation::kRqnt) {
            check(data != nullptr && std::memchr(data, 0, kSignalBlockSize) != nullptr, "signal block unterminated");
        }
        check(engine->session() != nullptr, "event without a session");
        checkSession(*engine->session());
        ++events;
        return 0;
    }
};

std::string receiveOne(int timeoutMs) {
    return fuzz::receiveOne<std::string>(timeoutMs);
}

std::span<const std::uint8_t> bytesOf(const std::string& text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

class Session {
public:
    Session() {
        init.mLocalAddress = 0x0A010203;  // 10.1.2.3
        std::memcpy(init.mHardwareAddress, "\x00\x11\x22\x33\x44\xff", 6);
        init.mServerAddress = kLoopback;
        while (!receiveOne(0).empty()) {
        }
        mgcp = std::make_unique<MGCP>(clock, 0, fuzz::serverSocket().localPort());
        parent.engine = mgcp.get();
        check(mgcp->setParent(&parent) == 0 && mgcp->setNetworkInitData(&init) == 0, "set-up");
        check(mgcp->start() == 0 && mgcp->localPort() != 0, "start");
        setPort(8000);
        registerTerminal();
    }
    ~Session() {
        mgcp->shutdown();
        while (!receiveOne(0).empty()) {
        }
    }

    void setPort(int port) {
        if (mgcp->setLocalRtpPort(port) == 0) rtpPort = port;
    }

    // A message of the terminal's own leaves at once, and waits for its
    // answer unless the buffer is full.
    void post(MgcpOperation op, const char* text) {
        lastRsipTid = op == MgcpOperation::kRsip ? 0 : lastRsipTid;
        check(mgcp->post(op, text) == 0, "post refused");
        const std::string sent = receiveOne(kAnswerWaitMs);
        check(!sent.empty(), "posted message never left");
        check(classifySent(bytesOf(sent)) == op, "posted message of another kind");
        const std::uint32_t tid = readTransactionId(bytesOf(sent));
        if (op == MgcpOperation::kRsip) lastRsipTid = tid;
        if (pending.size() < static_cast<std::size_t>(kMaxBuffered)) pending.insert(static_cast<std::int32_t>(tid));
    }

    void registerTerminal() {
        post(MgcpOperation::kRsip, nullptr);
        fromServer("200 " + std::to_string(lastRsipTid) + " OK\r\n");
        check(mgcp->isRsipAcknowledged(), "RSIP answer not taken");
    }

    // One datagram from the server, then the marker RQNT; gives the answers
    // to the datagram.
    std::vector<std::string> fromServer(const std::string& datagram) {
        const MgcpOperation kind = classifyReceived(bytesOf(datagram));
        check(fuzz::serverSocket().sendTo(kLoopback, mgcp->localPort(), datagram.data(), datagram.size()) ==
                  static_cast<int>(datagram.size()),
              "server send");
        // The marker's number appears in no datagram of this input, so no
        // command's answer can echo it.
        sent += datagram;
        std::uint32_t marker = 0;
        do {
            marker = 900000000 + ++markers;
        } while (sent.find(std::to_string(marker)) != std::string::npos);
        const std::string rqnt = "RQNT " + std::to_string(marker) + " " + kEndpoint + " MGCP 1.0\r\n";
        check(fuzz::serverSocket().sendTo(kLoopback, mgcp->localPort(), rqnt.data(), rqnt.size()) ==
                  static_cast<int>(rqnt.size()),
              "server send");
        const std::string markerAnswer = "200 " + std::to_string(marker) + " OK\r\n";
        std::vector<std::string> answers;
        for (;;) {
            std::string got = receiveOne(kAnswerWaitMs);
            check(!got.empty(), "marker RQNT never answered");
            if (got == markerAnswer) break;
            answers.push_back(std::move(got));
        }
        if (kind == MgcpOperation::kResponse && !datagram.empty() && datagram.size() <= platform::kMaxDatagram) {
            // Known by its number alone, whatever its code says.
            const auto tid = static_cast<std::int32_t>(readTransactionId(bytesOf(datagram)));
            if (const auto it = pending.find(tid); it != pending.end()) pending.erase(it);
        }
        checkAnswers(kind, datagram.size(), answers);
        check(mgcp->bufferCount() == static_cast<int>(pending.size()), "buffered commands differ from unanswered");
        return answers;
    }

    void checkAnswers(MgcpOperation kind, std::size_t size, const std::vector<std::string>& answers) {
        std::size_t expected = 0;
        if (size <= platform::kMaxDatagram) {
            switch (kind) {
                case MgcpOperation::kCrcx:
                case MgcpOperation::kMdcx:
                    expected = 2;
                    break;
                case MgcpOperation::kDlcxReceived:
                case MgcpOperation::kRqnt:
                    expected = 1;
                    break;
                default:
                    break;
            }
        }
        check(answers.size() == expected, "command answered a wrong number of times");
        for (const std::string& a : answers) {
            check(classifySent(bytesOf(a)) == MgcpOperation::kResponse, "answer of another kind");
            const std::size_t open = a.find("\r\n\r\n");
            if (open == std::string::npos) continue;
            check(kind == MgcpOperation::kCrcx || kind == MgcpOperation::kMdcx, "description in a plain answer");
            const std::string_view d = std::string_view(a).substr(open + 4);
            check(d.starts_with("v=0\r\no=- 0 0 IN IP4 10.1.2.3\r\ns=-\r\nc=IN IP4 10.1.2.3\r\nt=0 0\r\n"),
                  "description head");
            const std::string media = "m=audio " + std::to_string(rtpPort) + " RTP/AVP ";
            check(d.find(media) != std::string_view::npos && d.ends_with("/8000\r\n"), "description media");
        }
    }

    void checkState() {
        const bool on = true;
        const bool off = false;
        parent.lockSignal(&on);
        checkSession(*mgcp->session());
        check(std::string_view(mgcp->session()->mEndpointName).size() < kEndpointNameSize, "endpoint name");
        parent.lockSignal(&off);
    }

    static constexpr int kMaxBuffered = 50;
    sim::VirtualClock clock;
    NetworkInitData init{};
    RecordingParent parent;
    std::unique_ptr<MGCP> mgcp;
    std::multiset<std::int32_t> pending;
    std::uint32_t lastRsipTid = 0;
    std::uint32_t markers = 0;
    std::string sent;  // every datagram of this input, one after the other
    int rtpPort = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    const auto byte = [&]() -> std::uint8_t { return at < size ? data[at++] : 0; };
    Session s;
    for (int step = 0; step < kMaxSteps && at < size; ++step) {
        const std::uint8_t op = byte();
        switch (op % 8) {
            case 0:
            case 1:
            case 2:
            case 3: {
                // A datagram: a two-byte length, then its bytes; one larger
                // than a payload is refused on arrival.
                const std::size_t wanted = (static_cast<std::size_t>(byte()) << 8 | byte()) % 1600;
                const std::size_t n = wanted < size - at ? wanted : size - at;
                s.fromServer(std::string(reinterpret_cast<const char*>(data + at), n));
                at += n;
                break;
            }
            case 4: {
                const std::size_t n = byte() % 48;
                std::string key(reinterpret_cast<const char*>(data + at), n < size - at ? n : size - at);
                at += key.size();
                s.post(MgcpOperation::kNtfy, key.c_str());
                break;
            }
            case 5:
                s.post(MgcpOperation::kDlcxSent, nullptr);
                break;
            case 6:
                s.registerTerminal();
                break;
            default: {
                const int port = static_cast<std::int16_t>(byte() << 8 | byte()) * 3;
                s.setPort(port);
                break;
            }
        }
        s.checkState();
    }
    return 0;
}
