// The display signals: lcdp records and the dtm forms. Byte values in these
// records are stored plus 1 where said, so that the client's text interface
// meets no zero byte inside them.
#include <string_view>

#include "mgcp/signal_decoder.h"

namespace {

constexpr std::size_t kTextStart = 3;  // behind "lcd"
constexpr std::size_t kMaxTextBytes = 512;
constexpr std::uint8_t kBlank = ' ';
// In type "22" text, bytes 1 to 30 stand for that many blanks.
constexpr std::uint8_t kMaxBlankRun = 30;

std::uint8_t biased(const DatagramView& t, std::size_t index) {
    return static_cast<std::uint8_t>(readHexByte(t, index) + 1);
}

struct FixedRecord {
    std::string_view prefix;
    std::string_view text;
};

constexpr FixedRecord kFixedRecords[] = {
    {"3201000000000000", "navend"}, {"300100000000", "cls"}, {"220500030A0A04", "cls"}, {"300A", "cll"},
    {"3007000018", "key"},          {"3003000018", "rkey"},  {"3008000018", "rkey"},
};

// The fixed texts; false when `t` begins with none of them.
bool decodeFixed(const DatagramView& t, SignalBlock& block) {
    for (const FixedRecord& r : kFixedRecords) {
        if (!t.matches(0, r.prefix)) continue;
        const std::size_t end = block.putText(kTextStart, r.text);
        if (r.prefix == "300A") block.putByte(end, biased(t, 4));
        if (r.prefix == "3007000018") {
            block.putByte(end, 1);
            block.putByte(end + 1, readHexByte(t, 10));
        }
        return true;
    }
    return false;
}

// Records of type "30" by their third and fourth characters.
void decodeControl(const DatagramView& t, SignalBlock& block) {
    const std::string_view kind = t.text(2, 2);
    if (kind == "04" || kind == "09") {
        block.putText(kTextStart, kind == "04" ? "lcdb1" : "clp");
        block.putByte(kTextStart + 6, biased(t, 4));
        block.putByte(kTextStart + 5, biased(t, 6));
        block.putByte(kTextStart + 7, biased(t, 8));
    } else if (kind == "05") {
        block.putText(kTextStart, "lcdb0");
    } else if (kind == "0B" || kind == "0C") {
        block.putText(kTextStart, kind == "0B" ? "lcdb2" : "lcdb3");
        block.putByte(kTextStart + 5, biased(t, 4));
    }
}

// A text record: eight header bytes (column, row, six more), then for the
// text types the characters themselves.
void decodeText(const DatagramView& t, SignalBlock& block) {
    constexpr std::size_t kHeader = kTextStart;
    block.putByte(kHeader, 1);
    block.putByte(kHeader + 1, 1);
    for (std::size_t i = 2; i < 8; ++i) block.putByte(kHeader + i, kBlank);
    const std::string_view type = t.text(0, 2);
    if (type == "32") {
        if (!t.matches(2, "00")) return;
        block.putByte(kHeader + 2, 1);
        block.putByte(kHeader + 3, readHexByte(t, 8));
        block.putByte(kHeader + 4, readHexByte(t, 10));
        block.putByte(kHeader + 5, biased(t, 12));
        block.putByte(kHeader + 6, biased(t, 14));
        return;
    }
    if (type == "33") {
        if (!t.matches(2, "00")) return;
        constexpr std::string_view kMarks[] = {"00", "01", "02", "03"};
        constexpr char kMarkChars[] = {'~', '>', '*', '#'};
        for (std::size_t i = 0; i < 4; ++i) {
            if (t.matches(4, kMarks[i])) block.putByte(kHeader + 7, static_cast<std::uint8_t>(kMarkChars[i]));
        }
        return;
    }
    block.putByte(kHeader, biased(t, 2));
    block.putByte(kHeader + 1, biased(t, 4));
    const std::size_t count = readHexByte(t, 6);
    const bool compressed = type == "22";
    // The block's own size is the limit: a longer text is cut there, and its
    // last byte stays the terminator.
    std::size_t out = kHeader + 8;
    for (std::size_t i = 0; i < count && i < kMaxTextBytes && out < kSignalBlockSize - 1; ++i) {
        const std::uint8_t c = readHexByte(t, 8 + 2 * i);
        if (c == 0xFF) {
            block.putByte(out++, kBlank);
        } else if (compressed && c == 0) {
            continue;
        } else if (compressed && c <= kMaxBlankRun) {
            for (std::uint8_t n = 0; n < c; ++n) block.putByte(out++, kBlank);
        } else {
            block.putByte(out++, c);
        }
    }
}

// The mask rule: a zero value is stored as 1 and marked in the mask, from
// bit 3 for the first of the four fields down to bit 0 for the last.
void putMasked(SignalBlock& block, std::size_t maskAt, std::size_t firstAt, const std::uint8_t (&values)[4]) {
    std::uint8_t mask = 0xF0;
    for (std::size_t i = 0; i < 4; ++i) {
        if (values[i] == 0) {
            block.putByte(firstAt + i, 1);
            mask = static_cast<std::uint8_t>(mask | (1u << (3 - i)));
        } else {
            block.putByte(firstAt + i, values[i]);
        }
    }
    block.putByte(maskAt, mask);
}

void decodeDtmSet(const DatagramView& a, SignalBlock& block) {
    const std::size_t c = readHexByte(a, 4);
    for (std::size_t i = 4; i <= 16; ++i) block.putByte(i, kBlank);
    block.putByte(4, biased(a, 0));
    block.putByte(5, biased(a, 2));
    block.putByte(6, biased(a, 6));
    block.putByte(7, biased(a, 8));
    block.putByte(8, biased(a, 26 + 2 * c));
    const std::uint8_t first[4] = {readHexByte(a, 10), readHexByte(a, 12), readHexByte(a, 14), readHexByte(a, 16)};
    putMasked(block, 9, 10, first);
    const std::uint8_t second[4] = {readHexByte(a, 18 + 2 * c), readHexByte(a, 20 + 2 * c), readHexByte(a, 22 + 2 * c),
                                    readHexByte(a, 24 + 2 * c)};
    putMasked(block, 14, 15, second);
    for (std::size_t i = 0; i < c; ++i) block.putByte(19 + i, readHexByte(a, 18 + 2 * i));
}

}  // namespace

void decodeDisplay(const DatagramView& t, SignalBlock& block) {
    block.putText(0, "lcd");
    if (decodeFixed(t, block)) return;
    if (t.matches(0, "30")) {
        decodeControl(t, block);
        return;
    }
    decodeText(t, block);
}

bool decodeDtm(const DatagramView& args, SignalBlock& block) {
    const std::string_view code = args.text(0, 2);
    if (code == "65") {
        block.putText(0, "dtmx");
    } else if (code == "70") {
        block.putText(0, "dtmp");
    } else if (code == "72") {
        block.putText(0, "dtmr");
    } else if (code == "73") {
        block.putText(0, "dtms");
        decodeDtmSet(args.from(2), block);
    } else {
        return false;
    }
    return true;
}
