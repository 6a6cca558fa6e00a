// Voice down through the loaded library while the stream misbehaves: a stray
// packet far ahead in the middle of a call, and a far end that changes
// source without a new media description and starts lower. The client's
// calls of recv_voice, every 20 ms, are the playout clock.
#include <algorithm>
#include <chrono>
#include <cmath>
#include <map>
#include <thread>
#include <vector>

#include "e2e_fixture.h"
#include "platform/clock.h"
#include "sim/call_agent.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/reference_codec.h"
#include "sim/rtp_peer.h"

namespace {

using sim::CallbackRecord;

constexpr int kWaitMs = 3000;
constexpr std::uint16_t kTerminalRtpPort = 8000;
// Every frame leaves the engine this many samples late (its concealment's
// delay line).
constexpr int kDelayLine = 75;

double nowMs() {
    // The tick is the platform's own: nanoseconds here, the performance
    // counter's unit on Windows.
    return static_cast<double>(platform::monotonicTicks()) * 1000.0 / static_cast<double>(platform::ticksPerSecond());
}

// What one call of recv_voice gave, and when.
struct Tick {
    double atMs = 0;
    std::vector<std::int16_t> samples;
};

class VoiceE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        ASSERT_TRUE(ptap_.start());
        ASSERT_TRUE(mgcp_.start());
        ASSERT_TRUE(farEnd_.start());
        ptap_.setParameterItems(sim::PtapServer::defaultParameterItems());
        PtapParameters out{};
        ASSERT_EQ(api().initialize(&params_, &out), 0);
        sim::MediaOffer offer;
        offer.payloadType = sim::kPayloadPcmu;
        offer.rtpPort = farEnd_.port();
        ASSERT_TRUE(agent_.createConnection(offer));
        ASSERT_TRUE(recorder().waitFor(
            [](const std::vector<CallbackRecord>& records) {
                return std::any_of(records.begin(), records.end(), [](const CallbackRecord& r) {
                    return r.kind == CallbackRecord::ClientEvent && r.code == 0x23;
                });
            },
            kWaitMs));
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        farEnd_.stop();
        mgcp_.stop();
        ptap_.stop();
    }

    static sim::CallbackRecorder& recorder() { return sim::CallbackRecorder::instance(); }

    // Plays `packets` from now on and calls recv_voice every 20 ms for
    // `ticks` ticks. Gives the time the playing began and every tick.
    std::pair<double, std::vector<Tick>> playAndListen(std::vector<sim::PlannedPacket> packets, int ticks) {
        const double begin = nowMs();
        EXPECT_TRUE(farEnd_.play(std::move(packets), sim::kLoopbackAddress, kTerminalRtpPort));
        std::vector<Tick> heard;
        std::vector<std::int16_t> room(3200 / 2);
        const auto start = std::chrono::steady_clock::now();
        for (int k = 0; k < ticks; ++k) {
            std::this_thread::sleep_until(start + std::chrono::milliseconds(20 * k));
            int size = 3200;
            int status = 0;
            const int got = api().recv_voice(&size, room.data(), &status);
            EXPECT_EQ(got % 320, 0) << "whole frames only";
            heard.push_back({nowMs(), std::vector<std::int16_t>(room.begin(), room.begin() + std::max(got, 0) / 2)});
        }
        EXPECT_TRUE(farEnd_.waitPlayed(kWaitMs));
        return {begin, heard};
    }

    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
    sim::CallAgent agent_{mgcp_};
    sim::RtpPeer farEnd_;
};

// The decoded frames of a stream, to know each frame out by: past the
// delay line, a frame out holds the first 85 samples of the frame it
// carries, exactly, unless concealment touched it.
std::map<std::vector<std::int16_t>, int> framesByHead(const std::vector<sim::PlannedPacket>& packets) {
    std::map<std::vector<std::int16_t>, int> frames;
    for (const sim::PlannedPacket& packet : packets) {
        const std::vector<std::int16_t> pcm = sim::decodeStream(sim::kPayloadPcmu, {packet.payload});
        frames[std::vector<std::int16_t>(pcm.begin(), pcm.begin() + (sim::kSamplesPerPacket - kDelayLine))] =
            packet.index;
    }
    return frames;
}

// How many frames of the stream the ticks from `fromMs` to `toMs` gave.
int framesOfStream(const std::vector<Tick>& ticks, const std::map<std::vector<std::int16_t>, int>& frames,
                   double fromMs, double toMs) {
    int count = 0;
    for (const Tick& tick : ticks) {
        if (tick.atMs < fromMs || tick.atMs >= toMs) continue;
        for (std::size_t at = 0; at + sim::kSamplesPerPacket <= tick.samples.size(); at += sim::kSamplesPerPacket) {
            const std::vector<std::int16_t> head(tick.samples.begin() + static_cast<long>(at) + kDelayLine,
                                                 tick.samples.begin() + static_cast<long>(at) + sim::kSamplesPerPacket);
            count += frames.count(head) != 0 ? 1 : 0;
        }
    }
    return count;
}

}  // namespace

