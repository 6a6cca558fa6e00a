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
    t.year = 2024;
    t.month = 5;
    t.day = 17;
    t.hour = static_cast<int>(msOfDay / 3600000u);
    t.minute = static_cast<int>(msOfDay / 60000u % 60u);
    t.second = static_cast<int>(msOfDay / 1000u % 60u);
    t.millisecond = static_cast<int>(msOfDay % 1000u);
    return t;
}

constexpr std::uint32_t kTen = 10u * 3600000u;                   // 10:00:00.000
constexpr std::uint32_t kJustBeforeMidnight = 86400000u - 200u;  // 23:59:59.800

std::array<std::uint8_t, kMgcpPayloadSize> ntfyPayload(std::uint32_t tid, std::uint32_t* length) {
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};
    *length = static_cast<std::uint32_t>(buildNtfy(payload, tid, "d1@0011223344ff", 1, "0731"));
    return payload;
}

void addNtfy(MgcpBufferTable& table, std::int32_t tid, std::uint32_t createdMs) {
    std::uint32_t length = 0;
    const auto payload = ntfyPayload(static_cast<std::uint32_t>(tid), &length);
    ASSERT_TRUE(table.add(payload, length, tid, at(createdMs)));
}

std::vector<std::int32_t> tids(const MgcpBufferTable& table) {
    std::vector<std::int32_t> out;
    for (const RetransmitNode& n : table.nodes()) out.push_back(n.tid);
    return out;
}

TEST(RetransmitWait, DoublesThreeTimesThenStaysAtOneSecond) {
    EXPECT_EQ(resendWaitMs(0), 500u);
    EXPECT_EQ(resendWaitMs(1), 1000u);
    EXPECT_EQ(resendWaitMs(2), 2000u);
    EXPECT_EQ(resendWaitMs(3), 4000u);
    EXPECT_EQ(resendWaitMs(4), 1000u);
    EXPECT_EQ(resendWaitMs(14), 1000u);
}

TEST(MsOfDay, CountsFromMidnight) {
    platform::TimeOfDay t;
    t.hour = 23;
    t.minute = 59;
    t.second = 59;
    t.millisecond = 999;
    EXPECT_EQ(msOfDay(t), 86399999u);
    EXPECT_EQ(msOfDay(at(12345678)), 12345678u);
}

TEST(RetransmitWalk, UnansweredCommandIsSentSixteenTimesThenDropped) {
    MgcpBufferTable table;
    addNtfy(table, 2, kTen);
    std::vector<std::uint32_t> sentAt;
    std::uint32_t droppedAt = 0;
    for (std::uint32_t t = 0; t <= 21000 && droppedAt == 0; t += 5) {
        table.walk(at(kTen + t), [&](const RetransmitNode&) { sentAt.push_back(t); });
        if (table.count() == 0) droppedAt = t;
    }
    const std::vector<std::uint32_t> expected = {500,   1500,  3500,  7500,  8500,  9500,  10500, 11500,
                                                 12500, 13500, 14500, 15500, 16500, 17500, 18500};
    EXPECT_EQ(sentAt, expected);  // and the first send at 0: sixteen in all
    EXPECT_EQ(droppedAt, 19500u);
}

TEST(RetransmitWalk, ResendIsTheFirstSendByteForByte) {
    MgcpBufferTable table;
    std::uint32_t length = 0;
    const auto payload = ntfyPayload(7, &length);
    ASSERT_TRUE(table.add(payload, length, 7, at(kTen)));
    std::vector<std::string> sent;
    for (std::uint32_t t = 0; t <= 4000; t += 5) {
        table.walk(at(kTen + t), [&](const RetransmitNode& n) {
            EXPECT_EQ(n.isResend, 1);
            sent.emplace_back(reinterpret_cast<const char*>(n.bytes().data()), n.bytes().size());
        });
    }
    ASSERT_EQ(sent.size(), 3u);
    const std::string first(reinterpret_cast<const char*>(payload.data()), length);
    for (const std::string& s : sent) EXPECT_EQ(s, first);
    EXPECT_EQ(table.nodes().front().isResend, 0);
}

