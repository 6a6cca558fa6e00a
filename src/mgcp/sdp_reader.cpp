#include "mgcp/sdp_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "common/payload_type.h"
#include "common/tracer.h"

namespace {

constexpr std::size_t kTagLength = 2;
// Character of the media value where the port stands: "audio " comes first.
constexpr std::size_t kMediaPortIndex = 6;

// The value behind a tag: up to the next CR LF, or to the end of a
// datagram whose last line has none.
std::string_view lineValue(const DatagramView& packet, std::size_t tagAt) {
    const std::size_t start = tagAt + kTagLength;
    const std::size_t length = packet.lineLength(start);
    return packet.text(start, length == DatagramView::npos ? packet.size() : length);
}

// A value that doesn't fit its field is ignored. One of exactly the field's
// size fills it without a terminator; every reader of these fields stops at
// the field's end.
template <std::size_t N>
bool storeText(char (&field)[N], std::string_view value) {
    if (value.size() > N) return false;
    std::memset(field, 0, N);
    std::copy(value.begin(), value.end(), field);
    return true;
}

std::int32_t knownPayload(std::int32_t payload) {
    switch (static_cast<PayloadType>(payload)) {
        case PayloadType::kPcmu:
        case PayloadType::kPcma:
        case PayloadType::kG722:
        case PayloadType::kG729:
            return payload;
        default:
            return toInt(PayloadType::kPcmu);
    }
}

void readAttribute(std::string_view value, MediaSession& session) {
    if (!storeText(session.mRemoteAttribute, value)) return;
    constexpr std::string_view kRtpmap = "rtpmap:";
    if (value.size() <= kRtpmap.size()) return;
    const std::size_t at = value.find(kRtpmap);
    if (at == std::string_view::npos) return;
    const DatagramView number(value.substr(at + kRtpmap.size()));
    session.mCodecType = knownPayload(readDecimal(number, 0));
    Tracer::instance()->trace(kTraceDetail, "MGCP - Codec type: [%d]", session.mCodecType);
}

void clearRemote(MediaSession& session) {
    session.mRemoteVersion = 0;
    std::memset(session.mRemoteOrigin, 0, sizeof session.mRemoteOrigin);
    std::memset(session.mRemoteSessionName, 0, sizeof session.mRemoteSessionName);
    std::memset(session.mRemoteAttribute, 0, sizeof session.mRemoteAttribute);
    session.mRemoteTimeStart = 0;
    session.mRemoteTimeStop = 0;
    std::memset(session.mRemoteMediaLine, 0, sizeof session.mRemoteMediaLine);
    std::memset(session.mRemoteConnectionLine, 0, sizeof session.mRemoteConnectionLine);
    session.mRemotePort = 0;
    session.mCodecType = 0;
}

}  // namespace

void parseDescription(const DatagramView& packet, std::size_t offset, MediaSession& session) {
    clearRemote(session);
    // Tags count wherever they stand, not only at line starts.
    for (std::size_t i = offset; i < packet.size(); ++i) {
        if (packet.matches(i, "v=")) {
            const std::string_view value = lineValue(packet, i);
            if (value.size() <= kDescriptionTextSize) session.mRemoteVersion = readDecimal(DatagramView(value), 0);
        } else if (packet.matches(i, "o=")) {
            storeText(session.mRemoteOrigin, lineValue(packet, i));
        } else if (packet.matches(i, "s=")) {
            storeText(session.mRemoteSessionName, lineValue(packet, i));
        } else if (packet.matches(i, "a=")) {
            readAttribute(lineValue(packet, i), session);
        } else if (packet.matches(i, "t=")) {
            session.mRemoteTimeStart = readDecimal(packet, i + kTagLength);
        } else if (packet.matches(i, "m=")) {
            const std::string_view value = lineValue(packet, i);
            if (storeText(session.mRemoteMediaLine, value)) {
                session.mRemotePort = readDecimal(DatagramView(value), kMediaPortIndex);
            }
        } else if (packet.matches(i, "c=")) {
            storeText(session.mRemoteConnectionLine, lineValue(packet, i));
        }
    }
}
