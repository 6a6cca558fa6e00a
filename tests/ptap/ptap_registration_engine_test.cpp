#include <gtest/gtest.h>

#include "ptap_engine_fixture.h"

using namespace ptap_test;
using sim::PtapServer;

TEST_F(PtapEngineTest, UnansweredStartIsResentOnItsSchedule) {
    server.staySilent();
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(server.waitForType(PtapServer::kStart, 7, 12000));
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    const std::uint64_t expected[] = {0, 500, 1500, 3500, 7500, 8500, 9500};
    for (std::size_t i = 0; i < 7; ++i) {
        const std::uint64_t offset = starts[i].atMs - starts[0].atMs;
        EXPECT_GE(offset + 2, expected[i]) << "send " << i;
        EXPECT_LE(offset, expected[i] + 120) << "send " << i;
        EXPECT_EQ(starts[i].bytes, starts[0].bytes) << "a resend is the first send's bytes";
    }
    EXPECT_EQ(starts[0].tid, 1u);
    EXPECT_EQ(starts[0].payload.size(), 88u);

    // The server's acknowledgment ends the resending.
    server.acknowledge(starts[0].tid);
    EXPECT_TRUE(eventually([&] { return ptap.pendingPackets() == 0; }, 2000));
}

TEST_F(PtapEngineTest, AcceptedStartInModeZeroReportsStatusOneAndFillsTheRecord) {
    server.acceptRegistration(0);
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    EXPECT_EQ(ptap.getResult(), 0);
    EXPECT_TRUE(eventually([&] { return ptap.pendingPackets() == 0; }, 2000)) << "the answer acknowledged START";

    PtapParameters* record = nullptr;
    ASSERT_EQ(ptap.getPtapParameters(&record), 0);
    ASSERT_NE(record, nullptr);
    EXPECT_EQ(record->mTag20, 0);
    EXPECT_EQ(record->mKeepaliveTimeout, 30);
    EXPECT_EQ(record->mTags1B1E[0], 1);
    EXPECT_EQ(record->mTags1B1E[3], 4);
    EXPECT_EQ(record->mTags1819[0], 5);
    EXPECT_EQ(record->mTags1819[1], 6);
    EXPECT_EQ(record->mTags2426[0], 7);
    EXPECT_EQ(record->mTags2426[2], -16) << "sign-extended at filling";
    EXPECT_EQ(record->mTag0F, 0x1234);
    EXPECT_EQ(record->mTag21[0], 1);
    EXPECT_EQ(record->mTag21[3], -2);
    EXPECT_EQ(record->mTag21[4], 0);
    PtapParameters copy{};
    ASSERT_EQ(ptap.copyPtapParameters(&copy), 0);
    EXPECT_EQ(std::memcmp(&copy, record, sizeof copy), 0);

    EXPECT_EQ(ptap.getPtapParameter(8), 30u);
    EXPECT_EQ(ptap.getPtapParameter(0x4000), 0xF0u);
    EXPECT_EQ(ptap.getPtapParameter(0x200), 0x50u);
    EXPECT_EQ(ptap.getPtapParameter(0x400), 0x100u);
    EXPECT_EQ(ptap.getPtapParameter(0x800), 9u);

    // OP_BEGIN takes the next tid; its answer reports status 2.
    ASSERT_EQ(send(0x0F), 0);
    ASSERT_TRUE(parent.waitForStatus(2, 2000));
    const std::vector<sim::PtapDatagram> opBegin = server.receivedOfType(PtapServer::kOpBegin);
    ASSERT_EQ(opBegin.size(), 1u);
    EXPECT_EQ(opBegin[0].bytes, (std::vector<std::uint8_t>{'P', 'T', 'A', 'P', 0, 0, 0, 2, 0x0F, 0xFF}));
}

TEST_F(PtapEngineTest, StartInModeOneCarriesTheLongBlockAndIsAcceptedByTheCard) {
    server.acceptRegistration(1);
    startEngine(1);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    EXPECT_EQ(parent.statuses(), (std::vector<int>{3, 1}));
    EXPECT_EQ(ptap.getResult(), 0);
    EXPECT_EQ(ptap.getPtapParameter(0x20000), 1u);
    EXPECT_EQ(ptap.getPtapParameter(0x8000), 9u);
    EXPECT_EQ(ptap.getPtapParameter(0x10000), 2u) << "value 10 of 5 is class 2";
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    ASSERT_FALSE(starts.empty());
    EXPECT_EQ(starts[0].payload.size(), 122u);
}

