// Wave's paths without a session: packets handed to the receive side
// directly, frames sent to a socket that isn't open.
#include "voice/wave.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <vector>

#include "sim/reference_codec.h"
#include "voice/buffer.h"
#include "voice/g711.h"
#include "voice/plc.h"
#include "voice/rtp.h"

namespace {

using Frame = std::vector<std::int16_t>;

std::unique_ptr<RtpPacket> makePacket(std::uint16_t sequence, const std::vector<std::uint8_t>& payload,
                                      std::uint8_t payloadType = 0) {
    int size = static_cast<int>(payload.size());
    std::unique_ptr<RtpPacket> packet(RTP::createPacket(&size));
    if (!payload.empty()) std::memcpy(packet->payload.get(), payload.data(), payload.size());
    writeRtpHeader(packet->header, payloadType, sequence, 1000u + 160u * sequence, 0x1234);
    return packet;
}

// What leaves Wave for a run of frames: each through the delay line, a
// lost one concealed.
class ExpectedPlayout {
public:
    void real(Frame frame) {
        mPlc.addToHistory(frame.data());
        mOut.push_back(std::move(frame));
    }
    void concealed() {
        Frame frame(160, 0);
        mPlc.conceal(frame.data());
        mOut.push_back(std::move(frame));
    }
    void silenceBeforeStart() {
        Frame frame(160, 0);
        mPlc.addToHistory(frame.data());
    }
    const std::vector<Frame>& frames() const { return mOut; }

private:
    PLC mPlc;
    std::vector<Frame> mOut;
};

class WaveTest : public testing::Test {
protected:
    void SetUp() override {
        // The delay history outlives calls; each test starts from none.
        BufferHistory::processWide() = BufferHistory{};
        ASSERT_EQ(wave.start(), 0);
        wave.setCodec(Wave::kCodecPcmu);
        wave.setVoiceActive(true);
    }

    // One playout tick: the frame given, or an empty one for nothing.
    Frame tick() {
        std::vector<std::int16_t> out(Wave::kReceiveRoomBytes / 2);
        int length = -1;
        EXPECT_EQ(wave.receiveVoice(out.data(), nullptr, &length), 0);
        EXPECT_TRUE(length == 0 || length == 320) << length;
        return Frame(out.begin(), out.begin() + length / 2);
    }

    Wave wave;
};

std::vector<std::vector<std::uint8_t>> ulawPackets(int count) {
    return sim::encodeStream(sim::kPayloadPcmu, sim::voicedSignal(160 * count));
}

Frame decodedFrame(int payloadType, const std::vector<std::uint8_t>& payload) {
    return sim::decodeStream(payloadType, {payload});
}

}  // namespace

TEST_F(WaveTest, ReceivePathConcealsAGapWithOneFrameAndPlaysAllLate) {
    const auto payloads = ulawPackets(30);
    constexpr int kLost = 15;
    std::vector<Frame> out;
    for (int k = 0; k < 30; ++k) {
        if (k != kLost) {
            ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(100 + k), payloads[k]), 20u * k), 0);
        }
        out.push_back(tick());
    }
    // Playout begins with the third frame; from then on every tick gives a
    // frame, the lost one concealed in its place.
    ASSERT_TRUE(out[0].empty());
    ASSERT_TRUE(out[1].empty());
    ExpectedPlayout expected;
    expected.silenceBeforeStart();
    expected.silenceBeforeStart();
    for (int k = 0; k < 28; ++k) {
        if (k == kLost) {
            expected.concealed();
        } else {
            expected.real(decodedFrame(0, payloads[k]));
        }
    }
    for (int k = 2; k < 30; ++k) EXPECT_EQ(out[k], expected.frames()[k - 2]) << "tick " << k;

    // Every frame leaves 75 samples late.
    const Frame first = decodedFrame(0, payloads[0]);
    for (int i = 0; i < 75; ++i) EXPECT_EQ(out[2][i], 0);
    for (int i = 75; i < 160; ++i) ASSERT_EQ(out[2][i], first[i - 75]) << i;
}

TEST_F(WaveTest, ReceivedG729IsDecodedAsTheCoderDoes) {
    wave.setCodec(Wave::kCodecG729);
    const auto payloads = sim::encodeStream(sim::kPayloadG729, sim::voicedSignal(160 * 10));
    const std::vector<std::int16_t> decoded = sim::decodeStream(sim::kPayloadG729, payloads);
    std::vector<Frame> out;
    for (int k = 0; k < 10; ++k) {
        ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payloads[k], 18), 20u * k), 0);
        out.push_back(tick());
    }
    ExpectedPlayout expected;
    expected.silenceBeforeStart();
    expected.silenceBeforeStart();
    for (int k = 0; k < 8; ++k) expected.real(Frame(decoded.begin() + 160 * k, decoded.begin() + 160 * (k + 1)));
    for (int k = 2; k < 10; ++k) EXPECT_EQ(out[k], expected.frames()[k - 2]) << "tick " << k;
}

