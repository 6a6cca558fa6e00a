// The terminal's RTP port: bound locally, and the first destination port.
#pragma once

#include <cstdint>

constexpr std::uint16_t kRtpPort = 8000;
