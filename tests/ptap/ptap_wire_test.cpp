#include "ptap/ptap_wire.h"

#include <gtest/gtest.h>

#include "ptap_test_util.h"

using namespace ptap_test;

namespace {

ptap::StartData sampleStartData(int mode) {
    ptap::StartData d;
    d.startCode = 0x5A;
    for (std::size_t i = 0; i < d.connectionInfo.size(); ++i) d.connectionInfo[i] = static_cast<std::uint8_t>(0xC0 + i);
    d.hardwareAddress = {0x00, 0x1B, 0x2C, 0x3D, 0x4E, 0x5F};
    d.localAddress = 0xC0A80A14;  // 192.168.10.20
    d.registrationMode = mode;
    return d;
}

const char* kTail =  // connection info, hardware address, local address, closing byte
    "05 00 0C C0 C1 C2 C3 C4 C5 C6 C7 C8 C9 CA CB "
    "07 00 06 00 1B 2C 3D 4E 5F "
    "06 00 04 C0 A8 0A 14 FF";

}  // namespace

TEST(PtapWire, AcknowledgmentForTidSevenIsFourteenGoldenBytes) {
    EXPECT_EQ(ptap::buildAck(ptap::tidBytes(7)), hex("50 54 41 50 00 00 00 07 00 20 00 01 00 FF"));
}

TEST(PtapWire, AcknowledgmentRepeatsTheReceivedTidByteForByte) {
    const ptap::TidBytes odd = {0x00, 0xAB, 0xCD, 0xEF};
    EXPECT_EQ(ptap::buildAck(odd), hex("50 54 41 50 00 AB CD EF 00 20 00 01 00 FF"));
}

TEST(PtapWire, OpBeginForTidTwoIsTenGoldenBytes) {
    EXPECT_EQ(ptap::buildOpBegin(2), hex("50 54 41 50 00 00 00 02 0F FF"));
}

TEST(PtapWire, ErrorResponseCarriesTheOneByteCode) {
    EXPECT_EQ(ptap::buildErrorResponse(0x010203, 0x9C), hex("50 54 41 50 00 01 02 03 14 20 00 01 9C FF"));
}

TEST(PtapWire, CardAnswerIsFiveUnknownBytes) {
    EXPECT_EQ(ptap::buildCardAnswer(5), hex("50 54 41 50 00 00 00 05 3D 5B 00 05 FF FF FF FF FF FF"));
}

TEST(PtapWire, StartInModeZeroIsEightyEightPayloadBytes) {
    const Bytes expected = hex("50 54 41 50 00 00 00 01 04 20 00 01 5A "
                               "01 00 2C 01 04 00 06 18 00 02 02 18 04 03 FE DF E0 02 04 04 01 21 01 22 01 23 02 24 "
                               "04 02 25 04 02 26 0C 02 27 05 01 28 01 29 04 30 C8 00 00 "
                               "02 00 02 01 01 ") +
                           hex(kTail);
    const Bytes built = ptap::buildStart(1, sampleStartData(0));
    EXPECT_EQ(built.size() - ptap::kHeaderLength, 88u);
    EXPECT_EQ(built, expected);
}

TEST(PtapWire, StartInModeOneIsOneHundredTwentyTwoPayloadBytes) {
    const Bytes expected =
        hex("50 54 41 50 00 00 00 09 04 20 00 01 5A "
            "01 00 4E 03 04 00 06 18 00 02 02 0C 04 03 FE DF E2 02 04 04 04 05 0C 0C 00 03 07 30 04 04 08 CF 00 00 "
            "01 21 01 23 02 24 04 02 25 04 02 26 0C 02 27 05 01 28 01 29 04 30 C8 00 00 02 31 04 04 42 00 00 00 02 "
            "50 01 04 81 01 00 00 01 82 01 83 01 84 "
            "02 00 02 00 1E ") +
        hex(kTail);
    const Bytes built = ptap::buildStart(9, sampleStartData(1));
    EXPECT_EQ(built.size() - ptap::kHeaderLength, 122u);
    EXPECT_EQ(built, expected);
}

TEST(PtapWire, AnyModeOtherThanOneBuildsModeZero) {
    EXPECT_EQ(ptap::buildStart(1, sampleStartData(2)), ptap::buildStart(1, sampleStartData(0)));
    EXPECT_EQ(ptap::buildStart(1, sampleStartData(-1)).size(), 9u + 88u);
}

