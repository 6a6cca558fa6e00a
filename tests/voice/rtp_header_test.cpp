#include "voice/rtp_header.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

TEST(RtpHeader, WritesTheFixedHeaderAndReadsItBack) {
    // The source id goes out unswapped; only seven bits of the payload type
    // are sent, and never a marker.
    std::uint8_t header[kRtpHeaderBytes] = {};
    writeRtpHeader(header, 0x80 | 18, 0xF234, 0x89ABCDEF, 0x11223344);
    const std::vector<std::uint8_t> expected = {0x80, 0x12, 0xF2, 0x34, 0x89, 0xAB, 0xCD, 0xEF, 0x44, 0x33, 0x22, 0x11};
    EXPECT_EQ(std::vector<std::uint8_t>(header, header + kRtpHeaderBytes), expected);
    const RtpHeader h = readRtpHeader(header);
    EXPECT_EQ(h.version, 2);
    EXPECT_FALSE(h.padding || h.extension || h.marker || h.csrcCount != 0);
    EXPECT_EQ(h.payloadType, 18);
    EXPECT_EQ(h.sequence, 0xF234);
    EXPECT_EQ(h.timestamp, 0x89ABCDEFu);
    EXPECT_EQ(h.ssrc, 0x11223344u);
    // A foreign header's marker isn't part of the payload type.
    header[1] |= 0x80;
    EXPECT_TRUE(readRtpHeader(header).marker);
    EXPECT_EQ(readRtpHeader(header).payloadType, 18);
}

TEST(RtpPayloadLength, AppliesTheReceiveChecks) {
    const auto datagram = [](std::uint8_t byte0, std::size_t payload, std::uint8_t lastByte = 0x11) {
        std::vector<std::uint8_t> bytes(kRtpHeaderBytes + payload, 0x11);
        bytes[0] = byte0;
        if (payload > 0) bytes.back() = lastByte;
        return bytes;
    };
    const struct {
        const char* name;
        std::vector<std::uint8_t> bytes;
        std::optional<std::size_t> payload;
    } cases[] = {
        {"empty", {}, std::nullopt},
        {"header only", datagram(0x80, 0), std::nullopt},
        {"one payload byte", datagram(0x80, 1), 1},
        {"largest datagram", datagram(0x80, kRtpMaxDatagram - kRtpHeaderBytes), 1488},
        {"beyond the largest", datagram(0x80, kRtpMaxDatagram - kRtpHeaderBytes + 1), std::nullopt},
        {"version 1", datagram(0x40, 160), std::nullopt},
        {"version 3", datagram(0xC0, 160), std::nullopt},
        {"extension and sources ignored", datagram(0x9F, 20), 20},
        {"padding of 4", datagram(0xA0, 20, 4), 16},
        {"padding of the whole payload", datagram(0xA0, 20, 20), 0},
        {"padding beyond the payload", datagram(0xA0, 20, 21), std::nullopt},
    };
    for (const auto& c : cases) EXPECT_EQ(rtpPayloadLength(c.bytes), c.payload) << c.name;
}
