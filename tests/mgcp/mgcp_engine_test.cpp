// The MGCP engine on its real port against the simulated server: the
// registration, notifications, the server's commands and their answers.
#include <gtest/gtest.h>

#include <string>

#include "mgcp_engine_fixture.h"

namespace mgcp_test {
namespace {

const std::string kRsip1 = "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n";
const std::string kDescription =
    "I: 0\r\n\r\nv=0\r\no=- 0 0 IN IP4 10.1.2.3\r\ns=-\r\nc=IN IP4 10.1.2.3\r\nt=0 0\r\n"
    "m=audio 8000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n";

std::string command(const char* verb, int tid, const std::string& rest = "") {
    return std::string(verb) + " " + std::to_string(tid) + " " + kEndpoint + " MGCP 1.0\r\n" + rest;
}

using MgcpEngine = MgcpEngineTest;

TEST_F(MgcpEngine, RsipIsTheFirstDatagramAndItsAnswerIsSeen) {
    startEngine();
    EXPECT_FALSE(mMgcp->isRsipAcknowledged());
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    EXPECT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mServer.received()[0].fromPort, MGCP::kLocalPort);
    EXPECT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

TEST_F(MgcpEngine, KeyAfterRsipGoesOutAsNtfyTwo) {
    startEngine();
    registerTerminal();
    ASSERT_EQ(mMgcp->post(5, "0731"), 0);
    EXPECT_EQ(datagram(1), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 1\r\n");
    EXPECT_EQ(sim::mgcpLines(datagram(1)),
              (std::vector<std::string>{"NTFY 2 d1@0011223344ff MGCP 1.0", "X: 1", "O: X-P/fk0731", "K: 1"}));
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
    // Every message went through the parent's signal lock, and out of it.
    EXPECT_GE(mParent.mLocks.load(), 2);
    EXPECT_EQ(mParent.mLocks.load(), mParent.mUnlocks.load());
}

TEST_F(MgcpEngine, RsipAndNtfyShareTheirNumbers) {
    startEngine();
    registerTerminal();
    ASSERT_EQ(mMgcp->post(5, "0200"), 0);
    ASSERT_EQ(mMgcp->post(5, "0c30"), 0);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    EXPECT_EQ(datagram(1), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0200\r\nK: 1\r\n");
    EXPECT_EQ(datagram(2), "NTFY 3 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 2\r\n");
    EXPECT_EQ(datagram(3), "RSIP 4 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
    EXPECT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
}

TEST_F(MgcpEngine, CommandsBeforeTheRsipsAnswerAreDropped) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 1234)));
    // The answer to the RSIP follows the CRCX on the same path, so once it
    // is seen the CRCX has been handled.
    ASSERT_TRUE(mServer.acknowledge(1));
    ASSERT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
    ASSERT_TRUE(mServer.sendCommand(command("RQNT", 55)));
    ASSERT_TRUE(mServer.waitFor(
        [](const std::vector<sim::Datagram>& d) { return !d.empty() && d.back().text() == "200 55 OK\r\n"; }, 5000));
    for (const sim::Datagram& d : mServer.received()) EXPECT_EQ(d.text().find("1234"), std::string_view::npos);
}

TEST_F(MgcpEngine, CrcxIsAnsweredWith100Then200WithTheDescription) {
    startEngine();
    registerTerminal();
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 1234, "C: A3C47F21456789F0\r\nM: recvonly\r\n")));
    EXPECT_EQ(datagram(1), "100 1234\r\n");
    EXPECT_EQ(datagram(2), "200 1234 OK\r\n" + kDescription);
    EXPECT_EQ(mParent.mEvents.load(), 0);  // nothing is raised yet
    EXPECT_EQ(mParent.mLocks.load(), mParent.mUnlocks.load());
}

struct CommandRow {
    const char* verb;
    int tid;
    std::vector<std::string> answers;
};

class MgcpCommandAnswers : public MgcpEngineTest, public ::testing::WithParamInterface<CommandRow> {};

