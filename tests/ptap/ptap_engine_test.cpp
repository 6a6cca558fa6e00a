// The PTAP engine on its real port against the simulated server: the link,
// its supervision, and the registration.
#include <gtest/gtest.h>

#include "ptap_engine_fixture.h"

using namespace ptap_test;
using sim::PtapServer;
using Bytes = std::vector<std::uint8_t>;

TEST_F(PtapEngineTest, MalformedDatagramsGetNoAnswerAndGoodOnesAreAcknowledged) {
    startEngine(0);
    server.sendRaw({'P', 'T', 'A', 'X', 0, 0, 0, 5, 0x10, 0xFF});
    server.sendRaw({'P', 'T', 'A', 'P', 1, 0, 0, 0, 0x10, 0xFF});                    // tid 0x01000000
    server.sendRaw({'P', 'T', 'A', 'P', 0, 0, 0, 6, 0x10});                          // header only
    server.sendRaw({'P', 'T', 'A', 'P', 0, 0, 0, 7, 0x10, 0x1A, 0x00, 0x40, 0x02});  // PTAP, an item past the end
    const std::uint32_t keepalive = server.sendKeepalive();
    const std::uint32_t event = server.sendEvent(0x33);
    ASSERT_TRUE(server.waitForAck(keepalive, 2000));
    ASSERT_TRUE(server.waitForAck(event, 2000));
    const std::vector<sim::PtapDatagram> acks = server.receivedOfType(PtapServer::kAck);
    ASSERT_EQ(acks.size(), 3u);
    EXPECT_EQ(acks[0].tid, 7u);
    EXPECT_EQ(acks[1].bytes, ptap::buildAck(ptap::tidBytes(keepalive)));
    EXPECT_EQ(ptap.getPtapParameter(8), 0u) << "the overrunning item was not read";

    ASSERT_TRUE(eventsArrive(1, 2000));
    Bytes expected = {0x20, 0x00, 0x01, 0x33, 0xFF};
    expected.resize(5 + ptap::kEventPadding, 0);
    EXPECT_EQ(parent.events()[0].data, expected);
}

TEST_F(PtapEngineTest, TransmitRefusesBadRequestsAndResendsErrorCodesUntilAcknowledged) {
    server.dropAnswers(1);
    startEngine(0);
    const int errorType = 0x14, zero = 0, one = 1;
    const std::uint8_t code = 0x9C;
    EXPECT_EQ(ptap.transmit(&errorType, nullptr, &one), 1);
    EXPECT_EQ(ptap.transmit(&errorType, &code, &zero), 1);
    EXPECT_EQ(ptap.transmit(nullptr, &code, &one), 1);
    EXPECT_EQ(send(0x05), 1);
    EXPECT_EQ(send(0x10), 1);

    ASSERT_EQ(ptap.transmit(&errorType, &code, &one), 0);
    ASSERT_TRUE(server.waitForType(PtapServer::kErrorResponse, 2, 3000));
    EXPECT_TRUE(resendsEnd());
    const std::vector<sim::PtapDatagram> sent = server.received();
    ASSERT_EQ(sent.size(), 2u) << "refusals sent nothing";
    EXPECT_EQ(sent[0].tid, 1u) << "refusals did not move the counter";
    EXPECT_EQ(sent[0].payload, (Bytes{0x20, 0x00, 0x01, 0x9C, 0xFF}));
    EXPECT_EQ(sent[1].bytes, sent[0].bytes);
}

TEST_F(PtapEngineTest, SilenceAfterKeepalivesReportsTheLostLinkOnce) {
    server.setParameterItems(PtapServer::defaultParameterItems(2));
    startEngine(0);
    registerWith(1);
    server.startKeepalives(400);
    ASSERT_TRUE(server.waitForType(PtapServer::kAck, 3, 3000)) << "keepalives are answered";
    server.stopKeepalives();
    const std::optional<sim::PtapDatagram> last = server.lastSentOfType(PtapServer::kKeepaliveRequest);
    ASSERT_TRUE(last.has_value());

    ASSERT_TRUE(eventsArrive(1, 5000));
    const RecordingParent::Event event = parent.events()[0];
    EXPECT_STREQ(reinterpret_cast<const char*>(event.data.data()), "PTAP_NOCONN");
    EXPECT_GE(event.atMs - last->atMs, 3000u) << "threshold 2: reported when 3 whole seconds have passed";
    EXPECT_LE(event.atMs - last->atMs, 3100u);
    EXPECT_TRUE(ptap.connectionLost());

    // The watch has ended: new silence after a new contact brings nothing.
    server.sendKeepalive();
    EXPECT_FALSE(eventsArrive(2, 3500));
}