TEST_F(WaveTest, PayloadsShorterThanTheirCodecsPacketAreDropped) {
    EXPECT_EQ(wave.storePacket(*makePacket(1, std::vector<std::uint8_t>(159, 0xFF)), 0), 1);
    EXPECT_EQ(wave.storePacket(*makePacket(2, std::vector<std::uint8_t>(160, 0xFF)), 0), 0);
    wave.setCodec(Wave::kCodecPcma);
    EXPECT_EQ(wave.storePacket(*makePacket(3, std::vector<std::uint8_t>(159, 0xD5)), 0), 1);
    wave.setCodec(Wave::kCodecG729);
    EXPECT_EQ(wave.storePacket(*makePacket(4, std::vector<std::uint8_t>(19, 0)), 0), 1);
    // More than 20 ms: the first 20 ms count.
    EXPECT_EQ(wave.storePacket(*makePacket(5, std::vector<std::uint8_t>(40, 0)), 0), 0);
    EXPECT_EQ(wave.storePacket(*makePacket(6, {}), 0), 1);
}

TEST_F(WaveTest, WithVoiceInactiveNothingEntersTheBuffer) {
    wave.setVoiceActive(false);
    const auto payloads = ulawPackets(6);
    for (int k = 0; k < 6; ++k) {
        EXPECT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payloads[k]), 20u * k), 1);
        EXPECT_TRUE(tick().empty());
    }
    EXPECT_FALSE(wave.voiceActive());
}

TEST_F(WaveTest, WithNoCodecSetFramesAreDroppedBothWays) {
    Wave fresh;
    ASSERT_EQ(fresh.start(), 0);
    EXPECT_EQ(fresh.codec(), Wave::kCodecUndefined);
    fresh.setVoiceActive(true);
    EXPECT_EQ(fresh.storePacket(*makePacket(1, std::vector<std::uint8_t>(160, 0xFF)), 0), 1);
    const std::vector<std::uint8_t> pcm(320, 0);
    const int length = 320;
    EXPECT_EQ(fresh.sendVoice(pcm.data(), &length), 1);
    fresh.setCodec(99);
    EXPECT_EQ(fresh.sendVoice(pcm.data(), &length), 1);
}

TEST_F(WaveTest, PayloadTypeNineAlwaysPlaysTheFixedPattern) {
    wave.setCodec(Wave::kCodecG722);
    std::vector<std::uint8_t> noise(7);
    for (std::size_t i = 0; i < noise.size(); ++i) noise[i] = static_cast<std::uint8_t>(i * 37);
    std::vector<Frame> out;
    for (int k = 0; k < 4; ++k) {
        ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), noise, 9), 20u * k), 0);
        out.push_back(tick());
    }
    Frame pattern;
    for (int i = 0; i < 8; ++i) pattern.insert(pattern.end(), Wave::kG722Pattern, Wave::kG722Pattern + 20);
    ExpectedPlayout expected;
    expected.silenceBeforeStart();
    expected.silenceBeforeStart();
    expected.real(pattern);
    expected.real(pattern);
    EXPECT_EQ(out[2], expected.frames()[0]);
    EXPECT_EQ(out[3], expected.frames()[1]);
}

TEST_F(WaveTest, ThePacketsPayloadTypeDoesNotChooseTheDecoder) {
    const auto payloads = ulawPackets(3);
    for (int k = 0; k < 3; ++k) {
        ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payloads[k], 8), 20u * k), 0);
    }
    ExpectedPlayout expected;
    expected.real(decodedFrame(0, payloads[0]));
    EXPECT_EQ(tick(), expected.frames()[0]);
}

TEST_F(WaveTest, SetAlawChoosesTheExpansionShift) {
    EXPECT_EQ(wave.alawShift(), 3);
    wave.setAlaw(0);
    EXPECT_EQ(wave.alawShift(), 4);
    wave.setAlaw(2);
    EXPECT_EQ(wave.alawShift(), 3);
    wave.setAlaw(0);
    wave.setAlaw(-1);
    EXPECT_EQ(wave.alawShift(), 3);
}