TEST_P(MgcpCommandAnswers, FollowTheTableOfReturnCodes) {
    startEngine();
    registerTerminal();
    const CommandRow& row = GetParam();
    ASSERT_TRUE(mServer.sendCommand(command(row.verb, row.tid)));
    for (std::size_t i = 0; i < row.answers.size(); ++i) EXPECT_EQ(datagram(1 + i), row.answers[i]) << row.verb;
    // Answers aren't buffered: once the RSIP's node is gone, nothing is.
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

INSTANTIATE_TEST_SUITE_P(Commands, MgcpCommandAnswers,
                         ::testing::Values(CommandRow{"CRCX", 11, {"100 11\r\n", "200 11 OK\r\n" + kDescription}},
                                           CommandRow{"MDCX", 12, {"100 12\r\n" + kDescription, "200 12 OK\r\n"}},
                                           CommandRow{"DLCX", 13, {"250 13\r\n"}},
                                           CommandRow{"RQNT", 14, {"200 14 OK\r\n"}}),
                         [](const ::testing::TestParamInfo<CommandRow>& info) { return std::string(info.param.verb); });

TEST_F(MgcpEngine, AnswerWhoseNumberIsInNoNodeChangesNothing) {
    startEngine();
    registerTerminal();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(5, "0731"), 0);
    ASSERT_EQ(datagram(1).substr(0, 7), "NTFY 2 ");
    ASSERT_TRUE(mServer.acknowledge(99));
    // Handled in order: once the RQNT's answer is out, the stray answer has
    // been seen.
    ASSERT_TRUE(mServer.sendCommand(command("RQNT", 56)));
    ASSERT_TRUE(mServer.waitFor(
        [](const std::vector<sim::Datagram>& d) { return !d.empty() && d.back().text() == "200 56 OK\r\n"; }, 5000));
    EXPECT_EQ(mMgcp->bufferCount(), 1);
    EXPECT_TRUE(mMgcp->isRsipAcknowledged());
    ASSERT_TRUE(mServer.acknowledge(2));
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

TEST_F(MgcpEngine, AnswerIsKnownByItsNumberWhateverItsCode) {
    startEngine();
    mServer.setAnswerCode("510");
    registerTerminal();
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

TEST_F(MgcpEngine, DatagramOfExactly1500BytesIsReadWithinItsLength) {
    startEngine();
    registerTerminal();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(5, "0731"), 0);
    ASSERT_EQ(datagram(1).substr(0, 7), "NTFY 2 ");

    std::string command1500 = command("RQNT", 57);
    command1500.resize(1500, 'x');
    ASSERT_TRUE(mServer.sendCommand(command1500));
    EXPECT_EQ(datagram(2), "200 57 OK\r\n");

    // An answer that fills the whole payload, its number running to the end.
    std::string answer1500(1500, 'x');
    answer1500.replace(1500 - 2, 2, " 2");
    ASSERT_TRUE(mServer.sendCommand(answer1500));
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));

    // A datagram too large for the payload is dropped, and the engine goes on.
    ASSERT_TRUE(mServer.sendCommand(std::string(1501, 'R')));
    ASSERT_TRUE(mServer.sendCommand(command("DLCX", 58)));
    EXPECT_EQ(datagram(3), "250 58\r\n");
}

TEST_F(MgcpEngine, TerminalDlcxCarriesTheLastCommandsNumberAndIsRetransmittedUntilAnswered) {
    startEngine();
    registerTerminal();
    ASSERT_TRUE(mServer.sendCommand(command("CRCX", 4321)));
    ASSERT_EQ(datagram(2).substr(0, 12), "200 4321 OK\r");
    ASSERT_EQ(mMgcp->post(4, nullptr), 0);
    EXPECT_EQ(datagram(3), "DLCX 4321 d1@0011223344ff MGCP 1.0\r\nC: \r\nI: 0\r\n");
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

TEST_F(MgcpEngine, ResponsePostedByTheParentIsSentOnce) {
    startEngine();
    registerTerminal();
    ASSERT_EQ(mMgcp->post(8, "500"), 0);
    EXPECT_EQ(datagram(1), "500 1\r\n");
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
}

TEST_F(MgcpEngine, StartWithoutParentFails) {
    MGCP mgcp;
    EXPECT_EQ(mgcp.setNetworkInitData(&mInitData), 0);
    EXPECT_EQ(mgcp.start(), 1);
    EXPECT_EQ(mgcp.post(7, nullptr), 1);
    EXPECT_EQ(mgcp.shutdown(), 0);
}

TEST_F(MgcpEngine, NetworkDataMustBeGivenOnce) {
    MGCP mgcp;
    EXPECT_EQ(mgcp.setNetworkInitData(nullptr), 1);
    EXPECT_EQ(mgcp.setNetworkInitData(&mInitData), 0);
    EXPECT_EQ(mgcp.setNetworkInitData(nullptr), 0);  // the former data stands
}

TEST_F(MgcpEngine, ShutdownFreesBufferedCommandsAndRestartBeginsAnew) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    ASSERT_EQ(datagram(0), kRsip1);
    EXPECT_EQ(mMgcp->bufferCount(), 1);
    EXPECT_EQ(mMgcp->shutdown(), 0);
    EXPECT_EQ(mMgcp->bufferCount(), 0);
    EXPECT_EQ(mMgcp->shutdown(), 0);        // twice does no harm
    EXPECT_EQ(mMgcp->post(7, nullptr), 0);  // no socket: nothing leaves
    EXPECT_EQ(mMgcp->bufferCount(), 0);

    mServer.clear();
    mServer.setAnswer(sim::MgcpAnswer::Immediately);
    ASSERT_EQ(mMgcp->start(), 0);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    EXPECT_TRUE(mServer.waitFor(
        [](const std::vector<sim::Datagram>& d) {
            for (const sim::Datagram& x : d) {
                if (x.text() == "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n") return true;
            }
            return false;
        },
        5000));
    EXPECT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
}

TEST_F(MgcpEngine, ToneSignalIsKeptForTheParent) {
    startEngine();
    EXPECT_FALSE(mMgcp->toneSignal());
    mMgcp->setToneSignal(true);
    EXPECT_TRUE(mMgcp->toneSignal());
}

TEST_F(MgcpEngine, SessionHoldsTheEndpointAndTheMediaLines) {
    startEngine();
    const MediaSession* s = mMgcp->session();
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->mEndpointName, kEndpoint);
    EXPECT_EQ(s->mLocalPort, 8000);
    EXPECT_EQ(s->mServerEndpoint.address, sim::kLoopbackAddress);
    EXPECT_EQ(s->mServerEndpoint.port, MGCP::kServerPort);
    EXPECT_EQ(s->mLocalEndpoint.port, MGCP::kLocalPort);
    EXPECT_EQ(mMgcp->setLocalRtpPort(70000), 1);
    EXPECT_EQ(s->mLocalPort, 8000);
}

}  // namespace
}  // namespace mgcp_test
