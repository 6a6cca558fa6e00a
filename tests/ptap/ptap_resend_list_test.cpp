#include "ptap/ptap_resend_list.h"

#include <gtest/gtest.h>

#include "ptap_test_util.h"

using namespace ptap_test;

namespace {

Bytes packetWithTid(std::uint32_t tid) {
    return ptap::buildOpBegin(tid);
}

// Walks the list every `stepMs` from `fromMs` to `toMs` and notes when each
// resend of the first packet left.
std::vector<std::uint64_t> resendTimes(ptap::ResendList& list, std::uint64_t fromMs, std::uint64_t toMs,
                                       std::uint64_t stepMs, std::uint64_t* droppedAt = nullptr) {
    std::vector<std::uint64_t> times;
    for (std::uint64_t now = fromMs; now <= toMs; now += stepMs) {
        const ptap::ResendList::ScanResult r = list.scan(now);
        for (std::size_t i = 0; i < r.resends.size(); ++i) times.push_back(now);
        if (r.dropped && droppedAt != nullptr) *droppedAt = now;
    }
    return times;
}

}  // namespace

TEST(PtapResendList, PeriodsDoubleFourTimesThenStayAtOneSecond) {
    const std::uint32_t expected[] = {500, 1000, 2000, 4000, 1000, 1000, 1000, 1000};
    for (int attempts = 0; attempts < 8; ++attempts) EXPECT_EQ(resendWaitMs(attempts), expected[attempts]);
    EXPECT_EQ(resendWaitMs(15), 1000u);
}

TEST(PtapResendList, ResendsSixteenTimesAndDropsAtTwentyPointFiveSeconds) {
    ptap::ResendList list;
    const std::uint64_t t0 = 100000;
    ASSERT_TRUE(list.add(packetWithTid(1), t0));
    std::uint64_t droppedAt = 0;
    const std::vector<std::uint64_t> times = resendTimes(list, t0, t0 + 25000, 5, &droppedAt);
    std::vector<std::uint64_t> expected = {500, 1500, 3500, 7500};
    for (std::uint64_t t = 8500; t <= 19500; t += 1000) expected.push_back(t);
    ASSERT_EQ(expected.size(), 16u);
    for (std::uint64_t& t : expected) t += t0;
    EXPECT_EQ(times, expected);
    EXPECT_EQ(droppedAt, t0 + 20500);
    EXPECT_TRUE(list.empty());
}

TEST(PtapResendList, ResendsTheFirstSendsBytesWithTheirTid) {
    ptap::ResendList list;
    const Bytes original = ptap::buildErrorResponse(0x00ABCDEF, 0x42);
    ASSERT_TRUE(list.add(original, 0));
    const ptap::ResendList::ScanResult r = list.scan(500);
    ASSERT_EQ(r.resends.size(), 1u);
    EXPECT_EQ(r.resends[0].datagram, original);
    EXPECT_EQ(r.resends[0].attempt, 1);
}

TEST(PtapResendList, ScanBetweenDueTimesSendsNothing) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packetWithTid(1), 0));
    EXPECT_TRUE(list.scan(499).resends.empty());
    EXPECT_EQ(list.scan(500).resends.size(), 1u);
    EXPECT_TRUE(list.scan(1499).resends.empty());
    EXPECT_EQ(list.scan(1500).resends.size(), 1u);
}

TEST(PtapResendList, ScanLateSendsOnceAndCountsTheNextPeriodFromThen) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packetWithTid(1), 0));
    EXPECT_EQ(list.scan(5000).resends.size(), 1u) << "one resend however late";
    EXPECT_TRUE(list.scan(5999).resends.empty());
    EXPECT_EQ(list.scan(6000).resends.size(), 1u);
}

TEST(PtapResendList, ClockThatGoesNowhereSendsNothing) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packetWithTid(1), 1000));
    EXPECT_TRUE(list.scan(0).resends.empty()) << "a now before the creation is no age";
    EXPECT_TRUE(list.scan(1000).resends.empty());
}

TEST(PtapResendList, FiftyFirstPacketIsRefused) {
    ptap::ResendList list;
    for (std::uint32_t tid = 1; tid <= 50; ++tid) ASSERT_TRUE(list.add(packetWithTid(tid), 0)) << tid;
    EXPECT_FALSE(list.add(packetWithTid(51), 0));
    EXPECT_EQ(list.size(), 50u);
    EXPECT_EQ(list.scan(500).resends.size(), 50u) << "the refused one is never resent";
}

TEST(PtapResendList, AcknowledgmentRemovesByTid) {
    ptap::ResendList list;
    for (std::uint32_t tid = 1; tid <= 3; ++tid) ASSERT_TRUE(list.add(packetWithTid(tid), 0));
    EXPECT_TRUE(list.remove(ptap::tidBytes(2)));
    EXPECT_FALSE(list.remove(ptap::tidBytes(2)));
    EXPECT_FALSE(list.remove(ptap::tidBytes(9)));
    EXPECT_EQ(list.size(), 2u);
    const ptap::ResendList::ScanResult r = list.scan(500);
    ASSERT_EQ(r.resends.size(), 2u);
    EXPECT_EQ(r.resends[0].datagram, packetWithTid(1));
    EXPECT_EQ(r.resends[1].datagram, packetWithTid(3));
    // Removing the head, the tail and the last keeps the list sound.
    EXPECT_TRUE(list.remove(ptap::tidBytes(3)));
    EXPECT_TRUE(list.remove(ptap::tidBytes(1)));
    EXPECT_TRUE(list.empty());
    EXPECT_TRUE(list.add(packetWithTid(4), 0));
    EXPECT_EQ(list.size(), 1u);
}

TEST(PtapResendList, TwoDueItemsAreBothResentInOneScan) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packetWithTid(1), 0));
    ASSERT_TRUE(list.add(packetWithTid(2), 3));
    EXPECT_EQ(list.scan(505).resends.size(), 2u);
}

TEST(PtapResendList, DropEndsTheScan) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packetWithTid(1), 0));
    resendTimes(list, 0, 19500, 500);  // all sixteen resends of the first
    ASSERT_TRUE(list.add(packetWithTid(2), 20000));
    const ptap::ResendList::ScanResult r = list.scan(20500);
    EXPECT_TRUE(r.dropped);
    EXPECT_EQ(ptap::tidValue(r.droppedTid), 1u);
    EXPECT_TRUE(r.resends.empty()) << "the second, due too, waits for the next scan";
    EXPECT_EQ(list.scan(20505).resends.size(), 1u);
}
