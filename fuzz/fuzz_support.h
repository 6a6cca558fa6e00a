// What the engine targets share: a check that names what failed before it
// aborts (libFuzzer keeps the input), and the server's socket on loopback
// that plays the far side of a link.
#pragma once

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "platform/udp_socket.h"

namespace fuzz {

constexpr std::uint32_t kLoopback = 0x7F000001;

inline void check(bool condition, const char* what) {
    if (!condition) {
        std::fprintf(stderr, "fuzz target: %s\n", what);
        std::abort();
    }
}

// One socket for the whole run, made on first use and never freed, so an
// engine's thread still sending at exit finds it whole.
inline platform::UdpSocket& serverSocket() {
    static platform::UdpSocket* socket = [] {
        auto* s = new platform::UdpSocket();
        check(s->open(0, kLoopback), "server socket");
        return s;
    }();
    return *socket;
}

// The next datagram the server gets within `timeoutMs`, as bytes of type
// `Bytes` (a string or a byte vector); empty when none came.
template <typename Bytes>
Bytes receiveOne(int timeoutMs) {
    std::uint8_t buffer[platform::kMaxDatagram];
    const platform::ReceiveResult r = serverSocket().receive(buffer, sizeof buffer, timeoutMs);
    if (r.status != platform::ReceiveStatus::Data) return {};
    return Bytes(buffer, buffer + r.length);
}

}  // namespace fuzz
