// The MGCP engine on its real port against the simulated server: the
// registration, notifications and their retransmission, the server's
// commands and their answers.
#include <gtest/gtest.h>

#include <string>

#include "mgcp_engine_fixture.h"

namespace mgcp_test {
namespace {

std::string command(const char* verb, int tid, const std::string& rest = "") {
    return std::string(verb) + " " + std::to_string(tid) + " d1@0011223344ff MGCP 1.0\r\n" + rest;
}

using MgcpEngine = MgcpEngineTest;

TEST_F(MgcpEngine, RsipOpensAndKeysGoOutAsNtfyInOneSequenceOfNumbers) {
    startEngine();
    EXPECT_FALSE(mMgcp.isRsipAcknowledged());
    registerTerminal();
    EXPECT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mServer.received()[0].fromPort, MGCP::kLocalPort);
    ASSERT_EQ(mMgcp.post(MgcpOperation::kNtfy, "0c30"), 0);
    ASSERT_EQ(mMgcp.post(MgcpOperation::kRsip, nullptr), 0);
    EXPECT_EQ(datagram(1), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 1\r\n");
    EXPECT_EQ(datagram(2), "RSIP 3 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
    EXPECT_TRUE(waitUntil([this] { return mMgcp.isRsipAcknowledged(); }));
    EXPECT_TRUE(bufferEmpties()) << "every answer removed its command";
    // Every message went through the parent's signal lock, and out of it.
    EXPECT_TRUE(waitUntil([this] { return mParent.mLocks.load() == mParent.mUnlocks.load(); }));
    EXPECT_GE(mParent.mLocks.load(), 3);
}

TEST_F(MgcpEngine, UnansweredNtfyGoesOutSixteenTimesInNineteenSeconds) {
    startEngine();
    registerTerminal();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp.post(MgcpOperation::kNtfy, "0731"), 0);
    ASSERT_TRUE(mServer.waitForCount(1 + 16, 25000));
    ASSERT_TRUE(bufferEmpties()) << "dropped after the sixteenth";
    const std::vector<sim::Datagram> sent = mServer.received();
    ASSERT_EQ(sent.size(), 1u + 16u);
    const std::uint64_t expectedAt[16] = {0,     500,   1500,  3500,  7500,  8500,  9500,  10500,
                                          11500, 12500, 13500, 14500, 15500, 16500, 17500, 18500};
    for (std::size_t i = 0; i < 16; ++i) {
        EXPECT_EQ(sent[1 + i].text(), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 1\r\n") << i;
        const std::uint64_t at = sent[1 + i].atMs - sent[1].atMs;
        EXPECT_GE(at + 20, expectedAt[i]) << "copy " << i;
        EXPECT_LE(at, expectedAt[i] + 1000) << "copy " << i;
    }
}

TEST_F(MgcpEngine, CommandsBeforeTheRsipsAnswerAreDropped) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp.post(MgcpOperation::kRsip, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 1234)));
    // The answer to the RSIP follows the CRCX on the same path, so once it
    // is seen the CRCX has been handled.
    ASSERT_TRUE(mServer.acknowledge(1));
    ASSERT_TRUE(waitUntil([this] { return mMgcp.isRsipAcknowledged(); }));
    ASSERT_TRUE(mServer.sendCommand(command("RQNT", 55)));
    EXPECT_EQ(datagram(1), "200 55 OK\r\n") << "nothing answered the CRCX";
}

