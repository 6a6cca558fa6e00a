// Golden texts of everything the terminal sends on the MGCP link.
#include <gtest/gtest.h>

#include <array>
#include <functional>
#include <string>
#include <tuple>

#include "mgcp/local_description.h"
#include "mgcp/mgcp_messages.h"
#include "mgcp/mgcp_packet.h"

namespace {

constexpr std::string_view kEndpoint = "d1@0011223344ff";
using Payload = std::array<std::uint8_t, kMgcpPayloadSize>;

// The text a builder writes into a payload, which must hold nothing behind it.
std::string built(const std::function<std::size_t(Payload&)>& build) {
    Payload p;
    p.fill(0xAA);
    const std::size_t n = build(p);
    if (n < p.size()) {
        EXPECT_EQ(p[n], 0xAA) << "nothing written behind the message";
    }
    return {reinterpret_cast<const char*>(p.data()), n};
}

std::string ntfy(std::uint32_t tid, std::string_view key) {
    return built([&](Payload& p) { return buildNtfy(p, tid, kEndpoint, 1, key); });
}

std::string response(std::string_view code, std::uint32_t tid) {
    return built([&](Payload& p) { return buildResponse(p, code, tid); });
}

TEST(MgcpMessages, EachTextTheTerminalSendsHasItsGoldenForm) {
    const std::tuple<const char*, std::string, const char*> cases[] = {
        {"RSIP 1 opens", built([](Payload& p) { return buildRsip(p, 1, kEndpoint); }),
         "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n"},
        {"RSIP never bears K", built([](Payload& p) { return buildRsip(p, 9, kEndpoint); }),
         "RSIP 9 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n"},
        {"NTFY 7 of digit 1", ntfy(7, "0731"), "NTFY 7 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\nK: 6\r\n"},
        {"NTFY 1 has no K", ntfy(1, "0731"), "NTFY 1 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0731\r\n"},
        {"unknown key has no O", ntfy(3, "0c30"), "NTFY 3 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nK: 2\r\n"},
        {"0a03 at 1", ntfy(1, "0a03"), "NTFY 1 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0a03\r\n"},
        {"0a03 bears K twice", ntfy(5, "0a03"),
         "NTFY 5 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/fk0a03\r\nK: 4\r\nK: 4\r\n"},
        {"line event has no fk", ntfy(2, "line(0003)"),
         "NTFY 2 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nO: X-P/line(0003)\r\nK: 1\r\n"},
        {"DLCX under the last command's number",
         built([](Payload& p) { return buildDlcx(p, 4711, kEndpoint, "A3C47F21456789F0", 12); }),
         "DLCX 4711 d1@0011223344ff MGCP 1.0\r\nC: A3C47F21456789F0\r\nI: 12\r\n"},
        {"only 200 has a reason", response("200", 1234), "200 1234 OK\r\n"},
        {"other codes have none", response("100", 1234), "100 1234\r\n"},
    };
    for (const auto& [name, text, expected] : cases) EXPECT_EQ(text, expected) << name;
}

TEST(MgcpMessages, CrcxAnswerCarriesTheLocalDescription) {
    MediaSession session;
    session.mConnectionId = 0;
    setLocalAddressLines(session, 0x0A010203);
    ASSERT_TRUE(setLocalMediaLines(session, 8000));
    EXPECT_EQ(built([&](Payload& p) { return appendDescription(p, buildResponse(p, "200", 1234), session); }),
              "200 1234 OK\r\nI: 0\r\n\r\nv=0\r\no=- 0 0 IN IP4 10.1.2.3\r\ns=-\r\nc=IN IP4 10.1.2.3\r\nt=0 0\r\n"
              "m=audio 8000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n");
}

TEST(MgcpMessages, BuildersStopAtTheEndOfTheirBuffer) {
    std::array<std::uint8_t, 20> small{};
    EXPECT_EQ(buildNtfy(small, 7, kEndpoint, 1, "0731"), small.size());
    Payload p;
    EXPECT_EQ(buildRsip(p, 1, std::string(3000, 'e')), kMgcpPayloadSize);
    MediaSession session;
    setLocalAddressLines(session, 0x0A010203);
    setLocalMediaLines(session, 8000);
    EXPECT_EQ(appendDescription(p, kMgcpPayloadSize - 10, session), kMgcpPayloadSize);
}

}  // namespace
