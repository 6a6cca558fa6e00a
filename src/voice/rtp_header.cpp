#include "voice/rtp_header.h"

void writeRtpHeader(std::span<std::uint8_t, kRtpHeaderBytes> out, std::uint8_t payloadType, std::uint16_t sequence,
                    std::uint32_t timestamp, std::uint32_t ssrc) {
    out[0] = kRtpVersion << 6;
    out[1] = payloadType & 0x7F;
    out[2] = static_cast<std::uint8_t>(sequence >> 8);
    out[3] = static_cast<std::uint8_t>(sequence);
    out[4] = static_cast<std::uint8_t>(timestamp >> 24);
    out[5] = static_cast<std::uint8_t>(timestamp >> 16);
    out[6] = static_cast<std::uint8_t>(timestamp >> 8);
    out[7] = static_cast<std::uint8_t>(timestamp);
    out[8] = static_cast<std::uint8_t>(ssrc);
    out[9] = static_cast<std::uint8_t>(ssrc >> 8);
    out[10] = static_cast<std::uint8_t>(ssrc >> 16);
    out[11] = static_cast<std::uint8_t>(ssrc >> 24);
}

RtpHeader readRtpHeader(std::span<const std::uint8_t, kRtpHeaderBytes> header) {
    RtpHeader h;
    h.version = header[0] >> 6;
    h.padding = (header[0] & 0x20) != 0;
    h.extension = (header[0] & 0x10) != 0;
    h.csrcCount = header[0] & 0x0F;
    h.marker = (header[1] & 0x80) != 0;
    h.payloadType = header[1] & 0x7F;
    h.sequence = static_cast<std::uint16_t>(header[2] << 8 | header[3]);
    h.timestamp = static_cast<std::uint32_t>(header[4]) << 24 | static_cast<std::uint32_t>(header[5]) << 16 |
                  static_cast<std::uint32_t>(header[6]) << 8 | header[7];
    h.ssrc = static_cast<std::uint32_t>(header[8]) | static_cast<std::uint32_t>(header[9]) << 8 |
             static_cast<std::uint32_t>(header[10]) << 16 | static_cast<std::uint32_t>(header[11]) << 24;
    return h;
}

std::optional<std::size_t> rtpPayloadLength(std::span<const std::uint8_t> datagram) {
    if (datagram.size() <= kRtpHeaderBytes || datagram.size() > kRtpMaxDatagram) return std::nullopt;
    const RtpHeader header = readRtpHeader(datagram.first<kRtpHeaderBytes>());
    if (header.version != kRtpVersion) return std::nullopt;
    std::size_t payload = datagram.size() - kRtpHeaderBytes;
    if (header.padding) {
        const std::size_t padding = datagram.back();
        if (padding > payload) return std::nullopt;
        payload -= padding;
    }
    return payload;
}
