#include "ptap/ptap_receive.h"

#include <gtest/gtest.h>

#include <cstdio>

#include "ptap_test_util.h"

using namespace ptap_test;
using ptap::Action;
using Texts = std::vector<std::string>;

namespace {

ptap::LinkState afterSending(int type, int mode = 0) {
    ptap::LinkState s;
    ptap::resetLinkState(s, mode);
    s.lastSentType = type;
    return s;
}

// The actions as short texts, so that a case states them in one line.
Texts describe(const std::vector<Action>& actions) {
    static const char* const kNames[] = {"remove", "stamp", "ack", "event", "card answer", "status", "timeout"};
    Texts out;
    for (const Action& a : actions) {
        out.push_back(kNames[a.kind]);
        if (a.kind == Action::kRemoveAcknowledged || a.kind == Action::kSendAck) {
            out.back() += " " + std::to_string(ptap::tidValue(a.tid));
        }
        if (a.kind == Action::kReportStatus || a.kind == Action::kSetKeepaliveTimeout) {
            out.back() += " " + std::to_string(a.value);
        }
    }
    return out;
}

std::vector<int> statuses(const std::vector<Action>& actions) {
    std::vector<int> out;
    for (const Action& a : actions) {
        if (a.kind == Action::kReportStatus) out.push_back(a.value);
    }
    return out;
}

// The server's answer: an acknowledgment of tid 1 carrying items.
Bytes answer(const std::vector<Bytes>& items, std::uint8_t type = 0x00) {
    return datagram(1, type, payload(items));
}

// Every selector that is not 0, in hex: "10=f0 800=44 ".
std::string selectorsText(const ptap::LinkState& s) {
    std::string text;
    for (int bit = 0; bit < ptap::kSelectorCount; ++bit) {
        if (const std::uint32_t value = ptap::selectorValue(s, 1 << bit)) {
            char entry[32];
            std::snprintf(entry, sizeof entry, "%x=%x ", 1u << bit, value);
            text += entry;
        }
    }
    return text;
}

// The record's one-value fields in their order, then the array's values 1, 2, 3 and 32.
std::string recordText(const PtapParameters& p) {
    std::string text;
    for (int value : {p.mTag20, p.mKeepaliveTimeout, p.mTags1B1E[0], p.mTags1B1E[1], p.mTags1B1E[2], p.mTags1B1E[3],
                      p.mTags1819[0], p.mTags1819[1], p.mTags2426[0], p.mTags2426[1], p.mTags2426[2], p.mTag0F}) {
        text += std::to_string(value) + " ";
    }
    return text + "/ " + std::to_string(p.mTag21[0]) + " " + std::to_string(p.mTag21[1]) + " " +
           std::to_string(p.mTag21[2]) + " " + std::to_string(p.mTag21[31]);
}

// A card record as mode 1 accepts it, value 9 = 0x0102 and value 10 = 8.
const Bytes kGoodCard = Bytes(16, 0xEE) + hex("06 00 42 EE EE EE EE EE EE 09 01 02 0A 00 08 EE");

}  // namespace

