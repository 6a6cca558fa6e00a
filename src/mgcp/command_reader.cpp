#include "mgcp/command_reader.h"

#include <algorithm>
#include <cstring>
#include <string_view>

#include "mgcp/packet_writer.h"
#include "mgcp/sdp_reader.h"

namespace {

constexpr std::size_t kTidIndex = 4;
constexpr std::size_t kMaxTidDigits = 19;
constexpr std::size_t kTagLength = 3;
// A C: line of this length or more (tag included) is ignored.
constexpr std::size_t kMaxCallIdLine = 32;

std::size_t findBlank(const DatagramView& packet, std::size_t from) {
    for (std::size_t i = from; i < packet.size(); ++i) {
        if (packet.at(i) == ' ') return i;
    }
    return DatagramView::npos;
}

// Up to 19 digits fit 64 bits; the field keeps the low 32 of them.
std::uint32_t readTid(std::string_view digits) {
    std::uint64_t value = 0;
    for (std::size_t i = 0; i < digits.size() && i < kMaxTidDigits; ++i) {
        if (digits[i] < '0' || digits[i] > '9') break;
        value = value * 10 + static_cast<std::uint64_t>(digits[i] - '0');
    }
    return static_cast<std::uint32_t>(value);
}

struct ModeWord {
    std::string_view text;
    ConnectionMode mode;
};
constexpr ModeWord kModes[] = {
    {"sendrecv", kModeSendRecv},
    {"recvonly", kModeRecvOnly},
    {"inactive", kModeInactive},
    {"sendonly", kModeSendOnly},
};

class TagScan {
public:
    TagScan(const DatagramView& packet, MediaSession& session) : mPacket(packet), mSession(session) {}

    void callId(std::size_t at) {
        updateLine(at);
        if (mLine < kTagLength || mLine >= kMaxCallIdLine) return;
        const std::string_view value = mPacket.text(at + kTagLength, mLine - kTagLength);
        std::memset(mSession.mCallId, 0, sizeof mSession.mCallId);
        std::copy(value.begin(), value.end(), mSession.mCallId);
    }
    void localOptions(std::size_t at) {
        updateLine(at);
        if (mPacket.matches(at + kTagLength, "p:")) mSession.mPacketPeriod = readDecimal(mPacket, at + kTagLength + 2);
    }
    void mode(std::size_t at) {
        updateLine(at);
        for (const ModeWord& m : kModes) {
            if (mPacket.matches(at + kTagLength, m.text)) {
                mSession.mConnectionMode = m.mode;
                return;
            }
        }
    }
    void connectionId(std::size_t at) {
        updateLine(at);
        mSession.mConnectionId = readDecimal(mPacket, at + kTagLength);
    }

private:
    // A line without a CR LF behind it keeps the length of the one before.
    void updateLine(std::size_t at) {
        const std::size_t length = mPacket.lineLength(at);
        if (length != DatagramView::npos) mLine = length;
    }

    const DatagramView& mPacket;
    MediaSession& mSession;
    std::size_t mLine = 0;
};

}  // namespace

std::optional<std::size_t> readCommandLine(const DatagramView& packet, MediaSession& session) {
    if (packet.at(kTidIndex) != ' ') return 0;
    const std::size_t tidEnd = findBlank(packet, kTidIndex + 1);
    if (tidEnd == DatagramView::npos) return 0;
    session.mLastTid = readTid(packet.text(kTidIndex + 1, tidEnd - kTidIndex - 1));
    const std::size_t tokenEnd = findBlank(packet, tidEnd + 1);
    if (tokenEnd == DatagramView::npos) return 0;
    const std::string_view token = packet.text(tidEnd + 1, tokenEnd - tidEnd - 1);
    const std::size_t nameLength = fieldLength(session.mEndpointName);
    if (token.substr(0, nameLength) != std::string_view(session.mEndpointName, nameLength)) {
        return std::nullopt;
    }
    if (token.size() > nameLength) {
        // The longer name replaces ours, as far as the field holds it with
        // its terminator.
        const std::size_t kept = token.size() < kEndpointNameSize ? token.size() : kEndpointNameSize - 1;
        std::memset(session.mEndpointName, 0, sizeof session.mEndpointName);
        std::memcpy(session.mEndpointName, token.data(), kept);
    }
    return tokenEnd;
}

bool readCommand(MgcpOperation code, const DatagramView& packet, MediaSession& session) {
    const std::optional<std::size_t> offset = readCommandLine(packet, session);
    if (!offset) return false;
    const bool create = code == MgcpOperation::kCrcx;
    const bool modify = code == MgcpOperation::kMdcx;
    TagScan scan(packet, session);
    // Tags count at every byte, not only at line starts, so that a value
    // holding a tag is read as that tag.
    for (std::size_t i = *offset; i < packet.size(); ++i) {
        if (packet.matches(i, "C: ")) {
            scan.callId(i);
        } else if (create && packet.matches(i, "L: ")) {
            scan.localOptions(i);
        } else if ((create || modify) && packet.matches(i, "v=")) {
            parseDescription(packet, i, session);
        } else if ((create || modify) && packet.matches(i, "M: ")) {
            scan.mode(i);
        } else if (!create && packet.matches(i, "I: ")) {
            scan.connectionId(i);
        }
    }
    return true;
}
