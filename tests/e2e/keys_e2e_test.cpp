// A registered terminal through the loaded library: keys and dial strings
// reach the wire as NTFY, error codes as PTAP packets, and the state of the
// control link reaches the client.
#include <algorithm>
#include <cstring>
#include <string>

#include "e2e_fixture.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"

namespace {

class RegisteredE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        ASSERT_TRUE(ptap_.start());
        ASSERT_TRUE(mgcp_.start());
        ptap_.setParameterItems(sim::PtapServer::defaultParameterItems(kKeepaliveSeconds));
        startTrace();
        PtapParameters out{};
        ASSERT_EQ(api().initialize(&params_, &out), 0);
        ASSERT_TRUE(mgcp_.waitForCount(1, 1000));  // the RSIP
        mgcp_.clear();
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        mgcp_.stop();
        ptap_.stop();
    }
    std::vector<std::string> ntfyTexts() const {
        std::vector<std::string> out;
        for (const auto& d : mgcp_.received())
            if (d.text().rfind("NTFY ", 0) == 0) out.emplace_back(d.text());
        return out;
    }
    static constexpr std::uint8_t kKeepaliveSeconds = 2;
    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
};

int linkEvents(const std::vector<sim::CallbackRecord>& records, int code) {
    return static_cast<int>(std::count_if(records.begin(), records.end(), [code](const sim::CallbackRecord& c) {
        return c.kind == sim::CallbackRecord::LinkEvent && c.code == code;
    }));
}

}  // namespace

TEST_F(RegisteredE2E, AKeyLeavesAsItsNtfy) {
    ASSERT_EQ(api().put_key(0x0731), 0);
    ASSERT_TRUE(mgcp_.waitForCount(1, 1000));
    EXPECT_EQ(mgcp_.received().front().text(), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 1\r\n");
    EXPECT_NE(traceText().find("[API] Valid key code received [0731]"), std::string::npos);
}

TEST_F(RegisteredE2E, KeysWithoutAnObservedEventStillLeave) {
    ASSERT_EQ(api().put_key(0x0E00), 0);
    ASSERT_EQ(api().put_key(0x1100), 0);
    ASSERT_EQ(api().put_key(0x1002), 0);
    ASSERT_TRUE(mgcp_.waitFor([](const std::vector<sim::Datagram>& d) { return d.size() >= 3; }, 2000));
    const auto texts = ntfyTexts();
    ASSERT_EQ(texts.size(), 3u);
    EXPECT_EQ(texts[0].find("O:"), std::string::npos);
    EXPECT_EQ(texts[1].find("O:"), std::string::npos);
    EXPECT_NE(texts[2].find("O: X-P/line(0002)\r\n"), std::string::npos);
    EXPECT_EQ(api().put_key(0x0B02), -1);
}

TEST_F(RegisteredE2E, ADialStringLeavesInOrderFiftyMillisecondsApart) {
    ASSERT_EQ(api().make_call("0123456789"), 0);
    ASSERT_TRUE(mgcp_.waitFor([](const std::vector<sim::Datagram>& d) { return d.size() >= 10; }, 3000));
    const auto received = mgcp_.received();
    ASSERT_EQ(received.size(), 10u);
    for (int i = 0; i < 10; ++i) {
        const std::string line = "O: X-P/fk073" + std::to_string(i) + "\r\n";
        EXPECT_NE(received[i].text().find(line), std::string::npos) << received[i].text();
        if (i > 0) {
            const double gap = static_cast<double>(received[i].atMs - received[i - 1].atMs);
            EXPECT_NEAR(gap, 50.0, 10.0) << "between digit " << i - 1 << " and " << i;
        }
    }
}

TEST_F(RegisteredE2E, FortyDigitsAllLeaveAndPAndWArePauses) {
    const std::string digits = "0123456789PW0123456789*#0123456789012345";
    ASSERT_EQ(digits.size(), 40u);
    ASSERT_EQ(api().make_call(digits.c_str()), 0);
    ASSERT_TRUE(mgcp_.waitFor([](const std::vector<sim::Datagram>& d) { return d.size() >= 40; }, 5000));
    const auto texts = ntfyTexts();
    ASSERT_EQ(texts.size(), 40u);
    EXPECT_NE(texts[10].find("O: X-P/fk0b08\r\n"), std::string::npos);
    EXPECT_NE(texts[11].find("O: X-P/fk0b08\r\n"), std::string::npos);
    EXPECT_NE(texts[22].find("O: X-P/fk072a\r\n"), std::string::npos);
    EXPECT_NE(texts[23].find("O: X-P/fk0723\r\n"), std::string::npos);
}

TEST_F(RegisteredE2E, AnErrorCodeLeavesAsPtapErrorResponse) {
    ASSERT_EQ(api().send_error(0x1234, 0, 0), 0);
    ASSERT_TRUE(ptap_.waitForType(sim::PtapServer::kErrorResponse, 1, 2000));
    const auto error = ptap_.receivedOfType(sim::PtapServer::kErrorResponse).front();
    // Only the low byte of the code travels.
    ASSERT_FALSE(error.payload.empty());
    EXPECT_NE(std::find(error.payload.begin(), error.payload.end(), 0x34), error.payload.end());
    EXPECT_NE(traceText().find("[API] Error code transmitted: [4660]"), std::string::npos);
}

TEST_F(RegisteredE2E, ServerEventsReachTheClientAsLinkEvents) {
    ptap_.sendEvent(0x05);
    ptap_.sendEvent(0x90);
    auto& recorder = sim::CallbackRecorder::instance();
    ASSERT_TRUE(recorder.waitFor(
        [](const std::vector<sim::CallbackRecord>& r) {
            return std::count_if(r.begin(), r.end(),
                                 [](const auto& c) { return c.kind == sim::CallbackRecord::LinkEvent; }) >= 2;
        },
        2000));
    std::vector<int> codes;
    for (const auto& c : recorder.records())
        if (c.kind == sim::CallbackRecord::LinkEvent) codes.push_back(c.code);
    EXPECT_EQ(codes, (std::vector<int>{5, -112}));
}

TEST_F(RegisteredE2E, ASilentServerIsReportedLostOnce) {
    auto& recorder = sim::CallbackRecorder::instance();
    const std::uint32_t keepalive = ptap_.sendKeepalive();
    ASSERT_TRUE(ptap_.waitForAck(keepalive, 1000));
    EXPECT_EQ(linkEvents(recorder.records(), 0x18), 0);
    ASSERT_TRUE(recorder.waitFor([](const auto& r) { return linkEvents(r, 0x18) >= 1; }, 6000));
    // Later silence brings no second report.
    EXPECT_FALSE(recorder.waitFor([](const auto& r) { return linkEvents(r, 0x18) >= 2; }, 3000));
    EXPECT_NE(traceText().find("[CP] Connection lost. Notifying client GUI"), std::string::npos);
}

TEST_F(RegisteredE2E, AnUnansweredKeyIsSentSixteenTimesInAboutNineteenSeconds) {
    mgcp_.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(api().put_key(0x0731), 0);
    ASSERT_TRUE(mgcp_.waitForCount(16, 21000));
    // No seventeenth copy: the node is dropped after its last resend.
    EXPECT_FALSE(mgcp_.waitForCount(17, 2500));
    const auto received = mgcp_.received();
    ASSERT_EQ(received.size(), 16u);
    for (const auto& d : received) EXPECT_EQ(d.bytes, received.front().bytes);
    const double span = static_cast<double>(received.back().atMs - received.front().atMs);
    EXPECT_NEAR(span, 18500.0, 300.0);
}
