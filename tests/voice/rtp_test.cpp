#include "voice/rtp.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "platform/thread.h"
#include "platform/udp_socket.h"

namespace {

constexpr std::uint32_t kLoopback = 0x7F000001;

// An RTP on a port of the system's choosing whose packets come back to
// itself: the destination port is the local one until told otherwise.
class LoopedRtp : public testing::Test {
protected:
    void SetUp() override {
        ASSERT_EQ(rtp.start(), 0);
        rtp.setLocalPort(freePort());
        rtp.setRemoteAddress(kLoopback);
        ASSERT_EQ(rtp.open(0x11223344), 0);
        // A receive that waits for a datagram that never comes fails the
        // test instead of hanging it.
        ASSERT_TRUE(mWatchdog.createSuspended([this] {
            std::unique_lock<std::mutex> lock(mMutex);
            if (!mDone.wait_for(lock, std::chrono::seconds(10), [this] { return mFinished; })) rtp.close();
        }));
        mWatchdog.resume();
    }

    void TearDown() override {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mFinished = true;
        }
        mDone.notify_all();
        mWatchdog.join();
    }

    // A port nobody holds just now.
    static std::uint16_t freePort() {
        platform::UdpSocket probe;
        if (!probe.open(0)) return 0;
        return probe.localPort();
    }

    // Sends a packet of `size` payload bytes, each `fill`.
    int sendPayload(int size, std::uint8_t fill, int* sent = nullptr) {
        RtpPacket* packet = RTP::createPacket(&size);
        std::memset(packet->payload.get(), fill, static_cast<std::size_t>(size));
        const int result = rtp.send(packet, &size, sent);
        RTP::releasePacket(&packet);
        return result;
    }

    // Sends raw bytes to the RTP's port from a socket of the test.
    void sendRaw(const std::vector<std::uint8_t>& bytes) {
        platform::UdpSocket socket;
        ASSERT_TRUE(socket.open(0));
        ASSERT_EQ(socket.sendTo(kLoopback, rtp.boundPort(), bytes.data(), bytes.size()),
                  static_cast<int>(bytes.size()));
    }

    std::unique_ptr<RtpPacket> receive(int* length) { return std::unique_ptr<RtpPacket>(rtp.receive(length)); }

    RTP rtp;

private:
    platform::Thread mWatchdog;
    std::mutex mMutex;
    std::condition_variable mDone;
    bool mFinished = false;
};

std::vector<std::uint8_t> rtpBytes(std::uint8_t byte0, std::size_t payload, std::uint8_t lastByte = 0x22) {
    std::vector<std::uint8_t> bytes(kRtpHeaderBytes + payload, 0x22);
    bytes[0] = byte0;
    bytes[2] = 0x01;
    bytes[3] = 0x02;
    if (payload > 0) bytes.back() = lastByte;
    return bytes;
}

}  // namespace

TEST(Rtp, OpenNeedsAStartAndARemoteAddress) {
    RTP rtp;
    EXPECT_TRUE(rtp.isStopped());
    EXPECT_EQ(rtp.open(1), 1);
    ASSERT_EQ(rtp.start(), 0);
    EXPECT_FALSE(rtp.isStopped());
    rtp.setLocalPort(0);
    EXPECT_EQ(rtp.open(1), 1);
    rtp.setRemoteAddress(kLoopback);
    EXPECT_EQ(rtp.open(1), 0);
    EXPECT_TRUE(rtp.isOpen());
    EXPECT_EQ(rtp.close(), 0);
    EXPECT_FALSE(rtp.isOpen());
    EXPECT_EQ(rtp.shutdown(), 0);
    EXPECT_EQ(rtp.close(), 1);
}

