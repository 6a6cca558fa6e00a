// The exports with their objects missing, and the dialling exports' checks.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/call_processor.h"
#include "api/globals.h"
#include "core/key_tables.h"
#include "softphone.h"
#include "support_files/trace_capture.h"

TEST(ExportsWithoutObjects, GiveTheirTabledResults) {
    ASSERT_EQ(gCallProcessor.load(), nullptr);
    EXPECT_EQ(put_key(0x0731), 0);
    EXPECT_EQ(put_key(0xDEAD), 0);  // nothing is looked at without a CallProcessor
    EXPECT_EQ(make_call("123"), 0);
    EXPECT_EQ(make_call("bad!"), 0);
    EXPECT_EQ(send_error(5, 0, 0), 0);
    EXPECT_EQ(open_voice(), 0);
    EXPECT_EQ(close_voice(), 0);
    char pcm[700] = {};
    EXPECT_EQ(send_voice(700, pcm), 700);
    int size = 320, status = 99;
    EXPECT_EQ(recv_voice(&size, pcm, &status), 0);
    EXPECT_EQ(AudioModuleShutdown(), 0);
    EXPECT_EQ(AudioModulePlayVoice(pcm, 320), 0);
    EXPECT_EQ(AudioModuleRecordStart(1), 0);
    EXPECT_EQ(AudioModuleRegisterCallback(nullptr), 0);
    sp_wchar_t** list = nullptr;
    EXPECT_EQ(AudioModuleGetInDevice(&list), -1);
    EXPECT_EQ(AudioModuleGetOutDevice(&list), -1);
    EXPECT_EQ(AudioModuleSetDevice(0, 0, 0), 0);
    EXPECT_EQ(AudioModulePlayFile(u"media/x.wav", 0), 0);
    EXPECT_EQ(AudioModuleStopPlayFile(), 0);
    EXPECT_EQ(AudioModuleGetEngineStatus(), -1);
    EXPECT_EQ(AudioModulePlayTone(u"media/x.wav", 1), 0);
    EXPECT_EQ(AudioModuleStopPlayTone(), 0);
    int a = 7, b = 8, c = 9;
    AudioModuleGetDeviceID(&a, &b, &c);
    EXPECT_EQ(a + b + c, 24);  // untouched
    EXPECT_EQ(ToneModulePlayDTMF(1, 0), -1);
    EXPECT_EQ(ToneModuleGetKeyPadMode(), -1);
    EXPECT_EQ(ToneModuleGetProgramMode(), -1);
    EXPECT_EQ(ToneModuleSetKeyPadMode(1), -1);
    EXPECT_EQ(ToneModuleSetProgramMode(1), -1);
    EXPECT_EQ(ToneModulePlayTone(1, 2, 3), -1);
    EXPECT_EQ(ToneModuleSaveCustomTone(1, u"x"), -1);
    EXPECT_EQ(ToneModuleRemoveCustomTone(1), -1);
    sp_wchar_t* path = nullptr;
    EXPECT_EQ(ToneModuleGetCustomTone(1, &path), -1);
    EXPECT_EQ(ToneModuleSetServiceTonePath(1), -1);
    EXPECT_EQ(ToneModulePlayServiceTone(1), -1);
    EXPECT_EQ(uninitialize(), 0);
}

TEST(ExportsWithoutObjects, TraceExportsAlwaysGiveZero) {
    EXPECT_EQ(tracer_set_filter(0), 0);
    EXPECT_EQ(tracer_add_filter(4), 0);
    EXPECT_EQ(tracer_remove_filter(4), 0);
    EXPECT_EQ(tracer_startup("/nonexistent-dir/trace.log"), 0);
    Tracer::instance()->close();
}

namespace {

// A CallProcessor that exists but has no Mailbox yet, as during registration.
class DiallingTest : public ::testing::Test {
protected:
    void SetUp() override {
        fillKeyTables();
        gCallProcessor = &cp_;
    }
    void TearDown() override { gCallProcessor = nullptr; }
    CallProcessor cp_;
};

}  // namespace

TEST_F(DiallingTest, PutKeyRefusesUnknownNumbers) {
    TraceCapture trace;
    EXPECT_EQ(put_key(0x0B02), -1);
    EXPECT_TRUE(trace.contains("[API :: Warning] Invalid key code in put_key. Key ignored [2818]"));
}

TEST_F(DiallingTest, PutKeyWithoutMailboxIsRefusedWithBothTraces) {
    TraceCapture trace;
    EXPECT_EQ(put_key(0x0B03), -1);
    auto m = trace.messages();
    ASSERT_GE(m.size(), 2u);
    EXPECT_EQ(m[m.size() - 2], "[CP :: ERROR] Write operation to Mailbox failed");
    EXPECT_EQ(m[m.size() - 1], "[API :: ERROR] Failed at put_key. Possible mailbox overflow.");
}

TEST_F(DiallingTest, SendErrorWithoutMailboxIsRefused) {
    TraceCapture trace;
    EXPECT_EQ(send_error(0x1234, 0, 0), -1);
    EXPECT_TRUE(trace.contains("[API :: ERROR] Failed to send PTAP error data"));
}

TEST_F(DiallingTest, MakeCallLengthLimitsGiveNoTrace) {
    TraceCapture trace;
    const auto before = trace.messages().size();
    EXPECT_EQ(make_call(""), -1);
    EXPECT_EQ(make_call(std::string(41, '1').c_str()), -1);
    EXPECT_EQ(make_call(nullptr), -1);
    EXPECT_EQ(trace.messages().size(), before);
}

TEST_F(DiallingTest, MakeCallNamesTheFirstBadCharacterAndSendsNothing) {
    TraceCapture trace;
    EXPECT_EQ(make_call("123a"), -1);
    EXPECT_TRUE(trace.contains("[API :: Warning] Makecall received no number value at index [3] as [a]"));
    EXPECT_FALSE(trace.contains("[CP :: ERROR] Write operation to Mailbox failed"));
    EXPECT_EQ(make_call("p"), -1);
    EXPECT_TRUE(trace.contains("[API :: Warning] Makecall received no number value at index [0] as [p]"));
}

TEST_F(DiallingTest, MakeCallPressesEveryKeyEvenWhenEachIsRefused) {
    TraceCapture trace;
    EXPECT_EQ(make_call(std::string(40, '7').c_str()), 0);
    int refusals = 0;
    for (const auto& m : trace.messages())
        if (m == "[API :: ERROR] Failed at put_key. Possible mailbox overflow.") ++refusals;
    EXPECT_EQ(refusals, 40);
    EXPECT_EQ(make_call("0123456789*#PW"), 0);
}
