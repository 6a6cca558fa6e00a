// Reading the server's commands: the command line, the tag scans of CRCX,
// MDCX and DLCX, the session description and the RQNT signal list.
#include "mgcp/command_reader.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "mgcp/sdp_reader.h"
#include "mgcp/signal_list.h"
#include "support_files/trace_capture.h"

namespace {

constexpr const char* kEndpoint = "d1@0011223344ff";

MediaSession freshSession() {
    MediaSession s;
    std::strcpy(s.mEndpointName, kEndpoint);
    std::strcpy(s.mCallId, "old");
    s.mLastTid = 1;
    s.mConnectionMode = kModeRecvOnly;
    return s;
}

std::string command(const std::string& verb, const std::string& rest, const std::string& tid = "77") {
    return verb + " " + tid + " " + kEndpoint + " MGCP 1.0\r\n" + rest;
}

bool read(MgcpOperation op, const std::string& text, MediaSession& s) {
    return readCommand(op, DatagramView(text), s);
}

// The tags of the blocks an RQNT raises, in order.
std::vector<std::string> signalTags(const std::string& text, MediaSession& s) {
    SignalList list(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()));
    std::vector<std::string> tags;
    SignalBlock block;
    while (list.pending()) {
        if (list.next(s, block)) tags.emplace_back(block.data());
    }
    return tags;
}

}  // namespace

TEST(CommandReader, CommandLine) {
    struct Case {
        std::string text;
        bool accepted;
        std::uint32_t tid;
        std::string endpoint;
    };
    const Case cases[] = {
        {"CRCX 1234 d1@0011223344ff MGCP 1.0\r\n", true, 1234, kEndpoint},
        {"CRCX 9999999999999999999 d1@0011223344ff MGCP 1.0\r\n", true, 2313682943u, kEndpoint},
        {"CRCX 12345678901234567890 d1@0011223344ff MGCP 1.0\r\n", true, 2112454933u, kEndpoint},
        {"CRCX 5 d1@0011223344ff.line2 MGCP 1.0\r\n", true, 5, "d1@0011223344ff.lin"},
        {"CRCX 6 d1@aabbccddeeff MGCP 1.0\r\n", false, 6, kEndpoint},  // answered with its number
        {"CRCX 7 d1@0011 MGCP 1.0\r\n", false, 7, kEndpoint},
        {"CRCX\t8 d1@aabbccddeeff MGCP 1.0\r\n", true, 1, kEndpoint},  // nothing read
        {"CRCX 9", true, 1, kEndpoint},
        {"", true, 1, kEndpoint},
    };
    for (const Case& c : cases) {
        MediaSession s = freshSession();
        EXPECT_EQ(readCommandLine(DatagramView(c.text), s).has_value(), c.accepted) << c.text;
        EXPECT_EQ(s.mLastTid, c.tid) << c.text;
        EXPECT_EQ(std::string(s.mEndpointName), c.endpoint) << c.text;
    }
}

TEST(CommandReader, TagScansOfTheThreeCommands) {
    struct Case {
        MgcpOperation op;
        std::string rest;
        std::string callId;
        std::int32_t mode;
        std::int32_t connectionId;
        std::int32_t period;
    };
    const std::string longCall = "C: " + std::string(29, 'A') + "\r\n";  // 32 bytes with its tag
    const Case cases[] = {
        {MgcpOperation::kCrcx, "C: A3C4\r\nL: p:20, a:PCMU\r\nM: sendrecv\r\n", "A3C4", kModeSendRecv, 0, 20},
        {MgcpOperation::kCrcx, "M: inactive\r\nL: a:PCMU, p:20\r\nC: 1\r\nC: 2\r\n", "2", kModeInactive, 0, 0},
        {MgcpOperation::kCrcx, "X: 1C: 99\r\nM: sendonly", "99", kModeSendOnly, 0, 0},  // a tag inside a value
        {MgcpOperation::kCrcx, longCall + "M: bogus\r\n", "old", kModeRecvOnly, 0, 0},
        {MgcpOperation::kCrcx, "C: 12", "old", kModeRecvOnly, 0, 0},  // no CR LF: no line length yet
        {MgcpOperation::kCrcx, "I: 5\r\n", "old", kModeRecvOnly, 0, 0},
        {MgcpOperation::kMdcx, "I: 42\r\nM: recvonly\r\nC: x\r\nL: p:30\r\n", "x", kModeRecvOnly, 42, 0},
        {MgcpOperation::kMdcx, "M: sendrecv\r\n", "old", kModeSendRecv, 0, 0},
        {MgcpOperation::kDlcxReceived, "C: d\r\nI: 9\r\nM: sendrecv\r\n", "d", kModeRecvOnly, 9, 0},
    };
    for (const Case& c : cases) {
        MediaSession s = freshSession();
        const std::string text = command(c.op == MgcpOperation::kCrcx   ? "CRCX"
                                         : c.op == MgcpOperation::kMdcx ? "MDCX"
                                                                        : "DLCX",
                                         c.rest);
        EXPECT_TRUE(read(c.op, text, s)) << c.rest;
        EXPECT_EQ(std::string(s.mCallId), c.callId) << c.rest;
        EXPECT_EQ(s.mConnectionMode, c.mode) << c.rest;
        EXPECT_EQ(s.mConnectionId, c.connectionId) << c.rest;
        EXPECT_EQ(s.mPacketPeriod, c.period) << c.rest;
    }
}

TEST(CommandReader, AnotherEndpointReadsNoTags) {
    MediaSession s = freshSession();
    EXPECT_FALSE(read(MgcpOperation::kCrcx, "CRCX 3 d1@ffffffffffff MGCP 1.0\r\nC: new\r\nM: sendrecv\r\n", s));
    EXPECT_STREQ(s.mCallId, "old");
    EXPECT_EQ(s.mLastTid, 3u);
}

