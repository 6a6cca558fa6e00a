// One UDP endpoint of the simulated call server: it records every datagram
// the terminal sends, with its arrival time, and answers by a script that the
// test gives.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <string_view>
#include <vector>

#include "platform/thread.h"
#include "platform/udp_socket.h"

namespace sim {

constexpr std::uint32_t kLoopbackAddress = 0x7F000001;  // 127.0.0.1

struct Datagram {
    std::vector<std::uint8_t> bytes;
    std::uint32_t fromAddress = 0;
    std::uint16_t fromPort = 0;
    std::uint64_t atMs = 0;  // monotonic milliseconds at arrival
    std::uint64_t atUs = 0;  // the same in microseconds

    std::string_view text() const { return {reinterpret_cast<const char*>(bytes.data()), bytes.size()}; }
};

// Whether a socket bound to 127.0.0.2 is seen to send from that address.
// Found by trying: Wine binds such a UDP socket to the any-address of its
// interface, so its datagrams come from 127.0.0.1 there.
bool secondLoopbackAddressSends();

class UdpPeer {
public:
    // Called on the peer's own thread for each datagram, after it has been
    // recorded. It may send answers through the peer.
    using Responder = std::function<void(UdpPeer&, const Datagram&)>;

    UdpPeer() = default;
    ~UdpPeer();
    UdpPeer(const UdpPeer&) = delete;
    UdpPeer& operator=(const UdpPeer&) = delete;

    bool start(std::uint16_t port, std::uint32_t bindAddress = 0);
    void stop();
    std::uint16_t port() const { return mSocket.localPort(); }

    void setResponder(Responder responder);

    bool sendTo(std::uint32_t address, std::uint16_t port, const void* data, std::size_t length);
    bool sendTo(std::uint32_t address, std::uint16_t port, std::string_view text) {
        return sendTo(address, port, text.data(), text.size());
    }
    // Answers the sender of `to`.
    bool reply(const Datagram& to, const void* data, std::size_t length) {
        return sendTo(to.fromAddress, to.fromPort, data, length);
    }

    std::vector<Datagram> received() const;
    std::size_t count() const;
    void clear();

    // Waits until `done` holds for the datagrams so far, or `timeoutMs` ends.
    bool waitFor(const std::function<bool(const std::vector<Datagram>&)>& done, int timeoutMs) const;
    bool waitForCount(std::size_t n, int timeoutMs) const {
        return waitFor([n](const std::vector<Datagram>& d) { return d.size() >= n; }, timeoutMs);
    }

private:
    void run();

    platform::UdpSocket mSocket;
    platform::Thread mThread;
    mutable std::mutex mMutex;
    mutable std::condition_variable mArrived;
    std::vector<Datagram> mReceived;
    Responder mResponder;
};

}  // namespace sim
