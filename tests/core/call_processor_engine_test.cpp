// A started CallProcessor against the simulated server, driven as MGCP's
// socket thread drives it: media changes reach Wave and the client, signal
// blocks reach the client by their tags, and the call state follows.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/call_processor.h"
#include "mgcp/mgcp.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "support_files/callback_log.h"
#include "voice/wave.h"

namespace {

class StartedCallProcessor : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(ptap_.start());
        ASSERT_TRUE(mgcp_.start());
        CallbackLog::instance().clear();
        std::memset(&params_, 0, sizeof params_);
        params_.mLocalAddress = 0x7F000001;
        params_.mServerAddress = 0x7F000001;
        CallbackLog::install(params_);
        ASSERT_EQ(cp_.setParameters(&params_), 0);
        ASSERT_EQ(cp_.start(), 0);
        ASSERT_EQ(cp_.getWave(&wave_), 0);
        session_ = MGCP::instance()->session();
        ASSERT_EQ(cp_.callState(), 1);
    }
    void TearDown() override { cp_.shutdown(); }

    // As MGCP raises it: under its own locks, with takeLock false.
    void raise(int code, const char* data) {
        const CoreEvent event{code};
        const bool takeLock = false;
        bool on = true;
        cp_.lockSignal(&on);
        cp_.onMgcpEvent(&event, data, &takeLock);
        on = false;
        cp_.lockSignal(&on);
    }
    void setMedia(int mode, int codec) {
        session_->mConnectionMode = mode;
        session_->mCodecType = codec;
        session_->mRemotePort = 40000;
        session_->mLocalPort = 8000;
        std::strcpy(session_->mRemoteConnectionLine, "IN IP4 127.0.0.1");
    }
    // A server command through MGCP's socket; true once it is answered,
    // which is after every event it raised.
    bool command(const std::string& verb, int tid, const std::string& rest,
                 const std::string& endpoint = "d1@000000000000") {
        const std::string head = verb + " " + std::to_string(tid) + " " + endpoint + " MGCP 1.0\r\n";
        const std::string answer = (verb == "DLCX" ? "250 " : "200 ") + std::to_string(tid);
        mgcp_.sendCommand(head + rest);
        return mgcp_.waitFor(
            [&](const std::vector<sim::Datagram>& d) {
                for (const auto& g : d)
                    if (g.text().rfind(answer, 0) == 0) return true;
                return false;
            },
            2000);
    }
    std::vector<int> clientEventCodes() {
        std::vector<int> codes;
        for (const auto& e : CallbackLog::instance().entries())
            if (e.kind == 'C') codes.push_back(e.code);
        return codes;
    }

    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
    ParameterContainer params_;
    CallProcessor cp_;
    Wave* wave_ = nullptr;
    MediaSession* session_ = nullptr;
};

}  // namespace

TEST_F(StartedCallProcessor, SendRecvConnectionOpensVoiceAndNamesTheCodec) {
    setMedia(kModeSendRecv, 18);
    raise(1, nullptr);
    EXPECT_TRUE(wave_->voiceActive());
    EXPECT_EQ(wave_->codec(), 18);
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x12, 0x23}));
    EXPECT_EQ(CallbackLog::instance().entries().back().data, "G.729");
    EXPECT_EQ(cp_.callState(), 1);  // media connected is refused while idle
}

TEST_F(StartedCallProcessor, RecvOnlyAndUnknownPayloadType) {
    setMedia(kModeRecvOnly, 96);
    raise(2, nullptr);
    EXPECT_TRUE(wave_->voiceActive());
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x10, 0x23}));
    EXPECT_EQ(CallbackLog::instance().entries().back().length, 0);
}

TEST_F(StartedCallProcessor, InactiveWhileIdleStopsVoiceWithoutEndingACall) {
    setMedia(kModeSendRecv, 0);
    raise(2, nullptr);
    CallbackLog::instance().clear();
    setMedia(kModeInactive, 0);
    raise(2, nullptr);
    EXPECT_FALSE(wave_->voiceActive());
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x11, 0x24}));
}

