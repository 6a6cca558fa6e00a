#include "ptap/ptap_resend_list.h"

#include <gtest/gtest.h>

#include "ptap_test_util.h"

using namespace ptap_test;

namespace {

Bytes packet(std::uint32_t tid) {
    return ptap::buildOpBegin(tid);
}

// One scan at `nowMs`: the tids it resent and dropped, as "1 2 drop 3".
std::string scan(ptap::ResendList& list, std::uint64_t nowMs) {
    const ptap::ResendList::ScanResult r = list.scan(nowMs);
    std::string text;
    for (const ptap::ResendList::Resend& resend : r.resends) {
        text += (text.empty() ? "" : " ") + std::to_string(resend.datagram[7]);
    }
    if (r.dropped) text += "drop " + std::to_string(ptap::tidValue(r.droppedTid));
    return text;
}

}  // namespace

TEST(PtapResendList, ResendsTheFirstBytesSixteenTimesAndDropsAtTwentyPointFiveSeconds) {
    ptap::ResendList list;
    const std::uint64_t t0 = 100000;
    const Bytes original = ptap::buildErrorResponse(0x00ABCDEF, 0x42);
    ASSERT_TRUE(list.add(original, t0));
    std::vector<std::uint64_t> times;
    std::uint64_t droppedAt = 0;
    for (std::uint64_t now = t0; now <= t0 + 25000 && !list.empty(); now += 5) {
        const std::uint64_t due = list.nextDueMs();
        const ptap::ResendList::ScanResult r = list.scan(now);
        EXPECT_EQ(due == now, !r.resends.empty() || r.dropped) << "the sleep ends when the scan has work, " << now;
        for (const ptap::ResendList::Resend& resend : r.resends) {
            times.push_back(now - t0);
            EXPECT_EQ(resend.datagram, original);
            EXPECT_EQ(resend.attempt, static_cast<int>(times.size()));
        }
        if (r.dropped) droppedAt = now - t0;
    }
    std::vector<std::uint64_t> expected = {500, 1500, 3500, 7500};
    for (std::uint64_t t = 8500; t <= 19500; t += 1000) expected.push_back(t);
    EXPECT_EQ(times, expected);
    EXPECT_EQ(droppedAt, 20500u);
    EXPECT_TRUE(list.empty());
}

TEST(PtapResendList, ScansByScript) {
    const struct {
        const char* name;
        std::vector<std::pair<std::uint32_t, std::uint64_t>> added;  // tid, time
        std::vector<std::uint32_t> acknowledged;
        std::vector<std::pair<std::uint64_t, const char*>> scans;  // time, what it did
    } cases[] = {
        {"a now before the creation is no age; one resend however late, the next period from it",
         {{1, 1000}},
         {},
         {{0, ""}, {1000, ""}, {6000, "1"}, {6999, ""}, {7000, "1"}}},
        {"an acknowledgment removes its tid, once", {{1, 0}, {2, 0}, {3, 0}}, {2, 2, 9}, {{500, "1 3"}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ptap::ResendList list;
        for (const auto& [tid, at] : c.added) ASSERT_TRUE(list.add(packet(tid), at));
        std::size_t removed = 0;
        for (std::uint32_t tid : c.acknowledged) removed += list.remove(ptap::tidBytes(tid)) ? 1 : 0;
        EXPECT_EQ(removed, c.acknowledged.empty() ? 0u : 1u);
        for (const auto& [at, done] : c.scans) EXPECT_EQ(scan(list, at), done) << at;
    }
}

TEST(PtapResendList, FiftyFirstPacketIsRefused) {
    ptap::ResendList list;
    for (std::uint32_t tid = 1; tid <= 50; ++tid) ASSERT_TRUE(list.add(packet(tid), 0)) << tid;
    EXPECT_FALSE(list.add(packet(51), 0));
    EXPECT_EQ(list.scan(500).resends.size(), 50u) << "all due at once, and the refused one never";
}

TEST(PtapResendList, DropEndsTheScan) {
    ptap::ResendList list;
    ASSERT_TRUE(list.add(packet(1), 0));
    for (std::uint64_t now = 500; now <= 19500; now += 500) list.scan(now);  // all sixteen resends of the first
    ASSERT_TRUE(list.add(packet(2), 20000));
    EXPECT_EQ(scan(list, 20500), "drop 1") << "the second, due too, waits for the next scan";
    EXPECT_EQ(scan(list, 20505), "2");
}
