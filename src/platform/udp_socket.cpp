// What the sockets of both systems share: a count of the sends and
// receives in progress, which keeps the system's handles alive until a close
// has seen every call leave.
#include "platform/udp_socket.h"

namespace platform {

UdpSocket::UdpSocket() = default;

UdpSocket::~UdpSocket() {
    close();
}

ReceiveResult UdpSocket::receive(void* buffer, std::size_t capacity) {
    return receiveImpl(buffer, capacity, -1);
}

ReceiveResult UdpSocket::receive(void* buffer, std::size_t capacity, int timeoutMs) {
    return receiveImpl(buffer, capacity, timeoutMs < 0 ? 0 : timeoutMs);
}

bool UdpSocket::enterCall() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (!mOpen) return false;
    ++mCalls;
    return true;
}

void UdpSocket::leaveCall() {
    std::lock_guard<std::mutex> lock(mMutex);
    if (--mCalls == 0) mCallsLeft.notify_all();
}

void UdpSocket::waitForCallsToLeave(std::unique_lock<std::mutex>& lock) {
    mCallsLeft.wait(lock, [this] { return mCalls == 0; });
}

}  // namespace platform
