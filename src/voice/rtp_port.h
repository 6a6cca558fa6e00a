// The terminal's RTP port: bound locally, and the first destination port.
#pragma once

#include <cstdint>

#include "softphone.h"

constexpr std::uint16_t kRtpPort = SP_PORT_RTP;
