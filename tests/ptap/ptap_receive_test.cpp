#include "ptap/ptap_receive.h"

#include <gtest/gtest.h>

#include <cstring>

#include "ptap_test_util.h"

using namespace ptap_test;
using ptap::Action;

namespace {

ptap::LinkState afterSending(int type, int mode = 0) {
    ptap::LinkState s;
    ptap::resetLinkState(s, mode);
    s.lastSentType = type;
    return s;
}

std::vector<int> statuses(const std::vector<Action>& actions) {
    std::vector<int> out;
    for (const Action& a : actions) {
        if (a.kind == Action::kReportStatus) out.push_back(a.value);
    }
    return out;
}

std::vector<Action::Kind> kinds(const std::vector<Action>& actions) {
    std::vector<Action::Kind> out;
    for (const Action& a : actions) out.push_back(a.kind);
    return out;
}

int count(const std::vector<Action>& actions, Action::Kind kind) {
    int n = 0;
    for (const Action& a : actions) n += a.kind == kind ? 1 : 0;
    return n;
}

Bytes answer(const std::vector<Bytes>& items, std::uint8_t type = 0x00, std::uint32_t tid = 1) {
    return datagram(tid, type, payload(items));
}

}  // namespace

// ---- Order of the receive steps ----

TEST(PtapReceive, AcknowledgesBeforeAnyOtherAction) {
    ptap::LinkState s = afterSending(0x14);
    const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x20, {0x33})}, 0x15, 0x0A0B0C), s);
    ASSERT_EQ(kinds(actions), (std::vector<Action::Kind>{Action::kSendAck, Action::kDeliverEvent}));
    EXPECT_EQ(actions[0].tid, (ptap::TidBytes{0x00, 0x0A, 0x0B, 0x0C}));
    EXPECT_EQ(s.lastReceivedTid, actions[0].tid);
}

TEST(PtapReceive, KeepaliveRequestStampsContactBeforeItsAcknowledgment) {
    ptap::LinkState s = afterSending(0);
    const std::vector<Action> actions = ptap::receiveDatagram(hex("50 54 41 50 00 00 00 21 10 FF"), s);
    ASSERT_EQ(kinds(actions), (std::vector<Action::Kind>{Action::kStampContact, Action::kSendAck}));
}

TEST(PtapReceive, AnAcknowledgmentIsNeverAcknowledgedButItsItemsAct) {
    ptap::LinkState s = afterSending(0x04);
    const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x20, {0x00})}, 0x00, 5), s);
    EXPECT_EQ(count(actions, Action::kSendAck), 0);
    ASSERT_EQ(count(actions, Action::kRemoveAcknowledged), 1);
    EXPECT_EQ(actions[0].kind, Action::kRemoveAcknowledged);
    EXPECT_EQ(ptap::tidValue(actions[0].tid), 5u);
    EXPECT_EQ(statuses(actions), (std::vector<int>{1}));
}

TEST(PtapReceive, OtherTypesAreAcknowledgedAndReadWithNoActionOfTheirOwn) {
    ptap::LinkState s = afterSending(0);
    const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x1B, {0x09})}, 0x42), s);
    EXPECT_EQ(kinds(actions), (std::vector<Action::Kind>{Action::kSendAck}));
    EXPECT_EQ(ptap::selectorValue(s, 0x10), 9u);
}

TEST(PtapReceive, DropsWhatIsNotPtapWithoutTouchingTheState) {
    const Bytes cases[] = {
        hex("50 54 41 50 00 00 00 01 10"),     // nine bytes, no payload
        hex("50 54 41 50 00 00 00"),           // short
        hex("50 54 41 58 00 00 00 01 10 FF"),  // bad magic
        hex("50 54 41 50 01 00 00 00 10 FF"),  // tid 0x01000000
        hex("50 54 41 50 01 00 00 00 00 20 00 01 00 FF"),
    };
    for (const Bytes& bytes : cases) {
        ptap::LinkState s = afterSending(0x04);
        s.lastReceivedTid = {0, 0, 0, 9};
        EXPECT_TRUE(ptap::receiveDatagram(bytes, s).empty());
        EXPECT_EQ(s.lastReceivedTid, (ptap::TidBytes{0, 0, 0, 9}));
        EXPECT_EQ(s.result, 0);
        EXPECT_FALSE(s.parametersComplete);
    }
}

