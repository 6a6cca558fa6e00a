#include "mgcp/local_description.h"

#include <cstdio>

#include "mgcp/packet_writer.h"

namespace {

constexpr int kClockRate = 8000;

template <std::size_t N>
int fieldWidth(const char (&field)[N]) {
    return static_cast<int>(fieldLength(field));
}

}  // namespace

const char* payloadName(std::int32_t payload) {
    switch (payload) {
        case 8:
            return "PCMA";
        case 9:
            return "G722";
        case 18:
            return "G729";
        default:
            return "PCMU";
    }
}

std::string dottedAddress(std::uint32_t address) {
    char text[16];
    std::snprintf(text, sizeof text, "%u.%u.%u.%u", (address >> 24) & 0xFFu, (address >> 16) & 0xFFu,
                  (address >> 8) & 0xFFu, address & 0xFFu);
    return text;
}

void setLocalAddressLines(MediaSession& session, std::uint32_t address) {
    const std::string dotted = dottedAddress(address);
    session.mLocalVersion = 0;
    std::snprintf(session.mLocalOrigin, sizeof session.mLocalOrigin, "- 0 0 IN IP4 %s", dotted.c_str());
    std::snprintf(session.mLocalSessionName, sizeof session.mLocalSessionName, "-");
    std::snprintf(session.mLocalConnectionLine, sizeof session.mLocalConnectionLine, "IN IP4 %s", dotted.c_str());
    session.mLocalTimeStart = 0;
    session.mLocalTimeStop = 0;
}

bool setLocalMediaLines(MediaSession& session, int port) {
    if (port < 0 || port > 65535) return false;
    session.mLocalPort = port;
    std::snprintf(session.mLocalMediaLine, sizeof session.mLocalMediaLine, "audio %d RTP/AVP %d", port,
                  session.mCodecType);
    std::snprintf(session.mLocalAttribute, sizeof session.mLocalAttribute, "rtpmap:%d %s/%d", session.mCodecType,
                  payloadName(session.mCodecType), kClockRate);
    return true;
}

std::size_t appendDescription(std::span<std::uint8_t> out, std::size_t used, const MediaSession& session) {
    PacketWriter w(out, used);
    // I: stands among the parameter lines, in front of the empty line that
    // opens the description.
    w.print("I: %d\r\n", session.mConnectionId);
    w.print("\r\n");
    w.print("v=%d\r\n", session.mLocalVersion);
    w.print("o=%.*s\r\n", fieldWidth(session.mLocalOrigin), session.mLocalOrigin);
    w.print("s=%.*s\r\n", fieldWidth(session.mLocalSessionName), session.mLocalSessionName);
    w.print("c=%.*s\r\n", fieldWidth(session.mLocalConnectionLine), session.mLocalConnectionLine);
    w.print("t=%d ", session.mLocalTimeStart);
    w.print("%d\r\n", session.mLocalTimeStop);
    w.print("m=%.*s\r\n", fieldWidth(session.mLocalMediaLine), session.mLocalMediaLine);
    w.print("a=%.*s\r\n", fieldWidth(session.mLocalAttribute), session.mLocalAttribute);
    return w.length();
}