TEST(PtapReceive, ActionsFollowThePacketTypeAcknowledgmentFirst) {
    const Bytes eventPayload = payload({item(0x1B, {9})});
    const struct {
        const char* name;
        int mode;
        Bytes bytes;
        Texts actions;
        int result;
        std::uint32_t item1B;  // items are read whatever the type
        Bytes event;           // padded with zeros: the parent reads it with no length
    } cases[] = {
        // clang-format off
        {"event", 0, datagram(0x0A0B0C, 0x15, eventPayload), {"ack 658188", "event"}, 0, 9,
         eventPayload + Bytes(ptap::kEventPadding, 0)},
        {"keepalive request", 0, datagram(0x21, 0x10, payload({})), {"stamp", "ack 33"}, 0, 0, {}},
        {"acknowledgment acts, unacknowledged", 0, answer({item(0x20, {0})}), {"remove 1", "status 1"}, 0, 0, {}},
        {"other type", 0, answer({item(0x1B, {9})}, 0x42), {"ack 1"}, 0, 9, {}},
        {"compulsion restart", 0, datagram(2, 0x03, payload({})), {"ack 2", "event"}, 0, 0,
         Bytes{'P', 'T', 'A', 'P', '_', 'C', 'O', 'M', 'R', 'E', 'S', 'T'} + Bytes(ptap::kEventPadding, 0)},
        {"card query in mode 1", 1, datagram(2, 0x3C, payload({})), {"ack 2", "card answer"}, 0, 0, {}},
        {"card query in mode 0", 0, datagram(2, 0x3C, payload({})), {"ack 2", "status 6"}, 0xD3, 0, {}},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ptap::LinkState s = afterSending(0x04, c.mode);
        const std::vector<Action> actions = ptap::receiveDatagram(c.bytes, s);
        EXPECT_EQ(describe(actions), c.actions);
        EXPECT_EQ(s.result, c.result);
        EXPECT_EQ(s.lastReceivedTid, ptap::tidBytes(ptap::readU32(c.bytes, 4)));
        EXPECT_EQ(ptap::selectorValue(s, 0x10), c.item1B);
        if (!c.event.empty()) {
            EXPECT_EQ(actions.at(1).data, c.event);
        }
    }
}

TEST(PtapReceive, DropsWhatIsNotPtapWithoutTouchingTheState) {
    ptap::LinkState s = afterSending(0x04);
    // An answer that would be accepted, but for a tid of 0x01000000.
    EXPECT_TRUE(ptap::receiveDatagram(hex("50 54 41 50 01 00 00 00 00 20 00 01 00 FF"), s).empty());
    EXPECT_EQ(s.lastReceivedTid, (ptap::TidBytes{}));
    EXPECT_EQ(s.result, 0);
    EXPECT_FALSE(s.parametersComplete);
}

TEST(PtapReceive, ResultItemMapsTheServersAnswer) {
    const struct {
        int lastSent, mode, value, result, status;  // result -1: unchanged; status 0: none
    } cases[] = {
        {0x04, 0, 0, 0, 1},      {0x04, 0, 17, 0, 1},    {0x04, 0, 255, 0, 1},   {0x04, 0, 99, 0, 1},
        {0x04, 0, 104, 0, 1},    {0x04, 0, 100, 200, 7}, {0x04, 0, 103, 200, 7}, {0x04, 0, 200, 0xC9, 4},
        {0x04, 0, 201, -1, 0},   {0x04, 0, 202, -1, 0},  {0x0F, 0, 0, 0, 2},     {0x0F, 1, 0, 0, 2},
        {0x04, 1, 0, -1, 0},     {0x14, 0, 0, -1, 0},    {0x3D, 1, 0, -1, 0},    {0x0F, 1, 101, 200, 7},
        {0x14, 0, 200, 0xC9, 4},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE("last sent " + std::to_string(c.lastSent) + " mode " + std::to_string(c.mode) + " value " +
                     std::to_string(c.value));
        ptap::LinkState s = afterSending(c.lastSent, c.mode);
        s.result = 12345;
        const auto actions = ptap::receiveDatagram(answer({item(0x20, {static_cast<std::uint8_t>(c.value)})}), s);
        EXPECT_EQ(statuses(actions), c.status == 0 ? std::vector<int>{} : std::vector<int>{c.status});
        EXPECT_EQ(s.result, c.result < 0 ? 12345 : c.result);
    }
}

