#include "mgcp/mgcp_messages.h"

#include "mgcp/observed_event.h"
#include "mgcp/packet_writer.h"

namespace {

int width(std::string_view text) {
    return static_cast<int>(text.size());
}

}  // namespace

std::size_t buildRsip(std::span<std::uint8_t> out, std::uint32_t tid, std::string_view endpoint) {
    PacketWriter w(out);
    w.print("RSIP %d %.*s MGCP 1.0\r\n", static_cast<int>(tid), width(endpoint), endpoint.data());
    w.print("RM: restart\r\n");
    return w.length();
}

std::size_t buildNtfy(std::span<std::uint8_t> out, std::uint32_t tid, std::string_view endpoint, std::int32_t requestId,
                      std::string_view keyText) {
    PacketWriter w(out);
    w.print("NTFY %u %.*s MGCP 1.0\r\n", tid, width(endpoint), endpoint.data());
    w.print("X: %d\r\n", requestId);
    // K names the message before this one, answered or not.
    const int previous = static_cast<int>(tid - 1);
    const ObservedEvent event = lookupObservedEvent(keyText);
    switch (event.kind) {
        case ObservedEventKind::Key:
            w.print("O: X-P/fk%.*s\r\n", width(event.code), event.code.data());
            break;
        case ObservedEventKind::KeyWithSecondK:
            w.print("O: X-P/fk%.*s\r\n", width(event.code), event.code.data());
            if (tid > 1) w.print("K: %d\r\n", previous);
            break;
        case ObservedEventKind::Line:
            w.print("O: X-P/%.*s\r\n", width(event.code), event.code.data());
            break;
        case ObservedEventKind::None:
            break;
    }
    if (tid > 1) w.print("K: %d\r\n", previous);
    return w.length();
}

std::size_t buildDlcx(std::span<std::uint8_t> out, std::uint32_t lastTid, std::string_view endpoint,
                      std::string_view callId, std::int32_t connectionId) {
    PacketWriter w(out);
    w.print("DLCX %u %.*s MGCP 1.0\r\n", lastTid, width(endpoint), endpoint.data());
    w.print("C: %.*s\r\n", width(callId), callId.data());
    w.print("I: %d\r\n", connectionId);
    return w.length();
}

std::size_t buildResponse(std::span<std::uint8_t> out, std::string_view code, std::uint32_t lastTid) {
    PacketWriter w(out);
    w.print("%.*s ", width(code), code.data());
    if (code == "200") {
        w.print("%d ", static_cast<int>(lastTid));
        w.print("OK\r\n");
    } else {
        w.print("%d\r\n", static_cast<int>(lastTid));
    }
    return w.length();
}
