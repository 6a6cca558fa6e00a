// Reading the server's session description into the session record: one
// audio stream, a handful of line types, the last line of a kind wins.
#pragma once

#include <cstddef>

#include "mgcp/datagram_view.h"
#include "mgcp/media_session.h"

// Reads from the "v=" at `offset` to the end of the datagram. The remote
// description, the port and the codec are cleared first.
void parseDescription(const DatagramView& packet, std::size_t offset, MediaSession& session);
