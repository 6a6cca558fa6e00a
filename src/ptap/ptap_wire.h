// The bytes of the control link: packet header, items, and every packet the
// terminal sends. Pure: bytes in, values out, and the reverse.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "platform/udp_socket.h"
#include "ptap/ptap_codes.h"

namespace ptap {

constexpr std::size_t kHeaderLength = 9;
using platform::kMaxDatagram;
constexpr std::size_t kMaxPayload = kMaxDatagram - kHeaderLength;
// Both peers keep transaction ids below this, since the high byte doubles as
// the fifth byte of the magic test.
constexpr std::uint32_t kTidLimit = 0x01000000;
constexpr std::uint8_t kEndOfItems = 0xFF;

// The transaction id exactly as it stood on the wire.
using TidBytes = std::array<std::uint8_t, 4>;

std::uint16_t readU16(std::span<const std::uint8_t> bytes, std::size_t offset);
std::uint32_t readU32(std::span<const std::uint8_t> bytes, std::size_t offset);
void appendU16(std::vector<std::uint8_t>& out, std::uint16_t value);
void appendU32(std::vector<std::uint8_t>& out, std::uint32_t value);
TidBytes tidBytes(std::uint32_t tid);
std::uint32_t tidValue(const TidBytes& bytes);

// One item of a received payload; the value is a view into the datagram.
struct PtapItem {
    std::int32_t tag = 0;
    std::span<const std::uint8_t> value;
};

// A received datagram split into header and items. Views into the datagram:
// valid while its bytes are.
struct PtapPacket {
    TidBytes tid{};
    std::uint8_t type = 0;
    std::span<const std::uint8_t> payload;
    std::vector<PtapItem> items;
};

// The items of a payload, in order. The walk stops at the closing byte, at
// the payload end, and at an item whose length field or value would run past
// the end; what came before is kept.
std::vector<PtapItem> readItems(std::span<const std::uint8_t> payload);

// False for a datagram that is not PTAP: 9 bytes or less, or first five
// bytes other than "PTAP" and a zero (which also refuses a tid of 0x01000000
// or more).
bool parsePacket(std::span<const std::uint8_t> datagram, PtapPacket& out);

// What START carries of the client's network data.
struct StartData {
    std::uint8_t startCode = 0;
    std::array<std::uint8_t, 12> connectionInfo{};
    std::array<std::uint8_t, 6> hardwareAddress{};
    std::uint32_t localAddress = 0;  // first dotted part most significant
    int registrationMode = 0;        // 1 selects mode 1, anything else mode 0
};

std::vector<std::uint8_t> buildStart(std::uint32_t tid, const StartData& data);
std::vector<std::uint8_t> buildOpBegin(std::uint32_t tid);
// The acknowledgment repeats the received tid byte for byte.
std::vector<std::uint8_t> buildAck(const TidBytes& tid);
std::vector<std::uint8_t> buildErrorResponse(std::uint32_t tid, std::uint8_t code);
std::vector<std::uint8_t> buildCardAnswer(std::uint32_t tid);

}  // namespace ptap