TEST_F(MgcpEngine, CommandsAreAnsweredByTheTableOfReturnCodes) {
    const std::string description =
        "I: 0\r\n\r\nv=0\r\no=- 0 0 IN IP4 10.1.2.3\r\ns=-\r\nc=IN IP4 10.1.2.3\r\nt=0 0\r\n"
        "m=audio 8000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n";
    const std::vector<std::pair<std::string, std::vector<std::string>>> cases = {
        {command("CRCX", 11, "C: A3C47F21456789F0\r\n"), {"100 11\r\n", "200 11 OK\r\n" + description}},
        {command("MDCX", 12), {"100 12\r\n" + description, "200 12 OK\r\n"}},
        {command("DLCX", 13), {"250 13\r\n"}},
        {command("RQNT", 14), {"200 14 OK\r\n"}},
    };
    startEngine();
    EXPECT_EQ(mMgcp.setLocalRtpPort(70000), 1) << "the description keeps port 8000";
    registerTerminal();
    std::size_t next = 1;
    for (const auto& [text, answers] : cases) {
        ASSERT_TRUE(mServer.sendCommand(text));
        for (const std::string& answer : answers) EXPECT_EQ(datagram(next++), answer) << text;
    }
    EXPECT_TRUE(bufferEmpties()) << "answers aren't buffered";
    EXPECT_TRUE(waitUntil([this] { return mParent.mLocks.load() == mParent.mUnlocks.load(); }));
}

TEST_F(MgcpEngine, DatagramOfExactly1500BytesIsReadWithinItsLength) {
    startEngine();
    registerTerminal();
    std::string command1500 = command("RQNT", 57);
    command1500.resize(1500, 'x');
    ASSERT_TRUE(mServer.sendCommand(command1500));
    EXPECT_EQ(datagram(1), "200 57 OK\r\n");
    // A datagram too large for the payload is dropped, and the engine goes on.
    ASSERT_TRUE(mServer.sendCommand(std::string(1501, 'R')));
    ASSERT_TRUE(mServer.sendCommand(command("DLCX", 58)));
    EXPECT_EQ(datagram(2), "250 58\r\n");
}

TEST_F(MgcpEngine, TerminalDlcxAndResponsesCarryTheLastCommandsNumber) {
    startEngine();
    registerTerminal();
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 4321)));
    ASSERT_EQ(datagram(2).substr(0, 12), "200 4321 OK\r");
    ASSERT_EQ(mMgcp.post(MgcpOperation::kDlcxSent, nullptr), 0);
    EXPECT_EQ(datagram(3), "DLCX 4321 d1@0011223344ff MGCP 1.0\r\nC: \r\nI: 0\r\n");
    EXPECT_TRUE(bufferEmpties()) << "retransmitted until answered";
    ASSERT_EQ(mMgcp.post(MgcpOperation::kResponse, "500"), 0);
    EXPECT_EQ(datagram(4), "500 4321\r\n");
    EXPECT_TRUE(bufferEmpties()) << "a response is sent once";
}

TEST_F(MgcpEngine, StartNeedsAParentAndShutdownFreesBufferedCommandsAndRestartBeginsAnew) {
    EXPECT_EQ(mMgcp.setNetworkInitData(nullptr), 1);
    EXPECT_EQ(mMgcp.setNetworkInitData(&mInitData), 0);
    EXPECT_EQ(mMgcp.setNetworkInitData(nullptr), 0);  // the former data stands
    EXPECT_EQ(mMgcp.start(), 1) << "no parent";
    EXPECT_EQ(mMgcp.post(MgcpOperation::kRsip, nullptr), 1);
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp.post(MgcpOperation::kRsip, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mMgcp.bufferCount(), 1);
    EXPECT_EQ(mMgcp.shutdown(), 0);
    EXPECT_EQ(mMgcp.bufferCount(), 0);
    EXPECT_EQ(mMgcp.shutdown(), 0);        // twice does no harm
    EXPECT_EQ(mMgcp.post(MgcpOperation::kRsip, nullptr), 0);  // no socket: nothing leaves
    EXPECT_EQ(mMgcp.bufferCount(), 0);

    mServer.clear();
    mServer.setAnswer(sim::MgcpAnswer::Immediately);
    ASSERT_EQ(mMgcp.start(), 0);
    registerTerminal();
    EXPECT_EQ(datagram(0), kRsip1) << "numbers begin anew";
}

}  // namespace
}  // namespace mgcp_test
