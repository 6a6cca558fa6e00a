// Registration through the loaded library against the simulated call
// server: PTAP START and its answer, RSIP and its acknowledgment, OP_BEGIN,
// and every way it can fail.
#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstring>
#include <thread>

#include "e2e_fixture.h"
#include "platform/udp_socket.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "tests/support_files/wait_for.h"

namespace {

class RegistrationE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        ASSERT_TRUE(ptap_.start());
        ASSERT_TRUE(mgcp_.start());
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        mgcp_.stop();
        ptap_.stop();
    }
    void uninitializeWhileWaitingFor(const char* awaited);
    std::ptrdiff_t indexOf(const std::vector<std::string>& messages, const std::string& m) const {
        return std::find(messages.begin(), messages.end(), m) - messages.begin();
    }
    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
};

}  // namespace

TEST_F(RegistrationE2E, RegistersOnBothLinksAndCopiesTheParametersOut) {
    startTrace();
    PtapParameters out;
    std::memset(&out, 0xEE, sizeof out);
    ASSERT_EQ(api().initialize(&params_, &out), 0);

    // START went out first, RSIP after its answer, OP_BEGIN after the RSIP's.
    const auto starts = ptap_.receivedOfType(sim::PtapServer::kStart);
    ASSERT_FALSE(starts.empty());
    ASSERT_TRUE(mgcp_.waitForCount(1, 1000));
    const sim::Datagram rsip = mgcp_.received().front();
    EXPECT_EQ(rsip.text(), "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
    ASSERT_TRUE(ptap_.waitForType(sim::PtapServer::kOpBegin, 1, 2000));
    const auto opBegin = ptap_.receivedOfType(sim::PtapServer::kOpBegin).front();
    EXPECT_LE(starts.front().atMs, rsip.atMs);
    EXPECT_LE(rsip.atMs, opBegin.atMs);

    // The record is the server's, copied out whole.
    EXPECT_EQ(out.mTag20, 0);
    EXPECT_EQ(out.mKeepaliveTimeout, 30);
    const auto messages = traceMessages();
    const auto completed = indexOf(messages, "[CP :: STATUS] CP initialization completed.");
    EXPECT_LT(indexOf(messages, "[CP] Waiting for response: MGCP RSIP acknowledgment"),
              indexOf(messages, "[CP :: STATUS] Initializing wave"));
    EXPECT_LT(indexOf(messages, "[CP :: STATUS] Wave initialization completed"), completed);
    EXPECT_LT(completed, static_cast<std::ptrdiff_t>(messages.size()));

    // A second initialize changes nothing and leaves `out` alone.
    PtapParameters second;
    std::memset(&second, 0x5A, sizeof second);
    EXPECT_EQ(api().initialize(&params_, &second), 0);
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&second)[0], 0x5A);

    EXPECT_EQ(api().uninitialize(), 0);
    const std::string text = traceText();
    EXPECT_NE(text.find("[CP] Module Destroyed "), std::string::npos);
    EXPECT_EQ(text.substr(text.size() - 82),
              "\r\n================================[ TRACE END ]=================================\r\n");
}

TEST_F(RegistrationE2E, WrongCardComesBackAsTheResult) {
    // START only acknowledged, then a card query: in mode 0 the connection
    // info is wrong.
    PtapParameters out{};
    ptap_.answerStartWith({});
    ptap_.setParameterItems({});
    std::thread query([&] {
        if (ptap_.waitForType(sim::PtapServer::kStart, 1, 5000)) ptap_.sendCardQuery();
    });
    startTrace();
    EXPECT_EQ(api().initialize(&params_, &out), 0xD3);
    query.join();
    const auto messages = traceMessages();
    EXPECT_LT(indexOf(messages, "[CP :: CRITICAL ERROR] PTAP START - User-specified connection info INCORRECT!"),
              static_cast<std::ptrdiff_t>(messages.size()));
}

TEST_F(RegistrationE2E, BusyServerEndsInTheTimeoutNotInOperationFailed) {
    ptap_.stayBusy();
    startTrace();
    PtapParameters out{};
    EXPECT_EQ(api().initialize(&params_, &out), 1);
    const auto messages = traceMessages();
    EXPECT_LT(indexOf(messages, "[CP :: CRITICAL ERROR] Operation timeout: PTAP START"),
              static_cast<std::ptrdiff_t>(messages.size()));
    EXPECT_EQ(indexOf(messages, "[CP :: CRITICAL ERROR] Operation failed: PTAP START"),
              static_cast<std::ptrdiff_t>(messages.size()));
}

TEST_F(RegistrationE2E, UnansweredRsipFailsAfterNineteenSecondsAndTakesEverythingDown) {
    mgcp_.setAnswer(sim::MgcpAnswer::Never);
    startTrace();
    const std::size_t threadsBefore = threadCount();
    PtapParameters out{};
    EXPECT_EQ(api().initialize(&params_, &out), 1);
    const auto messages = traceMessages();
    EXPECT_LT(indexOf(messages, "[CP :: CRITICAL ERROR] Operation timeout: MGCP RSIP acknowledgement"),
              static_cast<std::ptrdiff_t>(messages.size()));
    EXPECT_TRUE(ptap_.receivedOfType(sim::PtapServer::kOpBegin).empty());
    EXPECT_EQ(threadCount(), threadsBefore);
}

TEST_F(RegistrationE2E, AnRtpPortHeldByAnotherProgramIsNamedInTheTrace) {
    platform::UdpSocket holder;
    ASSERT_TRUE(holder.open(8000));
    startTrace();
    PtapParameters out{};
    // Registration itself does not need the port.
    ASSERT_EQ(api().initialize(&params_, &out), 0);
    const auto messages = traceMessages();
    EXPECT_NE(std::find(messages.begin(), messages.end(),
                        "[WAVE :: CRITICAL ERROR] Session start failed - RTP port 8000 can't be opened (error 10048): "
                        "no voice will flow"),
              messages.end())
        << traceText();
}

// A client that gives up while initialize waits for the server calls
// uninitialize from another thread: the wait ends at once, initialize gives
// 1 and nothing is left running, whichever answer was awaited.
void RegistrationE2E::uninitializeWhileWaitingFor(const char* awaited) {
    startTrace();
    const std::size_t threadsBefore = threadCount();
    std::atomic<int> result{-2};
    std::thread registering([&] {
        PtapParameters out{};
        result = api().initialize(&params_, &out);
    });
    const bool reached = waitFor([&] {
        const auto m = traceMessages();
        return std::find(m.begin(), m.end(), awaited) != m.end();
    });
    const auto begin = std::chrono::steady_clock::now();
    EXPECT_EQ(api().uninitialize(), 0);
    registering.join();
    ASSERT_TRUE(reached);
    EXPECT_LT(std::chrono::steady_clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(result.load(), 1);
    const auto messages = traceMessages();
    EXPECT_NE(std::find(messages.begin(), messages.end(), "[CP :: ERROR] Startup cancelled: uninitialize"),
              messages.end());
    EXPECT_EQ(threadCount(), threadsBefore);
}

TEST_F(RegistrationE2E, UninitializeFromAnotherThreadEndsTheWaitForTheStartAnswer) {
    ptap_.stayBusy();
    uninitializeWhileWaitingFor("[CP] Module starting");
}

TEST_F(RegistrationE2E, UninitializeFromAnotherThreadEndsTheWaitForTheRsipAcknowledgment) {
    mgcp_.setAnswer(sim::MgcpAnswer::Never);
    uninitializeWhileWaitingFor("[CP] Waiting for response: MGCP RSIP acknowledgment");
}