// ---- Type actions ----

TEST(PtapReceive, EventPayloadIsHandedOnPaddedWithZeros) {
    ptap::LinkState s = afterSending(0);
    const Bytes p = payload({item(0x20, {0x81})});
    const std::vector<Action> actions = ptap::receiveDatagram(datagram(3, 0x15, p), s);
    ASSERT_EQ(actions.size(), 2u);
    const Bytes& data = actions[1].data;
    ASSERT_EQ(data.size(), p.size() + ptap::kEventPadding);
    EXPECT_EQ(Bytes(data.begin(), data.begin() + static_cast<long>(p.size())), p);
    for (std::size_t i = p.size(); i < data.size(); ++i) EXPECT_EQ(data[i], 0) << i;
}

TEST(PtapReceive, CompulsionRestartReachesTheParentAfterItsAcknowledgment) {
    ptap::LinkState s = afterSending(0);
    const std::vector<Action> actions = ptap::receiveDatagram(hex("50 54 41 50 00 00 00 02 03 FF"), s);
    ASSERT_EQ(kinds(actions), (std::vector<Action::Kind>{Action::kSendAck, Action::kDeliverEvent}));
    EXPECT_STREQ(reinterpret_cast<const char*>(actions[1].data.data()), "PTAP_COMREST");
}

TEST(PtapReceive, CardQueryIsAnsweredInModeOneAndIsAWrongCardInModeZero) {
    ptap::LinkState mode1 = afterSending(0x0F, 1);
    const std::vector<Action> a1 = ptap::receiveDatagram(hex("50 54 41 50 00 00 00 02 3C FF"), mode1);
    EXPECT_EQ(kinds(a1), (std::vector<Action::Kind>{Action::kSendAck, Action::kSendCardAnswer}));
    EXPECT_EQ(mode1.result, 0);

    ptap::LinkState mode0 = afterSending(0x0F, 0);
    const std::vector<Action> a0 = ptap::receiveDatagram(hex("50 54 41 50 00 00 00 02 3C FF"), mode0);
    EXPECT_EQ(statuses(a0), (std::vector<int>{6}));
    EXPECT_EQ(mode0.result, 0xD3);
}

// ---- Tag 0x20 ----

TEST(PtapReceive, ResultItemMapsTheServersAnswer) {
    struct Case {
        int lastSent;
        int mode;
        std::uint8_t value;
        int result;  // -1: unchanged
        std::vector<int> statuses;
    } cases[] = {
        {0x04, 0, 0, 0, {1}},      {0x04, 0, 17, 0, {1}},    {0x04, 0, 255, 0, {1}},   {0x04, 0, 99, 0, {1}},
        {0x04, 0, 104, 0, {1}},    {0x04, 0, 100, 200, {7}}, {0x04, 0, 103, 200, {7}}, {0x04, 0, 200, 0xC9, {4}},
        {0x04, 0, 201, -1, {}},    {0x04, 0, 202, -1, {}},   {0x0F, 0, 0, 0, {2}},     {0x0F, 1, 0, 0, {2}},
        {0x04, 1, 0, -1, {}},      {0x14, 0, 0, -1, {}},     {0x3D, 1, 0, -1, {}},     {0x0F, 1, 101, 200, {7}},
        {0x14, 0, 200, 0xC9, {4}},
    };
    for (const Case& c : cases) {
        ptap::LinkState s = afterSending(c.lastSent, c.mode);
        s.result = 12345;
        const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x20, {c.value})}), s);
        const std::string where = "last sent " + std::to_string(c.lastSent) + " mode " + std::to_string(c.mode) +
                                  " value " + std::to_string(c.value);
        EXPECT_EQ(statuses(actions), c.statuses) << where;
        EXPECT_EQ(s.result, c.result < 0 ? 12345 : c.result) << where;
    }
}

TEST(PtapReceive, FailureStopsTheRemainingItemsButNotTheRecord) {
    ptap::LinkState s = afterSending(0x04);
    ptap::receiveDatagram(answer({item(0x20, {200}), item(0x1B, {0x05}), item(0x20, {0})}), s);
    EXPECT_EQ(s.result, 0xC9);
    EXPECT_EQ(ptap::selectorValue(s, 0x10), 0u) << "item actions stopped";
    EXPECT_TRUE(s.parametersComplete);
    EXPECT_EQ(s.parameters.mTags1B1E[0], 5) << "the record is filled from the raw payload";
}