TEST(RetransmitWalk, LateClockPassesStillSendOnlyOnce) {
    // A pass that comes long after the wait sends once, not once per missed
    // wait, and the next wait counts from that send.
    MgcpBufferTable table;
    addNtfy(table, 3, kTen);
    int sends = 0;
    table.walk(at(kTen + 3000), [&](const RetransmitNode&) { ++sends; });
    EXPECT_EQ(sends, 1);
    table.walk(at(kTen + 3999), [&](const RetransmitNode&) { ++sends; });
    EXPECT_EQ(sends, 1);
    table.walk(at(kTen + 4000), [&](const RetransmitNode&) { ++sends; });
    EXPECT_EQ(sends, 2);
}

TEST(RetransmitWalk, PastMidnightEveryNodeGoesOutOnceAtOnce) {
    MgcpBufferTable table;
    addNtfy(table, 5, kJustBeforeMidnight);
    addNtfy(table, 6, kJustBeforeMidnight + 100);
    std::vector<std::int32_t> sent;
    auto record = [&](const RetransmitNode& n) { sent.push_back(n.tid); };

    table.walk(at(kJustBeforeMidnight + 105), record);
    EXPECT_TRUE(sent.empty());
    table.walk(at(0), record);  // 00:00:00.000: the period wraps
    EXPECT_EQ(sent, (std::vector<std::int32_t>{5, 6}));
    table.walk(at(5), record);
    EXPECT_EQ(sent.size(), 2u);

    // The next pass is normal again: node 5 was created 200 ms before
    // midnight and last sent at midnight, so its wait of 1000 ms ends at
    // 00:00:01.000.
    table.walk(at(995), record);
    EXPECT_EQ(sent.size(), 2u);
    table.walk(at(1000), record);
    EXPECT_EQ(sent, (std::vector<std::int32_t>{5, 6, 5, 6}));
    for (const RetransmitNode& n : table.nodes()) EXPECT_EQ(n.sendCount, 2);
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

TEST(RetransmitBuffer, RemovesByNumberWhereverTheNodeStands) {
    struct Case {
        const char* name;
        std::vector<std::int32_t> before;
        std::int32_t remove;
        std::vector<std::int32_t> after;
    };
    const Case cases[] = {
        {"only", {1}, 1, {}},
        {"first", {1, 2, 3}, 1, {2, 3}},
        {"last", {1, 2, 3}, 3, {1, 2}},
        {"middle", {1, 2, 3}, 2, {1, 3}},
        {"unknown", {1, 2, 3}, 4, {1, 2, 3}},
        {"first of two equal", {1, 2, 1}, 1, {2, 1}},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        MgcpBufferTable table;
        for (std::int32_t tid : c.before) addNtfy(table, tid, kTen);
        EXPECT_EQ(table.remove(c.remove), 0);
        EXPECT_EQ(tids(table), c.after);
        // What is added next still goes to the end.
        addNtfy(table, 99, kTen);
        ASSERT_FALSE(table.nodes().empty());
        EXPECT_EQ(table.nodes().back().tid, 99);
    }
}

TEST(RetransmitBuffer, LateOrRepeatedAnswerChangesNothing) {
    MgcpBufferTable table;
    EXPECT_EQ(table.remove(1), 1);  // empty buffer
    addNtfy(table, 1, kTen);
    addNtfy(table, 2, kTen);
    EXPECT_EQ(table.remove(1), 0);
    EXPECT_EQ(table.remove(1), 0);
    EXPECT_EQ(tids(table), (std::vector<std::int32_t>{2}));
}

TEST(RetransmitBuffer, IsFullAtFiftyNodes) {
    MgcpBufferTable table;
    for (int i = 1; i < MgcpBufferTable::kMaxNodes; ++i) addNtfy(table, i, kTen);
    EXPECT_FALSE(table.isFull());
    addNtfy(table, 50, kTen);
    EXPECT_TRUE(table.isFull());
}

TEST(RetransmitBuffer, ClearReportsAnEmptyBuffer) {
    MgcpBufferTable table;
    EXPECT_EQ(table.clear(), 1);
    addNtfy(table, 1, kTen);
    EXPECT_EQ(table.clear(), 0);
    EXPECT_EQ(table.count(), 0);
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
