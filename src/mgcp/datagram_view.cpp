#include "mgcp/datagram_view.h"

#include <cstdint>
#include <limits>

namespace {

int hexNibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return 0;
}

bool isSpace(char c) {
    return c == ' ' || c == '\t' || c == '\n' || c == '\v' || c == '\f' || c == '\r';
}

}  // namespace

std::int32_t readDecimal(const DatagramView& view, std::size_t index) {
    while (index < view.size() && isSpace(view.charAt(index))) ++index;
    bool negative = false;
    if (view.charAt(index) == '-' || view.charAt(index) == '+') {
        negative = view.charAt(index) == '-';
        ++index;
    }
    constexpr std::int64_t kLimit = std::int64_t{std::numeric_limits<std::int32_t>::max()} + 1;
    std::int64_t value = 0;
    while (index < view.size()) {
        const char c = view.charAt(index);
        if (c < '0' || c > '9') break;
        if (value <= kLimit) value = value * 10 + (c - '0');
        ++index;
    }
    if (negative) {
        value = -value;
        return value < std::numeric_limits<std::int32_t>::min() ? std::numeric_limits<std::int32_t>::min()
                                                                : static_cast<std::int32_t>(value);
    }
    return value > std::numeric_limits<std::int32_t>::max() ? std::numeric_limits<std::int32_t>::max()
                                                            : static_cast<std::int32_t>(value);
}

std::uint8_t readHexByte(const DatagramView& view, std::size_t index) {
    return static_cast<std::uint8_t>(hexNibble(view.charAt(index)) * 16 + hexNibble(view.charAt(index + 1)));
}