TEST(PtapReceive, TooShortValuesArePassedOver) {
    ptap::LinkState s = afterSending(0x04);
    const std::vector<Action> actions =
        ptap::receiveDatagram(answer({item(0x20, {}), item(0x0F, {0x12}), item(0x1A, {}), item(0x21, {})}), s);
    EXPECT_TRUE(statuses(actions).empty());
    EXPECT_EQ(count(actions, Action::kSetKeepaliveTimeout), 0);
    EXPECT_EQ(ptap::selectorValue(s, 0x100), 0u);
    EXPECT_FALSE(s.parametersComplete) << "nothing counted";
    EXPECT_EQ(s.parameterCount, 0);
}

// ---- Tag 0x22 ----

namespace {

Bytes goodCard(std::uint16_t value9 = 0x0102, std::uint16_t value10 = 8) {
    Bytes card(32, 0xEE);
    card[16] = 0x06;
    card[17] = 0x00;
    card[18] = 0x42;
    card[25] = 9;
    card[26] = static_cast<std::uint8_t>(value9 >> 8);
    card[27] = static_cast<std::uint8_t>(value9);
    card[28] = 10;
    card[29] = static_cast<std::uint8_t>(value10 >> 8);
    card[30] = static_cast<std::uint8_t>(value10);
    return card;
}

}  // namespace

TEST(PtapReceive, GoodCardRecordAcceptsStartInModeOne) {
    ptap::LinkState s = afterSending(0x04, 1);
    const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x22, goodCard(0x0102, 8))}), s);
    EXPECT_EQ(statuses(actions), (std::vector<int>{3, 1}));
    EXPECT_EQ(s.result, 0);
    EXPECT_EQ(ptap::selectorValue(s, 0x20000), 1u);
    EXPECT_EQ(ptap::selectorValue(s, 0x8000), 0x0102u);
    EXPECT_EQ(ptap::selectorValue(s, 0x10000), 4u);
}

TEST(PtapReceive, CardRecordChecks) {
    struct Case {
        const char* name;
        Bytes card;
        int lastSent;
        std::vector<int> statuses;
        std::uint32_t flag;
    };
    Bytes wrongId = goodCard();
    wrongId[18] = 0x43;
    Bytes noValues = goodCard();
    noValues[25] = 8;
    noValues[28] = 11;
    Bytes longer = goodCard() + Bytes(10, 0);
    const Case cases[] = {
        {"short", Bytes(31, 0), 0x04, {6}, 0},          {"wrong id 6 value", wrongId, 0x04, {6}, 0},
        {"no values 9 and 10", noValues, 0x04, {1}, 1}, {"longer than 32", longer, 0x04, {3, 1}, 1},
        {"not after START", goodCard(), 0x0F, {3}, 1},
    };
    for (const Case& c : cases) {
        ptap::LinkState s = afterSending(c.lastSent, 1);
        const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x22, c.card), item(0x23, {0x44})}), s);
        EXPECT_EQ(statuses(actions), c.statuses) << c.name;
        EXPECT_EQ(ptap::selectorValue(s, 0x20000), c.flag) << c.name;
        const bool wrong = c.statuses == std::vector<int>{6};
        EXPECT_EQ(s.result, wrong ? 0xD3 : 0) << c.name;
        EXPECT_EQ(ptap::selectorValue(s, 0x800), wrong ? 0u : 0x44u) << c.name << ": items behind the card";
    }
}

TEST(PtapReceive, CardRecordIsSkippedInModeZero) {
    ptap::LinkState s = afterSending(0x04, 0);
    const std::vector<Action> actions = ptap::receiveDatagram(answer({item(0x22, Bytes(3, 0))}), s);
    EXPECT_TRUE(statuses(actions).empty());
    EXPECT_EQ(s.result, 0);
}

TEST(PtapReceive, ValueTenMapsToItsClass) {
    const std::uint32_t expected[32] = {3, 2, 1, 1, 2, 2, 8, 8, 4, 3, 3, 8, 3, 8, 8, 8,
                                        8, 8, 8, 8, 8, 8, 2, 8, 8, 8, 8, 8, 8, 3, 8, 8};
    for (std::uint32_t v = 0; v < 32; ++v) EXPECT_EQ(ptap::cardValueClass(v), expected[v]) << v;
    EXPECT_EQ(ptap::cardValueClass(32), 1u);
    EXPECT_EQ(ptap::cardValueClass(0xFFFF), 1u);
}