TEST(PtapWire, IntegersAreBigEndian) {
    const Bytes b = hex("12 34 56 78");
    EXPECT_EQ(ptap::readU16(b, 1), 0x3456);
    EXPECT_EQ(ptap::readU32(b, 0), 0x12345678u);
    Bytes out;
    ptap::appendU32(out, 0xA1B2C3D4);
    ptap::appendU16(out, 0x0102);
    EXPECT_EQ(out, hex("A1 B2 C3 D4 01 02"));
    EXPECT_EQ(ptap::tidValue(ptap::tidBytes(0x00FEDCBA)), 0x00FEDCBAu);
}

TEST(PtapWire, ParsesHeaderAndItems) {
    const Bytes d = datagram(0x000102, 0x15, payload({item(0x20, {0x07}), item(0x21, {1, 2, 3})}));
    ptap::PtapPacket p;
    ASSERT_TRUE(ptap::parsePacket(d, p));
    EXPECT_EQ(p.type, 0x15);
    EXPECT_EQ(ptap::tidValue(p.tid), 0x000102u);
    EXPECT_EQ(p.payload.size(), 11u);
    ASSERT_EQ(p.items.size(), 2u);
    EXPECT_EQ(p.items[0].tag, 0x20);
    EXPECT_EQ(Bytes(p.items[0].value.begin(), p.items[0].value.end()), hex("07"));
    EXPECT_EQ(Bytes(p.items[1].value.begin(), p.items[1].value.end()), hex("01 02 03"));
}

TEST(PtapWire, RefusesWhatIsNotPtap) {
    struct Case {
        const char* name;
        Bytes bytes;
    } cases[] = {
        {"empty", {}},
        {"short", hex("50 54 41 50 00")},
        {"header only", hex("50 54 41 50 00 00 00 01 10")},
        {"bad magic", hex("50 54 41 51 00 00 00 01 10 FF")},
        {"lower case", hex("70 74 61 70 00 00 00 01 10 FF")},
        {"tid 0x01000000", hex("50 54 41 50 01 00 00 00 10 FF")},
        {"tid 0xFFFFFFFF", hex("50 54 41 50 FF FF FF FF 10 FF")},
    };
    for (const Case& c : cases) {
        ptap::PtapPacket p;
        EXPECT_FALSE(ptap::parsePacket(c.bytes, p)) << c.name;
    }
    ptap::PtapPacket p;
    EXPECT_TRUE(ptap::parsePacket(hex("50 54 41 50 00 FF FF FF 10 FF"), p)) << "largest tid";
}

TEST(PtapWire, ItemWalkStaysInsideThePayload) {
    struct Case {
        const char* name;
        Bytes payload;
        std::vector<std::pair<int, std::size_t>> items;  // tag, value length
    } cases[] = {
        {"closing byte ends", hex("20 00 01 00 FF 21 00 01 05"), {{0x20, 1}}},
        {"no closing byte", hex("20 00 01 00 21 00 02 05 06"), {{0x20, 1}, {0x21, 2}}},
        {"value runs past the end", hex("20 00 01 00 21 00 09 05 06"), {{0x20, 1}}},
        {"length field cut", hex("20 00 01 00 21 00"), {{0x20, 1}}},
        {"tag alone", hex("21"), {}},
        {"huge length", hex("21 FF FF 01"), {}},
        {"zero length", hex("1A 00 00 1B 00 01 07 FF"), {{0x1A, 0}, {0x1B, 1}}},
        {"only closing byte", hex("FF"), {}},
    };
    for (const Case& c : cases) {
        const std::vector<ptap::PtapItem> items = ptap::readItems(c.payload);
        ASSERT_EQ(items.size(), c.items.size()) << c.name;
        for (std::size_t i = 0; i < items.size(); ++i) {
            EXPECT_EQ(items[i].tag, c.items[i].first) << c.name;
            EXPECT_EQ(items[i].value.size(), c.items[i].second) << c.name;
            // Every view lies inside the payload.
            EXPECT_GE(items[i].value.data(), c.payload.data()) << c.name;
            EXPECT_LE(items[i].value.data() + items[i].value.size(), c.payload.data() + c.payload.size()) << c.name;
        }
    }
}

TEST(PtapWire, BuiltPacketsParseBack) {
    for (const Bytes& built : {ptap::buildStart(3, sampleStartData(1)), ptap::buildOpBegin(4),
                               ptap::buildErrorResponse(5, 1), ptap::buildCardAnswer(6)}) {
        ptap::PtapPacket p;
        ASSERT_TRUE(ptap::parsePacket(built, p));
        std::size_t walked = 0;
        for (const ptap::PtapItem& i : p.items) walked += 3 + i.value.size();
        EXPECT_EQ(walked + 1, p.payload.size()) << "items and the closing byte fill the payload";
    }
}
