// Golden texts of everything the terminal sends on the MGCP link.
#include <gtest/gtest.h>

#include <array>
#include <string>

#include "mgcp/local_description.h"
#include "mgcp/mgcp_messages.h"
#include "mgcp/mgcp_packet.h"

namespace {

constexpr std::string_view kEndpoint = "d1@0011223344ff";

struct Payload {
    std::array<std::uint8_t, kMgcpPayloadSize> bytes{};
    std::string text(std::size_t length) const { return {reinterpret_cast<const char*>(bytes.data()), length}; }
};

std::string rsip(std::uint32_t tid) {
    Payload p;
    return p.text(buildRsip(p.bytes, tid, kEndpoint));
}

std::string ntfy(std::uint32_t tid, std::string_view key) {
    Payload p;
    return p.text(buildNtfy(p.bytes, tid, kEndpoint, 1, key));
}

std::string response(std::string_view code, std::uint32_t tid) {
    Payload p;
    return p.text(buildResponse(p.bytes, code, tid));
}

TEST(MgcpMessages, RsipOneIsTheFirstMessage) {
    EXPECT_EQ(rsip(1), "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
}

TEST(MgcpMessages, RsipNeverBearsAKLine) {
    EXPECT_EQ(rsip(9), "RSIP 9 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n");
}

TEST(MgcpMessages, SeventhMessageIsNtfyOfDigitOne) {
    EXPECT_EQ(ntfy(7, "0731"), "NTFY 7 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 6\r\n");
}

TEST(MgcpMessages, FirstNtfyAfterRsipNamesItInK) {
    EXPECT_EQ(ntfy(2, "0200"), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0200\r\nK: 1\r\n");
}

TEST(MgcpMessages, NtfyAtNumberOneHasNoKLine) {
    EXPECT_EQ(ntfy(1, "0731"), "NTFY 1 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\n");
}

TEST(MgcpMessages, NtfyOfAnUnknownKeyHasNoObservedEventLine) {
    EXPECT_EQ(ntfy(3, "0c30"), "NTFY 3 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 2\r\n");
    EXPECT_EQ(ntfy(4, "spkout"), "NTFY 4 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 3\r\n");
    EXPECT_EQ(ntfy(5, ""), "NTFY 5 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 4\r\n");
}

TEST(MgcpMessages, Ntfy0a03BearsItsKLineTwiceAboveNumberOne) {
    EXPECT_EQ(ntfy(1, "0a03"), "NTFY 1 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0a03\r\n");
    EXPECT_EQ(ntfy(5, "0a03"), "NTFY 5 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0a03\r\nK: 4\r\nK: 4\r\n");
}

TEST(MgcpMessages, NtfyOfALineEventHasNoFkPrefix) {
    EXPECT_EQ(ntfy(2, "line(0003)"), "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/line(0003)\r\nK: 1\r\n");
}

TEST(MgcpMessages, DlcxCarriesTheLastCommandsNumber) {
    Payload p;
    const std::size_t n = buildDlcx(p.bytes, 4711, kEndpoint, "A3C47F21456789F0", 12);
    EXPECT_EQ(p.text(n), "DLCX 4711 d1@0011223344ff MGCP 1.0\r\nC: A3C47F21456789F0\r\nI: 12\r\n");
}

TEST(MgcpMessages, OnlyCode200HasAReasonText) {
    EXPECT_EQ(response("200", 1234), "200 1234 OK\r\n");
    EXPECT_EQ(response("100", 1234), "100 1234\r\n");
    EXPECT_EQ(response("250", 8), "250 8\r\n");
}

TEST(MgcpMessages, CrcxAnswerCarriesTheLocalDescription) {
    MediaSession session;
    session.mLastTid = 1234;
    session.mConnectionId = 0;
    setLocalAddressLines(session, 0x0A010203);
    ASSERT_TRUE(setLocalMediaLines(session, 8000));

    EXPECT_EQ(response("100", session.mLastTid), "100 1234\r\n");
    Payload p;
    std::size_t n = buildResponse(p.bytes, "200", session.mLastTid);
    n = appendDescription(p.bytes, n, session);
    EXPECT_EQ(p.text(n),
              "200 1234 OK\r\n"
              "I: 0\r\n"
              "\r\n"
              "v=0\r\n"
              "o=- 0 0 IN IP4 10.1.2.3\r\n"
              "s=-\r\n"
              "c=IN IP4 10.1.2.3\r\n"
              "t=0 0\r\n"
              "m=audio 8000 RTP/AVP 0\r\n"
              "a=rtpmap:0 PCMU/8000\r\n");
}

TEST(MgcpMessages, LengthCountsNoTerminator) {
    Payload p;
    p.bytes.fill(0xAA);
    const std::size_t n = buildRsip(p.bytes, 1, kEndpoint);
    EXPECT_EQ(n, std::string_view("RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n").size());
    EXPECT_EQ(p.bytes[n], 0xAA);  // nothing written behind the message
}

TEST(MgcpMessages, BuildersNeverWritePastTheirBuffer) {
    std::array<std::uint8_t, 20> small{};
    EXPECT_EQ(buildNtfy(small, 7, kEndpoint, 1, "0731"), small.size());
    const std::string longEndpoint(3000, 'e');
    Payload p;
    EXPECT_EQ(buildRsip(p.bytes, 1, longEndpoint), kMgcpPayloadSize);
}

TEST(MgcpMessages, DescriptionIsCutAtTheEndOfThePayload) {
    MediaSession session;
    setLocalAddressLines(session, 0x0A010203);
    setLocalMediaLines(session, 8000);
    Payload p;
    EXPECT_EQ(appendDescription(p.bytes, kMgcpPayloadSize - 10, session), kMgcpPayloadSize);
}

}  // namespace
