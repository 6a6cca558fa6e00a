// The MGCP engine against the simulated server on loopback, on virtual
// time, with a parent that only counts what reaches it: the registration,
// notifications and their retransmission, the server's commands and their
// answers, and who is heard.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <string>

#include "mgcp/mgcp.h"
#include "mgcp/mgcp_parent.h"
#include "platform/recursive_lock.h"
#include "sim/mgcp_server.h"
#include "sim/udp_peer.h"
#include "sim/virtual_clock.h"
#include "support_files/trace_capture.h"

namespace {

using sim::eventually;

constexpr const char* kRsip1 = "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n";

class FakeParent : public MgcpParent {
public:
    void lockSignal(const bool* on) override {
        if (*on) {
            mSignalLock.lock();
            ++mLocks;
        } else {
            ++mUnlocks;
            mSignalLock.unlock();
        }
    }
    int onMgcpEvent(const CoreEvent*, const char* data, const bool*) override {
        ++mEvents;
        // A signal block names its signal first; an RQNT without one gives an empty block.
        if (data != nullptr && data[0] != '\0') ++mNamedSignals;
        return 0;
    }

    platform::RecursiveLock mSignalLock;
    std::atomic<int> mLocks{0};
    std::atomic<int> mUnlocks{0};
    std::atomic<int> mEvents{0};
    std::atomic<int> mNamedSignals{0};
};

class MgcpLink : public ::testing::Test {
protected:
    void SetUp() override {
        mInitData.mLocalAddress = 0x0A010203;  // 10.1.2.3: only written into the description
        std::memcpy(mInitData.mHardwareAddress, "\x00\x11\x22\x33\x44\xff", 6);
        mInitData.mServerAddress = sim::kLoopbackAddress;
        ASSERT_TRUE(mServer.start(0));
        mMgcp = std::make_unique<MGCP>(mClock, 0, mServer.port());
    }
    void TearDown() override {
        mMgcp.reset();
        mServer.stop();
    }

    void startEngine() {
        ASSERT_EQ(mMgcp->setParent(&mParent), 0);
        ASSERT_EQ(mMgcp->setNetworkInitData(&mInitData), 0);
        ASSERT_EQ(mMgcp->start(), 0);
        ASSERT_EQ(mMgcp->setLocalRtpPort(8000), 0);
        mServer.setTerminalPort(mMgcp->localPort());
    }

    // The RSIP, answered: after it the engine takes commands.
    void registerTerminal() {
        ASSERT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);
        ASSERT_TRUE(eventually([this] { return mMgcp->isRsipAcknowledged(); }));
    }

    bool bufferEmpties() {
        return eventually([this] { return mMgcp->bufferCount() == 0; });
    }

    // Waits for the datagram at `index` and gives its text.
    std::string datagram(std::size_t index, int timeoutMs = 5000) {
        if (!mServer.waitForCount(index + 1, timeoutMs)) return "<none>";
        return std::string(mServer.received()[index].text());
    }

    sim::VirtualClock mClock;
    TraceCapture mTrace;
    sim::MgcpServer mServer;
    FakeParent mParent;
    NetworkInitData mInitData{};
    std::unique_ptr<MGCP> mMgcp;
};

std::string command(const char* verb, int tid, const std::string& rest = "") {
    return std::string(verb) + " " + std::to_string(tid) + " d1@0011223344ff MGCP 1.0\r\n" + rest;
}

