// RTP payload types the terminal knows. The number doubles as the codec
// selector everywhere: in the server's description, in Wave and in codecLib.
#pragma once

#include <cstdint>

enum class PayloadType : std::int32_t {
    kPcmu = 0,
    kPcma = 8,
    kG722 = 9,  // filler only: no coder exists
    kG729 = 18,
};

constexpr std::int32_t toInt(PayloadType type) { return static_cast<std::int32_t>(type); }
