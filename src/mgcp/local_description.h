// The terminal's own session description: prepared ahead of time in the
// session record, appended to the answers of CRCX and MDCX.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string>

#include "mgcp/media_session.h"

// "PCMU", "PCMA", "G722", "G729" for payloads 0, 8, 9, 18; "PCMU" for any
// other, so that the attribute always names a known codec.
const char* payloadName(std::int32_t payload);

// "a.b.c.d" for an address in the platform's order.
std::string dottedAddress(std::uint32_t address);

// Version, origin, session name, connection and times, from the terminal's
// address.
void setLocalAddressLines(MediaSession& session, std::uint32_t address);

// The port, the media line and the rtpmap attribute from `port` and the
// present codec. A port outside 0 to 65535 changes nothing (result false).
bool setLocalMediaLines(MediaSession& session, int port);

// Appends the I: line, the empty line and the v= ... a= lines at `used`
// bytes into `out`; gives the new length.
std::size_t appendDescription(std::span<std::uint8_t> out, std::size_t used, const MediaSession& session);