TEST_F(StartedCallProcessor, RingThenDeleteConnectionEndsTheCall) {
    MGCP::instance()->setToneSignal(true);
    char block[1024] = "mgcp_tone";
    const std::int32_t ringPattern = 2;
    std::memcpy(block + 10 + 24, &ringPattern, sizeof ringPattern);
    raise(6, block);
    EXPECT_EQ(cp_.callState(), 3);
    ASSERT_EQ(clientEventCodes(), (std::vector<int>{0x02}));
    EXPECT_EQ(CallbackLog::instance().entries().back().length, 9);

    CallbackLog::instance().clear();
    setMedia(kModeSendRecv, 0);
    raise(3, nullptr);  // DLCX makes the mode inactive
    EXPECT_EQ(session_->mConnectionMode, kModeInactive);
    EXPECT_EQ(cp_.callState(), 1);
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x01, 0x11, 0x24}));
    EXPECT_EQ(CallbackLog::instance().entries().front().data, "end");
}

TEST_F(StartedCallProcessor, RingPatternOutsideOneToThreeIsAToneEvent) {
    MGCP::instance()->setToneSignal(true);
    char block[1024] = "mgcp_tone";
    const std::int32_t ringPattern = 4;
    std::memcpy(block + 10 + 24, &ringPattern, sizeof ringPattern);
    raise(6, block);
    EXPECT_EQ(cp_.callState(), 1);
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x17}));
}

TEST_F(StartedCallProcessor, SignalBlocksReachTheClientByTheirTags) {
    // Blocks are 1024 bytes, as MGCP hands them over: the client reads
    // records behind the tag.
    char ks[1024] = {'k', 's', 1, 0, 0, 0, 2, 0, 0, 0};
    char tone[1024] = {'t', 'o', 'n', 'e', 5};
    raise(6, "mute");
    raise(6, tone);
    raise(6, "voff");
    raise(6, ks);
    raise(6, "lcdHELLO");
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 5u);
    EXPECT_EQ(log[0].code, 0x14);
    EXPECT_EQ(log[1].code, 0x20);  // reported once, the walk stops
    EXPECT_EQ(log[1].length, 16);
    EXPECT_EQ(log[2].code, 0x16);
    EXPECT_EQ(log[3].kind, 'K');
    EXPECT_EQ(log[3].first, 1u);
    EXPECT_EQ(log[3].second, 2u);
    EXPECT_EQ(log[4].kind, 'D');
    EXPECT_EQ(log[4].data, "HELLO");
}

TEST_F(StartedCallProcessor, MailboxKeysReachTheWireInOrder) {
    mgcp_.clear();
    const CoreEvent key{13};
    for (const char* text : {"0731", "0732"}) {
        const int length = 4;
        ASSERT_EQ(cp_.postMailbox(&key, text, &length), 0);
    }
    ASSERT_TRUE(mgcp_.waitForCount(2, 2000));
    const auto received = mgcp_.received();
    EXPECT_NE(received[0].text().find("O: X-P/fk0731"), std::string::npos);
    EXPECT_NE(received[1].text().find("O: X-P/fk0732"), std::string::npos);
}

TEST_F(StartedCallProcessor, ShutdownTwiceAndRefusedEventsAfterIt) {
    EXPECT_EQ(cp_.shutdown(), 0);
    EXPECT_EQ(cp_.shutdown(), 0);
    EXPECT_EQ(cp_.callState(), 0);
    const CoreEvent event{0x15};
    EXPECT_EQ(cp_.onPtapEvent(&event, "PTAP_NOCONN"), 1);
    EXPECT_TRUE(CallbackLog::instance().entries().empty());
}

