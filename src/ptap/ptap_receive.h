// What a received datagram does to the link: the receive steps as pure
// logic over the link's state. The transport runs the actions it returns, in
// their order, after the state lock is released.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "ptap/ptap_wire.h"
#include "softphone.h"

namespace ptap {

constexpr int kParameterTagCount = 13;
constexpr int kSelectorCount = 18;
constexpr std::size_t kParameterArrayLength = 32;
constexpr std::size_t kCardRecordLength = 32;
// Zeros behind an event's payload: the parent reads it by prefix, with no
// length, so it must always meet a terminator.
constexpr std::size_t kEventPadding = 16;

struct LinkState {
    int registrationMode = 0;  // 1 is mode 1, anything else mode 0
    int lastSentType = 0;      // last type sent other than an acknowledgment
    int result = 0;
    PtapParameters parameters{};
    int parameterCount = 0;
    bool parametersComplete = false;
    std::array<std::uint32_t, kSelectorCount> selectors{};  // index: bit number of the selector
    std::array<std::uint8_t, 5> field5A{};
    TidBytes lastReceivedTid{};
};

struct Action {
    enum Kind {
        kRemoveAcknowledged,   // tid: drop it from the retransmission list
        kStampContact,         // a keepalive request: note the time of contact
        kSendAck,              // tid: the implicit acknowledgment
        kDeliverEvent,         // data: hand to the parent with event code 0x15
        kSendCardAnswer,       // answer a card query
        kReportStatus,         // value: status code for the listeners
        kSetKeepaliveTimeout,  // value: seconds, from tag 0x1A
    };
    Kind kind = kReportStatus;
    int value = 0;
    TidBytes tid{};
    std::vector<std::uint8_t> data;
};

// The receive steps for one datagram. A datagram that is not PTAP gives no
// action and leaves the state as it was.
std::vector<Action> receiveDatagram(std::span<const std::uint8_t> datagram, LinkState& state);

// Value for one selector bit (1, 2, 4, ... 0x20000); 0 for anything else.
std::uint32_t selectorValue(const LinkState& state, int selector);

// Class of the card record's value 10, as the client sees it.
std::uint32_t cardValueClass(std::uint32_t value);

// Back to the state of a freshly started module, keeping the mode.
void resetLinkState(LinkState& state, int registrationMode);

}  // namespace ptap
