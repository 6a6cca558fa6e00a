// Wave with its session on port 8000, against the simulated far end.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <memory>
#include <vector>

#include "core/globals.h"
#include "platform/clock.h"
#include "sim/reference_codec.h"
#include "sim/rtp_peer.h"
#include "softphone.h"
#include "voice/buffer.h"
#include "voice/plc.h"
#include "voice/wave.h"

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

std::vector<std::uint8_t> asBytes(const std::vector<std::int16_t>& pcm) {
    std::vector<std::uint8_t> bytes(pcm.size() * 2);
    std::memcpy(bytes.data(), pcm.data(), bytes.size());
    return bytes;
}

class WaveEngine : public testing::Test {
protected:
    void SetUp() override {
        BufferHistory::processWide() = BufferHistory{};
        wave = std::make_unique<Wave>(clock);
        ASSERT_EQ(wave->start(), 0);
        // As the CallProcessor brings the session up.
        wave->setLocalPort(8000);
        wave->setRemoteAddress(sim::kLoopbackAddress);
        wave->setRemotePort(8000);
        ASSERT_EQ(wave->startSession(), 0);
        wave->setVoiceActive(false);
        // The peer can't share port 8000 on loopback: the media description
        // names its own port.
        ASSERT_TRUE(peer.start());
        wave->setRemotePort(peer.port());
        gWave = wave.get();
    }

    void TearDown() override {
        gWave = nullptr;
        wave->shutdown();
        peer.stop();
    }

    bool waitReceived(std::uint32_t count) {
        const std::uint64_t deadline = platform::monotonicMs() + kWaitMs;
        while (wave->packetsReceived() < count) {
            if (platform::monotonicMs() > deadline) return false;
            platform::sleepMs(1);
        }
        return true;
    }

    // One playout tick through the export.
    Frame tick() {
        std::vector<std::int16_t> out(Wave::kReceiveRoomBytes / 2);
        int size = Wave::kReceiveRoomBytes;
        int status = -1;
        const int got = recv_voice(&size, out.data(), &status);
        EXPECT_EQ(status, 0);
        EXPECT_EQ(size, Wave::kReceiveRoomBytes);
        return Frame(out.begin(), out.begin() + got / 2);
    }

    // Sends the packets one by one, each once the last has been taken in,
    // with one playout tick per packet time, lost packets included.
    std::vector<Frame> playLockStep(const std::vector<sim::PlannedPacket>& packets) {
        std::vector<Frame> out;
        std::uint32_t sent = wave->packetsReceived();
        for (const sim::PlannedPacket& packet : packets) {
            clock.set(20u * static_cast<std::uint32_t>(packet.index) + 1000);
            if (!packet.lost) {
                EXPECT_TRUE(peer.send(packet, sim::kLoopbackAddress, 8000));
                EXPECT_TRUE(waitReceived(++sent)) << "packet " << packet.index;
            }
            out.push_back(tick());
        }
        return out;
    }

    SteppedClock clock;
    std::unique_ptr<Wave> wave;
    sim::RtpPeer peer;
};

// What leaves Wave for the frames in order: the two ticks before playout
// begins feed silence into the delay line; a lost frame is concealed.
std::vector<Frame> expectedPlayout(const std::vector<sim::PlannedPacket>& inOrder, int payloadType, int frames) {
    PLC plc;
    std::vector<Frame> out;
    for (int i = 0; i < 2; ++i) {
        Frame silence(160, 0);
        plc.addToHistory(silence.data());
    }
    for (int k = 0; k < frames; ++k) {
        const sim::PlannedPacket& packet = inOrder[static_cast<std::size_t>(k)];
        Frame frame(160, 0);
        if (packet.lost) {
            plc.conceal(frame.data());
        } else {
            frame = sim::decodeStream(payloadType, {packet.payload});
            plc.addToHistory(frame.data());
        }
        out.push_back(frame);
    }
    return out;
}