TEST(PtapReceive, CardRecordChecks) {
    Bytes wrongId = kGoodCard, noValues = kGoodCard;
    wrongId[18] = 0x43;
    noValues[25] = 8;
    noValues[28] = 11;
    const struct {
        const char* name;
        Bytes card;
        int lastSent, mode;
        std::vector<int> statuses;
        const char* selectors;  // 800 is the item behind the card
    } cases[] = {
        {"good", kGoodCard, 0x04, 1, {3, 1}, "800=44 8000=102 10000=4 20000=1 "},
        {"longer than 32", kGoodCard + Bytes(10, 0), 0x04, 1, {3, 1}, "800=44 8000=102 10000=4 20000=1 "},
        {"not after START", kGoodCard, 0x0F, 1, {3}, "800=44 8000=102 10000=4 20000=1 "},
        {"no values 9 and 10", noValues, 0x04, 1, {1}, "800=44 20000=1 "},
        {"short", Bytes(31, 0), 0x04, 1, {6}, ""},
        {"wrong id 6 value", wrongId, 0x04, 1, {6}, ""},
        {"skipped in mode 0", Bytes(3, 0), 0x04, 0, {}, "800=44 "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ptap::LinkState s = afterSending(c.lastSent, c.mode);
        const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x22, c.card), item(0x23, {0x44})}), s);
        EXPECT_EQ(statuses(actions), c.statuses);
        EXPECT_EQ(selectorsText(s), c.selectors);
        EXPECT_EQ(s.result, c.statuses == std::vector<int>{6} ? 0xD3 : 0);
    }
}

TEST(PtapReceive, ValueTenMapsToItsClass) {
    const std::uint32_t expected[32] = {3, 2, 1, 1, 2, 2, 8, 8, 4, 3, 3, 8, 3, 8, 8, 8,
                                        8, 8, 8, 8, 8, 8, 2, 8, 8, 8, 8, 8, 8, 3, 8, 8};
    for (std::uint32_t v = 0; v < 32; ++v) EXPECT_EQ(ptap::cardValueClass(v), expected[v]) << v;
    EXPECT_EQ(ptap::cardValueClass(32), 1u);
    EXPECT_EQ(ptap::cardValueClass(0xFFFF), 1u);
}

TEST(PtapReceive, RecordFillingRules) {
    Bytes forty;
    for (int i = 1; i <= 40; ++i) forty.push_back(static_cast<std::uint8_t>(i));
    const Bytes mixed = answer({item(0x20, {0}), item(0x1B, {0xF0}), item(0x1C, {0x81, 2, 3}), item(0x0F, {0xFF, 0xFE}),
                                item(0x21, {0x7F, 0x80, 0xFF})});
    const Bytes later = answer({item(0x1B, {0xF1}), item(0x20, {0xEE}), item(0x21, {5})}, 0x10);
    const Bytes fourteen = answer({item(0x20, {1}), item(0x1A, {2}), item(0x1B, {3}), item(0x1C, {4}), item(0x1D, {5}),
                                   item(0x1E, {6}), item(0x18, {7}), item(0x19, {8}), item(0x24, {9}), item(0x25, {10}),
                                   item(0x26, {11}), item(0x0F, {0, 12}), item(0x21, {13}), item(0x1B, {0x55})});
    const Bytes array = answer({item(0x21, forty), item(0x1D, {0x33})});
    const Bytes failure = answer({item(0x20, {200}), item(0x1B, {5}), item(0x20, {0})});
    const Bytes none = answer({item(0x10, {0, 5}), item(0x20, {}), item(0x0F, {0x12}), item(0x1A, {}), item(0x21, {})});
    const Bytes onlyTwo = answer({item(0x1B, {1}), item(0x1C, {2})});
    const Bytes reopen;  // a lost link makes the record fillable again
    const struct {
        const char* name;
        std::vector<Bytes> packets;
        const char* record;
        int count;
        std::uint32_t selector10;  // item actions write unsigned
    } cases[] = {
        // clang-format off
        {"one-byte values sign-extended, from the first value byte; 0x0F not", {mixed},
         "0 0 -16 -127 0 0 0 0 0 0 0 65534 / 127 -128 -1 0", 5, 0xF0},
        {"once complete, item actions rewrite, but neither 0x20 nor the array", {mixed, later},
         "0 0 241 -127 0 0 0 0 0 0 0 65534 / 127 -128 -1 0", 5, 0xF1},
        {"thirteen tags at most, while item actions see every item", {fourteen},
         "1 2 3 4 5 6 7 8 9 10 11 12 / 13 0 0 0", 13, 0x55},
        {"the array takes 32 values, and the walk goes on", {array},
         "0 0 0 0 51 0 0 0 0 0 0 0 / 1 2 3 32", 2, 0},
        {"a failure stops the item actions but not the filling", {failure},
         "0 0 5 0 0 0 0 0 0 0 0 0 / 0 0 0 0", 3, 0},
        {"reopened, the record is zeroed and the count kept", {onlyTwo, reopen, answer({item(0x1D, {3})})},
         "0 0 0 0 3 0 0 0 0 0 0 0 / 0 0 0 0", 3, 1},
        {"no parameter tag, or too short a value, leaves it open", {none},
         "0 0 0 0 0 0 0 0 0 0 0 0 / 0 0 0 0", 0, 0},
        // clang-format on
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        ptap::LinkState s = afterSending(0x04);
        for (const Bytes& packet : c.packets) {
            if (packet.empty()) s.parametersComplete = false;
            ptap::receiveDatagram(packet, s);
        }
        EXPECT_EQ(recordText(s.parameters), c.record);
        EXPECT_EQ(s.parameterCount, c.count);
        EXPECT_EQ(s.parametersComplete, c.count > 0);
        EXPECT_EQ(ptap::selectorValue(s, 0x10), c.selector10);
    }
}

