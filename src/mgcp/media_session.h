// The per-line record of the MGCP endpoint: transaction numbers, names,
// connection identifiers and both session descriptions. MGCP fills it; the
// CallProcessor and Wave read the media fields.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {
class UdpSocket;
}

// Capacities of the text fields, terminator included.
constexpr std::size_t kEndpointNameSize = 20;
constexpr std::size_t kCallIdSize = 32;
constexpr std::size_t kDescriptionTextSize = 0x120;

// An IPv4 address and port in the platform's order: the first dotted part is
// the most significant byte of `address`.
struct Ipv4Endpoint {
    std::uint32_t address = 0;
    std::uint16_t port = 0;
};

// Connection modes of the M: line.
enum ConnectionMode : std::int32_t {
    kModeSendRecv = 0,
    kModeSendOnly = 1,
    kModeInactive = 2,
    kModeRecvOnly = 3,
};

struct MediaSession {
    std::uint32_t mNextTid = 0;  // number of the next RSIP or NTFY
    std::uint32_t mLastTid = 0;  // number of the last server command; responses echo it
    char mEndpointName[kEndpointNameSize] = {};
    std::int32_t mRequestId = 0;  // the X: value of every NTFY
    char mCallId[kCallIdSize] = {};
    std::int32_t mConnectionId = 0;
    platform::UdpSocket* mSocket = nullptr;  // owned by MGCP; null while none is open
    std::uint32_t mLocalAddress = 0;         // written into the local description
    std::uint32_t mServerAddress = 0;        // as NetworkInitData holds it
    bool mToneSignal = false;                // set by ring and vctl, read by the CallProcessor
    Ipv4Endpoint mLocalEndpoint;             // what the socket is bound to
    Ipv4Endpoint mServerEndpoint;            // where every datagram goes
    std::int32_t mConnectionMode = kModeSendRecv;
    std::int32_t mPacketPeriod = 0;  // p: of the L: line

    // What the last incoming description said.
    std::int32_t mRemoteVersion = 0;
    char mRemoteOrigin[kDescriptionTextSize] = {};
    char mRemoteSessionName[kDescriptionTextSize] = {};
    char mRemoteAttribute[kDescriptionTextSize] = {};
    std::int32_t mRemoteTimeStart = 0;
    std::int32_t mRemoteTimeStop = 0;
    char mRemoteMediaLine[kDescriptionTextSize] = {};
    char mRemoteConnectionLine[kDescriptionTextSize] = {};
    std::int32_t mRemotePort = 0;
    std::int32_t mCodecType = 0;  // payload type: 0, 8, 9 or 18

    // What the terminal answers with.
    std::int32_t mLocalVersion = 0;
    char mLocalOrigin[kDescriptionTextSize] = {};
    char mLocalSessionName[kDescriptionTextSize] = {};
    char mLocalAttribute[kDescriptionTextSize] = {};
    std::int32_t mLocalTimeStart = 0;
    std::int32_t mLocalTimeStop = 0;
    char mLocalMediaLine[kDescriptionTextSize] = {};
    char mLocalConnectionLine[kDescriptionTextSize] = {};
    std::int32_t mLocalPort = 0;
};