TEST_F(PtapEngineTest, UnansweredStartIsResentOnItsScheduleUntilAcknowledged) {
    server.staySilent();
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(server.waitForType(PtapServer::kStart, 5, 10000));
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    const std::uint64_t expected[] = {0, 500, 1500, 3500, 7500};
    for (std::size_t i = 0; i < 5; ++i) {
        const std::uint64_t offset = starts[i].atMs - starts[0].atMs;
        EXPECT_GE(offset + 2, expected[i]) << "send " << i;
        EXPECT_LE(offset, expected[i] + 120) << "send " << i;
        EXPECT_EQ(starts[i].bytes, starts[0].bytes) << "a resend is the first send's bytes";
    }
    EXPECT_EQ(starts[0].tid, 1u);
    EXPECT_EQ(starts[0].payload.size(), 88u);
    server.acknowledge(starts[0].tid);
    EXPECT_TRUE(resendsEnd());
}

TEST_F(PtapEngineTest, AcceptedStartInModeZeroFillsTheRecordThenOpBeginAndACardQueryFollow) {
    startEngine(0);
    registerWith(1);
    EXPECT_EQ(ptap.getResult(), 0);
    EXPECT_TRUE(resendsEnd()) << "the answer acknowledged START";
    PtapParameters* record = nullptr;
    ASSERT_EQ(ptap.getPtapParameters(&record), 0);
    EXPECT_EQ(record->mKeepaliveTimeout, 30);
    EXPECT_EQ(record->mTags2426[2], -16) << "sign-extended at filling";
    PtapParameters copy{};
    ASSERT_EQ(ptap.copyPtapParameters(&copy), 0);
    EXPECT_EQ(std::memcmp(&copy, record, sizeof copy), 0);
    EXPECT_EQ(ptap.getPtapParameter(0x4000), 0xF0u);

    // OP_BEGIN takes the next tid; its answer reports status 2.
    ASSERT_EQ(send(0x0F), 0);
    ASSERT_TRUE(statusArrives(2));
    EXPECT_EQ(server.receivedOfType(PtapServer::kOpBegin).at(0).bytes,
              (Bytes{'P', 'T', 'A', 'P', 0, 0, 0, 2, 0x0F, 0xFF}));

    // A card query in mode 0 is a wrong card.
    const std::uint32_t tid = server.sendCardQuery();
    ASSERT_TRUE(statusArrives(6));
    EXPECT_EQ(ptap.getResult(), 0xD3);
    EXPECT_TRUE(server.waitForAck(tid, 2000));
}

TEST_F(PtapEngineTest, StartInModeOneIsAcceptedByTheCardAndCardQueriesAreAnswered) {
    server.acceptRegistration(1);
    startEngine(1);
    registerWith(1);
    EXPECT_EQ(parent.statuses(), (std::vector<int>{3, 1}));
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).at(0).payload.size(), 122u);

    server.sendCardQuery();
    ASSERT_TRUE(server.waitForType(PtapServer::kCardAnswer, 1, 2000));
    const sim::PtapDatagram answer = server.receivedOfType(PtapServer::kCardAnswer)[0];
    EXPECT_EQ(answer.tid, 2u);
    EXPECT_EQ(answer.payload, (Bytes{0x5B, 0x00, 0x05, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
}

TEST_F(PtapEngineTest, RefusedStartGivesResultC9) {
    server.refuse();
    startEngine(0);
    registerWith(4);
    EXPECT_EQ(ptap.getResult(), 0xC9);
}

TEST_F(PtapEngineTest, ShutdownIsRepeatableAndTheEngineStartsAgain) {
    PTAP fresh;
    EXPECT_EQ(fresh.shutdown(), 0) << "before any start";
    EXPECT_EQ(fresh.setNetworkInitData(nullptr), 1);
    EXPECT_EQ(fresh.start(), 1) << "no network data";
    EXPECT_EQ(fresh.addListener(nullptr), 1);

    startEngine(0);
    EXPECT_EQ(ptap.shutdown(), 0);
    EXPECT_EQ(ptap.shutdown(), 0);
    PtapParameters* record = nullptr;
    EXPECT_EQ(ptap.getPtapParameters(&record), 1) << "no record once shut down";
    EXPECT_EQ(send(0x04), 0) << "listed for resending though the socket is closed";

    ASSERT_EQ(ptap.start(), 0) << "the port is free again";
    EXPECT_EQ(ptap.pendingPackets(), 0u);
    registerWith(1);
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).size(), 1u);
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart)[0].tid, 1u) << "the counter starts at 1 on every start";
}
