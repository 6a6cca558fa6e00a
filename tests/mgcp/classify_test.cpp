// Classification of MGCP texts and the transaction number read out of them.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_packet.h"

namespace {

struct ClassRow {
    const char* text;
    int received;
    int sent;
};

constexpr ClassRow kClassRows[] = {
    {"CRCX 1 d1@x MGCP 1.0\r\n", kMgcpCrcx, kMgcpCrcx},
    {"MDCX 1 d1@x MGCP 1.0\r\n", kMgcpMdcx, kMgcpMdcx},
    {"DLCX 1 d1@x MGCP 1.0\r\n", kMgcpDlcxIn, kMgcpDlcxOut},
    {"RQNT 1 d1@x MGCP 1.0\r\n", kMgcpRqnt, kMgcpRqnt},
    {"RSIP 1 d1@x MGCP 1.0\r\n", kMgcpResponse, kMgcpRsip},
    {"NTFY 1 d1@x MGCP 1.0\r\n", kMgcpResponse, kMgcpNtfy},
    {"200 1 OK\r\n", kMgcpResponse, kMgcpResponse},
    {"crcx 1 d1@x MGCP 1.0\r\n", kMgcpResponse, kMgcpResponse},  // case counts
    {"CRC", kMgcpResponse, kMgcpResponse},                       // too short for a verb
    {"RQNT", kMgcpRqnt, kMgcpRqnt},
    {"", kMgcpResponse, kMgcpResponse},
};

class Classification : public ::testing::TestWithParam<ClassRow> {};

TEST_P(Classification, FollowsTheFirstFourBytes) {
    const ClassRow& row = GetParam();
    EXPECT_EQ(classifyReceived(asBytes(row.text)), row.received) << row.text;
    EXPECT_EQ(classifySent(asBytes(row.text)), row.sent) << row.text;
}

INSTANTIATE_TEST_SUITE_P(Verbs, Classification, ::testing::ValuesIn(kClassRows));

struct TidRow {
    const char* text;
    std::uint32_t tid;
};

constexpr TidRow kTidRows[] = {
    {"200 1234 OK\r\n", 1234},
    {"100 1234\r\n", 1234},
    {"250 8", 8},
    {"NTFY 7 d1@0011223344ff MGCP 1.0\r\nX: 1\r\n", 7},
    {"anything 42 whatever", 42},  // the text in front isn't looked at
    {"500 42 Failure", 42},        // nor the return code
    {"200", 0},                    // no blank
    {"200 ", 0},                   // the only blank is the last byte
    {"200  5", 0},                 // empty token
    {"200 x5", 0},
    {"200 12345678901 OK", 0},  // eleven digits overflow 32 bits
    {"200 123456789012", 0},    // only eleven characters are read
    {"200 4294967295", 4294967295u},
    {"200 00000000042", 42},
    {"200 -5 OK", 0},
};

class TransactionId : public ::testing::TestWithParam<TidRow> {};

TEST_P(TransactionId, IsTheNumberBehindTheFirstBlank) {
    EXPECT_EQ(readTransactionId(asBytes(GetParam().text)), GetParam().tid) << GetParam().text;
}

INSTANTIATE_TEST_SUITE_P(Texts, TransactionId, ::testing::ValuesIn(kTidRows));

TEST(TransactionId, StaysInsideAFullDatagram) {
    // 1500 bytes and no terminator behind them: the scan must stop at the
    // length. The vector is exactly that long, so a sanitizer sees any
    // read past it.
    std::vector<std::uint8_t> datagram(kMgcpPayloadSize, '7');
    datagram[3] = ' ';
    EXPECT_EQ(readTransactionId(datagram), 0u);  // eleven sevens overflow 32 bits: none
    datagram.assign(kMgcpPayloadSize, 'x');
    datagram[kMgcpPayloadSize - 3] = ' ';
    datagram[kMgcpPayloadSize - 2] = '4';
    datagram[kMgcpPayloadSize - 1] = '2';
    EXPECT_EQ(readTransactionId(datagram), 42u);
    EXPECT_EQ(classifyReceived(datagram), kMgcpResponse);
}

TEST(TransactionId, ReadsOnlyTheGivenLength) {
    const std::string text = "200 1234 OK";
    EXPECT_EQ(readTransactionId(asBytes(std::string_view(text).substr(0, 6))), 12u);
}

}  // namespace
