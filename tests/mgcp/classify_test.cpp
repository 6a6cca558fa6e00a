// Classification of MGCP texts and the transaction number read out of them.
#include <gtest/gtest.h>

#include <string>
#include <tuple>
#include <vector>

#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_packet.h"

namespace {

TEST(Classification, FollowsTheFirstFourBytes) {
    const std::tuple<const char*, MgcpOperation, MgcpOperation> cases[] = {
        {"CRCX 1 d1@x MGCP 1.0\r\n", MgcpOperation::kCrcx, MgcpOperation::kCrcx},
        {"MDCX 1 d1@x MGCP 1.0\r\n", MgcpOperation::kMdcx, MgcpOperation::kMdcx},
        {"DLCX 1 d1@x MGCP 1.0\r\n", MgcpOperation::kDlcxReceived, MgcpOperation::kDlcxSent},
        {"RQNT 1 d1@x MGCP 1.0\r\n", MgcpOperation::kRqnt, MgcpOperation::kRqnt},
        {"RSIP 1 d1@x MGCP 1.0\r\n", MgcpOperation::kResponse, MgcpOperation::kRsip},
        {"NTFY 1 d1@x MGCP 1.0\r\n", MgcpOperation::kResponse, MgcpOperation::kNtfy},
        {"200 1 OK\r\n", MgcpOperation::kResponse, MgcpOperation::kResponse},
        {"crcx 1 d1@x MGCP 1.0\r\n", MgcpOperation::kResponse, MgcpOperation::kResponse},  // case counts
        {"CRC", MgcpOperation::kResponse, MgcpOperation::kResponse},                       // too short for a verb
        {"RQNT", MgcpOperation::kRqnt, MgcpOperation::kRqnt},
    };
    for (const auto& [text, received, sent] : cases) {
        EXPECT_EQ(classifyReceived(asBytes(text)), received) << text;
        EXPECT_EQ(classifySent(asBytes(text)), sent) << text;
    }
}

TEST(TransactionId, IsTheNumberBehindTheFirstBlank) {
    const std::pair<const char*, std::uint32_t> cases[] = {
        {"200 1234 OK\r\n", 1234},
        {"100 1234\r\n", 1234},
        {"250 8", 8},
        {"anything 42 whatever", 42},  // neither the text in front nor the return code is looked at
        {"200", 0},                    // no blank
        {"200 ", 0},                   // the only blank is the last byte
        {"200  5", 0},                 // empty token
        {"200 x5", 0},
        {"200 12345678901 OK", 0},  // eleven digits overflow 32 bits
        {"200 123456789012", 0},    // only eleven characters are read
        {"200 4294967295", 4294967295u},
        {"200 00000000042", 42},
    };
    for (const auto& [text, tid] : cases) EXPECT_EQ(readTransactionId(asBytes(text)), tid) << text;
    EXPECT_EQ(readTransactionId(asBytes(std::string_view("200 1234 OK").substr(0, 6))), 12u) << "the given length";
}

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
    EXPECT_EQ(classifyReceived(datagram), MgcpOperation::kResponse);
}

}  // namespace
