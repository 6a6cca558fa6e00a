// Wave's paths without a session: packets handed to the receive side
// directly, frames sent to a socket that isn't open.
#include "voice/wave.h"

#include <gtest/gtest.h>

#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "sim/reference_codec.h"
#include "support_files/trace_capture.h"
#include "voice/buffer.h"
#include "voice/g711.h"
#include "voice/rtp.h"
#include "wave_playout.h"

namespace {

using Frame = std::vector<std::int16_t>;
using Payload = std::vector<std::uint8_t>;

std::unique_ptr<RtpPacket> makePacket(std::uint16_t sequence, const Payload& payload, std::uint8_t payloadType = 0,
                                      std::uint32_t ssrc = 0x1234) {
    int size = static_cast<int>(payload.size());
    std::unique_ptr<RtpPacket> packet(RTP::createPacket(&size));
    if (!payload.empty()) std::memcpy(packet->payload.get(), payload.data(), payload.size());
    writeRtpHeader(packet->header, payloadType, sequence, 1000u + 160u * sequence, ssrc);
    return packet;
}

class WaveTest : public testing::Test {
protected:
    void SetUp() override {
        // The delay history outlives calls; each test starts from none.
        BufferHistory::processWide() = BufferHistory{};
        ASSERT_EQ(wave.start(), 0);
        wave.setCodec(PayloadType::kPcmu);
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
    // Stores the payloads as the next packets of the stream, 20 ms apart, a
    // playout tick after each.
    std::vector<Frame> play(const std::vector<Payload>& payloads, std::uint8_t payloadType = 0) {
        std::vector<Frame> out;
        for (const Payload& payload : payloads) {
            EXPECT_EQ(wave.storePacket(*makePacket(mSequence, payload, payloadType), 20u * mSequence), 0) << mSequence;
            ++mSequence;
            out.push_back(tick());
        }
        return out;
    }

    Wave wave;
    std::uint16_t mSequence = 0;
};

}  // namespace

TEST_F(WaveTest, EachCodecDecodesAsTheReferenceAndPlaysThroughTheDelayLine) {
    const auto frames = [](const Frame& pcm) {
        std::vector<Frame> out;
        for (std::size_t at = 0; at < pcm.size(); at += 160) out.emplace_back(pcm.begin() + at, pcm.begin() + at + 160);
        return out;
    };
    const std::vector<Payload> ulaw = sim::encodeStream(sim::kPayloadPcmu, sim::voicedSignal(160 * 5));
    const std::vector<Payload> g729 = sim::encodeStream(sim::kPayloadG729, sim::voicedSignal(160 * 8));
    const Payload odd = {1, 2, 3, 4, 5, 6, 7};
    Payload ramp(160);
    // What payload type 9 plays whatever arrives: eight times this.
    const std::int16_t filler[20] = {-3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856,
                                     -2688, -2560, -2304, -1440, -768,  -376,  -1184, -2112, -2368, -2560};
    Frame shift3, shift4, pattern;
    for (int i = 0; i < 160; ++i) {
        ramp[i] = static_cast<std::uint8_t>(i * 37);
        shift3.push_back(G711::alawToLinear(ramp[i], 3));
        shift4.push_back(G711::alawToLinear(ramp[i], 4));
        pattern.push_back(filler[i % 20]);
    }
    const struct {
        const char* name;
        int codec;
        int alawFlag;
        std::uint8_t packetType;
        std::vector<Payload> payloads;
        std::vector<Frame> decoded;
    } cases[] = {
        // The session's codec decides, not the packet's payload type.
        {"u-law sent as type 8", toInt(PayloadType::kPcmu), 1, 8, ulaw,
         frames(sim::decodeStream(sim::kPayloadPcmu, ulaw))},
        {"G.729", toInt(PayloadType::kG729), 1, 18, g729, frames(sim::decodeStream(sim::kPayloadG729, g729))},
        {"A-law, shift 3", toInt(PayloadType::kPcma), 1, 8, {ramp, ramp, ramp}, {shift3, shift3, shift3}},
        {"A-law, shift 4", toInt(PayloadType::kPcma), 0, 8, {ramp, ramp, ramp}, {shift4, shift4, shift4}},
        {"A-law, flag 2 acts as 1", toInt(PayloadType::kPcma), 2, 8, {ramp, ramp, ramp}, {shift3, shift3, shift3}},
        {"type 9: the fixed pattern", toInt(PayloadType::kG722), 1, 9, {odd, odd, odd}, {pattern, pattern, pattern}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        wave.setCodec(c.codec);
        wave.setAlaw(c.alawFlag);
        wave.resetBuffer();
        const std::vector<Frame> out = play(c.payloads, c.packetType);
        // After each reset, playout begins with the third frame again.
        ASSERT_TRUE(out[0].empty() && out[1].empty());
        const std::vector<Frame> expected = expectedPlayout(c.decoded);
        for (std::size_t k = 2; k < out.size(); ++k) EXPECT_EQ(out[k], expected[k - 2]) << "tick " << k;
    }
}

// Each packet carries one u-law byte throughout, so the end of each frame
// out (past the delay line's 75 samples) tells which packet it came from.
TEST_F(WaveTest, AStrayPacketChangesNothingAndANewSourceStartingLowerIsHeardAfterThreePackets) {
    std::vector<std::string> heard;
    const auto send = [&](std::uint16_t sequence, int id, std::uint32_t ssrc, bool tickAfter) {
        const Payload payload(160, static_cast<std::uint8_t>(0x10 + id));
        EXPECT_EQ(wave.storePacket(*makePacket(sequence, payload, 0, ssrc), 20u * sequence), 0) << sequence;
        if (!tickAfter) return;
        const Frame frame = tick();
        if (frame.empty()) return;
        std::string name = "?";
        for (int k = 0; k < 64; ++k)
            if (frame.back() == G711::ulawToLinear(static_cast<std::uint8_t>(0x10 + k))) name = std::to_string(k);
        heard.push_back(name);
    };
    for (int k = 0; k < 10; ++k) send(static_cast<std::uint16_t>(40000 + k), k, 0xA, true);
    // Its own source, a thousand numbers ahead.
    send(41009, 50, 0xA, false);
    for (int k = 10; k < 20; ++k) send(static_cast<std::uint16_t>(40000 + k), k, 0xA, true);
    // A far end that takes over lower: its first packet plays once its third
    // has come. Meanwhile the old stream's last frame waits a concealed tick
    // (a repeat of what came before), and goes with the reset.
    for (int k = 20; k < 25; ++k) send(static_cast<std::uint16_t>(k), k, 0xB, true);
    const std::vector<std::string> expected = {"0",  "1",  "2",  "3",  "4",  "5",  "6",  "7",  "8",  "9",  "10", "11",
                                               "12", "13", "14", "15", "16", "17", "18", "17", "20", "21", "22"};
    EXPECT_EQ(heard, expected);
}

TEST_F(WaveTest, StoreTakesAFullPayloadOfAKnownCodecWhileVoiceIsActive) {
    const struct {
        int codec;
        bool active;
        std::size_t bytes;
        int result;
    } cases[] = {
        {toInt(PayloadType::kPcmu), true, 159, 1}, {toInt(PayloadType::kPcmu), true, 160, 0},
        {toInt(PayloadType::kPcma), true, 159, 1}, {toInt(PayloadType::kG729), true, 19, 1},
        {toInt(PayloadType::kG729), true, 40, 0},  {toInt(PayloadType::kPcmu), false, 160, 1},
        {Wave::kCodecUndefined, true, 160, 1},     {99, true, 160, 1},
    };
    std::uint16_t sequence = 0;
    for (const auto& c : cases) {
        wave.setCodec(c.codec);
        wave.setVoiceActive(c.active);
        EXPECT_EQ(wave.storePacket(*makePacket(++sequence, Payload(c.bytes, 0xD5)), 0), c.result) << sequence;
    }
}

TEST_F(WaveTest, SendVoiceTakesExactlyOneFrameOfAKnownCodec) {
    const std::vector<std::uint8_t> pcm(640, 0);
    // The socket isn't open: the packet goes nowhere, unnoticed.
    for (int length : {320, 319, 640}) {
        EXPECT_EQ(wave.sendVoice(pcm.data(), &length), length == 320 ? 0 : 1) << length;
    }
    EXPECT_EQ(wave.sendVoice(pcm.data(), nullptr), 1);
    const int length = 320;
    EXPECT_EQ(wave.sendVoice(nullptr, &length), 1);
    // Without a codec, or with one unknown, frames are dropped.
    for (int codec : {Wave::kCodecUndefined, 99}) {
        wave.setCodec(codec);
        EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 1);
    }
}

TEST(WaveLifecycle, StartSessionAndShutdownMayBeRepeated) {
    TraceCapture trace;
    Wave wave(0);
    EXPECT_EQ(wave.startSession(), 1);
    ASSERT_EQ(wave.start(), 0);
    // No remote address yet: no session.
    EXPECT_EQ(wave.startSession(), 1);
    wave.setRemoteAddress(0x7F000001);
    ASSERT_EQ(wave.startSession(), 0);
    EXPECT_TRUE(wave.sessionRunning());
    // A second start replaces the first session.
    ASSERT_EQ(wave.startSession(), 0);
    EXPECT_EQ(wave.stopSession(), 0);
    EXPECT_FALSE(wave.sessionRunning());
    ASSERT_EQ(wave.startSession(), 0);
    // Shutdown with the thread blocked in its receive.
    EXPECT_EQ(wave.shutdown(), 0);
    EXPECT_FALSE(wave.sessionRunning());
    EXPECT_EQ(wave.shutdown(), 0);

    // The thread's priority is settled before it runs, so any warning about
    // it comes first; a stop is traced before the thread's own end.
    const std::vector<std::string> lines = trace.messages();
    const auto at = [&](const std::string& prefix) {
        for (std::size_t i = 0; i < lines.size(); ++i)
            if (lines[i].rfind(prefix, 0) == 0) return i;
        return lines.size();
    };
    const std::size_t warned = at("[WAVE :: WARNING] Session start incomplete");
    if (warned < lines.size()) {
        EXPECT_LT(warned, at("[WAVE :: Thread] Thread started"));
    }
    ASSERT_LT(at("[WAVE] Thread terminated - RTP to Wave"), lines.size());
    EXPECT_LT(at("[WAVE] Thread terminated - RTP to Wave"), at("[WAVE :: Thread] Thread terminated"));
}

TEST_F(WaveTest, AfterShutdownThePathsRefuse) {
    wave.shutdown();
    const std::vector<std::uint8_t> pcm(Wave::kReceiveRoomBytes, 0);
    int length = 320;
    EXPECT_EQ(wave.sendVoice(pcm.data(), &length), 1);
    EXPECT_EQ(wave.storePacket(*makePacket(1, Payload(160, 0xFF)), 0), 1);
    std::vector<std::uint8_t> out(Wave::kReceiveRoomBytes);
    length = -1;
    EXPECT_EQ(wave.receiveVoice(out.data(), nullptr, &length), 0);
    EXPECT_EQ(length, 0);
    EXPECT_EQ(wave.setRemotePort(8000), 1);
    EXPECT_EQ(wave.resetBuffer(), 1);
}
