// The PTAP engine against the simulated server on loopback, both on ports
// the system chooses, on a clock that moves only when the test moves it:
// start-up, registration, resends, and who is heard. The fixture is the
// engine's parent and listener, and records what reaches it.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "ptap/ptap.h"
#include "ptap_test_util.h"
#include "sim/ptap_server.h"
#include "sim/udp_peer.h"
#include "sim/virtual_clock.h"
#include "support_files/trace_capture.h"

namespace ptap_test {

class PtapLinkTest : public ::testing::Test, public PtapParent, public PtapListener {
protected:
    void SetUp() override {
        ASSERT_TRUE(server.start(0));
        ptap = std::make_unique<PTAP>(clock, 0, server.port());
    }
    void TearDown() override {
        ptap.reset();
        server.stop();
    }

    void onPtapStatus(const int* code) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mStatuses.push_back(*code);
    }
    int onPtapEvent(const CoreEvent* event, const char* data) override {
        EXPECT_EQ(event->code, 0x15);
        const std::size_t n = data[0] == 0x20 ? 5 + ptap::kEventPadding : std::strlen(data) + 1;
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.emplace_back(data, data + n);
        return 0;
    }
    std::vector<int> statuses() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mStatuses;
    }
    std::vector<Bytes> events() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }

    // Starts the engine in `mode` with the fixture as parent and listener,
    // and tells the server where it listens.
    void startEngine(int mode) {
        init.mStartCode = 0x11;
        std::memcpy(init.mConnectionInfo, "abcdefghijkl", 12);
        std::memcpy(init.mHardwareAddress, "\x00\x11\x22\x33\x44\x55", 6);
        init.mLocalAddress = init.mServerAddress = sim::kLoopbackAddress;
        init.mRegistrationMode = static_cast<std::uint8_t>(mode);
        ASSERT_EQ(ptap->setNetworkInitData(&init), 0);
        ptap->setParent(this);
        ASSERT_EQ(ptap->addListener(this), 0);
        ASSERT_EQ(ptap->start(), 0);
        server.setTerminalPort(ptap->localPort());
    }

    int send(int type) { return ptap->transmit(&type, nullptr, nullptr); }
    bool statusArrives(int code) {
        return sim::eventually([&] {
            const std::vector<int> s = statuses();
            return std::find(s.begin(), s.end(), code) != s.end();
        });
    }
    bool eventsArrive(std::size_t n, int timeoutMs = 2000) {
        return sim::eventually([&] { return events().size() >= n; }, timeoutMs);
    }
    // START, answered as the server's script says, reports `status`.
    void registerWith(int status) {
        ASSERT_EQ(send(0x04), 0);
        ASSERT_TRUE(statusArrives(status));
    }

    sim::VirtualClock clock;
    TraceCapture trace;
    NetworkInitData init{};
    sim::PtapServer server;
    std::unique_ptr<PTAP> ptap;

private:
    std::mutex mMutex;
    std::vector<int> mStatuses;
    std::vector<Bytes> mEvents;  // a text with its terminator, or a five-byte item with its padding
};

}  // namespace ptap_test

using namespace ptap_test;
using sim::PtapServer;

TEST_F(PtapLinkTest, StartPausesOnItsClockThenModeZeroRegistersAndServerPacketsAreActedOn) {
    startEngine(0);
    EXPECT_EQ(clock.elapsedMs(), PTAP::kStartSettleMs) << "the settling pause is taken on the engine's clock";
    // Requests PTAP doesn't make are refused without touching the counter.
    const int errorType = 0x14, zero = 0, one = 1;
    const std::uint8_t code = 0x9C;
    EXPECT_EQ(ptap->transmit(&errorType, nullptr, &one), 1);
    EXPECT_EQ(ptap->transmit(&errorType, &code, &zero), 1);
    EXPECT_EQ(ptap->transmit(nullptr, &code, &one), 1);
    EXPECT_EQ(send(0x05), 1);

    registerWith(1);
    EXPECT_EQ(ptap->getResult(), 0);
    EXPECT_TRUE(sim::eventually([&] { return ptap->pendingPackets() == 0; })) << "the answer acknowledged START";
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).at(0).tid, 1u);
    PtapParameters* record = nullptr;
    PtapParameters copy{};
    ASSERT_EQ(ptap->getPtapParameters(&record), 0);
    ASSERT_EQ(ptap->copyPtapParameters(&copy), 0);
    EXPECT_EQ(record->mKeepaliveTimeout, 30);
    EXPECT_EQ(std::memcmp(&copy, record, sizeof copy), 0);
    EXPECT_EQ(ptap->getPtapParameter(0x4000), 0xF0u);

    // OP_BEGIN takes the next tid; its answer reports status 2.
    ASSERT_EQ(send(0x0F), 0);
    ASSERT_TRUE(statusArrives(2));
    EXPECT_EQ(server.receivedOfType(PtapServer::kOpBegin).at(0).bytes,
              (Bytes{'P', 'T', 'A', 'P', 0, 0, 0, 2, 0x0F, 0xFF}));

    // An event reaches the parent; a card query in mode 0 is a wrong card.
    // Both are acknowledged with their own tid.
    const std::uint32_t event = server.sendEvent(0x33);
    ASSERT_TRUE(eventsArrive(1));
    EXPECT_EQ(events()[0].at(3), 0x33);
    const std::uint32_t query = server.sendCardQuery();
    ASSERT_TRUE(statusArrives(6));
    EXPECT_EQ(ptap->getResult(), 0xD3);
    EXPECT_TRUE(server.waitForAck(event, 2000));
    EXPECT_TRUE(server.waitForAck(query, 2000));
}

