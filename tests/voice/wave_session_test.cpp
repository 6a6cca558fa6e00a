// Wave with its session on a port of the system's choosing, against the
// simulated far end: the socket, the receive thread and the exports. What
// the paths compute is the business of wave_test.cpp.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "api/globals.h"
#include "platform/clock.h"
#include "sim/reference_codec.h"
#include "sim/rtp_peer.h"
#include "softphone.h"
#include "voice/buffer.h"
#include "voice/wave.h"
#include "wave_playout.h"

namespace {

using Frame = std::vector<std::int16_t>;

constexpr int kWaitMs = 5000;

// Arrival times as the test sets them, so the jitter estimate sees a
// steady stream whatever the machine's load.
class SteppedClock : public platform::Clock {
public:
    std::uint64_t monotonicMs() const override { return mNow.load(); }
    platform::TimeOfDay utcTimeOfDay() const override { return {}; }
    void set(std::uint64_t ms) { mNow = ms; }

private:
    std::atomic<std::uint64_t> mNow{0};
};

class WaveEngine : public testing::Test {
protected:
    void SetUp() override {
        BufferHistory::processWide() = BufferHistory{};
        wave = std::make_unique<Wave>(0, clock);
        ASSERT_EQ(wave->start(), 0);
        // As the CallProcessor brings the session up.
        wave->setRemoteAddress(sim::kLoopbackAddress);
        ASSERT_EQ(wave->startSession(), 0);
        ASSERT_NE(wave->boundPort(), 0);
        // The media description names the peer's port.
        ASSERT_TRUE(peer.start());
        wave->setRemotePort(peer.port());
        gWave = wave.get();
    }

    void TearDown() override {
        gWave = nullptr;
        wave->shutdown();
        peer.stop();
    }

    // Sends the packets one by one, each once the last has been taken in,
    // with one playout tick through the export per packet time, lost packets
    // included.
    std::vector<Frame> playLockStep(const std::vector<sim::PlannedPacket>& packets) {
        std::vector<Frame> out;
        std::uint32_t received = wave->packetsReceived();
        for (const sim::PlannedPacket& packet : packets) {
            clock.set(20u * static_cast<std::uint32_t>(packet.index) + 1000);
            if (!packet.lost) {
                EXPECT_TRUE(peer.send(packet, sim::kLoopbackAddress, wave->boundPort()));
                EXPECT_TRUE(wave->waitForPacketsReceived(++received, kWaitMs)) << "packet " << packet.index;
            }
            Frame frame(Wave::kReceiveRoomBytes / 2);
            int size = Wave::kReceiveRoomBytes;
            int status = -1;
            const int got = recv_voice(&size, frame.data(), &status);
            EXPECT_EQ(status, 0);
            frame.resize(static_cast<std::size_t>(got / 2));
            out.push_back(frame);
        }
        return out;
    }

    SteppedClock clock;
    std::unique_ptr<Wave> wave;
    sim::RtpPeer peer;
};

class WaveSendEngine : public WaveEngine, public testing::WithParamInterface<PayloadType> {};

}  // namespace

