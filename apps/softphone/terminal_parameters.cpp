#include "terminal_parameters.h"

#include <cctype>
#include <cstring>

#include "event_queue.h"

namespace client {

// Four decimal parts of 0 to 255 with dots between, no part with a leading
// zero: the dotted form inet_pton takes.
bool parseAddress(const std::string& text, std::uint32_t& address) {
    std::uint32_t value = 0;
    std::size_t at = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0 && (at >= text.size() || text[at++] != '.')) return false;
        const std::size_t first = at;
        unsigned number = 0;
        while (at < text.size() && at - first < 4 && std::isdigit(static_cast<unsigned char>(text[at])))
            number = number * 10 + static_cast<unsigned>(text[at++] - '0');
        const std::size_t digits = at - first;
        if (digits == 0 || digits > 3 || number > 255 || (digits > 1 && text[first] == '0')) return false;
        value = value << 8 | number;
    }
    if (at != text.size()) return false;
    address = value;
    return true;
}

bool parseMac(const std::string& text, std::array<std::uint8_t, 6>& mac) {
    std::string digits;
    for (char c : text)
        if (c != ':' && c != '-') digits += c;
    if (digits.size() != 12) return false;
    for (std::size_t i = 0; i < 6; ++i) {
        const std::string pair = digits.substr(2 * i, 2);
        if (!std::isxdigit(static_cast<unsigned char>(pair[0])) || !std::isxdigit(static_cast<unsigned char>(pair[1])))
            return false;
        mac[i] = static_cast<std::uint8_t>(std::stoul(pair, nullptr, 16));
    }
    return true;
}

ParameterContainer terminalParameters(std::uint32_t server, std::uint32_t local,
                                      const std::array<std::uint8_t, 6>& mac) {
    ParameterContainer params;
    std::memset(&params, 0, sizeof params);
    params.mStartCode = 0x01;
    std::memcpy(params.mConnectionInfo, "SOFTPHONE001", 12);
    params.mLocalAddress = local;
    std::memcpy(params.mHardwareAddress, mac.data(), 6);
    params.mServerAddress = server;
    params.mRegistrationMode = SP_REGISTRATION_MODE_0;
    EventQueue::install(params);
    return params;
}

}  // namespace client