std::vector<sim::PlannedPacket> byIndex(std::vector<sim::PlannedPacket> packets) {
    std::sort(packets.begin(), packets.end(),
              [](const sim::PlannedPacket& a, const sim::PlannedPacket& b) { return a.index < b.index; });
    return packets;
}

class WaveSendEngine : public WaveEngine, public testing::WithParamInterface<int> {};

}  // namespace

TEST_P(WaveSendEngine, SendVoiceOf640BytesPutsTwoPacketsOnTheWire) {
    const int codec = GetParam();
    wave->setCodec(codec);
    const std::vector<std::int16_t> signal = sim::voicedSignal(320);
    const std::vector<std::uint8_t> pcm = asBytes(signal);
    ASSERT_EQ(send_voice(640, pcm.data()), 640);
    ASSERT_TRUE(peer.waitForPackets(2, kWaitMs));
    const std::vector<sim::RtpDatagram> packets = peer.received();
    ASSERT_EQ(packets.size(), 2u);

    const std::size_t payloadBytes = codec == Wave::kCodecG729 ? 20u : 160u;
    for (const sim::RtpDatagram& packet : packets) {
        EXPECT_EQ(packet.byte0, 0x80);
        EXPECT_FALSE(packet.marker);
        EXPECT_EQ(packet.payloadType, codec);
        EXPECT_EQ(packet.payload.size(), payloadBytes);
        EXPECT_EQ(std::memcmp(packet.ssrc, packets[0].ssrc, 4), 0);
    }
    EXPECT_EQ(static_cast<std::uint16_t>(packets[0].sequence + 1), packets[1].sequence);
    EXPECT_EQ(packets[0].timestamp + 160, packets[1].timestamp);

    const std::vector<std::vector<std::uint8_t>> payloads = {packets[0].payload, packets[1].payload};
    switch (codec) {
        case Wave::kCodecPcmu: {
            const std::vector<std::int16_t> decoded = sim::decodeStream(sim::kPayloadPcmu, payloads);
            EXPECT_GT(sim::snrDb(signal, decoded, 0), 30.0);
            break;
        }
        case Wave::kCodecPcma: {
            // The terminal's A-law leaves 6 dB below the standard's.
            const std::vector<std::int16_t> decoded = sim::decodeStream(sim::kPayloadPcma, payloads);
            std::vector<std::int16_t> half(signal.size());
            for (std::size_t i = 0; i < signal.size(); ++i) half[i] = static_cast<std::int16_t>(signal[i] / 2);
            EXPECT_GT(sim::snrDb(half, decoded, 0), 25.0);
            break;
        }
        case Wave::kCodecG722:
            for (const auto& payload : payloads) EXPECT_EQ(payload, std::vector<std::uint8_t>(160, 0xFA));
            break;
        case Wave::kCodecG729:
            // A fresh encoder on both ends: the same bytes.
            EXPECT_EQ(payloads, sim::encodeStream(sim::kPayloadG729, signal));
            break;
    }
}

INSTANTIATE_TEST_SUITE_P(Codecs, WaveSendEngine,
                         testing::Values(Wave::kCodecPcmu, Wave::kCodecPcma, Wave::kCodecG722, Wave::kCodecG729));