TEST_F(MgcpLink, RsipOpensAndKeysGoOutAsNtfyInOneSequenceOfNumbers) {
    startEngine();
    EXPECT_EQ(mClock.elapsedMs(), MGCP::kStartSettleMs) << "the settling pause is taken on the engine's clock";
    EXPECT_FALSE(mMgcp->isRsipAcknowledged());
    registerTerminal();
    EXPECT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mServer.received()[0].fromPort, mMgcp->localPort());
    ASSERT_EQ(mMgcp->post(MgcpOperation::kNtfy, "0c30"), 0);
    ASSERT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);
    EXPECT_EQ(datagram(1), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 1\r\n");
    EXPECT_EQ(datagram(2), "RSIP 3 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
    EXPECT_TRUE(eventually([this] { return mMgcp->isRsipAcknowledged(); }));
    EXPECT_TRUE(bufferEmpties()) << "every answer removed its command";
    // Every message went through the parent's signal lock, and out of it.
    EXPECT_TRUE(eventually([this] { return mParent.mLocks.load() == mParent.mUnlocks.load(); }));
    EXPECT_GE(mParent.mLocks.load(), 3);
}

TEST_F(MgcpLink, UnansweredNtfyGoesOutSixteenTimesByTheClockAndIsFreedAtNineteenPointFiveSeconds) {
    startEngine();
    registerTerminal();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    const std::uint64_t t0 = mClock.elapsedMs();
    ASSERT_EQ(mMgcp->post(MgcpOperation::kNtfy, "0731"), 0);
    std::vector<std::uint64_t> offsets = {0, 500, 1500, 3500, 7500};
    for (std::uint64_t t = 8500; t <= 18500; t += 1000) offsets.push_back(t);
    ASSERT_EQ(offsets.size(), 16u);
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        mClock.advanceTo(t0 + offsets[i]);
        ASSERT_TRUE(mServer.waitForCount(2 + i, 1000)) << "copy " << i;
    }
    const std::vector<sim::Datagram> sent = mServer.received();
    ASSERT_EQ(sent.size(), 1u + 16u);
    for (std::size_t i = 1; i < sent.size(); ++i) {
        EXPECT_EQ(sent[i].text(), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 1\r\n") << i;
    }
    mClock.advanceTo(t0 + 19499);
    EXPECT_EQ(mMgcp->bufferCount(), 1);
    mClock.advanceTo(t0 + 19500);
    ASSERT_TRUE(bufferEmpties());
    EXPECT_TRUE(mTrace.contains("[MGCP] MAX 15 exceeded. Buffer size = 1. Freed buffer tid = 2"));
    EXPECT_TRUE(mTrace.contains("[MGCP] Free buffer operation - Packet tid = 2 deleted. Buffer size = 0"));
    EXPECT_EQ(mServer.count(), 1u + 16u);
}

TEST_F(MgcpLink, CommandsBeforeTheRsipsAnswerAndFromAnyoneButTheServerAreDropped) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 1234)));
    // The answer to the RSIP follows the CRCX on the same path, so once it
    // is seen the CRCX has been handled.
    ASSERT_TRUE(mServer.acknowledge(1));
    ASSERT_TRUE(eventually([this] { return mMgcp->isRsipAcknowledged(); }));

    if (!sim::secondLoopbackAddressSends()) GTEST_SKIP() << "127.0.0.2 does not send as itself here";
    sim::UdpPeer intruder;
    ASSERT_TRUE(intruder.start(0, 0x7F000002));  // 127.0.0.2, a second local address
    const std::string spoofed = command("RQNT", 54, "S: X-P/ring(1)\r\n");
    ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, mMgcp->localPort(), spoofed));
    ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, mMgcp->localPort(), command("DLCX", 53)));
    // The server's own command comes after them on the same socket.
    ASSERT_TRUE(mServer.sendCommand(command("RQNT", 55)));
    EXPECT_EQ(datagram(1), "200 55 OK\r\n") << "nothing answered the CRCX nor the intruder";
    mClock.advance(1000);
    ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, mMgcp->localPort(), command("CRCX", 52)));
    ASSERT_TRUE(mServer.sendCommand(command("RQNT", 56)));
    EXPECT_EQ(datagram(2), "200 56 OK\r\n");
    EXPECT_EQ(mParent.mEvents.load(), 2) << "one empty signal block for each of the server's RQNTs";
    EXPECT_EQ(mParent.mNamedSignals.load(), 0) << "the intruder's ring raised nothing";
    EXPECT_EQ(intruder.count(), 0u);
    const std::vector<std::string> lines = mTrace.messages();
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "[MGCP :: Warning] Datagram from 127.0.0.2 dropped - not the server"), 2)
        << "once a second at most";
}

TEST_F(MgcpLink, CommandsAreAnsweredByTheTableOfReturnCodesAndTheTerminalEchoesTheLastNumber) {
    const std::string description =
        "I: 0\r\n\r\nv=0\r\no=- 0 0 IN IP4 10.1.2.3\r\ns=-\r\nc=IN IP4 10.1.2.3\r\nt=0 0\r\n"
        "m=audio 8000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n";
    std::string command1500 = command("RQNT", 15);
    command1500.resize(1500, 'x');
    // Answers in order; a datagram too large for the payload gets none.
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {command("CRCX", 11, "C: A3C47F21456789F0\r\n"), {"100 11\r\n", "200 11 OK\r\n" + description}},
        {command("MDCX", 12), {"100 12\r\n" + description, "200 12 OK\r\n"}},
        {command("DLCX", 13), {"250 13\r\n"}},
        {command("RQNT", 14), {"200 14 OK\r\n"}},
        {command1500, {"200 15 OK\r\n"}},
        {std::string(1501, 'R'), {}},
        {command("CRCX", 4321), {"100 4321\r\n"}},
    };
    startEngine();
    EXPECT_EQ(mMgcp->setLocalRtpPort(70000), 1) << "the description keeps port 8000";
    registerTerminal();
    std::size_t next = 1;
    for (const auto& [text, answers] : cases) {
        ASSERT_TRUE(mServer.sendCommand(text));
        for (const std::string& answer : answers) EXPECT_EQ(datagram(next++), answer) << text.substr(0, 20);
    }
    ASSERT_EQ(datagram(next++).substr(0, 12), "200 4321 OK\r");
    ASSERT_EQ(mMgcp->post(MgcpOperation::kDlcxSent, nullptr), 0);
    EXPECT_EQ(datagram(next++), "DLCX 4321 d1@0011223344ff MGCP 1.0\r\nC: A3C47F21456789F0\r\nI: 0\r\n")
        << "the call id the CRCX brought";
    ASSERT_EQ(mMgcp->post(MgcpOperation::kResponse, "500"), 0);
    EXPECT_EQ(datagram(next++), "500 4321\r\n");
    EXPECT_TRUE(bufferEmpties()) << "the DLCX was answered; responses aren't buffered";
    EXPECT_TRUE(eventually([this] { return mParent.mLocks.load() == mParent.mUnlocks.load(); }));
}

