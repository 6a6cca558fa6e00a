// Whole calls through the loaded library against the call agent: an
// incoming and an outgoing call with voice both ways.
#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "e2e_fixture.h"
#include "platform/clock.h"
#include "sim/call_agent.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/reference_codec.h"
#include "sim/rtp_party.h"

namespace {

using sim::CallbackRecord;

constexpr int kWaitMs = 3000;
constexpr std::uint16_t kTerminalRtpPort = 8000;
constexpr std::uint16_t kPartyRtpPort = 5004;
constexpr int kFrames = 100;  // two seconds of voice each way

class CallE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        ASSERT_TRUE(ptap_.start());
        ASSERT_TRUE(mgcp_.start());
        ASSERT_TRUE(party_.start(kPartyRtpPort));
        ptap_.setParameterItems(sim::PtapServer::defaultParameterItems());
        PtapParameters out{};
        ASSERT_EQ(api().initialize(&params_, &out), 0);
        ASSERT_TRUE(mgcp_.waitForCount(1, 1000));  // the RSIP
        mgcp_.clear();
        recorder().clear();
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        party_.stop();
        mgcp_.stop();
        ptap_.stop();
    }

    static sim::CallbackRecorder& recorder() { return sim::CallbackRecorder::instance(); }

    static std::vector<int> clientEvents(const std::vector<CallbackRecord>& records = recorder().records()) {
        std::vector<int> codes;
        for (const CallbackRecord& r : records)
            if (r.kind == CallbackRecord::ClientEvent) codes.push_back(r.code);
        return codes;
    }
    // Waits until the client events, in order, end with `tail`.
    static bool waitEventsEndWith(const std::vector<int>& tail) {
        return recorder().waitFor(
            [&tail](const std::vector<CallbackRecord>& records) {
                const std::vector<int> codes = clientEvents(records);
                return codes.size() >= tail.size() && std::equal(tail.rbegin(), tail.rend(), codes.rbegin());
            },
            kWaitMs);
    }
    static const CallbackRecord* lastOf(CallbackRecord::Kind kind, int code = -1) {
        static CallbackRecord found;
        const auto records = recorder().records();
        for (auto it = records.rbegin(); it != records.rend(); ++it) {
            if (it->kind == kind && (code < 0 || it->code == code)) {
                found = *it;
                return &found;
            }
        }
        return nullptr;
    }

    sim::MediaOffer offer(int payloadType) const {
        sim::MediaOffer o;
        o.payloadType = payloadType;
        o.rtpPort = party_.port();
        return o;
    }

    // Voice both ways, the client's calls as the playout clock: the party
    // speaks the signal to the terminal while the client sends the same
    // signal up. Gives the correlation of what each side heard with it.
    std::pair<double, double> talk(int payloadType) {
        const std::vector<std::int16_t> signal = sim::voicedSignal(kFrames * sim::kSamplesPerPacket);
        party_.forget();
        EXPECT_TRUE(party_.speak(signal, payloadType, sim::kLoopbackAddress, kTerminalRtpPort));
        std::vector<std::int16_t> down;
        std::vector<std::int16_t> room(3200 / 2);
        const std::uint64_t start = platform::monotonicMs();
        for (int k = 0; k < kFrames + 25; ++k) {
            while (platform::monotonicMs() < start + static_cast<std::uint64_t>(k) * 20) platform::sleepMs(1);
            if (k < kFrames) api().send_voice(320, signal.data() + k * sim::kSamplesPerPacket);
            int size = 3200;
            int status = 0;
            const int got = api().recv_voice(&size, room.data(), &status);
            EXPECT_EQ(got % 320, 0) << "whole frames only";
            if (got > 0) down.insert(down.end(), room.begin(), room.begin() + got / 2);
        }
        EXPECT_TRUE(party_.waitSpoken(kWaitMs));
        EXPECT_TRUE(party_.waitForPackets(kFrames, kWaitMs));
        const std::vector<std::int16_t> up = party_.heard(payloadType);
        const double upCorrelation = sim::alignedCorrelation(signal, up, 800);
        const double downCorrelation = sim::alignedCorrelation(signal, down, 8000);
        RecordProperty("correlation_up", std::to_string(upCorrelation));
        RecordProperty("correlation_down", std::to_string(downCorrelation));
        return {upCorrelation, downCorrelation};
    }

    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
    sim::CallAgent agent_{mgcp_};
    sim::RtpParty party_;
};

