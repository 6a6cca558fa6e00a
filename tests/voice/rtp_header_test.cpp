#include "voice/rtp_header.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <optional>
#include <vector>

TEST(RtpHeader, WritesTheFixedHeaderWithTheSourceIdUnswapped) {
    std::uint8_t header[kRtpHeaderBytes] = {};
    writeRtpHeader(header, 18, 0x1234, 0x89ABCDEF, 0x11223344);
    const std::vector<std::uint8_t> expected = {0x80, 0x12, 0x12, 0x34, 0x89, 0xAB, 0xCD, 0xEF, 0x44, 0x33, 0x22, 0x11};
    EXPECT_EQ(std::vector<std::uint8_t>(header, header + kRtpHeaderBytes), expected);
}

TEST(RtpHeader, SendsOnlySevenBitsOfThePayloadTypeAndNoMarker) {
    std::uint8_t header[kRtpHeaderBytes] = {};
    writeRtpHeader(header, 0xFF, 0xFFFF, 0, 0);
    EXPECT_EQ(header[1], 0x7F);
    EXPECT_EQ(header[2], 0xFF);
    EXPECT_EQ(header[3], 0xFF);
}

TEST(RtpHeader, ReadsWhatItWrites) {
    std::uint8_t header[kRtpHeaderBytes] = {};
    writeRtpHeader(header, 8, 65535, 4294967295u, 0xCAFEBABE);
    const RtpHeader h = readRtpHeader(header);
    EXPECT_EQ(h.version, 2);
    EXPECT_FALSE(h.padding);
    EXPECT_FALSE(h.extension);
    EXPECT_EQ(h.csrcCount, 0);
    EXPECT_FALSE(h.marker);
    EXPECT_EQ(h.payloadType, 8);
    EXPECT_EQ(h.sequence, 65535);
    EXPECT_EQ(h.timestamp, 4294967295u);
    EXPECT_EQ(h.ssrc, 0xCAFEBABEu);
}

TEST(RtpHeader, ReadsTheFlagBitsOfAForeignHeader) {
    const std::uint8_t header[kRtpHeaderBytes] = {0xBF, 0x80 | 96, 0, 1, 0, 0, 0, 2, 0, 0, 0, 3};
    const RtpHeader h = readRtpHeader(header);
    EXPECT_EQ(h.version, 2);
    EXPECT_TRUE(h.padding);
    EXPECT_TRUE(h.extension);
    EXPECT_EQ(h.csrcCount, 15);
    EXPECT_TRUE(h.marker);
    EXPECT_EQ(h.payloadType, 96);
    EXPECT_EQ(h.sequence, 1);
    EXPECT_EQ(h.timestamp, 2u);
}

namespace {

struct DatagramCase {
    const char* name;
    std::vector<std::uint8_t> bytes;
    std::optional<std::size_t> payload;
};

std::vector<std::uint8_t> datagram(std::uint8_t byte0, std::size_t payload, std::uint8_t lastByte = 0) {
    std::vector<std::uint8_t> bytes(kRtpHeaderBytes + payload, 0x11);
    bytes[0] = byte0;
    if (payload > 0) bytes.back() = lastByte;
    return bytes;
}

}  // namespace

TEST(RtpPayloadLength, AppliesTheReceiveChecks) {
    const DatagramCase cases[] = {
        {"empty", {}, std::nullopt},
        {"header only", datagram(0x80, 0), std::nullopt},
        {"one payload byte", datagram(0x80, 1, 0x11), 1},
        {"G.711 packet", datagram(0x80, 160), 160},
        {"largest datagram", datagram(0x80, kRtpMaxDatagram - kRtpHeaderBytes), 1488},
        {"beyond the largest", datagram(0x80, kRtpMaxDatagram - kRtpHeaderBytes + 1), std::nullopt},
        {"version 1", datagram(0x40, 160), std::nullopt},
        {"version 0", datagram(0x00, 160), std::nullopt},
        {"version 3", datagram(0xC0, 160), std::nullopt},
        {"extension and sources ignored", datagram(0x9F, 20), 20},
        {"padding of 4", datagram(0xA0, 20, 4), 16},
        {"padding of the whole payload", datagram(0xA0, 20, 20), 0},
        {"padding beyond the payload", datagram(0xA0, 20, 21), std::nullopt},
        {"padding count 0", datagram(0xA0, 20, 0), 20},
    };
    for (const DatagramCase& c : cases) {
        EXPECT_EQ(rtpPayloadLength(c.bytes), c.payload) << c.name;
    }
}