TEST_F(WaveEngine, G729StreamDecodesBackToTheSignal) {
    wave->setCodec(Wave::kCodecG729);
    const std::vector<std::int16_t> signal = sim::voicedSignal(8000);
    const std::vector<std::uint8_t> pcm = asBytes(signal);
    for (std::size_t offset = 0; offset < pcm.size(); offset += 640) {
        ASSERT_EQ(send_voice(640, pcm.data() + offset), 640);
    }
    ASSERT_TRUE(peer.waitForPackets(50, kWaitMs));
    const std::vector<sim::RtpDatagram> packets = peer.received();
    ASSERT_EQ(packets.size(), 50u);
    std::vector<std::vector<std::uint8_t>> payloads;
    for (std::size_t i = 0; i < packets.size(); ++i) {
        EXPECT_EQ(packets[i].sequence, static_cast<std::uint16_t>(packets[0].sequence + i));
        EXPECT_EQ(packets[i].timestamp, packets[0].timestamp + 160 * i);
        payloads.push_back(packets[i].payload);
    }
    const std::vector<std::int16_t> decoded = sim::decodeStream(sim::kPayloadG729, payloads);
    const std::vector<std::int16_t> settled(signal.begin() + 800, signal.end());
    const std::vector<std::int16_t> out(decoded.begin() + 800, decoded.end());
    EXPECT_GT(sim::snrDb(settled, out, 40), 4.5);
}

TEST_F(WaveEngine, SendVoiceSendsWholeFramesOnly) {
    wave->setCodec(Wave::kCodecPcmu);
    const std::vector<std::uint8_t> pcm(700, 0);
    EXPECT_EQ(send_voice(319, pcm.data()), 0);
    EXPECT_EQ(send_voice(700, pcm.data()), 700);
    EXPECT_EQ(send_voice(320, pcm.data()), 320);
    // Loopback keeps the order: had 319 bytes sent anything, a fourth
    // packet would stand among these.
    ASSERT_TRUE(peer.waitForPackets(3, kWaitMs));
    const std::vector<sim::RtpDatagram> packets = peer.received();
    ASSERT_EQ(packets.size(), 3u);
    EXPECT_EQ(static_cast<std::uint16_t>(packets[0].sequence + 2), packets[2].sequence);
}

TEST_F(WaveEngine, ANewRemotePortTakesEffectWithTheNextPacket) {
    wave->setCodec(Wave::kCodecPcmu);
    sim::RtpPeer other;
    ASSERT_TRUE(other.start());
    const std::vector<std::uint8_t> pcm(320, 0);
    ASSERT_EQ(send_voice(320, pcm.data()), 320);
    ASSERT_TRUE(peer.waitForPackets(1, kWaitMs));
    wave->setRemotePort(other.port());
    ASSERT_EQ(send_voice(320, pcm.data()), 320);
    ASSERT_TRUE(other.waitForPackets(1, kWaitMs));
    EXPECT_EQ(static_cast<std::uint16_t>(peer.received()[0].sequence + 1), other.received()[0].sequence);
}

TEST_F(WaveEngine, WithoutAWaveTheVoiceExportsDoNothing) {
    gWave = nullptr;
    const std::vector<std::uint8_t> pcm(640, 0);
    EXPECT_EQ(send_voice(640, pcm.data()), 640);
    EXPECT_EQ(send_voice(100, pcm.data()), 100);
    std::vector<std::uint8_t> out(Wave::kReceiveRoomBytes);
    int size = 3200;
    int status = 77;
    EXPECT_EQ(recv_voice(&size, out.data(), &status), 0);
    EXPECT_EQ(status, 77);
    EXPECT_EQ(open_voice(), 0);
    EXPECT_EQ(close_voice(), 0);
    set_alaw(0);
    EXPECT_EQ(wave->alawShift(), 3);
}

TEST_F(WaveEngine, SetAlawTakesAnyNonZeroFlagAsOne) {
    set_alaw(0);
    EXPECT_EQ(wave->alawShift(), 4);
    set_alaw(2);
    EXPECT_EQ(wave->alawShift(), 3);
    set_alaw(0);
    set_alaw(1);
    EXPECT_EQ(wave->alawShift(), 3);
}

