// The codes of the control link: packet types on the wire, the status codes
// PTAP gives its listeners, and the result of START for its owner.
#pragma once

#include <cstdint>

#include "softphone.h"

namespace ptap {

enum PacketType : std::uint8_t {
    kTypeAck = 0x00,
    kTypeCompulsionRestart = 0x03,
    kTypeStart = 0x04,
    kTypeOpBegin = 0x0F,
    kTypeKeepaliveRequest = 0x10,
    kTypeErrorResponse = 0x14,
    kTypeEvent = 0x15,
    kTypeCardQuery = 0x3C,
    kTypeCardAnswer = 0x3D,
};

// Status codes for the listeners.
enum Status : int {
    kStatusStartAccepted = 1,
    kStatusOpBeginAnswered = 2,
    kStatusCardValue = 3,
    kStatusCannotRegister = 4,
    kStatusIncorrectCard = 6,
    kStatusBusy = 7,
};

// Results for the CallProcessor after START.
enum Result : int {
    kResultAccepted = SP_INIT_OK,
    kResultBusy = 200,
    kResultRefused = SP_INIT_REFUSED,
    kResultWrongConnectionData = SP_INIT_WRONG_CONNECTION_INFO,
    kResultIncorrectCard = SP_INIT_INCORRECT_CARD,
};

}  // namespace ptap
