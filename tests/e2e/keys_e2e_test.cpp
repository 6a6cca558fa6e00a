// A registered terminal through the loaded library: keys and dial strings
// reach the wire as NTFY, error codes as PTAP packets, and the state of the
// control link reaches the client.
#include <algorithm>
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
        ptap_.setParameterItems(sim::PtapServer::defaultParameterItems(2));  // keepalive 2 s
        startTrace();
        // A null out block fails the call, yet the terminal registers: the
        // tests below run on it.
        ASSERT_EQ(api().initialize(&params_, nullptr), -1);
        ASSERT_TRUE(ptap_.waitForType(sim::PtapServer::kOpBegin, 1, 2000));
        ASSERT_TRUE(mgcp_.waitForCount(1, 1000));  // the RSIP
        mgcp_.clear();
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        mgcp_.stop();
        ptap_.stop();
    }
    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
};

std::vector<int> linkEvents(const std::vector<sim::CallbackRecord>& records) {
    std::vector<int> codes;
    for (const auto& c : records)
        if (c.kind == sim::CallbackRecord::LinkEvent) codes.push_back(c.code);
    return codes;
}

}  // namespace

TEST_F(RegisteredE2E, KeysDialStringsAndErrorCodesReachTheWire) {
    ASSERT_EQ(api().put_key(0x0731), 0);
    ASSERT_TRUE(mgcp_.waitForCount(1, 1000));
    EXPECT_EQ(mgcp_.received().front().text(), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 1\r\n");
    EXPECT_NE(traceText().find("[API] Valid key code received [0731]"), std::string::npos);

    // A dial string leaves key by key, in order, fifty milliseconds apart.
    const std::vector<std::string> keys = {"0730", "0731", "0739", "0b08", "0b08", "072a", "0723"};
    ASSERT_EQ(api().make_call("019PW*#"), 0);
    ASSERT_TRUE(mgcp_.waitForCount(1 + keys.size(), 3000));
    const auto received = mgcp_.received();
    for (std::size_t i = 0; i < keys.size(); ++i) {
        EXPECT_NE(received[1 + i].text().find("O: X-P/fk" + keys[i] + "\r\n"), std::string::npos) << i;
        if (i > 0) {
            EXPECT_NEAR(static_cast<double>(received[1 + i].atMs - received[i].atMs), 50.0, 10.0) << i;
        }
    }

    // Only the low byte of an error code travels.
    ASSERT_EQ(api().send_error(0x1234, 0, 0), 0);
    ASSERT_TRUE(ptap_.waitForType(sim::PtapServer::kErrorResponse, 1, 2000));
    const auto error = ptap_.receivedOfType(sim::PtapServer::kErrorResponse).front();
    EXPECT_NE(std::find(error.payload.begin(), error.payload.end(), 0x34), error.payload.end());
    EXPECT_NE(traceText().find("[API] Error code transmitted: [4660]"), std::string::npos);
}

TEST_F(RegisteredE2E, ServerEventsAndASilentServerReachTheClientOnce) {
    auto& recorder = sim::CallbackRecorder::instance();
    ptap_.sendEvent(0x05);
    ptap_.sendEvent(0x90);
    ASSERT_TRUE(recorder.waitFor([](const auto& r) { return linkEvents(r).size() >= 2; }, 2000));
    EXPECT_EQ(linkEvents(recorder.records()), (std::vector<int>{5, -112}));

    const std::uint32_t keepalive = ptap_.sendKeepalive();
    ASSERT_TRUE(ptap_.waitForAck(keepalive, 1000));
    EXPECT_EQ(linkEvents(recorder.records()).size(), 2u) << "not lost while keepalives are answered";
    ASSERT_TRUE(recorder.waitFor([](const auto& r) { return linkEvents(r).size() >= 3; }, 6000));
    EXPECT_EQ(linkEvents(recorder.records()).back(), 0x18);
    // Later silence brings no second report.
    EXPECT_FALSE(recorder.waitFor([](const auto& r) { return linkEvents(r).size() >= 4; }, 3000));
    EXPECT_NE(traceText().find("[CP] Connection lost. Notifying client GUI"), std::string::npos);
}
