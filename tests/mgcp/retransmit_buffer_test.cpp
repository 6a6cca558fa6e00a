// The retransmission buffer and its walk, driven by a time of day the test
// hands in.
#include "mgcp/retransmit_buffer.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mgcp/mgcp_messages.h"

namespace {

platform::TimeOfDay at(std::uint32_t msOfDay) {
    platform::TimeOfDay t;
    t.hour = static_cast<int>(msOfDay / 3600000u);
    t.minute = static_cast<int>(msOfDay / 60000u % 60u);
    t.second = static_cast<int>(msOfDay / 1000u % 60u);
    t.millisecond = static_cast<int>(msOfDay % 1000u);
    return t;
}

constexpr std::uint32_t kTen = 10u * 3600000u;                   // 10:00:00.000
constexpr std::uint32_t kJustBeforeMidnight = 86400000u - 200u;  // 23:59:59.800

void addNtfy(MgcpBufferTable& table, std::int32_t tid, std::uint32_t createdMs) {
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};
    const std::size_t n = buildNtfy(payload, static_cast<std::uint32_t>(tid), "d1@0011223344ff", 1, "0731");
    ASSERT_TRUE(table.add(payload, static_cast<std::uint32_t>(n), tid, at(createdMs)));
}

// One pass at `msOfDay`: the numbers of what it sent, as "5 6 ".
std::string walk(MgcpBufferTable& table, std::uint32_t msOfDay) {
    std::string sent;
    table.walk(at(msOfDay), [&](const RetransmitNode& n) { sent += std::to_string(n.tid) + " "; });
    return sent;
}

std::string tids(const MgcpBufferTable& table) {
    std::string out;
    for (const RetransmitNode& n : table.nodes()) out += std::to_string(n.tid) + " ";
    return out;
}

TEST(RetransmitWalk, UnansweredCommandIsResentByteForByteFifteenTimesThenDropped) {
    MgcpBufferTable table;
    addNtfy(table, 2, kTen);
    const std::vector<std::uint8_t> first(table.nodes().front().bytes().begin(), table.nodes().front().bytes().end());
    std::vector<std::uint32_t> sentAt;
    std::uint32_t t = 0;
    for (; t <= 21000 && table.count() != 0; t += 5) {
        const std::uint32_t left = table.msUntilNextDue(at(kTen + t));
        const int before = table.count();
        const std::size_t sends = sentAt.size();
        table.walk(at(kTen + t), [&](const RetransmitNode& n) {
            sentAt.push_back(t);
            EXPECT_EQ(n.isResend, 1);
            EXPECT_EQ(std::vector<std::uint8_t>(n.bytes().begin(), n.bytes().end()), first);
        });
        for (const RetransmitNode& n : table.nodes()) EXPECT_EQ(n.isResend, 0) << "only while sent";
        const bool acted = sentAt.size() != sends || table.count() != before;
        EXPECT_EQ(left == 0, acted) << "the sleep ends when the walk has work, at " << t;
    }
    const std::vector<std::uint32_t> expected = {500,   1500,  3500,  7500,  8500,  9500,  10500, 11500,
                                                 12500, 13500, 14500, 15500, 16500, 17500, 18500};
    EXPECT_EQ(sentAt, expected);  // and the first send at 0: sixteen in all
    EXPECT_EQ(t - 5, 19500u) << "dropped";
}

TEST(RetransmitWalk, OddClocksSendEachNodeOnceAtMost) {
    const struct {
        const char* name;
        std::vector<std::pair<std::int32_t, std::uint32_t>> nodes;  // tid, created
        std::vector<std::pair<std::uint32_t, const char*>> passes;  // time, what goes out
    } cases[] = {
        // A pass long after the wait sends once, and the next wait counts
        // from that send.
        {"late pass", {{3, kTen}}, {{kTen + 3000, "3 "}, {kTen + 3999, ""}, {kTen + 4000, "3 "}}},
        // Past midnight the period wraps: every node goes out once at once,
        // and `elapsed` takes up the difference. Node 5 was created 200 ms
        // before midnight and last sent at midnight, so its wait of 1000 ms
        // ends at 00:00:01.000.
        {"midnight",
         {{5, kJustBeforeMidnight}, {6, kJustBeforeMidnight + 100}},
         {{kJustBeforeMidnight + 105, ""}, {0, "5 6 "}, {5, ""}, {995, ""}, {1000, "5 6 "}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MgcpBufferTable table;
        for (const auto& [tid, created] : c.nodes) addNtfy(table, tid, created);
        for (const auto& [time, sent] : c.passes) {
            EXPECT_EQ(table.msUntilNextDue(at(time)) == 0, *sent != 0) << time;
            EXPECT_EQ(walk(table, time), sent) << time;
        }
    }
}

TEST(RetransmitWalk, DropRemovesTheNodeThatReachedItsEnd) {
    // Two nodes with one number (a DLCX bears the last command's number):
    // the older one goes, the younger stays.
    MgcpBufferTable table;
    addNtfy(table, 9, kTen);
    for (std::uint32_t t = 0; t <= 19500; t += 5) {
        if (t == 5000) addNtfy(table, 9, kTen + t);
        table.walk(at(kTen + t), {});
    }
    ASSERT_EQ(table.count(), 1);
    EXPECT_EQ(table.nodes().front().sendCount, 11);
}

TEST(RetransmitBuffer, RemovesTheFirstNodeWithTheNumber) {
    const struct {
        const char* name;
        std::vector<std::int32_t> before;
        std::int32_t remove;
        int result;
        const char* after;
    } cases[] = {
        {"empty", {}, 1, 1, ""},
        {"middle", {1, 2, 3}, 2, 0, "1 3 "},
        {"unknown or answered twice", {1, 2, 3}, 4, 0, "1 2 3 "},
        {"first of two equal", {1, 2, 1}, 1, 0, "2 1 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        MgcpBufferTable table;
        for (std::int32_t tid : c.before) addNtfy(table, tid, kTen);
        EXPECT_EQ(table.remove(c.remove), c.result);
        EXPECT_EQ(tids(table), c.after);
    }
}

TEST(RetransmitBuffer, KeepsAllPayloadBytesAndTheLength) {
    MgcpBufferTable table;
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};
    payload.fill('z');
    ASSERT_TRUE(table.add(payload, 5000, 1, at(kTen)));  // a length past the payload is cut to it
    EXPECT_EQ(table.nodes().front().length, kMgcpPayloadSize);
    EXPECT_EQ(table.nodes().front().payload, payload);
}

}  // namespace
