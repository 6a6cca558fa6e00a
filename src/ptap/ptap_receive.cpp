#include "ptap/ptap_receive.h"

#include <algorithm>
#include <cstring>

#include "common/tracer.h"

namespace ptap {

namespace {

constexpr std::uint8_t kTagResult = 0x20;
constexpr std::uint8_t kTagArray = 0x21;
constexpr std::uint8_t kTagCard = 0x22;
constexpr std::uint8_t kTagKeepaliveTimeout = 0x1A;
constexpr std::uint8_t kTag0F = 0x0F;
constexpr std::uint8_t kTag5A = 0x5A;

constexpr std::uint32_t kSelectorCardValue9 = 0x8000;
constexpr std::uint32_t kSelectorCardValue10 = 0x10000;
constexpr std::uint32_t kSelectorCardFlag = 0x20000;

// A tag whose value lands in a selector and, for most, a record field.
struct ValueTag {
    std::uint8_t tag;
    int width;  // 1: first value byte, 2: 16-bit value
    int selectorBit;
};

constexpr ValueTag kValueTags[] = {
    {0x0F, 2, 8}, {0x10, 2, 9}, {0x11, 2, 10}, {0x18, 1, 1},  {0x19, 1, 2},  {0x1A, 1, 3},  {0x1B, 1, 4},
    {0x1C, 1, 5}, {0x1D, 1, 6}, {0x1E, 1, 7},  {0x23, 1, 11}, {0x24, 1, 12}, {0x25, 1, 13}, {0x26, 1, 14},
};

const ValueTag* findValueTag(std::int32_t tag) {
    for (const ValueTag& v : kValueTags) {
        if (v.tag == tag) return &v;
    }
    return nullptr;
}

int bitOf(std::uint32_t selector) {
    for (int bit = 0; bit < kSelectorCount; ++bit) {
        if (selector == (1u << bit)) return bit;
    }
    return -1;
}

// The record field of a one-value parameter tag; null for tags without one.
std::int32_t* recordField(PtapParameters& p, std::int32_t tag) {
    switch (tag) {
        case 0x20:
            return &p.mTag20;
        case 0x1A:
            return &p.mKeepaliveTimeout;
        case 0x1B:
            return &p.mTags1B1E[0];
        case 0x1C:
            return &p.mTags1B1E[1];
        case 0x1D:
            return &p.mTags1B1E[2];
        case 0x1E:
            return &p.mTags1B1E[3];
        case 0x18:
            return &p.mTags1819[0];
        case 0x19:
            return &p.mTags1819[1];
        case 0x24:
            return &p.mTags2426[0];
        case 0x25:
            return &p.mTags2426[1];
        case 0x26:
            return &p.mTags2426[2];
        case 0x0F:
            return &p.mTag0F;
        default:
            return nullptr;
    }
}

Action status(int code) {
    Action a;
    a.kind = Action::kReportStatus;
    a.value = code;
    return a;
}

Action keepaliveTimeout(std::uint8_t seconds) {
    Action a;
    a.kind = Action::kSetKeepaliveTimeout;
    a.value = seconds;
    return a;
}

Action event(std::span<const std::uint8_t> payload) {
    Action a;
    a.kind = Action::kDeliverEvent;
    a.data.assign(payload.begin(), payload.end());
    a.data.resize(payload.size() + kEventPadding, 0);
    return a;
}

bool isMode1(const LinkState& state) {
    return state.registrationMode == 1;
}

// Tag 0x20: the server's answer. False when it reports a failure.
bool resultItem(std::uint8_t value, LinkState& state, std::vector<Action>& actions) {
    if (value >= 100 && value <= 103) {
        state.result = kResultBusy;
        actions.push_back(status(kStatusBusy));
        return false;
    }
    if (value == 200) {
        state.result = kResultRefused;
        actions.push_back(status(kStatusCannotRegister));
        return false;
    }
    if (value == 201 || value == 202) return true;
    if (state.lastSentType == kTypeStart && !isMode1(state)) {
        state.result = kResultAccepted;
        actions.push_back(status(kStatusStartAccepted));
    } else if (state.lastSentType == kTypeOpBegin) {
        state.result = kResultAccepted;
        actions.push_back(status(kStatusOpBeginAnswered));
    }
    return true;
}

// Tag 0x22 in mode 1. False when the card is wrong.
bool cardRecord(std::span<const std::uint8_t> value, LinkState& state, std::vector<Action>& actions) {
    const bool shapeOk =
        value.size() >= kCardRecordLength && value[16] == 0x06 && value[17] == 0x00 && value[18] == 0x42;
    if (!shapeOk) {
        state.result = kResultIncorrectCard;
        actions.push_back(status(kStatusIncorrectCard));
        return false;
    }
    state.selectors[bitOf(kSelectorCardFlag)] = 1;
    if (value[25] == 9) state.selectors[bitOf(kSelectorCardValue9)] = readU16(value, 26);
    if (value[28] == 10) {
        state.selectors[bitOf(kSelectorCardValue10)] = cardValueClass(readU16(value, 29));
        actions.push_back(status(kStatusCardValue));
    }
    if (state.lastSentType == kTypeStart) {
        state.result = kResultAccepted;
        actions.push_back(status(kStatusStartAccepted));
    }
    return true;
}

// Step 6 for one item. False stops the walk over the packet's items.
bool itemAction(const PtapItem& item, LinkState& state, std::vector<Action>& actions) {
    if (item.tag == kTagResult) {
        if (item.value.empty()) return true;
        return resultItem(item.value[0], state, actions);
    }
    if (item.tag == kTagCard) {
        if (!isMode1(state)) return true;
        return cardRecord(item.value, state, actions);
    }
    if (item.tag == kTag5A) {
        state.field5A.fill(0);
        std::copy_n(item.value.begin(), std::min(item.value.size(), state.field5A.size()), state.field5A.begin());
        return true;
    }
    const ValueTag* tag = findValueTag(item.tag);
    if (tag == nullptr || item.value.size() < static_cast<std::size_t>(tag->width)) return true;
    const std::uint32_t value = tag->width == 2 ? readU16(item.value, 0) : item.value[0];
    state.selectors[tag->selectorBit] = value;
    // Once the record is complete these writes keep it current, unsigned.
    if (std::int32_t* field = recordField(state.parameters, item.tag)) *field = static_cast<std::int32_t>(value);
    if (item.tag == kTagKeepaliveTimeout) actions.push_back(keepaliveTimeout(item.value[0]));
    return true;
}

// Step 7: the first packet that carries a parameter tag fills the record,
// one-byte values sign-extended.
void fillRecord(const std::vector<PtapItem>& items, LinkState& state, std::vector<Action>& actions) {
    state.parameters = PtapParameters{};
    for (const PtapItem& item : items) {
        if (state.parameterCount >= kParameterTagCount) break;
        if (item.tag == kTagArray) {
            if (item.value.empty()) continue;
            const std::size_t n = std::min(item.value.size(), kParameterArrayLength);
            for (std::size_t i = 0; i < n; ++i) {
                state.parameters.mTag21[i] = static_cast<std::int8_t>(item.value[i]);
            }
            ++state.parameterCount;
            continue;
        }
        std::int32_t* field = recordField(state.parameters, item.tag);
        if (field == nullptr) continue;
        if (item.tag == kTag0F) {
            if (item.value.size() < 2) continue;
            *field = readU16(item.value, 0);
        } else {
            if (item.value.empty()) continue;
            *field = static_cast<std::int8_t>(item.value[0]);
            if (item.tag == kTagKeepaliveTimeout) actions.push_back(keepaliveTimeout(item.value[0]));
        }
        ++state.parameterCount;
    }
    if (state.parameterCount > 0) state.parametersComplete = true;
}

}  // namespace

std::vector<Action> receiveDatagram(std::span<const std::uint8_t> datagram, LinkState& state) {
    std::vector<Action> actions;
    PtapPacket packet;
    if (!parsePacket(datagram, packet)) return actions;
    state.lastReceivedTid = packet.tid;

    switch (packet.type) {
        case kTypeAck: {
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Incoming ACK tid = %d",
                                      static_cast<int>(tidValue(packet.tid)));
            Action a;
            a.kind = Action::kRemoveAcknowledged;
            a.tid = packet.tid;
            actions.push_back(a);
            break;
        }
        case kTypeKeepaliveRequest: {
            Action a;
            a.kind = Action::kStampContact;
            actions.push_back(a);
            break;
        }
        case kTypeCompulsionRestart:
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Compulsion Restart Packet Detected\n");
            break;
        default:
            break;
    }
    // Every packet but an acknowledgment is acknowledged before anything
    // else it causes.
    if (packet.type != kTypeAck) {
        Action a;
        a.kind = Action::kSendAck;
        a.tid = packet.tid;
        actions.push_back(a);
    }