TEST(CommandReader, AFullDatagramIsReadToItsLastByteAndNoFurther) {
    // 1500 bytes with no terminator behind them: the last tags run into the
    // datagram's end.
    std::string text = command("MDCX", "");
    text += std::string(1500 - text.size() - 14, 'x');
    text += "I: 12\r\nM: send";
    ASSERT_EQ(text.size(), 1500u);
    std::vector<std::uint8_t> exact(text.begin(), text.end());
    MediaSession s = freshSession();
    EXPECT_TRUE(readCommand(MgcpOperation::kMdcx, DatagramView(exact), s));
    EXPECT_EQ(s.mConnectionId, 12);
    EXPECT_EQ(s.mConnectionMode, kModeRecvOnly);
}

TEST(SdpReader, DescriptionFields) {
    struct Case {
        std::string description;
        std::int32_t port;
        std::int32_t codec;
        std::string connection;
    };
    const Case cases[] = {
        {"v=0\r\nm=audio 5004 RTP/AVP 18\r\na=rtpmap:18 G729/8000\r\nc=IN IP4 127.0.0.1\r\n", 5004, 18,
         "IN IP4 127.0.0.1"},
        {"v=0\r\nm=audio 7000 RTP/AVP 18\r\na=rtpmap:18 G729/8000\r\na=rtpmap:96 telephone-event/8000\r\n", 7000, 0,
         ""},
        {"v=0\r\nc=IN IP4 10.0.0.9\r\nm=audio 6000 RTP/AVP 8\r\n", 6000, 0, "IN IP4 10.0.0.9"},
        {"v=0\r\nm=audio 6000 RTP/AVP 8\r\na=rtpmap:8 PCMA/8000", 6000, 8, ""},  // last line without CR LF
        {"v=0\r\nm=video\r\n", 0, 0, ""},
        {"v=0\r\nc=" + std::string(288, '1') + "\r\n", 0, 0, std::string(288, '1')},
        {"v=0\r\nc=IN IP4 1.2.3.4\r\nc=" + std::string(289, '1') + "\r\n", 0, 0, "IN IP4 1.2.3.4"},
    };
    TraceCapture trace;
    for (const Case& c : cases) {
        MediaSession s = freshSession();
        s.mCodecType = 18;
        std::strcpy(s.mRemoteConnectionLine, "IN IP4 9.9.9.9");
        s.mRemotePort = 1;
        const std::string text = "x\r\n" + c.description;
        parseDescription(DatagramView(text), 3, s);
        EXPECT_EQ(s.mRemotePort, c.port) << c.description;
        EXPECT_EQ(s.mCodecType, c.codec) << c.description;
        EXPECT_EQ(std::string(s.mRemoteConnectionLine, strnlen(s.mRemoteConnectionLine, kDescriptionTextSize)),
                  c.connection)
            << c.description;
    }
    EXPECT_TRUE(trace.contains("MGCP - Codec type: [18]"));
    EXPECT_TRUE(trace.contains("MGCP - Codec type: [0]"));
}

TEST(SdpReader, ModeCountsBeforeOrAfterTheDescription) {
    MediaSession s = freshSession();
    EXPECT_TRUE(
        read(MgcpOperation::kCrcx, command("CRCX", "C: 1\r\n\r\nv=0\r\nm=audio 5004 RTP/AVP 0\r\nM: sendrecv\r\n"), s));
    EXPECT_EQ(s.mConnectionMode, kModeSendRecv);
    EXPECT_EQ(s.mRemotePort, 5004);
    // A later MDCX without a description leaves it as it is.
    EXPECT_TRUE(read(MgcpOperation::kMdcx, command("MDCX", "M: inactive\r\n"), s));
    EXPECT_EQ(s.mRemotePort, 5004);
    EXPECT_EQ(s.mConnectionMode, kModeInactive);
}

TEST(SignalList, SignalsAreRaisedInListOrder) {
    struct Case {
        std::string rest;
        std::vector<std::string> tags;
    };
    const Case cases[] = {
        {"X: 1\r\nS: X-P/hset(01),X-P/pctl(03),X-P/lcdp(3201000000000000)\r\nR: X-P/fk\r\n",
         {"hset_on", "sp_on", "lcdnavend"}},
        {"X: 1\r\nR: X-P/fk\r\n", {""}},
        {"S: X-P/ring(000000)\r\nQ: 1\r\nS: X-P/pctl(00)\r\n", {"sp_off"}},  // a later line fills the same block
        {"S: X-P/hset(01)\r\nS: X-P/pctl(00)\r\n", {"hset_on"}},
        {"S: X-P/bogus(1),X-P/vctl(0300)", {"", "voff_tone"}},
    };
    for (const Case& c : cases) {
        MediaSession s = freshSession();
        EXPECT_EQ(signalTags(command("RQNT", c.rest), s), c.tags) << c.rest;
    }
}

TEST(SignalList, ToneFlagAndForeignEndpoint) {
    MediaSession s = freshSession();
    EXPECT_EQ(signalTags(command("RQNT", "S: X-P/ring(010101),X-P/lcdp(3077)"), s).size(), 2u);
    EXPECT_TRUE(s.mToneSignal);
    signalTags(command("RQNT", "S: X-P/ring(000000)"), s);
    EXPECT_FALSE(s.mToneSignal);
    EXPECT_TRUE(signalTags("RQNT 4 d1@ffffffffffff MGCP 1.0\r\nS: X-P/ring(010101)", s).empty());
    EXPECT_FALSE(s.mToneSignal);
    EXPECT_EQ(s.mLastTid, 4u);
}
