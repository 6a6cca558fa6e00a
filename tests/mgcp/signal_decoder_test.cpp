// Each X-P signal's block against bytes built by hand.
#include "mgcp/signal_decoder.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace {

// The block's leading bytes, up to and including `length`.
std::vector<std::uint8_t> decoded(const std::string& signal, std::size_t length) {
    SignalBlock block;
    decodeSignal(DatagramView(signal), block);
    return {block.bytes.begin(), block.bytes.begin() + static_cast<std::ptrdiff_t>(length)};
}

std::vector<std::uint8_t> bytes(const std::string& text, std::initializer_list<int> tail = {}, std::size_t size = 0) {
    std::vector<std::uint8_t> out(text.begin(), text.end());
    for (int b : tail) out.push_back(static_cast<std::uint8_t>(b));
    if (out.size() < size) out.resize(size, 0);
    return out;
}

// `head`, then each value as four bytes, low byte first, then `tail`.
std::vector<std::uint8_t> ints(std::vector<std::uint8_t> head, std::initializer_list<std::int32_t> values,
                               std::initializer_list<int> tail = {}) {
    for (std::int32_t v : values)
        for (int i = 0; i < 4; ++i) head.push_back(static_cast<std::uint8_t>(static_cast<std::uint32_t>(v) >> (8 * i)));
    for (int b : tail) head.push_back(static_cast<std::uint8_t>(b));
    return head;
}

}  // namespace

TEST(SignalDecoder, BlocksMatchTheirHandBuiltBytes) {
    struct Case {
        std::string signal;
        std::vector<std::uint8_t> expected;
    };
    const Case cases[] = {
        {"hset(01)", bytes("hset_on", {0})},
        {"hset(00)", bytes("hset_off", {0})},
        {"hset(02)", bytes("", {}, 9)},
        {"pctl(11)", bytes("sp_on_offhook", {0})},
        {"pctl(01)", bytes("bgm_mute", {0})},
        {"pctl(13)", bytes("", {}, 6)},
        {"pctl(03)", bytes("sp_on", {0})},
        {"pctl(20)", bytes("mute", {0})},
        {"pctl(00)", bytes("sp_off", {0})},
        {"pctl(05)", bytes("unmute", {0})},
        {"ks(0c01,ron)", ints(bytes("ks"), {0x0c01, 8})},
        {"ks(0c01,on)", bytes("", {}, 10)},   // a two-character state is no state
        {"ks(0c01,ron", bytes("", {}, 10)},   // no ")"
        {"ks(0c0,1ron)", bytes("", {}, 10)},  // the comma stands elsewhere
        {"pgmm(1A)", ints(bytes("pbx_setting", {0}), {0x1A, -1})},
        {"cspc(080003000701)",
         ints(bytes("pbx_setting", {0}), {-1, 7})},  // the second type-0 pair counts, and 01 lies past the length
        {"ring(000000)", bytes("voff", {0})},
        {"ring(010203)", ints(bytes("mgcp_tone", {0}), {1, -1, -1, -1, -1, 1, 2, 3})},
        {"vctl(0300)", bytes("voff_tone", {0, 2, 0, 0, 0})},
        {"vctl(0005)", ints(bytes("mgcp_tone", {0}), {2, 5, -1, -1, -1, -1, -1, -1})},
        {"vctl(0709)", ints(bytes("mgcp_tone", {0}), {2, -1, -1, -1, -1, -1, -1, -1})},
        {"tone(21 1 0 1  7F)", ints(bytes("tone"), {0x21, 0x7F}, {1, 0, 1, 0})},
        {"tone(21 1)", bytes("tone", {0x21, 0, 0, 0, 0, 0, 0, 0, 1, 0}, 16)},
        {"tone(21 1 0 1  7F", bytes("", {}, 16)},
        {"las(00001800000341424300)", bytes("key", {3, 'A', 'B', 'C', 0})},
        {"las(0100180000034142)", bytes("", {}, 6)},
        {"dtm(65)", bytes("dtmx", {0})},
        {"dtm(72)", bytes("dtmr", {0})},
        {"dtm(99)", bytes("", {}, 5)},
        // dtms: 01 02 03 (c = 3) 04 05 stored biased, four mask fields, three
        // text bytes, four more mask fields, and the byte at 26 + 2c.
        {"dtm(730102030405010001004142430000000009)",
         bytes("dtms", {2, 3, 5, 6, 0x0A, 0xF5, 1, 1, 1, 1, 0xFF, 1, 1, 1, 1, 'A', 'B', 'C', 0})},
        {"lcdp(3201000000000000)", bytes("lcdnavend", {0})},
        {"lcdp(300100000000)", bytes("lcdcls", {0})},
        {"lcdp(220500030A0A04)", bytes("lcdcls", {0})},
        {"lcdp(300A05)", bytes("lcdcll", {6, 0})},
        {"lcdp(300700001809)", bytes("lcdkey", {1, 9, 0})},
        {"lcdp(3003000018)", bytes("lcdrkey", {0})},
        {"lcdp(3004010203)", bytes("lcdlcdb1", {3, 2, 4, 0})},
        {"lcdp(300B07)", bytes("lcdlcdb2", {8, 0})},
        {"lcdp(3009010203)", bytes("lcdclp", {0, 0, 3, 2, 4, 0})},
        {"lcdp(3077)", bytes("lcd", {0})},
        {"lcdp(32000000010203FE)", bytes("lcd", {1, 1, 1, 1, 2, 4, 0xFF, ' ', 0})},
        {"lcdp(330002)", bytes("lcd", {1, 1, ' ', ' ', ' ', ' ', ' ', '*', 0})},
        {"lcdp(33010002)", bytes("lcd", {1, 1, ' ', ' ', ' ', ' ', ' ', ' ', 0})},
        // Type 22: 0x05 is five blanks, 0x00 nothing, 0x1F itself; 0xFF a blank.
        {"lcdp(2202030541051F00FF)",
         bytes("lcd", {3, 4, ' ', ' ', ' ', ' ', ' ', ' ', 'A', ' ', ' ', ' ', ' ', ' ', 0x1F, ' ', 0})},
        {"lcdp(23000002414205)", bytes("lcd", {1, 1, ' ', ' ', ' ', ' ', ' ', ' ', 'A', 'B', 0})},
        {"unknown(00)", bytes("", {}, 4)},
    };
    for (const Case& c : cases) {
        EXPECT_EQ(decoded(c.signal, c.expected.size()), c.expected) << c.signal;
    }
}