struct CodecCase {
    int payloadType;
    const char* name;
    double minCorrelation;
    friend void PrintTo(const CodecCase& c, std::ostream* os) { *os << "payload type " << c.payloadType; }
};

class IncomingCallE2E : public CallE2E, public ::testing::WithParamInterface<CodecCase> {};

}  // namespace

TEST_P(IncomingCallE2E, RingAnswerTalkAndHangUp) {
    const CodecCase c = GetParam();
    ASSERT_TRUE(agent_.ringIncoming("5551234"));
    ASSERT_TRUE(waitEventsEndWith({0x02}));
    EXPECT_EQ(lastOf(CallbackRecord::ClientEvent, 0x02)->data.size(), 9u);
    ASSERT_NE(lastOf(CallbackRecord::DisplayText), nullptr);
    EXPECT_NE(lastOf(CallbackRecord::DisplayText)->data.find("5551234"), std::string::npos);

    // The user lifts the handset; the server stops the ring and connects.
    ASSERT_EQ(api().put_key(0x0200), 0);
    ASSERT_TRUE(agent_.answerWhenOffHook(offer(c.payloadType), kWaitMs));
    ASSERT_TRUE(waitEventsEndWith({0x16, 0x12, 0x23}));
    EXPECT_EQ(lastOf(CallbackRecord::ClientEvent, 0x23)->data, c.name);

    const auto [up, down] = talk(c.payloadType);
    EXPECT_GE(up, c.minCorrelation) << "what the far end heard";
    EXPECT_GE(down, c.minCorrelation) << "what the client heard";

    // The user hangs up; the server deletes the connection.
    ASSERT_EQ(api().put_key(0x0100), 0);
    ASSERT_TRUE(agent_.releaseWhenOnHook(kWaitMs));
    ASSERT_TRUE(waitEventsEndWith({0x01, 0x11, 0x24}));
    EXPECT_EQ(lastOf(CallbackRecord::ClientEvent, 0x01)->data, "end");
}

INSTANTIATE_TEST_SUITE_P(Codecs, IncomingCallE2E,
                         ::testing::Values(CodecCase{0, "G.711", 0.95}, CodecCase{8, "G.711", 0.95},
                                           CodecCase{18, "G.729", 0.8}),
                         [](const auto& info) { return std::to_string(info.param.payloadType); });

TEST_F(CallE2E, OutgoingCallDialsHearsRingbackTalksAndIsEndedByTheServer) {
    ASSERT_EQ(api().put_key(0x0200), 0);
    ASSERT_TRUE(agent_.dialToneWhenOffHook(kWaitMs));
    ASSERT_TRUE(waitEventsEndWith({0x20}));
    EXPECT_EQ(lastOf(CallbackRecord::ClientEvent, 0x20)->data.size(), 16u);

    // The digits come back on the display as the server takes them.
    ASSERT_EQ(api().make_call("123"), 0);
    EXPECT_EQ(agent_.collectDigits(3, kWaitMs), "123");
    ASSERT_TRUE(recorder().waitFor(
        [](const std::vector<CallbackRecord>& r) {
            return std::any_of(r.begin(), r.end(), [](const CallbackRecord& c) {
                return c.kind == CallbackRecord::DisplayText && c.data.size() >= 3 &&
                       c.data.compare(c.data.size() - 3, 3, "123") == 0;
            });
        },
        kWaitMs));

    ASSERT_TRUE(agent_.ringback(offer(18)));
    ASSERT_TRUE(waitEventsEndWith({0x20, 0x10, 0x23}));
    ASSERT_TRUE(agent_.farEndAnswers(offer(18)));
    ASSERT_TRUE(waitEventsEndWith({0x20, 0x12, 0x23}));
    EXPECT_EQ(lastOf(CallbackRecord::ClientEvent, 0x23)->data, "G.729");

    const auto [up, down] = talk(18);
    EXPECT_GE(up, 0.8);
    EXPECT_GE(down, 0.8);

    // A call the terminal placed leaves the state idle: no "end" event.
    ASSERT_TRUE(agent_.hangUp());
    ASSERT_TRUE(waitEventsEndWith({0x11, 0x24}));
    const auto events = clientEvents();
    EXPECT_EQ(std::count(events.begin(), events.end(), 0x01), 0);
}