TEST_F(VoiceE2E, AStrayPacketFarAheadMidCallLeavesTheLiveStreamPlaying) {
    sim::RtpStreamPlan plan;
    plan.firstSequence = 20000;
    plan.firstTimestamp = 3200000;
    std::vector<sim::PlannedPacket> packets = sim::planRtpStream(sim::voicedSignal(150 * 160), plan);
    // After a second and a half: the call's own source, 1000 numbers ahead.
    constexpr int kStrayAtMs = 1510;
    sim::PlannedPacket stray = packets[75];
    const std::uint16_t sequence = static_cast<std::uint16_t>(stray.sequence + 1000);
    const std::uint32_t timestamp = stray.timestamp + 1000 * 160;
    stray.datagram[2] = static_cast<std::uint8_t>(sequence >> 8);
    stray.datagram[3] = static_cast<std::uint8_t>(sequence);
    for (int i = 0; i < 4; ++i) stray.datagram[4 + i] = static_cast<std::uint8_t>(timestamp >> (24 - 8 * i));
    stray.sendAtMs = kStrayAtMs;
    const auto frames = framesByHead(packets);
    packets.insert(packets.begin() + 76, stray);

    const auto [begin, ticks] = playAndListen(packets, 160);
    const double strayMs = begin + kStrayAtMs;
    const int after = framesOfStream(ticks, frames, strayMs, strayMs + 1000);
    RecordProperty("frames_in_the_second_after", after);
    EXPECT_GE(framesOfStream(ticks, frames, begin, strayMs), 65) << "before the stray";
    EXPECT_GE(after, 48) << "in the second after it";
}

TEST_F(VoiceE2E, ANewFarEndStartingLowerWithoutAnMdcxIsHeardAtOnce) {
    // The old far end talks for a second and a half; then another source
    // takes over, with lower sequence numbers and timestamps.
    sim::RtpStreamPlan oldPlan;
    oldPlan.firstSequence = 30000;
    oldPlan.firstTimestamp = 2000000;
    oldPlan.ssrc = 0x0A0A0A0A;
    std::vector<sim::PlannedPacket> packets = sim::planRtpStream(sim::voicedSignal(75 * 160, 120.0), oldPlan);
    sim::RtpStreamPlan newPlan;
    newPlan.firstSequence = 1000;
    newPlan.firstTimestamp = 8000;
    newPlan.ssrc = 0x0B0B0B0B;
    const std::vector<std::int16_t> spoken = sim::voicedSignal(100 * 160, 190.0);
    constexpr int kTakeOverMs = 75 * 20;
    for (sim::PlannedPacket& packet : sim::planRtpStream(spoken, newPlan)) {
        packet.sendAtMs += kTakeOverMs;
        packets.push_back(std::move(packet));
    }

    const auto [begin, ticks] = playAndListen(packets, 190);
    const double takeOverMs = begin + kTakeOverMs;
    std::vector<std::int16_t> after;
    std::vector<double> sampleTimes;
    for (const Tick& tick : ticks) {
        if (tick.atMs < takeOverMs) continue;
        after.insert(after.end(), tick.samples.begin(), tick.samples.end());
        sampleTimes.insert(sampleTimes.end(), tick.samples.size(), tick.atMs);
    }
    ASSERT_GE(after.size(), spoken.size() / 2);

    // Where the new far end's first sample stands in what was heard, by the
    // best correlation of its first half second with what it sent: the
    // moment it takes over, before the stream's own timing has a say.
    double best = -1.0;
    std::size_t shift = 0;
    const std::size_t n = 25 * sim::kSamplesPerPacket;
    for (std::size_t s = 0; s + n <= after.size() && s <= 1600; ++s) {
        double xy = 0.0, xx = 0.0, yy = 0.0;
        for (std::size_t i = 0; i < n; ++i) {
            xy += static_cast<double>(spoken[i]) * after[s + i];
            xx += static_cast<double>(spoken[i]) * spoken[i];
            yy += static_cast<double>(after[s + i]) * after[s + i];
        }
        const double c = yy > 0.0 ? xy / std::sqrt(xx * yy) : 0.0;
        if (c > best) {
            best = c;
            shift = s;
        }
    }
    RecordProperty("correlation", std::to_string(best));
    EXPECT_GE(best, 0.95);
    ASSERT_LT(shift, sampleTimes.size());
    RecordProperty("first_sample_out_ms", std::to_string(sampleTimes[shift] - takeOverMs));
    EXPECT_LE(sampleTimes[shift] - takeOverMs, 100.0) << "from its first packet to its first sample out";
}
