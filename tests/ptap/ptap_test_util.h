// Helpers of the PTAP tests: bytes from hex text, and datagrams from parts
// (the items and headers are the simulated server's).
#pragma once

#include <cstdint>
#include <cstdlib>
#include <sstream>
#include <string>
#include <vector>

#include "sim/ptap_server.h"

namespace ptap_test {

using Bytes = std::vector<std::uint8_t>;

// "50 54 41 50" -> {0x50, 0x54, 0x41, 0x50}
inline Bytes hex(const std::string& text) {
    Bytes out;
    std::istringstream in(text);
    std::string word;
    while (in >> word) out.push_back(static_cast<std::uint8_t>(std::strtoul(word.c_str(), nullptr, 16)));
    return out;
}

inline Bytes operator+(Bytes a, const Bytes& b) {
    a.insert(a.end(), b.begin(), b.end());
    return a;
}

inline Bytes item(std::uint8_t tag, const Bytes& value) {
    return sim::PtapServer::item(tag, value);
}

// A payload of items closed by 0xFF.
inline Bytes payload(const std::vector<Bytes>& items) {
    Bytes out;
    for (const Bytes& i : items) out = out + i;
    return out + Bytes{0xFF};
}

inline Bytes datagram(std::uint32_t tid, std::uint8_t type, const Bytes& body) {
    return sim::PtapServer::packet(tid, type, body);
}

}  // namespace ptap_test