// A command whose endpoint token begins with the terminal's name and goes on
// renames the terminal. Here the token of a damaged RQNT runs on to the next
// blank, over its line end: from then on the server's commands to the old
// name are answered as ever but raise nothing, so a DLCX and a new CRCX
// leave the media as they were, and the terminal's NTFYs carry the new name.
TEST_F(MgcpLink, ALongerEndpointTokenRenamesTheTerminalAndTheOldNameIsAnsweredButNotActedOn) {
    startEngine();
    registerTerminal();
    const auto exchange = [this](const std::string& text, std::size_t& next, std::size_t answers) {
        EXPECT_TRUE(mServer.sendCommand(text));
        std::string last;
        for (std::size_t i = 0; i < answers; ++i) last = datagram(next++);
        return last.substr(0, last.find("\r\n"));
    };
    std::size_t next = 1;
    EXPECT_EQ(exchange(command("CRCX", 31, "C: 1\r\nM: sendrecv\r\n"), next, 2), "200 31 OK");
    ASSERT_EQ(mParent.mEvents.load(), 1);
    EXPECT_EQ(exchange("RQNT 39 d1@0011223344ff.lo\nS: X-P/l1E10 \r\nng(010),X-P/vc)\r\n", next, 1), "200 39 OK");
    const int events = mParent.mEvents.load();
    EXPECT_EQ(exchange(command("DLCX", 40, "C: 1\r\nI: 7\r\n"), next, 1), "250 40");
    EXPECT_EQ(exchange(command("CRCX", 41, "C: 2\r\nM: sendrecv\r\n"), next, 2), "200 41 OK");
    EXPECT_EQ(mParent.mEvents.load(), events) << "the server can't tell: every command was answered";
    ASSERT_EQ(mMgcp->post(MgcpOperation::kNtfy, "0c30"), 0);
    EXPECT_EQ(datagram(next++).substr(0, 31), "NTFY 2 d1@0011223344ff.lo\n MGCP")
        << "the new name, as much as the field holds";
    EXPECT_EQ(exchange("CRCX 42 d1@0011223344ff.lo\n MGCP 1.0\r\nM: sendrecv\r\n", next, 2), "200 42 OK");
    EXPECT_EQ(mParent.mEvents.load(), events + 1) << "commands to the new name are acted on";
}

TEST_F(MgcpLink, StartNeedsAParentAndShutdownFreesBufferedCommandsAndRestartBeginsAnew) {
    EXPECT_EQ(mMgcp->setNetworkInitData(nullptr), 1);
    EXPECT_EQ(mMgcp->setNetworkInitData(&mInitData), 0);
    EXPECT_EQ(mMgcp->setNetworkInitData(nullptr), 0);  // the former data stands
    EXPECT_EQ(mMgcp->start(), 1) << "no parent";
    EXPECT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 1);
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mMgcp->bufferCount(), 1);
    EXPECT_EQ(mMgcp->shutdown(), 0);
    EXPECT_EQ(mMgcp->bufferCount(), 0);
    EXPECT_EQ(mMgcp->shutdown(), 0);                           // twice does no harm
    EXPECT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);  // no socket: nothing leaves
    EXPECT_EQ(mMgcp->bufferCount(), 0);

    mServer.clear();
    mServer.setAnswer(sim::MgcpAnswer::Immediately);
    ASSERT_EQ(mMgcp->start(), 0);
    mServer.setTerminalPort(mMgcp->localPort());
    registerTerminal();
    EXPECT_EQ(datagram(0), kRsip1) << "numbers begin anew";
}

}  // namespace
