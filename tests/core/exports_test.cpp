// The trace exports, and the dialling exports' checks. What the other
// exports give without their objects is shown through the loaded library.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "core/call_processor.h"
#include "api/globals.h"
#include "core/key_tables.h"
#include "softphone.h"
#include "support_files/trace_capture.h"

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
