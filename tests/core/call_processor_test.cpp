// The CallProcessor's routing: what each event from the links does to the
// client's callbacks, the call state and Wave. First without engines, then
// started against the simulated server on free ports.
#include "core/call_processor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <functional>
#include <string>
#include <vector>

#include "mgcp/mgcp.h"
#include "platform/debug_output.h"
#include "platform/udp_socket.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "support_files/callback_log.h"
#include "support_files/trace_capture.h"
#include "voice/wave.h"

namespace {

std::string block(std::string bytes) {
    bytes.resize(1024, '\0');
    return bytes;
}

// ---- Without engines: the PTAP events and the client table.

struct RoutingCase {
    const char* what;
    std::function<void(CallProcessor&)> act;
    std::string callbacks;
    const char* trace;
};

TEST(CallProcessorRouting, EventsReachTheClientByTheTable) {
    const CoreEvent link{0x15}, other{0x16}, signal{0x0B}, tone{0x20}, labels{0x21}, stopped{0x24}, mute{0x14},
        unknown{0x30};
    const std::string ks = block(std::string("ks") + std::string("\x04\x03\x02\x01\xD0\xC0\xB0\xA0", 8));
    const std::string toneBlock = block("tone");
    const std::vector<RoutingCase> cases = {
        {"link lost", [&](CallProcessor& cp) { cp.onPtapEvent(&link, "PTAP_NOCONN"); }, "L24",
         "[CP] Connection lost. Notifying client GUI"},
        {"compulsion restart", [&](CallProcessor& cp) { cp.onPtapEvent(&link, "PTAP_COMREST"); }, "L26",
         "[CP] Sending Compulsion Restart to GUI"},
        {"server event values are signed bytes",
         [&](CallProcessor& cp) {
             cp.onPtapEvent(&link, "\x20\x00\x01\x05");
             cp.onPtapEvent(&link, std::string("\x20\x00\x01\x80", 4).c_str());
         },
         "L5 L-128", ""},
        {"other PTAP events do nothing",
         [&](CallProcessor& cp) {
             cp.onPtapEvent(&other, "PTAP_NOCONN");
             cp.onPtapEvent(&link, "something else");
         },
         "", ""},
        {"signal blocks go to key state and display; mute is not a block's",
         [&](CallProcessor& cp) {
             for (const char* b : {ks.c_str(), "lcdHello", "dtmx", "key7", "mute"}) cp.notifyClient(&signal, b);
         },
         "K1020304,A0B0C0D0 D:Hello D:dtmx D:key7", ""},
        {"client event lengths follow their codes",
         [&](CallProcessor& cp) {
             cp.notifyClient(&tone, toneBlock.c_str());
             cp.notifyClient(&labels, toneBlock.c_str());
             cp.notifyClient(&stopped, "ignored");
             cp.notifyClient(&mute, "mute");
             cp.notifyClient(&unknown, "x");
         },
         "C20/16:tone C21/975:tone C24/0 C14/4:mute", ""},
        {"a key without a Mailbox is refused",
         [&](CallProcessor& cp) {
             const CoreEvent key{13};
             const int length = 4;
             EXPECT_EQ(cp.postMailbox(&key, "0731", &length), 1);
         },
         "", "[CP :: ERROR] Write operation to Mailbox failed"},
        {"events after shutdown are refused",
         [&](CallProcessor& cp) {
             cp.shutdown();
             EXPECT_EQ(cp.onPtapEvent(&link, "PTAP_NOCONN"), 1);
             const bool takeLock = true;
             const CoreEvent key{5};
             EXPECT_EQ(cp.onMgcpEvent(&key, "0731", &takeLock), 1);
         },
         "", "[CP] Operation blocked: MGCP event"},
    };
    for (const RoutingCase& c : cases) {
        SCOPED_TRACE(c.what);
        TraceCapture trace;
        CallbackLog::instance().clear();
        ParameterContainer params;
        std::memset(&params, 0, sizeof params);
        CallbackLog::install(params);
        CallProcessor cp;
        ASSERT_EQ(cp.setParameters(&params), 0);
        c.act(cp);
        EXPECT_EQ(CallbackLog::instance().summary(), c.callbacks);
        if (*c.trace != '\0') {
            EXPECT_TRUE(trace.contains(c.trace));
        }

        // Without callbacks the same events are dropped quietly.
        ParameterContainer bare;
        std::memset(&bare, 0, sizeof bare);
        CallProcessor quiet;
        ASSERT_EQ(quiet.setParameters(&bare), 0);
        c.act(quiet);
    }
}

TEST(CallProcessorRouting, PtapStatusWritesTheDebugOutput) {
    CallProcessor cp;
    platform::clearDebugOutput();
    for (int code : {1, 2, 4, 6, 7}) cp.onPtapStatus(&code);
    EXPECT_EQ(platform::debugOutputLines(),
              (std::vector<std::string>{"WOOO CONNECTED LIAO!!!!!!!!!!\n", "WOOO CONNECTED LIAO!!!!!!!!!!\n",
                                        "CANNOT REGISTER!!!!!!!!!!\n", "INCORRECT CARD!!!!!!!!!!\n"}));
}

// ---- Started against the simulated server.

std::uint16_t freeUdpPort() {
    platform::UdpSocket probe;
    if (!probe.open(0)) return 0;
    return probe.localPort();
}

class StartedCallProcessor : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(ptap_.start(0));
        ASSERT_TRUE(mgcp_.start(0));
        CallbackLog::instance().clear();
        std::memset(&params_, 0, sizeof params_);
        params_.mLocalAddress = 0x7F000001;
        params_.mServerAddress = 0x7F000001;
        CallbackLog::install(params_);
        EngineSetup setup;
        setup.ptapLocalPort = 0;
        setup.ptapServerPort = ptap_.port();
        setup.mgcpLocalPort = 0;
        setup.mgcpServerPort = mgcp_.port();
        setup.rtpPort = freeUdpPort();
        cp_ = std::make_unique<CallProcessor>(setup);
        ASSERT_EQ(cp_->setParameters(&params_), 0);
        ASSERT_EQ(cp_->start(), 0);
        ASSERT_EQ(cp_->getWave(&wave_), 0);
        session_ = MGCP::instance()->session();
        ASSERT_EQ(cp_->callState(), 1);
    }
    void TearDown() override { cp_.reset(); }

    // As MGCP raises it: under the signal lock, with takeLock false.
    void raise(int code, const char* data) {
        const CoreEvent event{code};
        const bool takeLock = false;
        bool on = true;
        cp_->lockSignal(&on);
        cp_->onMgcpEvent(&event, data, &takeLock);
        on = false;
        cp_->lockSignal(&on);
    }
    void setMedia(int mode, int codec) {
        session_->mConnectionMode = mode;
        session_->mCodecType = codec;
        session_->mRemotePort = 40000;
        std::strcpy(session_->mRemoteConnectionLine, "IN IP4 127.0.0.1");
    }
    // A server command through MGCP's socket; true once it is answered,
    // which is after every event it raised.
    bool command(const std::string& text) {
        const std::size_t space = text.find(' ');
        const std::string tid = text.substr(space + 1, text.find(' ', space + 1) - space - 1);
        const std::string answer = (text.rfind("DLCX", 0) == 0 ? "250 " : "200 ") + tid;
        mgcp_.sendCommand(text);
        return mgcp_.waitFor(
            [&](const std::vector<sim::Datagram>& d) {
                for (const auto& g : d)
                    if (g.text().rfind(answer, 0) == 0) return true;
                return false;
            },
            2000);
    }

    sim::PtapServer ptap_;
    sim::MgcpServer mgcp_;
    ParameterContainer params_;
    std::unique_ptr<CallProcessor> cp_;
    Wave* wave_ = nullptr;
    MediaSession* session_ = nullptr;
};

}  // namespace

