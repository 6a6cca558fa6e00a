// The texts the terminal sends on the MGCP link. Pure builders: values in,
// bytes out. Each writes into `out` (the 1500-byte payload), CR LF after
// every line, no terminator counted, and gives the length written.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

// "RSIP <tid> <endpoint> MGCP 1.0" and "RM: restart".
std::size_t buildRsip(std::span<std::uint8_t> out, std::uint32_t tid, std::string_view endpoint);

// The NTFY for one key text. Above number 1 it bears "K:" with the number
// before it; the key "0a03" bears that line twice.
std::size_t buildNtfy(std::span<std::uint8_t> out, std::uint32_t tid, std::string_view endpoint, std::int32_t requestId,
                      std::string_view keyText);

// A DLCX under the number of the last command received.
std::size_t buildDlcx(std::span<std::uint8_t> out, std::uint32_t lastTid, std::string_view endpoint,
                      std::string_view callId, std::int32_t connectionId);

// "<code> <tid> OK" for "200", "<code> <tid>" for any other code. A
// description, if any, is appended behind it by appendDescription.
std::size_t buildResponse(std::span<std::uint8_t> out, std::string_view code, std::uint32_t lastTid);