// ---- The parameter record ----

TEST(PtapReceive, FirstPacketWithAParameterTagCompletesTheRecord) {
    ptap::LinkState s = afterSending(0x04);
    ptap::receiveDatagram(answer({item(0x10, {0x00, 0x05})}), s);
    EXPECT_FALSE(s.parametersComplete) << "tag 0x10 is no parameter tag";
    ptap::receiveDatagram(answer({item(0x20, {0x00})}), s);
    EXPECT_TRUE(s.parametersComplete);
    ptap::receiveDatagram(answer({item(0x21, {1, 2, 3})}), s);
    EXPECT_EQ(s.parameters.mTag21[0], 0) << "a later array is never stored";
}

TEST(PtapReceive, FillingSignExtendsThenItemActionsWriteUnsigned) {
    ptap::LinkState s = afterSending(0x04);
    ptap::receiveDatagram(
        answer({item(0x20, {0x00}), item(0x1B, {0xF0}), item(0x0F, {0xFF, 0xFE}), item(0x21, {0x7F, 0x80, 0xFF})}), s);
    EXPECT_EQ(s.parameters.mTags1B1E[0], -16);
    EXPECT_EQ(s.parameters.mTag0F, 0xFFFE) << "the 16-bit value is not sign-extended";
    EXPECT_EQ(s.parameters.mTag21[0], 127);
    EXPECT_EQ(s.parameters.mTag21[1], -128);
    EXPECT_EQ(s.parameters.mTag21[2], -1);
    EXPECT_EQ(ptap::selectorValue(s, 0x10), 0xF0u) << "selectors are unsigned";

    ptap::receiveDatagram(answer({item(0x1B, {0xF1}), item(0x20, {0xEE}), item(0x21, {5})}, 0x10), s);
    EXPECT_EQ(s.parameters.mTags1B1E[0], 241);
    EXPECT_EQ(s.parameters.mTag20, 0) << "tag 0x20 is written only by the filling";
    EXPECT_EQ(s.parameters.mTag21[0], 127) << "nor is the array";
}

TEST(PtapReceive, OneByteFieldsReadTheFirstValueByteWhateverTheLength) {
    ptap::LinkState s = afterSending(0x04);
    ptap::receiveDatagram(answer({item(0x1C, {0x81, 0x02, 0x03})}), s);
    EXPECT_EQ(s.parameters.mTags1B1E[1], -127);
}

TEST(PtapReceive, ArrayTakesAtMostThirtyTwoValuesAndTheWalkGoesOn) {
    ptap::LinkState s = afterSending(0x04);
    Bytes forty;
    for (int i = 0; i < 40; ++i) forty.push_back(static_cast<std::uint8_t>(i + 1));
    ptap::receiveDatagram(answer({item(0x21, forty), item(0x1D, {0x33})}), s);
    for (int i = 0; i < 32; ++i) EXPECT_EQ(s.parameters.mTag21[i], i + 1) << i;
    EXPECT_EQ(s.parameters.mTags1B1E[2], 0x33);
    EXPECT_EQ(s.parameterCount, 2);
}

TEST(PtapReceive, FillingStopsAtThirteenParameterTags) {
    ptap::LinkState s = afterSending(0);
    ptap::receiveDatagram(answer({item(0x20, {1}), item(0x1A, {2}), item(0x1B, {3}), item(0x1C, {4}), item(0x1D, {5}),
                                  item(0x1E, {6}), item(0x18, {7}), item(0x19, {8}), item(0x24, {9}), item(0x25, {10}),
                                  item(0x26, {11}), item(0x0F, {0, 12}), item(0x21, {13}), item(0x1B, {0x55})}),
                          s);
    EXPECT_EQ(s.parameterCount, 13);
    const PtapParameters& p = s.parameters;
    EXPECT_EQ(p.mTag20, 1);
    EXPECT_EQ(p.mKeepaliveTimeout, 2);
    EXPECT_EQ(p.mTags1B1E[0], 3) << "the fourteenth tag is not read";
    EXPECT_EQ(p.mTags1B1E[3], 6);
    EXPECT_EQ(p.mTags1819[0], 7);
    EXPECT_EQ(p.mTags1819[1], 8);
    EXPECT_EQ(p.mTags2426[0], 9);
    EXPECT_EQ(p.mTags2426[2], 11);
    EXPECT_EQ(p.mTag0F, 12);
    EXPECT_EQ(p.mTag21[0], 13);
    EXPECT_EQ(ptap::selectorValue(s, 0x10), 0x55u) << "item actions see every item";
}