TEST_F(WaveTest, ALawIsExpandedWithTheChosenShift) {
    wave.setCodec(Wave::kCodecPcma);
    std::vector<std::uint8_t> payload(160);
    for (int i = 0; i < 160; ++i) payload[i] = static_cast<std::uint8_t>(i);
    for (int shift : {3, 4}) {
        wave.setAlaw(shift == 4 ? 0 : 1);
        wave.resetBuffer();
        for (int k = 0; k < 3; ++k) {
            ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payload, 8), 20u * k), 0);
        }
        // Three equal frames: the second tick gives the last 75 samples of
        // the first behind the first 85 of the second.
        tick();
        const Frame played = tick();
        ASSERT_EQ(played.size(), 160u);
        Frame expected(160);
        for (int i = 0; i < 160; ++i) expected[i] = G711::alawToLinear(payload[i], shift);
        std::rotate(expected.begin(), expected.begin() + 85, expected.end());
        EXPECT_EQ(played, expected) << "shift " << shift;
    }
}

TEST_F(WaveTest, AfterResetBufferPlayoutWaitsForThreeFrames) {
    const auto payloads = ulawPackets(10);
    for (int k = 0; k < 5; ++k) {
        wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payloads[k]), 20u * k);
        tick();
    }
    ASSERT_EQ(wave.resetBuffer(), 0);
    EXPECT_TRUE(tick().empty());
    for (int k = 5; k < 7; ++k) {
        ASSERT_EQ(wave.storePacket(*makePacket(static_cast<std::uint16_t>(k), payloads[k]), 20u * k), 0);
        EXPECT_TRUE(tick().empty()) << k;
    }
    ASSERT_EQ(wave.storePacket(*makePacket(7, payloads[7]), 140), 0);
    EXPECT_EQ(tick().size(), 160u);
}

TEST_F(WaveTest, SendVoiceTakesOnlyWholeFrames) {
    const std::vector<std::uint8_t> pcm(640, 0);
    int length = 320;
    // The socket isn't open: the packet goes nowhere, unnoticed.
    EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 0);
    length = 319;
    EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 1);
    length = 640;
    EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 1);
    EXPECT_EQ(wave.sendVoice(pcm.data(), nullptr), 1);
    length = 320;
    EXPECT_EQ(wave.sendVoice(nullptr, &length), 1);
}

TEST(WaveLifecycle, StartAndShutdownMayBeRepeated) {
    Wave wave;
    EXPECT_EQ(wave.startSession(), 1);
    ASSERT_EQ(wave.start(), 0);
    ASSERT_EQ(wave.start(), 0);
    // No remote address yet: no session.
    wave.setLocalPort(0);
    EXPECT_EQ(wave.startSession(), 1);
    EXPECT_FALSE(wave.sessionRunning());
    EXPECT_EQ(wave.shutdown(), 0);
    EXPECT_EQ(wave.shutdown(), 0);
}

TEST(WaveLifecycle, AfterShutdownThePathsRefuse) {
    Wave wave;
    ASSERT_EQ(wave.start(), 0);
    wave.setCodec(Wave::kCodecPcmu);
    wave.setVoiceActive(true);
    wave.shutdown();
    const std::vector<std::uint8_t> pcm(Wave::kReceiveRoomBytes, 0);
    int length = 320;
    EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 1);
    EXPECT_EQ(wave.storePacket(*makePacket(1, std::vector<std::uint8_t>(160, 0xFF)), 0), 1);
    std::vector<std::uint8_t> out(Wave::kReceiveRoomBytes);
    length = -1;
    EXPECT_EQ(wave.receiveVoice(out.data(), nullptr, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(wave.setRemotePort(8000), 1);
    EXPECT_EQ(wave.resetBuffer(), 1);
}

TEST(WaveLifecycle, SessionStartsAndStopsOnAPortOfTheSystemsChoosing) {
    Wave wave;
    ASSERT_EQ(wave.start(), 0);
    wave.setLocalPort(0);
    wave.setRemoteAddress(0x7F000001);
    ASSERT_EQ(wave.startSession(), 0);
    EXPECT_TRUE(wave.sessionRunning());
    // A second start replaces the first session.
    ASSERT_EQ(wave.startSession(), 0);
    EXPECT_TRUE(wave.sessionRunning());
    EXPECT_EQ(wave.stopSession(), 0);
    EXPECT_FALSE(wave.sessionRunning());
    ASSERT_EQ(wave.startSession(), 0);
    // Shutdown with the thread blocked in its receive.
    EXPECT_EQ(wave.shutdown(), 0);
    EXPECT_FALSE(wave.sessionRunning());
}