TEST(PtapReceive, KeepaliveTimeoutTakesEffectTwiceUntilTheRecordIsComplete) {
    ptap::LinkState s = afterSending(0x04);
    EXPECT_EQ(describe(ptap::receiveDatagram(answer({item(0x1A, {0xB4})}), s)),
              (Texts{"remove 1", "timeout 180", "timeout 180"}))
        << "unsigned seconds";
    EXPECT_EQ(s.parameters.mKeepaliveTimeout, -76);
    EXPECT_EQ(describe(ptap::receiveDatagram(answer({item(0x1A, {0x05})}), s)), (Texts{"remove 1", "timeout 5"}));
    EXPECT_EQ(ptap::selectorValue(s, 8), 5u);
}

TEST(PtapReceive, EighteenSelectorsFromTheirTags) {
    ptap::LinkState s = afterSending(0);
    ptap::receiveDatagram(answer({item(0x18, {0x02}), item(0x19, {0x04}), item(0x1A, {0x08}), item(0x1B, {0x10}),
                                  item(0x1C, {0x20}), item(0x1D, {0x40}), item(0x1E, {0x80}), item(0x0F, {0x01, 0x00}),
                                  item(0x10, {0x02, 0x00}), item(0x11, {0x04, 0x00}), item(0x23, {0x08}),
                                  item(0x24, {0x10}), item(0x25, {0x20}), item(0x26, {0x40})}),
                          s);
    EXPECT_EQ(selectorsText(s),
              "2=2 4=4 8=8 10=10 20=20 40=40 80=80 100=100 200=200 400=400 800=8 1000=10 2000=20 4000=40 ");
    for (int none : {3, 0, 0x40000, -1, INT32_MIN}) EXPECT_EQ(ptap::selectorValue(s, none), 0u) << none;
}

TEST(PtapReceive, Tag5AKeepsAtMostFiveBytesClearedFirst) {
    ptap::LinkState s = afterSending(0);
    ptap::receiveDatagram(answer({item(0x5A, {1, 2, 3, 4, 5, 6, 7})}), s);
    EXPECT_EQ(s.field5A, (std::array<std::uint8_t, 5>{1, 2, 3, 4, 5}));
    ptap::receiveDatagram(answer({item(0x5A, {9})}), s);
    EXPECT_EQ(s.field5A, (std::array<std::uint8_t, 5>{9, 0, 0, 0, 0}));
}

TEST(PtapReceive, ResetClearsEverythingButTheMode) {
    ptap::LinkState s = afterSending(0x04, 1);
    ptap::receiveDatagram(answer({item(0x22, kGoodCard), item(0x1B, {1})}), s);
    ptap::resetLinkState(s, 1);
    EXPECT_EQ(s.registrationMode, 1);
    EXPECT_EQ(s.lastSentType, 0);
    EXPECT_EQ(s.parameterCount, 0);
    EXPECT_FALSE(s.parametersComplete);
    EXPECT_EQ(selectorsText(s), "");
}
