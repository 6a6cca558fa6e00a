// One MGCP datagram in memory: a fixed payload of 1500 bytes, whatever the
// message's length, received or to be sent.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string_view>

#include "platform/udp_socket.h"

constexpr std::size_t kMgcpPayloadSize = platform::kMaxDatagram;

struct MgcpPacket {
    std::uint32_t length = kMgcpPayloadSize;
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};
    std::uint8_t isResend = 0;

    // The message as it stands: `length` bytes, never past the payload.
    std::span<const std::uint8_t> bytes() const {
        return {payload.data(), length < payload.size() ? length : payload.size()};
    }
    std::string_view text() const {
        std::span<const std::uint8_t> b = bytes();
        return {reinterpret_cast<const char*>(b.data()), b.size()};
    }
};

using MgcpPacketPtr = std::unique_ptr<MgcpPacket>;

// A new zeroed packet, or null (traced) when memory is short.
MgcpPacketPtr createPacket();
// Accepts null.
void freePacket(MgcpPacketPtr packet);