TEST(SignalDecoder, KeyLabelsFillTheirEntriesAndClipLengths) {
    // Three entries after 01 03, each an index and a length: 02 02 "AB";
    // 3C (60) 01, skipped by its length; 21 (33) 0D, thirteen "D" clipped to 12.
    const std::string labels = "0103020241423C0158210D" + std::string(26, '4');
    SignalBlock block;
    decodeSignal(DatagramView("slc(" + labels + ")"), block);
    EXPECT_EQ(std::string(block.data(), 3), "slc");
    EXPECT_EQ(block.int32At(kKeyLabelsOffset), 3);
    EXPECT_EQ(block.int32At(kKeyLabelsOffset + 4), 1 << 2);
    EXPECT_EQ(block.int32At(kKeyLabelsOffset + 8), 1 << 1);
    const std::size_t entry2 = kKeyLabelEntryOffset + 2 * kKeyLabelEntrySize;
    EXPECT_EQ(block.int32At(entry2), 2);
    EXPECT_EQ(std::string(block.data() + entry2 + 4), "AB");
    const std::size_t entry33 = kKeyLabelEntryOffset + 33 * kKeyLabelEntrySize;
    EXPECT_EQ(block.int32At(entry33), 12);
    EXPECT_EQ(std::string(block.data() + entry33 + 4, 12), std::string(12, 'D'));
}

TEST(SignalDecoder, KeyLabelsTakeNoMoreThan48Entries) {
    // A count of 0x40: 48 entries of index 00 and no text, then entry 49
    // names index 5 with "E". The block counts 48 and never reads the 49th.
    std::string labels = "0140";
    for (int n = 0; n < 48; ++n) labels += "0000";
    labels += "050145";
    SignalBlock block;
    decodeSignal(DatagramView("slc(" + labels + ")"), block);
    EXPECT_EQ(block.int32At(kKeyLabelsOffset), 48);
    EXPECT_EQ(block.int32At(kKeyLabelsOffset + 4), 1);
    EXPECT_EQ(block.int32At(kKeyLabelEntryOffset + 5 * kKeyLabelEntrySize), 0);
}

TEST(SignalDecoder, DisplayTextLongerThanTheBlockIsCutAndTerminated) {
    // 255 bytes of 0x1E, each thirty blanks: far more than the block holds.
    std::string text = "lcdp(220101FF";
    for (int i = 0; i < 255; ++i) text += "1E";
    SignalBlock block;
    decodeSignal(DatagramView(text), block);
    EXPECT_EQ(block.bytes[kSignalBlockSize - 1], 0);
    EXPECT_EQ(std::string(block.data() + 11), std::string(kSignalBlockSize - 12, ' '));
}