    if (packet.type == kTypeEvent) {
        actions.push_back(event(packet.payload));
    } else if (packet.type == kTypeCompulsionRestart) {
        // The restart reaches the client as its link event.
        static constexpr char kText[] = "PTAP_COMREST";
        actions.push_back(
            event(std::span<const std::uint8_t>(reinterpret_cast<const std::uint8_t*>(kText), sizeof kText - 1)));
    } else if (packet.type == kTypeCardQuery) {
        if (isMode1(state)) {
            Action a;
            a.kind = Action::kSendCardAnswer;
            actions.push_back(a);
        } else {
            state.result = kResultIncorrectCard;
            actions.push_back(status(kStatusIncorrectCard));
        }
    }

    for (const PtapItem& item : packet.items) {
        if (!itemAction(item, state, actions)) break;
    }

    if (!state.parametersComplete) fillRecord(packet.items, state, actions);
    return actions;
}

std::uint32_t selectorValue(const LinkState& state, int selector) {
    const int bit = bitOf(static_cast<std::uint32_t>(selector));
    return bit < 0 ? 0 : state.selectors[bit];
}

std::uint32_t cardValueClass(std::uint32_t value) {
    if (value > 31) return 1;
    switch (value) {
        case 0:
        case 9:
        case 10:
        case 12:
        case 29:
            return 3;
        case 1:
        case 4:
        case 5:
        case 22:
            return 2;
        case 2:
        case 3:
            return 1;
        case 8:
            return 4;
        default:
            return 8;
    }
}

void resetLinkState(LinkState& state, int registrationMode) {
    state = LinkState{};
    state.registrationMode = registrationMode;
}

}  // namespace ptap