TEST_F(WaveEngine, PcmuStreamWithFivePercentLossPlaysContinuouslyWithLossesConcealed) {
    wave->setCodec(Wave::kCodecPcmu);
    wave->resetBuffer();
    wave->setVoiceActive(true);
    sim::RtpStreamPlan plan;
    plan.payloadType = sim::kPayloadPcmu;
    plan.lossRate = 0.05;
    plan.lossSeed = 7;
    const std::vector<sim::PlannedPacket> packets = planRtpStream(sim::voicedSignal(160 * 150), plan);
    // The seed gives scattered single losses after the start: each costs
    // exactly one concealed frame.
    int losses = 0;
    for (std::size_t k = 0; k < packets.size(); ++k) {
        if (!packets[k].lost) continue;
        ++losses;
        ASSERT_GE(k, 3u);
        ASSERT_FALSE(k + 1 < packets.size() && packets[k + 1].lost);
    }
    ASSERT_GE(losses, 4);

    const std::vector<Frame> out = playLockStep(packets);
    // Nothing until playout begins with the third packet; from then on a
    // frame every tick.
    ASSERT_TRUE(out[0].empty());
    ASSERT_TRUE(out[1].empty());
    const std::vector<Frame> expected = expectedPlayout(packets, sim::kPayloadPcmu, static_cast<int>(out.size()) - 2);
    for (std::size_t k = 2; k < out.size(); ++k) {
        ASSERT_EQ(out[k].size(), 160u) << "tick " << k;
        EXPECT_EQ(out[k], expected[k - 2]) << "tick " << k;
    }
    // 75 samples late: the first frame out starts with silence.
    const Frame first = sim::decodeStream(sim::kPayloadPcmu, {packets[0].payload});
    EXPECT_EQ(Frame(out[2].begin(), out[2].begin() + 75), Frame(75, 0));
    EXPECT_EQ(Frame(out[2].begin() + 75, out[2].end()), Frame(first.begin(), first.begin() + 85));
}

TEST_F(WaveEngine, ReorderedPacketsPlayInSequence) {
    wave->setCodec(Wave::kCodecPcmu);
    wave->resetBuffer();
    wave->setVoiceActive(true);
    sim::RtpStreamPlan plan;
    plan.swappedPackets = {10, 20};
    const std::vector<sim::PlannedPacket> packets = planRtpStream(sim::voicedSignal(160 * 30), plan);
    ASSERT_EQ(packets[10].index, 11);
    const std::vector<Frame> out = playLockStep(packets);
    const std::vector<Frame> expected =
        expectedPlayout(byIndex(packets), sim::kPayloadPcmu, static_cast<int>(out.size()) - 2);
    for (std::size_t k = 2; k < out.size(); ++k) EXPECT_EQ(out[k], expected[k - 2]) << "tick " << k;
}

TEST_F(WaveEngine, WithVoiceInactiveArrivingPacketsAreDecodedAndDropped) {
    wave->setCodec(Wave::kCodecPcmu);
    const std::vector<sim::PlannedPacket> packets = sim::planRtpStream(sim::voicedSignal(160 * 6), {});
    for (const Frame& frame : playLockStep(packets)) EXPECT_TRUE(frame.empty());
    EXPECT_EQ(wave->packetsReceived(), 6u);
}

TEST_F(WaveEngine, BadDatagramsAreDroppedAndTheThreadGoesOn) {
    wave->setCodec(Wave::kCodecPcmu);
    std::vector<std::uint8_t> headerOnly(12, 0);
    headerOnly[0] = 0x80;
    std::vector<std::uint8_t> versionOne(172, 0);
    versionOne[0] = 0x40;
    ASSERT_TRUE(peer.sendRaw(headerOnly, sim::kLoopbackAddress, 8000));
    ASSERT_TRUE(peer.sendRaw(versionOne, sim::kLoopbackAddress, 8000));
    const std::vector<sim::PlannedPacket> packets = sim::planRtpStream(sim::voicedSignal(160), {});
    ASSERT_TRUE(peer.send(packets[0], sim::kLoopbackAddress, 8000));
    ASSERT_TRUE(waitReceived(1));
    EXPECT_EQ(wave->packetsReceived(), 1u);
    EXPECT_TRUE(wave->sessionRunning());
}
