// The ParameterContainer a client hands to initialize: its addresses, its
// MAC address and the four callbacks.
#pragma once

#include <array>
#include <cstdint>
#include <string>

#include "softphone.h"

namespace client {

// "a.b.c.d" to the container's form (first dotted part most significant).
bool parseAddress(const std::string& text, std::uint32_t& address);
// Twelve hexadecimal digits, with or without ':' between the bytes.
bool parseMac(const std::string& text, std::array<std::uint8_t, 6>& mac);

ParameterContainer terminalParameters(std::uint32_t server, std::uint32_t local,
                                      const std::array<std::uint8_t, 6>& mac);

}  // namespace client
