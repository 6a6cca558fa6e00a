// MGCP operation codes. They classify datagrams by verb and are the codes of
// every event between MGCP and its parent: 1, 2, 3 and 6 come up from the
// server, 4, 5, 7 and 8 go down to be sent.
#pragma once

#include <cstdint>

enum class MgcpOperation : std::int32_t {
    kCrcx = 1,
    kMdcx = 2,
    kDlcxReceived = 3,  // from the server
    kDlcxSent = 4,      // from the terminal
    kNtfy = 5,
    kRqnt = 6,  // one signal of an RQNT, as a SignalBlock
    kRsip = 7,
    kResponse = 8,
};

constexpr std::int32_t toInt(MgcpOperation op) { return static_cast<std::int32_t>(op); }
