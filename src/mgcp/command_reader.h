// Reading the server's CRCX, MDCX and DLCX into the session record. Not a
// full MGCP grammar: a scan for a handful of literal tags at every byte.
#pragma once

#include <cstddef>
#include <optional>

#include "mgcp/datagram_view.h"
#include "mgcp/media_session.h"
#include "mgcp/mgcp_operation.h"

// The command line: the transaction number into mLastTid and the endpoint
// token checked against mEndpointName (a longer token that begins with it
// replaces it). Gives the offset where the tag scan begins, or nothing when
// the command is for another endpoint.
std::optional<std::size_t> readCommandLine(const DatagramView& packet, MediaSession& session);

// The command line and the tags of CRCX, MDCX or DLCX; false when the
// command isn't for this endpoint (its fields are then read all the same
// up to the endpoint, and no further).
bool readCommand(MgcpOperation code, const DatagramView& packet, MediaSession& session);