TEST(Rtp, SettersStoreTheLowSixteenBitsOfAPort) {
    RTP rtp;
    rtp.setRemotePort(0x12345678);
    rtp.setRemoteAddress(0x0A000001);
    rtp.setLocalPort(0x10000 + 8000);
    EXPECT_EQ(rtp.remotePort(), 0x5678);
    EXPECT_EQ(rtp.remoteAddress(), 0x0A000001u);
    EXPECT_EQ(rtp.localPort(), 8000);
    rtp.setRemoteAddress(0x7F000001);
    EXPECT_EQ(rtp.remotePort(), 0x5678);
}

TEST_F(LoopedRtp, OpenAimsAtTheLocalPortUntilTheRemotePortIsSet) {
    rtp.setRemotePort(9);
    ASSERT_EQ(rtp.open(0x11223344), 0);
    EXPECT_EQ(rtp.remotePort(), rtp.localPort());
    EXPECT_EQ(rtp.boundPort(), rtp.localPort());
    ASSERT_EQ(sendPayload(4, 0x33), 0);
    int length = 0;
    const auto packet = receive(&length);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(length, 16);
}

TEST_F(LoopedRtp, SendsHeaderAndPayloadAndStepsTheCounters) {
    rtp.setPayloadType(0);
    int sent = 0;
    ASSERT_EQ(sendPayload(160, 0xAB, &sent), 0);
    EXPECT_EQ(sent, 172);
    rtp.setPayloadType(18 | 0x80);
    ASSERT_EQ(sendPayload(20, 0xCD), 0);

    int length = 0;
    const auto first = receive(&length);
    ASSERT_NE(first, nullptr);
    EXPECT_EQ(length, 172);
    const auto second = receive(&length);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(length, 32);

    const RtpHeader a = first->fields();
    const RtpHeader b = second->fields();
    EXPECT_EQ(first->header[0], 0x80);
    EXPECT_EQ(a.payloadType, 0);
    EXPECT_EQ(b.payloadType, 18);
    EXPECT_FALSE(b.marker);
    EXPECT_EQ(static_cast<std::uint16_t>(a.sequence + 1), b.sequence);
    EXPECT_EQ(a.timestamp + RTP::kTimestampStep, b.timestamp);
    // Both counters start as 16-bit values.
    EXPECT_LT(a.timestamp, 65536u);
    const std::uint8_t ssrc[4] = {0x44, 0x33, 0x22, 0x11};
    EXPECT_EQ(std::memcmp(first->header + 8, ssrc, 4), 0);
    EXPECT_EQ(first->payloadLength, 160);
    EXPECT_EQ(first->payload[0], 0xAB);
    EXPECT_EQ(first->payload[159], 0xAB);
    EXPECT_EQ(second->payload[19], 0xCD);
}

TEST_F(LoopedRtp, SendWithoutPayloadFailsAndLeavesTheCountersAlone) {
    ASSERT_EQ(sendPayload(10, 1), 0);
    RtpPacket empty;
    int size = 10;
    EXPECT_EQ(rtp.send(&empty, &size, nullptr), 1);
    EXPECT_EQ(rtp.send(nullptr, &size, nullptr), 1);
    // Nor does it send more than the packet holds.
    int tooMuch = 11;
    RtpPacket* packet = RTP::createPacket(&size);
    EXPECT_EQ(rtp.send(packet, &tooMuch, nullptr), 1);
    RTP::releasePacket(&packet);
    EXPECT_EQ(packet, nullptr);
    ASSERT_EQ(sendPayload(10, 2), 0);

    int length = 0;
    const auto first = receive(&length);
    const auto second = receive(&length);
    ASSERT_NE(first, nullptr);
    ASSERT_NE(second, nullptr);
    EXPECT_EQ(static_cast<std::uint16_t>(first->fields().sequence + 1), second->fields().sequence);
    EXPECT_EQ(first->fields().timestamp + 160, second->fields().timestamp);
}