TEST_P(WaveSendEngine, SendVoiceSendsWholeFramesAsConsecutivePacketsToTheRemotePort) {
    const int codec = toInt(GetParam());
    wave->setCodec(codec);
    std::vector<std::int16_t> signal = sim::voicedSignal(350);
    EXPECT_EQ(send_voice(319, signal.data()), 0);
    ASSERT_EQ(send_voice(640, signal.data()), 640);
    EXPECT_EQ(send_voice(700, signal.data()), 700);
    // Loopback keeps the order: had 319 bytes sent anything, a fifth packet
    // would stand among these.
    ASSERT_TRUE(peer.waitForPackets(4, kWaitMs));
    const std::vector<sim::RtpDatagram> packets = peer.received();
    ASSERT_EQ(packets.size(), 4u);

    const std::size_t payloadBytes = codec == toInt(PayloadType::kG729) ? 20u : 160u;
    for (const sim::RtpDatagram& packet : packets) {
        EXPECT_EQ(packet.byte0, 0x80);
        EXPECT_FALSE(packet.marker);
        EXPECT_EQ(packet.payloadType, codec);
        EXPECT_EQ(packet.payload.size(), payloadBytes);
        EXPECT_EQ(std::memcmp(packet.ssrc, packets[0].ssrc, 4), 0);
        const std::size_t k = static_cast<std::size_t>(&packet - packets.data());
        EXPECT_EQ(packet.sequence, static_cast<std::uint16_t>(packets[0].sequence + k));
        EXPECT_EQ(packet.timestamp, packets[0].timestamp + 160 * k);
    }
    // A new remote port takes effect with the next packet.
    sim::RtpPeer other;
    ASSERT_TRUE(other.start());
    wave->setRemotePort(other.port());
    ASSERT_EQ(send_voice(320, signal.data()), 320);
    ASSERT_TRUE(other.waitForPackets(1, kWaitMs));
    EXPECT_EQ(other.received()[0].sequence, static_cast<std::uint16_t>(packets[0].sequence + 4));

    // The first two carry the first 640 bytes.
    signal.resize(320);
    const std::vector<std::vector<std::uint8_t>> payloads = {packets[0].payload, packets[1].payload};
    if (codec == toInt(PayloadType::kG722)) {
        EXPECT_EQ(payloads[0], std::vector<std::uint8_t>(160, 0xFA));
    } else if (codec == toInt(PayloadType::kG729)) {
        // A fresh encoder on both ends: the same bytes.
        EXPECT_EQ(payloads, sim::encodeStream(sim::kPayloadG729, signal));
    } else {
        // The terminal's A-law leaves 6 dB below the standard's.
        std::vector<std::int16_t> reference = signal;
        for (std::int16_t& sample : reference) sample /= codec == toInt(PayloadType::kPcma) ? 2 : 1;
        EXPECT_GT(sim::snrDb(reference, sim::decodeStream(codec, payloads), 0),
                  codec == toInt(PayloadType::kPcmu) ? 30.0 : 25.0);
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, WaveSendEngine,
                         testing::Values(PayloadType::kPcmu, PayloadType::kPcma, PayloadType::kG722,
                                         PayloadType::kG729));

TEST_F(WaveEngine, PcmuStreamPlaysContinuouslyWithALossConcealed) {
    // The exports reach the Wave only while there is one.
    set_alaw(0);
    EXPECT_EQ(wave->alawShift(), 4);
    gWave = nullptr;
    set_alaw(1);
    int status = 77;
    EXPECT_EQ(recv_voice(nullptr, nullptr, &status), 0);
    EXPECT_EQ(status, 77);
    gWave = wave.get();
    EXPECT_EQ(wave->alawShift(), 4);
    wave->setCodec(PayloadType::kPcmu);
    wave->resetBuffer();
    wave->setVoiceActive(true);
    sim::RtpStreamPlan plan;
    plan.lostPackets = {6, 11};
    const std::vector<sim::PlannedPacket> packets = sim::planRtpStream(sim::voicedSignal(160 * 16), plan);
    // Bad datagrams ahead of the stream are dropped, and the thread goes on.
    const std::uint8_t headerOnly[12] = {0x80};
    const std::uint8_t versionOne[172] = {0x40};
    ASSERT_TRUE(peer.sendRaw(headerOnly, sim::kLoopbackAddress, wave->boundPort()));
    ASSERT_TRUE(peer.sendRaw(versionOne, sim::kLoopbackAddress, wave->boundPort()));

    const std::vector<Frame> out = playLockStep(packets);
    EXPECT_EQ(wave->packetsReceived(), packets.size() - plan.lostPackets.size());
    // Nothing until playout begins with the third packet; from then on a
    // frame every tick.
    ASSERT_TRUE(out[0].empty());
    ASSERT_TRUE(out[1].empty());
    std::vector<Frame> decoded;
    for (const sim::PlannedPacket& packet : packets) {
        decoded.push_back(packet.lost ? Frame{} : sim::decodeStream(sim::kPayloadPcmu, {packet.payload}));
    }
    const std::vector<Frame> expected = expectedPlayout(decoded);
    for (std::size_t k = 2; k < out.size(); ++k) {
        ASSERT_EQ(out[k].size(), 160u) << "tick " << k;
        EXPECT_EQ(out[k], expected[k - 2]) << "tick " << k;
    }
    // 75 samples late: the first frame out starts with silence.
    EXPECT_EQ(Frame(out[2].begin(), out[2].begin() + 75), Frame(75, 0));
    EXPECT_EQ(Frame(out[2].begin() + 75, out[2].end()), Frame(decoded[0].begin(), decoded[0].begin() + 85));
}
