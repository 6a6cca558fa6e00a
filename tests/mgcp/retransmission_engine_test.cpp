// The engine's retransmission on the wire: unanswered, late and repeated
// answers, and the clock passing midnight.
#include <gtest/gtest.h>

#include <atomic>
#include <string>

#include "mgcp/retransmit_buffer.h"
#include "mgcp_engine_fixture.h"

namespace mgcp_test {
namespace {

using MgcpRetransmission = MgcpEngineTest;

// A time of day that stands still until the test moves it.
class FakeClock : public platform::Clock {
public:
    explicit FakeClock(std::uint32_t msOfDay) : mMsOfDay(msOfDay) {}
    void set(std::uint32_t msOfDay) { mMsOfDay = msOfDay; }
    std::uint64_t monotonicMs() const override { return mMsOfDay.load(); }
    platform::TimeOfDay utcTimeOfDay() const override {
        const std::uint32_t ms = mMsOfDay.load();
        platform::TimeOfDay t;
        t.hour = static_cast<int>(ms / 3600000u);
        t.minute = static_cast<int>(ms / 60000u % 60u);
        t.second = static_cast<int>(ms / 1000u % 60u);
        t.millisecond = static_cast<int>(ms % 1000u);
        return t;
    }

private:
    std::atomic<std::uint32_t> mMsOfDay;
};

TEST_F(MgcpRetransmission, UnansweredRsipGoesOutSixteenTimesInNineteenSeconds) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    ASSERT_TRUE(mServer.waitForCount(16, 25000));
    // Dropped after the sixteenth: nothing is left to send again.
    ASSERT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
    const std::vector<sim::Datagram> sent = mServer.received();
    ASSERT_EQ(sent.size(), 16u);
    const std::uint64_t expectedAt[16] = {0,     500,   1500,  3500,  7500,  8500,  9500,  10500,
                                          11500, 12500, 13500, 14500, 15500, 16500, 17500, 18500};
    for (std::size_t i = 0; i < sent.size(); ++i) {
        EXPECT_EQ(sent[i].text(), "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n") << "copy " << i;
        const std::uint64_t at = sent[i].atMs - sent[0].atMs;
        EXPECT_GE(at + 20, expectedAt[i]) << "copy " << i;
        EXPECT_LE(at, expectedAt[i] + 1000) << "copy " << i;
    }
    EXPECT_FALSE(mMgcp->isRsipAcknowledged());
    RecordProperty("lastCopyAtMs", std::to_string(sent.back().atMs - sent.front().atMs));
}

TEST_F(MgcpRetransmission, LateAnswerEndsTheRetransmission) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::OnCopy, 3);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    ASSERT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
    ASSERT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
    EXPECT_EQ(mServer.count(), 3u);
    EXPECT_EQ(mServer.answersSent(), 1u);
}

TEST_F(MgcpRetransmission, RepeatedAnswersChangeNothing) {
    startEngine();
    mServer.setAnswer(sim::MgcpAnswer::Twice);
    registerTerminal();
    ASSERT_EQ(mMgcp->post(5, "0731"), 0);
    ASSERT_EQ(mMgcp->post(5, "0732"), 0);
    EXPECT_EQ(datagram(2), "NTFY 3 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0732\r\nK: 2\r\n");
    EXPECT_TRUE(waitUntil([this] { return mMgcp->bufferCount() == 0; }, 5000));
    EXPECT_EQ(mServer.answersSent(), 6u);
    EXPECT_TRUE(mMgcp->isRsipAcknowledged());
}

TEST_F(MgcpRetransmission, RetransmissionFollowsTheInjectedClock) {
    FakeClock clock(10u * 3600000u);
    startEngine(clock);
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(5, "0731"), 0);
    ASSERT_EQ(datagram(0), "NTFY 1 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\n");
    clock.set(10u * 3600000u + 500u);
    EXPECT_EQ(datagram(1), datagram(0));  // same bytes, same number
    clock.set(10u * 3600000u + 1500u);
    EXPECT_EQ(datagram(2), datagram(0));
    EXPECT_EQ(mServer.count(), 3u);
}

TEST_F(MgcpRetransmission, PastMidnightABufferedCommandGoesOutOnceAtOnce) {
    FakeClock clock(86400000u - 100u);  // 23:59:59.900
    startEngine(clock);
    mServer.setAnswer(sim::MgcpAnswer::Never);
    ASSERT_EQ(mMgcp->post(7, nullptr), 0);
    ASSERT_EQ(datagram(0), "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
    clock.set(0);  // midnight: the period wraps
    EXPECT_EQ(datagram(1), datagram(0));
    // Normal again: the next copy waits its 1000 ms from that send.
    clock.set(1000);
    EXPECT_EQ(datagram(2), datagram(0));
}

}  // namespace
}  // namespace mgcp_test