// Each row: call-state inputs that lead to its state, then MGCP events
// (a media change with its mode and codec, or a signal block).
TEST_F(StartedCallProcessor, MgcpEventsGiveTheirCallbacksStateAndVoice) {
    struct Step {
        int event;
        int mode;  // for events 1 to 3; -1 leaves the session alone
        int codec;
        std::string data;
    };
    struct Case {
        std::vector<int> inputs;
        std::vector<Step> steps;
        std::string callbacks;
        int state;
        bool voice;
    };
    const std::string ringPattern2 = [] {
        std::string b = block("mgcp_tone");
        b[10 + 24] = 2;
        return b;
    }();
    std::string ringPattern4 = ringPattern2;
    ringPattern4[10 + 24] = 4;
    const Case cases[] = {
        {{}, {{1, kModeSendRecv, 18, ""}}, "C12/0 C23/5:G.729", 1, true},
        {{}, {{2, kModeRecvOnly, 96, ""}}, "C10/0 C23/0", 1, true},
        {{2, 3}, {{2, kModeSendRecv, 8, ""}}, "C07/0 C12/0 C23/5:G.711", 4, true},
        {{2}, {{2, kModeSendOnly, 8, ""}}, "C12/0 C23/5:G.711", 3, true},
        {{2}, {{2, kModeRecvOnly, 8, ""}}, "C10/0 C23/5:G.711", 3, true},
        {{}, {{2, kModeInactive, 8, ""}}, "C11/0 C24/0", 1, false},
        {{2}, {{2, kModeInactive, 8, ""}}, "C01/3:end C11/0 C24/0", 1, false},
        {{2, 3}, {{2, kModeInactive, 8, ""}}, "C01/3:end C11/0 C24/0", 1, false},
        {{}, {{2, 7, 8, ""}}, "", 1, false},
        // A ring pattern of 1 to 3 rings; a DLCX then ends the call.
        {{}, {{6, -1, 0, ringPattern2}, {3, kModeSendRecv, 0, ""}}, "C02/9:mgcp_tone C01/3:end C11/0 C24/0", 1, false},
        {{}, {{6, -1, 0, ringPattern4}}, "C17/9:mgcp_tone", 1, false},
        // A tone is reported once and ends the walk.
        {{},
         {{6, -1, 0, block("mute")},
          {6, -1, 0, block("tone\x05")},
          {6, -1, 0, block("voff")},
          {6, -1, 0, block(std::string("ks\x01\0\0\0\x02\0\0\0", 10))},
          {6, -1, 0, block("lcdHELLO")}},
         "C14/4:mute C20/16:tone\x05 C16/4:voff K1,2 D:HELLO",
         1,
         false},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.callbacks);
        const CoreEvent ended{1};
        cp_->stepCallState(&ended);  // back to idle from 3 or 4
        wave_->setVoiceActive(false);
        // With the tone signal set a block is read as "mgcp_tone"; without it, as "voff" or "end".
        MGCP::instance()->setToneSignal(c.callbacks.find("mgcp_tone") != std::string::npos);
        for (int input : c.inputs) {
            const CoreEvent e{input};
            ASSERT_EQ(cp_->stepCallState(&e), 0);
        }
        CallbackLog::instance().clear();
        for (const Step& s : c.steps) {
            if (s.mode >= 0) setMedia(s.mode, s.codec);
            raise(s.event, s.data.empty() ? nullptr : s.data.c_str());
        }
        EXPECT_EQ(CallbackLog::instance().summary(), c.callbacks);
        EXPECT_EQ(cp_->callState(), c.state);
        EXPECT_EQ(wave_->voiceActive(), c.voice);
    }
    EXPECT_EQ(session_->mConnectionMode, kModeInactive) << "a DLCX makes the mode inactive";
}

