// Classification of MGCP texts by their verb, and the transaction number
// read back out of a text. Pure: bytes in, values out.
#pragma once

#include <cstdint>
#include <span>
#include <string_view>

#include "mgcp/mgcp_operation.h"

// A received datagram: "CRCX", "MDCX", "RQNT", "DLCX" by the first four
// bytes, case-sensitively; anything else is taken for a response.
MgcpOperation classifyReceived(std::span<const std::uint8_t> message);
// A datagram the terminal sends: also "DLCX" (as 4), "RSIP" and "NTFY".
MgcpOperation classifySent(std::span<const std::uint8_t> message);

// The decimal number after the first blank, up to the next blank or the end
// of the message; 0 when there is none. The number token is at most 11
// characters, of which the leading digits count.
std::uint32_t readTransactionId(std::span<const std::uint8_t> message);

inline std::span<const std::uint8_t> asBytes(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}
