#include "voice/rtp.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <set>

#include "platform/event.h"
#include "platform/thread.h"

namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

// An RTP on a port of the system's choosing whose packets come back to
// itself: the destination port is the bound one until told otherwise.
class LoopedRtp : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(rtp.start(), 0);
        rtp.setRemoteAddress(kLoopback);
        ASSERT_EQ(rtp.open(0x11223344), 0);
        // A receive that waits for a datagram that never comes fails the
        // test instead of hanging it.
        ASSERT_TRUE(mWatchdog.createSuspended([this] {
            if (!mDone.wait(10000)) rtp.close();
        }));
        mWatchdog.resume();
    }
    void TearDown() override {
        mDone.set();
        mWatchdog.join();
    }

    // Sends a packet of `size` payload bytes.
    int sendPayload(int size, int* sent = nullptr) {
        RtpPacket* packet = RTP::createPacket(&size);
        const int result = rtp.send(packet, &size, sent);
        RTP::releasePacket(&packet);
        return result;
    }
    std::unique_ptr<RtpPacket> receive(int* length) { return std::unique_ptr<RtpPacket>(rtp.receive(length)); }

    RTP rtp{0};

private:
    platform::Thread mWatchdog;
    platform::ManualResetEvent mDone;
};

}  // namespace

TEST(Rtp, OpenNeedsAStartAndARemoteAddress) {
    RTP rtp;
    EXPECT_EQ(rtp.open(1), 1);
    ASSERT_EQ(rtp.start(), 0);
    EXPECT_EQ(rtp.open(1), 1);
    EXPECT_EQ(rtp.close(), 0);
    EXPECT_EQ(rtp.shutdown(), 0);
    EXPECT_EQ(rtp.close(), 1);
    // The source id carries the thread's id in its high bits.
    ASSERT_EQ(rtp.start(), 0);
    EXPECT_EQ(rtp.makeSsrc() >> 16, platform::currentThreadId() & 0xFFFF);
}

TEST_F(LoopedRtp, SendsToTheLocalPortAndStepsTheCountersOnlyWhenItSends) {
    const auto receiveHeader = [this](int expectedLength) {
        int length = 0;
        const auto packet = receive(&length);
        EXPECT_EQ(length, expectedLength);
        const std::uint8_t ssrc[4] = {0x44, 0x33, 0x22, 0x11};
        EXPECT_TRUE(packet != nullptr && std::memcmp(packet->header + 8, ssrc, 4) == 0);
        return packet != nullptr ? packet->fields() : RtpHeader{};
    };
    int sent = 0;
    ASSERT_EQ(sendPayload(160, &sent), 0);
    EXPECT_EQ(sent, 172);
    // Sends without a payload, or of more than the packet holds, fail and
    // leave the counters alone.
    RtpPacket empty;
    int size = 10;
    EXPECT_EQ(rtp.send(&empty, &size, nullptr), 1);
    EXPECT_EQ(rtp.send(nullptr, &size, nullptr), 1);
    int tooMuch = 11;
    RtpPacket* packet = RTP::createPacket(&size);
    EXPECT_EQ(rtp.send(packet, &tooMuch, nullptr), 1);
    RTP::releasePacket(&packet);
    ASSERT_EQ(sendPayload(20), 0);
    const RtpHeader a = receiveHeader(172);
    const RtpHeader b = receiveHeader(32);
    EXPECT_EQ(static_cast<std::uint16_t>(a.sequence + 1), b.sequence);
    EXPECT_EQ(a.timestamp + RTP::kTimestampStep, b.timestamp);

    // Each new session draws both counters afresh, each below 65536, and
    // aims at the local port again whatever remote port was set before.
    // Four sessions with one sequence number, or one timestamp, would be a
    // chance of 2^-48.
    std::set<std::uint16_t> sequences = {a.sequence};
    std::set<std::uint32_t> timestamps = {a.timestamp};
    EXPECT_LT(a.timestamp, 65536u);
    for (int session = 0; session < 3; ++session) {
        rtp.setRemotePort(9);
        ASSERT_EQ(rtp.open(0x11223344), 0);
        ASSERT_EQ(sendPayload(4), 0);
        const RtpHeader c = receiveHeader(16);
        sequences.insert(c.sequence);
        timestamps.insert(c.timestamp);
        EXPECT_LT(c.timestamp, 65536u);
    }
    EXPECT_GT(sequences.size(), 1u);
    EXPECT_GT(timestamps.size(), 1u);
}