TEST_F(PtapLinkTest, ModeOneIsAcceptedByTheCardAndAnswersCardQueries) {
    server.acceptRegistration(1);
    startEngine(1);
    registerWith(1);
    EXPECT_EQ(statuses(), (std::vector<int>{3, 1}));
    server.sendCardQuery();
    ASSERT_TRUE(server.waitForType(PtapServer::kCardAnswer, 1, 2000));
    EXPECT_EQ(server.receivedOfType(PtapServer::kCardAnswer)[0].bytes, ptap::buildCardAnswer(2));
}

TEST_F(PtapLinkTest, UnansweredStartGoesOutSeventeenTimesByTheClockAndIsDroppedAtTwentyPointFiveSeconds) {
    server.staySilent();
    startEngine(0);
    const std::uint64_t t0 = clock.elapsedMs();
    ASSERT_EQ(send(0x04), 0);
    std::vector<std::uint64_t> offsets = {0, 500, 1500, 3500, 7500};
    for (std::uint64_t t = 8500; t <= 19500; t += 1000) offsets.push_back(t);
    ASSERT_EQ(offsets.size(), 17u);
    for (std::size_t i = 0; i < offsets.size(); ++i) {
        clock.advanceTo(t0 + offsets[i]);
        ASSERT_TRUE(server.waitForType(PtapServer::kStart, i + 1, 1000)) << "send " << i;
    }
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    ASSERT_EQ(starts.size(), 17u);
    for (const sim::PtapDatagram& s : starts) EXPECT_EQ(s.bytes, starts[0].bytes) << "a resend is the first send";
    EXPECT_EQ(starts[0].payload.size(), 88u);

    clock.advanceTo(t0 + 20499);
    EXPECT_EQ(ptap->pendingPackets(), 1u);
    clock.advanceTo(t0 + 20500);
    EXPECT_TRUE(sim::eventually([&] { return ptap->pendingPackets() == 0; }));
    EXPECT_TRUE(trace.contains("[PTAP] Free buffer - Attempted #17 times"));
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).size(), 17u);
}

TEST_F(PtapLinkTest, OnlyTheServersAddressIsHeard) {
    startEngine(0);
    registerWith(1);  // keepalive time-out 30 s, watched from now
    if (!sim::secondLoopbackAddressSends()) GTEST_SKIP() << "127.0.0.2 does not send as itself here";
    sim::UdpPeer intruder;
    ASSERT_TRUE(intruder.start(0, 0x7F000002));  // 127.0.0.2, a second local address
    auto spoof = [&](std::uint8_t type, const Bytes& body) {
        const Bytes bytes = datagram(0x00000077, type, body);
        ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, ptap->localPort(), bytes.data(), bytes.size()));
    };
    spoof(0x03, payload({}));                                        // compulsion restart
    spoof(0x15, payload({item(0x1A, {0x00}), item(0x20, {0x44})}));  // time-out 0 and an event
    // The server's own event comes after both on the same socket.
    server.sendEvent(0x33);
    ASSERT_TRUE(eventsArrive(1));
    clock.advance(1000);
    spoof(0x10, payload({}));
    server.sendEvent(0x34);
    ASSERT_TRUE(eventsArrive(2));

    clock.advance(5000);
    EXPECT_FALSE(eventsArrive(3, 100)) << "no restart, no lost link by a time-out of 0";
    EXPECT_EQ(events()[0][3], 0x33);
    EXPECT_EQ(events()[1][3], 0x34);
    EXPECT_FALSE(ptap->connectionLost());
    EXPECT_EQ(intruder.count(), 0u) << "nothing was acknowledged";
    const std::vector<std::string> lines = trace.messages();
    EXPECT_EQ(
        std::count(lines.begin(), lines.end(), "[PTAP :: Warning] Datagram from 127.0.0.2 dropped - not the server"), 2)
        << "once a second at most";
}

TEST_F(PtapLinkTest, ShutdownIsRepeatableAndTheEngineStartsAgain) {
    PTAP fresh(clock, 0, server.port());
    EXPECT_EQ(fresh.shutdown(), 0) << "before any start";
    EXPECT_EQ(fresh.setNetworkInitData(nullptr), 1);
    EXPECT_EQ(fresh.start(), 1) << "no network data";
    EXPECT_EQ(fresh.addListener(nullptr), 1);

    startEngine(0);
    EXPECT_EQ(ptap->shutdown(), 0);
    EXPECT_EQ(ptap->shutdown(), 0);
    PtapParameters* record = nullptr;
    EXPECT_EQ(ptap->getPtapParameters(&record), 1) << "no record once shut down";
    EXPECT_EQ(send(0x04), 0) << "listed for resending though the socket is closed";

    ASSERT_EQ(ptap->start(), 0);
    server.setTerminalPort(ptap->localPort());
    EXPECT_EQ(ptap->pendingPackets(), 0u);
    registerWith(1);
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).size(), 1u);
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart)[0].tid, 1u) << "the counter starts at 1 on every start";
}
