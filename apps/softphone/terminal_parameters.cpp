#include "terminal_parameters.h"

#include <arpa/inet.h>

#include <cctype>
#include <cstring>

#include "event_queue.h"

namespace client {

bool parseAddress(const std::string& text, std::uint32_t& address) {
    in_addr a{};
    if (::inet_pton(AF_INET, text.c_str(), &a) != 1) return false;
    address = ntohl(a.s_addr);
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