TEST(PtapReceive, KeepaliveTimeoutTakesEffectTwiceUntilTheRecordIsComplete) {
    ptap::LinkState s = afterSending(0x04);
    std::vector<Action> first = ptap::receiveDatagram(answer({item(0x1A, {0xB4})}), s);
    EXPECT_EQ(count(first, Action::kSetKeepaliveTimeout), 2);
    for (const Action& a : first) {
        if (a.kind == Action::kSetKeepaliveTimeout) {
            EXPECT_EQ(a.value, 180) << "unsigned seconds";
        }
    }
    EXPECT_EQ(s.parameters.mKeepaliveTimeout, -76);
    std::vector<Action> later = ptap::receiveDatagram(answer({item(0x1A, {0x05})}), s);
    EXPECT_EQ(count(later, Action::kSetKeepaliveTimeout), 1);
    EXPECT_EQ(ptap::selectorValue(s, 8), 5u);
}

TEST(PtapReceive, CountLastsAcrossPacketsOnceTheRecordIsOpenedAgain) {
    ptap::LinkState s = afterSending(0);
    ptap::receiveDatagram(answer({item(0x1B, {1}), item(0x1C, {2})}), s);
    ASSERT_EQ(s.parameterCount, 2);
    // A lost link makes the record fillable again, with the count kept.
    s.parametersComplete = false;
    ptap::receiveDatagram(answer({item(0x1D, {3})}), s);
    EXPECT_EQ(s.parameterCount, 3);
    EXPECT_TRUE(s.parametersComplete);
    EXPECT_EQ(s.parameters.mTags1B1E[0], 0) << "the record was zeroed before the new fill";
    EXPECT_EQ(s.parameters.mTags1B1E[2], 3);
}

// ---- Selectors ----

TEST(PtapReceive, EighteenSelectorsFromTheirTags) {
    ptap::LinkState s = afterSending(0);
    ptap::receiveDatagram(answer({item(0x18, {0x02}), item(0x19, {0x04}), item(0x1A, {0x08}), item(0x1B, {0x10}),
                                  item(0x1C, {0x20}), item(0x1D, {0x40}), item(0x1E, {0x80}), item(0x0F, {0x01, 0x00}),
                                  item(0x10, {0x02, 0x00}), item(0x11, {0x04, 0x00}), item(0x23, {0x08}),
                                  item(0x24, {0x10}), item(0x25, {0x20}), item(0x26, {0x40})}),
                          s);
    struct Case {
        int selector;
        std::uint32_t value;
    } cases[] = {
        {1, 0},         {2, 0x02},      {4, 0x04},      {8, 0x08},      {0x10, 0x10},   {0x20, 0x20},
        {0x40, 0x40},   {0x80, 0x80},   {0x100, 0x100}, {0x200, 0x200}, {0x400, 0x400}, {0x800, 0x08},
        {0x1000, 0x10}, {0x2000, 0x20}, {0x4000, 0x40}, {0x8000, 0},    {0x10000, 0},   {0x20000, 0},
        {3, 0},         {0, 0},         {0x40000, 0},   {-1, 0},        {INT32_MIN, 0},
    };
    for (const Case& c : cases) EXPECT_EQ(ptap::selectorValue(s, c.selector), c.value) << std::hex << c.selector;
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
    ptap::receiveDatagram(answer({item(0x22, goodCard()), item(0x1B, {1})}), s);
    ptap::resetLinkState(s, 1);
    EXPECT_EQ(s.registrationMode, 1);
    EXPECT_EQ(s.lastSentType, 0);
    EXPECT_EQ(s.parameterCount, 0);
    EXPECT_FALSE(s.parametersComplete);
    for (int bit = 0; bit < ptap::kSelectorCount; ++bit) EXPECT_EQ(ptap::selectorValue(s, 1 << bit), 0u);
}