TEST_F(LoopedRtp, TwoSessionsStartTheirCountersApart) {
    ASSERT_EQ(sendPayload(1, 0), 0);
    int length = 0;
    const auto first = receive(&length);
    ASSERT_NE(first, nullptr);
    ASSERT_EQ(rtp.open(0x11223344), 0);
    ASSERT_EQ(sendPayload(1, 0), 0);
    const auto second = receive(&length);
    ASSERT_NE(second, nullptr);
    const RtpHeader a = first->fields();
    const RtpHeader b = second->fields();
    EXPECT_TRUE(a.sequence != b.sequence || a.timestamp != b.timestamp);
    EXPECT_LT(a.timestamp, 65536u);
    EXPECT_LT(b.timestamp, 65536u);
}

TEST_F(LoopedRtp, ReceiveDropsShortWrongVersionAndOverPaddedDatagrams) {
    // Each refused datagram is followed by a good one, which the next
    // receive must give: the refused one gave null and nothing else.
    const std::vector<std::uint8_t> refused[] = {
        rtpBytes(0x80, 0),       // 12 bytes: header only
        rtpBytes(0x40, 20),      // version 1
        rtpBytes(0xA0, 20, 21),  // padding count beyond the payload
    };
    for (const auto& bytes : refused) {
        sendRaw(bytes);
        int length = -1;
        EXPECT_EQ(receive(&length), nullptr);
        sendRaw(rtpBytes(0x80, 1));
        const auto good = receive(&length);
        ASSERT_NE(good, nullptr);
        EXPECT_EQ(length, 13);
        EXPECT_EQ(good->payloadLength, 1);
        EXPECT_EQ(good->fields().sequence, 0x0102);
    }
}

TEST_F(LoopedRtp, ReceiveTakesThePaddingOffThePayload) {
    sendRaw(rtpBytes(0xA0, 20, 4));
    int length = 0;
    auto packet = receive(&length);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(length, 28);
    EXPECT_EQ(packet->payloadLength, 16);

    sendRaw(rtpBytes(0xA0, 20, 20));
    packet = receive(&length);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(length, 12);
    EXPECT_EQ(packet->payloadLength, 0);
}

TEST_F(LoopedRtp, ReceiveDropsADatagramLargerThanAPacket) {
    sendRaw(std::vector<std::uint8_t>(1501, 0x80));
    int length = 0;
    EXPECT_EQ(receive(&length), nullptr);
}

TEST_F(LoopedRtp, CloseWakesABlockedReceive) {
    std::atomic<bool> returned{false};
    std::atomic<bool> gotPacket{true};
    platform::Thread receiver;
    ASSERT_TRUE(receiver.createSuspended([&] {
        int length = 0;
        RtpPacket* packet = rtp.receive(&length);
        gotPacket = packet != nullptr;
        RTP::releasePacket(&packet);
        returned = true;
    }));
    receiver.resume();
    rtp.close();
    receiver.join();
    EXPECT_TRUE(returned);
    EXPECT_FALSE(gotPacket);
}

TEST(RtpSsrc, CarriesTheThreadIdInTheHighBits) {
    RTP rtp;
    ASSERT_EQ(rtp.start(), 0);
    const std::uint32_t ssrc = rtp.makeSsrc();
    EXPECT_EQ(ssrc >> 16, platform::currentThreadId() & 0xFFFF);
}

TEST(RtpPacketTest, CreateGivesZeroedHeaderAndPayload) {
    int size = 20;
    RtpPacket* packet = RTP::createPacket(&size);
    ASSERT_NE(packet, nullptr);
    EXPECT_EQ(packet->payloadLength, 20);
    for (std::uint8_t b : packet->header) EXPECT_EQ(b, 0);
    for (int i = 0; i < 20; ++i) EXPECT_EQ(packet->payload[i], 0);
    EXPECT_EQ(RTP::releasePacket(&packet), 0);
    EXPECT_EQ(packet, nullptr);
    EXPECT_EQ(RTP::releasePacket(&packet), 0);
    int negative = -1;
    EXPECT_EQ(RTP::createPacket(&negative), nullptr);
}
