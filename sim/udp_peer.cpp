#include "sim/udp_peer.h"

#include <chrono>

#include "platform/clock.h"

namespace sim {

UdpPeer::~UdpPeer() {
    stop();
}

bool UdpPeer::start(std::uint16_t port, std::uint32_t bindAddress) {
    if (!mSocket.open(port, bindAddress)) return false;
    if (!mThread.createSuspended([this] { run(); })) {
        mSocket.close();
        return false;
    }
    mThread.resume();
    return true;
}

void UdpPeer::stop() {
    mSocket.close();
    mThread.join();
}

void UdpPeer::setResponder(Responder responder) {
    std::lock_guard<std::mutex> lock(mMutex);
    mResponder = std::move(responder);
}

bool UdpPeer::sendTo(std::uint32_t address, std::uint16_t port, const void* data, std::size_t length) {
    return mSocket.sendTo(address, port, data, length) == static_cast<int>(length);
}

std::vector<Datagram> UdpPeer::received() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mReceived;
}

std::size_t UdpPeer::count() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mReceived.size();
}

void UdpPeer::clear() {
    std::lock_guard<std::mutex> lock(mMutex);
    mReceived.clear();
}

bool UdpPeer::waitFor(const std::function<bool(const std::vector<Datagram>&)>& done, int timeoutMs) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mArrived.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return done(mReceived); });
}

void UdpPeer::run() {
    std::uint8_t buffer[65536];
    for (;;) {
        platform::ReceiveResult r = mSocket.receive(buffer, sizeof buffer);
        if (r.status == platform::ReceiveStatus::Closed) return;
        if (r.status != platform::ReceiveStatus::Data) continue;
        Datagram d;
        d.bytes.assign(buffer, buffer + r.length);
        d.fromAddress = r.fromAddress;
        d.fromPort = r.fromPort;
        d.atMs = platform::monotonicMs();
        d.atUs = platform::monotonicTicks() / (platform::ticksPerSecond() / 1000000u);
        Responder responder;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mReceived.push_back(d);
            responder = mResponder;
        }
        mArrived.notify_all();
        if (responder) responder(*this, d);
    }
}

bool secondLoopbackAddressSends() {
    static const bool sends = [] {
        UdpPeer second;
        UdpPeer first;
        if (!second.start(0, 0x7F000002) || !first.start(0, kLoopbackAddress)) return false;
        const char probe = 'p';
        if (!second.sendTo(kLoopbackAddress, first.port(), &probe, 1) || !first.waitForCount(1, 2000)) return false;
        return first.received().front().fromAddress == 0x7F000002;
    }();
    return sends;
}

}  // namespace sim
