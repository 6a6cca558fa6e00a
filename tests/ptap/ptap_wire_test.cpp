#include "ptap/ptap_wire.h"

#include <gtest/gtest.h>

#include <tuple>

#include "ptap_test_util.h"

using namespace ptap_test;

namespace {

ptap::StartData startData(int mode) {
    return {.startCode = 0x5A,
            .connectionInfo = {0xC0, 0xC1, 0xC2, 0xC3, 0xC4, 0xC5, 0xC6, 0xC7, 0xC8, 0xC9, 0xCA, 0xCB},
            .hardwareAddress = {0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F},
            .localAddress = 0xC0A80A14,  // 192.168.10.20
            .registrationMode = mode};
}

const std::string kStartTail =  // connection info, hardware address, local address, closing byte
    " 05 00 0C C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 CA CB 07 00 06 00 1B 2C 3D 4E 5F 06 00 04 C0 A8 0A 14 FF";
const std::string kStartModeZero =
    "50 54 41 50 00 00 00 01 04 20 00 01 5A 01 00 2C 01 04 00 06 18 00 02 02 18 04 03 FE DF E0 02 04 04 01 21 01 22 "
    "01 23 02 24 04 02 25 04 02 26 0C 02 27 05 01 28 01 29 04 30 C8 00 00 02 00 02 01 01" +
    kStartTail;
const std::string kStartModeOne =
    "50 54 41 50 00 00 00 09 04 20 00 01 5A 01 00 4E 03 04 00 06 18 00 02 02 0C 04 03 FE DF E2 02 04 04 04 05 0C 0C "
    "00 03 07 30 04 04 08 CF 00 00 01 21 01 23 02 24 04 02 25 04 02 26 0C 02 27 05 01 28 01 29 04 30 C8 00 00 02 31 "
    "04 04 42 00 00 00 02 50 01 04 81 01 00 00 01 82 01 83 01 84 02 00 02 00 1E" +
    kStartTail;

}  // namespace

TEST(PtapWire, EveryPacketTheTerminalSendsHasItsGoldenBytes) {
    const std::tuple<const char*, Bytes, std::string, std::size_t> cases[] = {
        // name, built, expected, payload length
        {"ack tid 7", ptap::buildAck(ptap::tidBytes(7)), "50 54 41 50 00 00 00 07 00 20 00 01 00 FF", 5},
        {"ack repeats the tid bytes", ptap::buildAck({0x00, 0xAB, 0xCD, 0xEF}),
         "50 54 41 50 00 AB CD EF 00 20 00 01 00 FF", 5},
        {"OP_BEGIN tid 2", ptap::buildOpBegin(2), "50 54 41 50 00 00 00 02 0F FF", 1},
        {"error code", ptap::buildErrorResponse(0x010203, 0x9C), "50 54 41 50 00 01 02 03 14 20 00 01 9C FF", 5},
        {"card answer", ptap::buildCardAnswer(5), "50 54 41 50 00 00 00 05 3D 5B 00 05 FF FF FF FF FF FF", 9},
        {"START mode 0", ptap::buildStart(1, startData(0)), kStartModeZero, 88},
        {"START mode 1", ptap::buildStart(9, startData(1)), kStartModeOne, 122},
        {"START mode 2 is mode 0", ptap::buildStart(1, startData(2)), kStartModeZero, 88},
    };
    for (const auto& [name, built, expected, payloadLength] : cases) {
        EXPECT_EQ(built, hex(expected)) << name;
        EXPECT_EQ(built.size(), ptap::kHeaderLength + payloadLength) << name;
    }
}

TEST(PtapWire, RefusesWhatIsNotPtap) {
    const std::tuple<const char*, Bytes, bool> cases[] = {
        {"short", hex("50 54 41 50 00"), false},
        {"header only", hex("50 54 41 50 00 00 00 01 10"), false},
        {"bad magic", hex("50 54 41 51 00 00 00 01 10 FF"), false},
        {"tid 0x01000000", hex("50 54 41 50 01 00 00 00 10 FF"), false},
        {"largest tid", hex("50 54 41 50 00 FF FF FF 10 FF"), true},
    };
    for (const auto& [name, bytes, isPtap] : cases) {
        ptap::PtapPacket p;
        EXPECT_EQ(ptap::parsePacket(bytes, p), isPtap) << name;
    }
}

TEST(PtapWire, ItemWalkStaysInsideThePayload) {
    const struct {
        const char* name;
        Bytes payload;
        std::vector<std::pair<int, std::size_t>> items;  // tag, value length
    } cases[] = {
        {"closing byte ends", hex("20 00 01 00 FF 21 00 01 05"), {{0x20, 1}}},
        {"no closing byte", hex("20 00 01 00 21 00 02 05 06"), {{0x20, 1}, {0x21, 2}}},
        {"value runs past the end", hex("20 00 01 00 21 00 09 05 06"), {{0x20, 1}}},
        {"length field cut", hex("20 00 01 00 21 00"), {{0x20, 1}}},
        {"huge length", hex("21 FF FF 01"), {}},
        {"zero length", hex("1A 00 00 1B 00 01 07 FF"), {{0x1A, 0}, {0x1B, 1}}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        const std::vector<ptap::PtapItem> items = ptap::readItems(c.payload);
        ASSERT_EQ(items.size(), c.items.size());
        for (std::size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(items[i].tag, c.items[i].first);
            EXPECT_EQ(items[i].value.size(), c.items[i].second);
            EXPECT_GE(items[i].value.data(), c.payload.data());
            EXPECT_LE(items[i].value.data() + items[i].value.size(), c.payload.data() + c.payload.size());
        }
    }
}
