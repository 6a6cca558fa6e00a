// A UDP socket on IPv4: bound to the any-address, blocking receive that a
// close from another thread wakes at once.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <mutex>

namespace platform {

// Largest datagram the engines take: one packet of 1500 bytes.
constexpr std::size_t kMaxDatagram = 1500;

enum class ReceiveStatus {
    Data,      // `length` bytes arrived from `fromAddress`:`fromPort`
    Closed,    // the socket was closed, by this or another thread
    Oversize,  // a datagram larger than the buffer arrived and was dropped
    Error,     // any other failure of the system
};

struct ReceiveResult {
    ReceiveStatus status = ReceiveStatus::Error;
    std::size_t length = 0;
    std::uint32_t fromAddress = 0;  // host order: first dotted part most significant
    std::uint16_t fromPort = 0;
};

class UdpSocket {
public:
    UdpSocket();
    ~UdpSocket();
    UdpSocket(const UdpSocket&) = delete;
    UdpSocket& operator=(const UdpSocket&) = delete;

    // Binds to the any-address on `port` (0 lets the system choose). A test
    // peer may name another local address (host order).
    bool open(std::uint16_t port, std::uint32_t bindAddress = 0);
    bool isOpen() const { return mOpen.load(); }
    std::uint16_t localPort() const { return mLocalPort; }

    // Sends one datagram to `address` (host order) and `port`. Result: bytes
    // sent, or -1 (the reason in lastSocketError).
    int sendTo(std::uint32_t address, std::uint16_t port, const void* data, std::size_t length);

    // Blocks until a datagram arrives or the socket is closed. A datagram
    // larger than `capacity` is reported as Oversize, never cut silently.
    ReceiveResult receive(void* buffer, std::size_t capacity);
    // The same with a limit in milliseconds; a time-out gives Error with
    // length 0.
    ReceiveResult receive(void* buffer, std::size_t capacity, int timeoutMs);

    // Wakes every blocked receive, waits until they have left, then releases
    // the port. Safe to call repeatedly and from any thread. 0, or the
    // Windows Sockets code of a failed close (also kept for lastSocketError).
    int close();

private:
    ReceiveResult receiveImpl(void* buffer, std::size_t capacity, int timeoutMs);
    // A send or receive counts itself in while it uses the handles; false
    // when the socket is not open. The handles stay as they are until the
    // call leaves: a close waits for that (with mMutex held by `lock`).
    bool enterCall();
    void leaveCall();
    void waitForCallsToLeave(std::unique_lock<std::mutex>& lock);

    std::atomic<bool> mOpen{false};
    // The system's handles: the socket, and what a close signals to wake
    // the receivers (on Windows also the event the socket signals when a
    // datagram waits). -1 when none is open.
    std::intptr_t mFd = -1;
    std::intptr_t mWakeFd = -1;
    std::intptr_t mReadyEvent = -1;
    std::uint16_t mLocalPort = 0;
    std::mutex mMutex;
    std::condition_variable mCallsLeft;
    int mCalls = 0;
};

// "a.b.c.d" to a host-order address; 0 for text that is not an address.
std::uint32_t parseDottedAddress(const char* text);

}  // namespace platform
