// The signal list of an RQNT ("S: X-P/a(..),X-P/b(..)"), taken apart from
// the front: each pass decodes the first signal into a block, then moves
// the rest of the list up behind "S: " for the next pass.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "mgcp/media_session.h"
#include "mgcp/mgcp_packet.h"
#include "mgcp/signal_block.h"

class SignalList {
public:
    // Works on its own copy of the datagram.
    explicit SignalList(std::span<const std::uint8_t> packet);

    // True while a signal is left to read.
    bool pending() const { return mLength != 0; }

    // One pass: zeroes `block` and fills it from the first signal, setting
    // or clearing the session's tone flag as the signal says. True when the
    // block is to be raised: a command for another endpoint ends the walk
    // with false. A command without a signal gives one empty block.
    bool next(MediaSession& session, SignalBlock& block);

private:
    std::array<std::uint8_t, kMgcpPayloadSize> mBytes{};
    std::size_t mLength = 0;
};
