#include <gtest/gtest.h>

#include <cstring>

#include "core/call_processor.h"
#include "platform/debug_output.h"
#include "support_files/callback_log.h"
#include "support_files/trace_capture.h"

namespace {

class RoutingTest : public ::testing::Test {
protected:
    void SetUp() override {
        CallbackLog::instance().clear();
        std::memset(&params_, 0, sizeof params_);
        CallbackLog::install(params_);
        ASSERT_EQ(cp_.setParameters(&params_), 0);
    }
    ParameterContainer params_;
    CallProcessor cp_;
};

}  // namespace

TEST_F(RoutingTest, LinkLossAndRestartReachTheClient) {
    TraceCapture trace;
    CoreEvent event{0x15};
    EXPECT_EQ(cp_.onPtapEvent(&event, "PTAP_NOCONN"), 0);
    EXPECT_EQ(cp_.onPtapEvent(&event, "PTAP_COMREST"), 0);
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].kind, 'L');
    EXPECT_EQ(log[0].code, 0x18);
    EXPECT_EQ(log[1].code, 0x1A);
    EXPECT_TRUE(trace.contains("[CP] Connection lost. Notifying client GUI"));
    EXPECT_TRUE(trace.contains("[CP] Sending Compulsion Restart to GUI"));
}

TEST_F(RoutingTest, ServerEventValueIsASignedByte) {
    CoreEvent event{0x15};
    const char positive[4] = {0x20, 0x00, 0x01, 0x05};
    const char negative[4] = {0x20, 0x00, 0x01, static_cast<char>(0x80)};
    cp_.onPtapEvent(&event, positive);
    cp_.onPtapEvent(&event, negative);
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 2u);
    EXPECT_EQ(log[0].code, 5);
    EXPECT_EQ(log[1].code, -128);
}

TEST_F(RoutingTest, OtherPtapEventsDoNothing) {
    CoreEvent other{0x16};
    EXPECT_EQ(cp_.onPtapEvent(&other, "PTAP_NOCONN"), 0);
    CoreEvent event{0x15};
    EXPECT_EQ(cp_.onPtapEvent(&event, "something else"), 0);
    EXPECT_TRUE(CallbackLog::instance().entries().empty());
}

TEST_F(RoutingTest, EventsAreRefusedOnceShutdownBegan) {
    TraceCapture trace;
    cp_.shutdown();
    CoreEvent event{0x15};
    EXPECT_EQ(cp_.onPtapEvent(&event, "PTAP_NOCONN"), 1);
    const bool takeLock = true;
    CoreEvent mgcp{5};
    EXPECT_EQ(cp_.onMgcpEvent(&mgcp, "0731", &takeLock), 1);
    EXPECT_TRUE(CallbackLog::instance().entries().empty());
    EXPECT_TRUE(trace.contains("[CP] Operation blocked: PTAP event"));
    EXPECT_TRUE(trace.contains("[CP] Operation blocked: MGCP event"));
}

TEST_F(RoutingTest, SignalBlocksReachKeyStateAndDisplay) {
    CoreEvent signal{0x0B};
    char ks[16] = {'k', 's'};
    const std::uint32_t words[2] = {0x01020304, 0xA0B0C0D0};
    std::memcpy(ks + 2, words, sizeof words);
    cp_.notifyClient(&signal, ks);
    cp_.notifyClient(&signal, "lcdHello");
    cp_.notifyClient(&signal, "dtmx");
    cp_.notifyClient(&signal, "key7");
    cp_.notifyClient(&signal, "mute");
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].kind, 'K');
    EXPECT_EQ(log[0].first, words[0]);
    EXPECT_EQ(log[0].second, words[1]);
    EXPECT_EQ(log[1].data, "Hello");
    EXPECT_EQ(log[2].data, "dtmx");
    EXPECT_EQ(log[3].data, "key7");
}

TEST_F(RoutingTest, ClientEventLengthsFollowTheirCodes) {
    char block[1024] = "tone";
    CoreEvent tone{0x20}, labels{0x21}, stopped{0x24}, mute{0x14}, unknown{0x30};
    cp_.notifyClient(&tone, block);
    cp_.notifyClient(&labels, block);
    cp_.notifyClient(&stopped, "ignored");
    cp_.notifyClient(&mute, "mute");
    cp_.notifyClient(&unknown, "x");
    auto log = CallbackLog::instance().entries();
    ASSERT_EQ(log.size(), 4u);
    EXPECT_EQ(log[0].code, 0x20);
    EXPECT_EQ(log[0].length, 16);
    EXPECT_EQ(log[1].code, 0x21);
    EXPECT_EQ(log[1].length, 975);
    EXPECT_EQ(log[2].code, 0x24);
    EXPECT_EQ(log[2].length, 0);
    EXPECT_EQ(log[3].code, 0x14);
    EXPECT_EQ(log[3].length, 4);
    EXPECT_EQ(log[3].data, "mute");
}

TEST_F(RoutingTest, NullCallbacksDropEventsQuietly) {
    ParameterContainer bare;
    std::memset(&bare, 0, sizeof bare);
    CallProcessor cp;
    ASSERT_EQ(cp.setParameters(&bare), 0);
    CoreEvent link{0x15}, signal{0x0B}, mute{0x14};
    EXPECT_EQ(cp.onPtapEvent(&link, "PTAP_NOCONN"), 0);
    EXPECT_EQ(cp.notifyClient(&signal, "lcdX"), 0);
    EXPECT_EQ(cp.notifyClient(&mute, "mute"), 0);
}

TEST_F(RoutingTest, PtapStatusWritesTheDebugOutput) {
    platform::clearDebugOutput();
    for (int code : {1, 2, 4, 6, 7}) cp_.onPtapStatus(&code);
    auto lines = platform::debugOutputLines();
    ASSERT_EQ(lines.size(), 4u);
    EXPECT_EQ(lines[0], "WOOO CONNECTED LIAO!!!!!!!!!!\n");
    EXPECT_EQ(lines[1], "WOOO CONNECTED LIAO!!!!!!!!!!\n");
    EXPECT_EQ(lines[2], "CANNOT REGISTER!!!!!!!!!!\n");
    EXPECT_EQ(lines[3], "INCORRECT CARD!!!!!!!!!!\n");
}

TEST_F(RoutingTest, MailboxItemsFollowTheCallState) {
    // A stopped terminal accepts every input; the module start makes it idle.
    CoreEvent started{12};
    EXPECT_EQ(cp_.stepCallState(&started), 0);
    EXPECT_EQ(cp_.callState(), 1);
    CoreEvent ring{2}, offHook{3}, media{8};
    EXPECT_EQ(cp_.stepCallState(&media), 1);
    EXPECT_EQ(cp_.callState(), 1);
    EXPECT_EQ(cp_.stepCallState(&ring), 0);
    EXPECT_EQ(cp_.callState(), 3);
    EXPECT_EQ(cp_.stepCallState(&offHook), 0);
    EXPECT_EQ(cp_.callState(), 4);
}

TEST_F(RoutingTest, PostingWithoutAMailboxIsRefusedWithItsTrace) {
    TraceCapture trace;
    CoreEvent key{13};
    const int length = 4;
    EXPECT_EQ(cp_.postMailbox(&key, "0731", &length), 1);
    EXPECT_TRUE(trace.contains("[CP :: ERROR] Write operation to Mailbox failed"));
}