TEST_F(StartedCallProcessor, MediaModesFromEachStateGiveTheirEventSequences) {
    struct Case {
        std::vector<int> inputs;  // call-state inputs that lead to the state
        int mode;
        std::vector<int> events;
        int state;
        bool voice;
    };
    const Case cases[] = {
        {{}, kModeSendRecv, {0x12, 0x23}, 1, true},
        {{2, 3}, kModeSendRecv, {0x07, 0x12, 0x23}, 4, true},
        {{2}, kModeSendOnly, {0x12, 0x23}, 3, true},
        {{2}, kModeRecvOnly, {0x10, 0x23}, 3, true},
        {{}, kModeInactive, {0x11, 0x24}, 1, false},
        {{2}, kModeInactive, {0x01, 0x11, 0x24}, 1, false},
        {{2, 3}, kModeInactive, {0x01, 0x11, 0x24}, 1, false},
        {{}, 7, {}, 1, false},
    };
    for (const Case& c : cases) {
        const CoreEvent ended{1};
        cp_.stepCallState(&ended);  // back to idle from 3 or 4
        wave_->setVoiceActive(false);
        for (int input : c.inputs) {
            const CoreEvent e{input};
            ASSERT_EQ(cp_.stepCallState(&e), 0);
        }
        CallbackLog::instance().clear();
        setMedia(c.mode, 8);
        raise(2, nullptr);
        EXPECT_EQ(clientEventCodes(), c.events) << "mode " << c.mode << " after " << c.inputs.size() << " inputs";
        EXPECT_EQ(cp_.callState(), c.state) << "mode " << c.mode;
        EXPECT_EQ(wave_->voiceActive(), c.voice) << "mode " << c.mode;
    }
}

TEST_F(StartedCallProcessor, ServerCommandsReachTheClient) {
    // A display text: its header bytes, then the text with blanks expanded.
    ASSERT_TRUE(command("RQNT", 20, "X: 1\r\nS: X-P/lcdp(2202030541031F42)\r\n"));
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].kind, 'D');
    EXPECT_EQ(log[0].data, std::string("\x03\x04      A   \x1F"
                                       "B"));

    // A key lamp reaches onKeyState and nothing else.
    CallbackLog::instance().clear();
    ASSERT_TRUE(command("RQNT", 21, "S: X-P/ks(0c01,r3si)\r\n"));
    log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 1u);
    EXPECT_EQ(log[0].kind, 'K');
    EXPECT_EQ(log[0].first, 0x0c01u);
    EXPECT_EQ(log[0].second, 10u);

    // Three signals in list order, all before the answer.
    CallbackLog::instance().clear();
    ASSERT_TRUE(command("RQNT", 22, "S: X-P/pctl(03),X-P/pctl(01),X-P/hset(00)\r\n"));
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x1B, 0x1F, 0x26}));

    // A command for another endpoint is answered and does nothing.
    CallbackLog::instance().clear();
    ASSERT_TRUE(command("RQNT", 23, "S: X-P/pctl(03)\r\n", "d1@ffffffffffff"));
    ASSERT_TRUE(command("CRCX", 24, "M: inactive\r\n", "d1@ffffffffffff"));
    EXPECT_TRUE(CallbackLog::instance().entries().empty());
}

TEST_F(StartedCallProcessor, RingConnectAndDeleteThroughTheServersCommands) {
    ASSERT_TRUE(command("RQNT", 30, "S: X-P/ring(000100)\r\n"));
    EXPECT_EQ(cp_.callState(), 3);
    ASSERT_EQ(clientEventCodes(), (std::vector<int>{0x02}));
    EXPECT_EQ(CallbackLog::instance().entries()[0].length, 9);

    CallbackLog::instance().clear();
    ASSERT_TRUE(command("CRCX", 31,
                        "C: 1\r\nM: sendrecv\r\n\r\nv=0\r\nc=IN IP4 127.0.0.1\r\nm=audio 5004 RTP/AVP 18\r\n"
                        "a=rtpmap:18 G729/8000\r\n"));
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x12, 0x23}));
    EXPECT_EQ(CallbackLog::instance().entries().back().data, "G.729");
    EXPECT_EQ(wave_->codec(), 18);
    EXPECT_EQ(session_->mRemotePort, 5004);

    // Still ringing: media connected isn't an input of that state.
    CallbackLog::instance().clear();
    ASSERT_TRUE(command("DLCX", 32, "C: 1\r\nI: 0\r\n"));
    EXPECT_EQ(clientEventCodes(), (std::vector<int>{0x01, 0x11, 0x24}));
    EXPECT_EQ(CallbackLog::instance().entries()[0].data, "end");
    EXPECT_EQ(cp_.callState(), 1);
    EXPECT_FALSE(wave_->voiceActive());
}
