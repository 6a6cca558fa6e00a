// The RTP fixed header (12 bytes, no CSRC list, no extension) and the
// checks a received datagram has to pass. Pure: bytes in, values out.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "platform/udp_socket.h"

constexpr std::size_t kRtpHeaderBytes = 12;
// The largest datagram the voice path takes, header included.
constexpr std::size_t kRtpMaxDatagram = platform::kMaxDatagram;
constexpr std::uint8_t kRtpVersion = 2;

struct RtpHeader {
    std::uint8_t version = kRtpVersion;
    bool padding = false;
    bool extension = false;
    std::uint8_t csrcCount = 0;
    bool marker = false;
    std::uint8_t payloadType = 0;  // 7 bits
    std::uint16_t sequence = 0;
    std::uint32_t timestamp = 0;
    std::uint32_t ssrc = 0;
};

// The header the terminal sends: version 2, no padding, extension, sources
// or marker; the payload type's low 7 bits. Sequence and timestamp go in
// network order; the source id goes as the little-endian machine the
// terminal was built for holds it in memory, unswapped, so peers that echo
// it byte for byte see the same id.
void writeRtpHeader(std::span<std::uint8_t, kRtpHeaderBytes> out, std::uint8_t payloadType, std::uint16_t sequence,
                    std::uint32_t timestamp, std::uint32_t ssrc);

RtpHeader readRtpHeader(std::span<const std::uint8_t, kRtpHeaderBytes> header);

// The receive check of one datagram: at least 12 header bytes and one
// payload byte, at most 1500 bytes, version 2, and a padding count (the
// last byte, when the padding bit is set) no larger than the payload.
// Gives the payload length with the padding taken off, or nothing for a
// datagram to drop. Extension bit and CSRC count are ignored: the first 12
// bytes are always the header.
std::optional<std::size_t> rtpPayloadLength(std::span<const std::uint8_t> datagram);