TEST_F(StartedCallProcessor, ServerCommandsDriveTheClientAndWave) {
    struct Case {
        std::string command;
        std::string callbacks;
        int state;
    };
    const std::string ep = " d1@000000000000 MGCP 1.0\r\n";
    const Case cases[] = {
        // A display text: its header bytes, then the text with blanks expanded.
        {"RQNT 20" + ep + "X: 1\r\nS: X-P/lcdp(2202030541031F42)\r\n",
         "D:\x03\x04      A   \x1F"
         "B",
         1},
        {"RQNT 21" + ep + "S: X-P/ks(0c01,r3si)\r\n", "KC01,A", 1},
        // Signals in list order, all before the answer.
        {"RQNT 22" + ep + "S: X-P/pctl(03),X-P/pctl(01),X-P/hset(00)\r\n", "C1B/5:sp_on C1F/8:bgm_mute C26/8:hset_off",
         1},
        // Another endpoint's commands are answered and do nothing.
        {"RQNT 23 d1@ffffffffffff MGCP 1.0\r\nS: X-P/pctl(03)\r\n", "", 1},
        {"CRCX 24 d1@ffffffffffff MGCP 1.0\r\nM: inactive\r\n", "", 1},
        {"RQNT 30" + ep + "S: X-P/ring(000100)\r\n", "C02/9:mgcp_tone", 3},
        {"CRCX 31" + ep +
             "C: 1\r\nM: sendrecv\r\n\r\nv=0\r\nc=IN IP4 127.0.0.1\r\nm=audio 5004 RTP/AVP 18\r\n"
             "a=rtpmap:18 G729/8000\r\n",
         "C12/0 C23/5:G.729", 3},
        {"DLCX 32" + ep + "C: 1\r\nI: 0\r\n", "C01/3:end C11/0 C24/0", 1},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.command.substr(0, 7));
        CallbackLog::instance().clear();
        ASSERT_TRUE(command(c.command));
        EXPECT_EQ(CallbackLog::instance().summary(), c.callbacks);
        EXPECT_EQ(cp_->callState(), c.state);
        if (c.command.rfind("CRCX 31", 0) == 0) {
            EXPECT_EQ(wave_->codec(), 18);
            EXPECT_EQ(session_->mRemotePort, 5004);
            EXPECT_TRUE(wave_->voiceActive());
        }
    }
    EXPECT_FALSE(wave_->voiceActive());
}

TEST_F(StartedCallProcessor, MailboxKeysReachTheWireInOrderAndShutdownRefusesWhatFollows) {
    mgcp_.clear();
    const CoreEvent key{13};
    for (const char* text : {"0731", "0732"}) {
        const int length = 4;
        ASSERT_EQ(cp_->postMailbox(&key, text, &length), 0);
    }
    ASSERT_TRUE(mgcp_.waitForCount(2, 2000));
    const auto received = mgcp_.received();
    EXPECT_NE(received[0].text().find("O: X-P/fk0731"), std::string::npos);
    EXPECT_NE(received[1].text().find("O: X-P/fk0732"), std::string::npos);

    EXPECT_EQ(cp_->shutdown(), 0);
    EXPECT_EQ(cp_->shutdown(), 0);
    EXPECT_EQ(cp_->callState(), 0);
    const CoreEvent event{0x15};
    EXPECT_EQ(cp_->onPtapEvent(&event, "PTAP_NOCONN"), 1);
    EXPECT_EQ(CallbackLog::instance().summary(), "");
}
