#include <gtest/gtest.h>

#include "ptap_engine_fixture.h"

using namespace ptap_test;
using sim::PtapServer;

namespace {

const std::vector<std::uint8_t> kAckPayload = {0x20, 0x00, 0x01, 0x00, 0xFF};

}  // namespace

TEST_F(PtapEngineTest, KeepaliveRequestsAreAcknowledgedByTid) {
    startEngine(0);
    const std::uint32_t tid = server.sendKeepalive();
    ASSERT_TRUE(server.waitForAck(tid, 2000));
    const sim::PtapDatagram ack = server.receivedOfType(PtapServer::kAck)[0];
    EXPECT_EQ(ack.bytes.size(), 14u);
    EXPECT_EQ(ack.payload, kAckPayload);
}

TEST_F(PtapEngineTest, MalformedDatagramsGetNoAnswer) {
    startEngine(0);
    const std::vector<std::vector<std::uint8_t>> bad = {
        {'P', 'T', 'A', 'X', 0, 0, 0, 5, 0x10, 0xFF},
        {'P', 'T', 'A', 'P', 1, 0, 0, 0, 0x10, 0xFF},
        {'P', 'T', 'A', 'P', 0, 0, 0, 6, 0x10},
        {'P', 'T', 'A'},
        {'P', 'T', 'A', 'P', 0, 0, 0, 7, 0x10, 0x1A, 0x00, 0x40, 0x02},  // an item that runs past the end
    };
    for (const auto& bytes : bad) server.sendRaw(bytes);
    const std::uint32_t tid = server.sendKeepalive();
    ASSERT_TRUE(server.waitForAck(tid, 2000));
    const std::vector<sim::PtapDatagram> acks = server.receivedOfType(PtapServer::kAck);
    ASSERT_EQ(acks.size(), 2u) << "only the overrunning item's packet, which is PTAP, and the keepalive";
    EXPECT_EQ(acks[0].tid, 7u);
    EXPECT_EQ(ptap.getPtapParameter(8), 0u) << "the overrunning item was not read";
}

TEST_F(PtapEngineTest, ServerEventReachesTheParentWithItsPayload) {
    startEngine(0);
    const std::uint32_t tid = server.sendEvent(0x33);
    ASSERT_TRUE(parent.waitForEvents(1, 2000));
    const RecordingParent::Event event = parent.events()[0];
    EXPECT_EQ(event.code, 0x15);
    std::vector<std::uint8_t> expected = {0x20, 0x00, 0x01, 0x33, 0xFF};
    expected.resize(5 + ptap::kEventPadding, 0);
    EXPECT_EQ(event.data, expected);
    EXPECT_TRUE(server.waitForAck(tid, 2000));
}

TEST_F(PtapEngineTest, CompulsionRestartReachesTheParentAsText) {
    startEngine(0);
    server.sendCompulsionRestart();
    ASSERT_TRUE(parent.waitForEvents(1, 2000));
    const RecordingParent::Event event = parent.events()[0];
    EXPECT_EQ(event.code, 0x15);
    EXPECT_STREQ(reinterpret_cast<const char*>(event.data.data()), "PTAP_COMREST");
}

TEST_F(PtapEngineTest, ErrorCodeLeavesAsPacket14AndIsResentUntilAcknowledged) {
    server.dropAnswers(1);
    startEngine(0);
    ASSERT_EQ(sendError(0x9C), 0);
    ASSERT_TRUE(server.waitForType(PtapServer::kErrorResponse, 2, 3000));
    const std::vector<sim::PtapDatagram> sent = server.receivedOfType(PtapServer::kErrorResponse);
    EXPECT_EQ(sent[0].tid, 1u);
    EXPECT_EQ(sent[0].payload, (std::vector<std::uint8_t>{0x20, 0x00, 0x01, 0x9C, 0xFF}));
    EXPECT_EQ(sent[1].bytes, sent[0].bytes);
    EXPECT_TRUE(eventually([&] { return ptap.pendingPackets() == 0; }, 2000));
}

TEST_F(PtapEngineTest, RefusedTransmitSendsNothingAndKeepsTheCounter) {
    startEngine(0);
    const int errorType = 0x14;
    const int zero = 0;
    const int one = 1;
    const std::uint8_t code = 1;
    EXPECT_EQ(ptap.transmit(&errorType, nullptr, &one), 1);
    EXPECT_EQ(ptap.transmit(&errorType, &code, &zero), 1);
    EXPECT_EQ(ptap.transmit(nullptr, &code, &one), 1);
    EXPECT_EQ(send(0x05), 1);
    EXPECT_EQ(send(0x10), 1);
    ASSERT_EQ(send(0x0F), 0);
    ASSERT_TRUE(server.waitForType(PtapServer::kOpBegin, 1, 2000));
    ASSERT_EQ(server.received().size(), 1u) << "nothing else left";
    EXPECT_EQ(server.received()[0].tid, 1u) << "refusals did not move the counter";
}

TEST_F(PtapEngineTest, SilenceAfterKeepalivesReportsTheLostLinkOnce) {
    server.setParameterItems(PtapServer::defaultParameterItems(2));
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    server.startKeepalives(400);
    ASSERT_TRUE(server.waitForType(PtapServer::kAck, 3, 3000)) << "keepalives are answered";
    server.stopKeepalives();
    const std::optional<sim::PtapDatagram> last = server.lastSentOfType(PtapServer::kKeepaliveRequest);
    ASSERT_TRUE(last.has_value());

    ASSERT_TRUE(parent.waitForEvents(1, 5000));
    const RecordingParent::Event event = parent.events()[0];
    EXPECT_EQ(event.code, 0x15);
    EXPECT_STREQ(reinterpret_cast<const char*>(event.data.data()), "PTAP_NOCONN");
    const std::uint64_t silence = event.atMs - last->atMs;
    EXPECT_GE(silence, 3000u) << "threshold 2: reported when 3 whole seconds have passed";
    EXPECT_LE(silence, 3100u);
    EXPECT_TRUE(ptap.connectionLost());

    // The watch has ended: new silence after a new contact brings nothing.
    server.sendKeepalive();
    EXPECT_FALSE(parent.waitForEvents(2, 3500));
}