TEST_F(PtapEngineTest, RefusedStartGivesResultC9) {
    server.refuse();
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(4, 2000));
    EXPECT_EQ(ptap.getResult(), 0xC9);
}

TEST_F(PtapEngineTest, BusyStartGivesStatusSevenAndResult200) {
    server.stayBusy(102);
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(7, 2000));
    EXPECT_EQ(ptap.getResult(), 200);
}

TEST_F(PtapEngineTest, WrongCardInModeOneGivesResultD3) {
    server.rejectCard();
    startEngine(1);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(6, 2000));
    EXPECT_EQ(ptap.getResult(), 0xD3);
    EXPECT_EQ(ptap.getPtapParameter(0x20000), 0u);
}

TEST_F(PtapEngineTest, CardQueryInModeZeroIsAWrongCard) {
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    const std::uint32_t tid = server.sendCardQuery();
    ASSERT_TRUE(parent.waitForStatus(6, 2000));
    EXPECT_EQ(ptap.getResult(), 0xD3);
    EXPECT_TRUE(server.waitForAck(tid, 2000));
}

TEST_F(PtapEngineTest, CardQueryInModeOneIsAnswered) {
    server.acceptRegistration(1);
    startEngine(1);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    server.sendCardQuery();
    ASSERT_TRUE(server.waitForType(PtapServer::kCardAnswer, 1, 2000));
    const sim::PtapDatagram answer = server.receivedOfType(PtapServer::kCardAnswer)[0];
    EXPECT_EQ(answer.tid, 2u);
    EXPECT_EQ(answer.payload, (std::vector<std::uint8_t>{0x5B, 0x00, 0x05, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF}));
    EXPECT_EQ(ptap.getResult(), 0);
}

TEST_F(PtapEngineTest, AnswerInASeparatePacketIsAcknowledgedAndActedOn) {
    server.answerInSeparatePacket(0x02);
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    const std::optional<sim::PtapDatagram> answer = server.lastSentOfType(0x02);
    ASSERT_TRUE(answer.has_value());
    EXPECT_TRUE(server.waitForAck(answer->tid, 2000));
    PtapParameters copy{};
    ASSERT_EQ(ptap.copyPtapParameters(&copy), 0);
    EXPECT_EQ(copy.mKeepaliveTimeout, 30);
}

TEST_F(PtapEngineTest, LostAnswerIsMadeUpByTheResend) {
    server.dropAnswers(1);
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 3000));
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    ASSERT_EQ(starts.size(), 2u);
    EXPECT_GE(starts[1].atMs - starts[0].atMs + 2, 500u);
    EXPECT_TRUE(eventually([&] { return ptap.pendingPackets() == 0; }, 2000));
}

TEST_F(PtapEngineTest, LateAnswerStillCountsAndStopsTheResends) {
    server.delayAnswers(700);
    startEngine(0);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 3000));
    EXPECT_TRUE(eventually([&] { return ptap.pendingPackets() == 0; }, 2000));
    EXPECT_EQ(server.receivedOfType(PtapServer::kStart).size(), 2u) << "sent at 0 and resent at 500";
}

TEST_F(PtapEngineTest, ShutdownIsRepeatableAndTheEngineStartsAgain) {
    PTAP fresh;
    EXPECT_EQ(fresh.shutdown(), 0) << "before any start";
    startEngine(0);
    EXPECT_EQ(ptap.shutdown(), 0);
    EXPECT_EQ(ptap.shutdown(), 0);
    PtapParameters* record = nullptr;
    EXPECT_EQ(ptap.getPtapParameters(&record), 1) << "no record once shut down";
    EXPECT_EQ(send(0x04), 0) << "listed for resending though the socket is closed";

    ASSERT_EQ(ptap.start(), 0) << "the port is free again";
    EXPECT_EQ(ptap.pendingPackets(), 0u);
    ASSERT_EQ(send(0x04), 0);
    ASSERT_TRUE(parent.waitForStatus(1, 2000));
    const std::vector<sim::PtapDatagram> starts = server.receivedOfType(PtapServer::kStart);
    ASSERT_EQ(starts.size(), 1u);
    EXPECT_EQ(starts[0].tid, 1u) << "the counter starts at 1 on every start";
}

TEST_F(PtapEngineTest, StartWithoutNetworkDataFails) {
    EXPECT_EQ(ptap.setNetworkInitData(nullptr), 1);
    EXPECT_EQ(ptap.start(), 1);
    EXPECT_EQ(ptap.addListener(nullptr), 1);
}
