#include "platform/udp_socket.h"

#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "platform/socket_error.h"

namespace platform {

bool UdpSocket::open(std::uint16_t port, std::uint32_t bindAddress) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFd >= 0) return false;
    int fd = ::socket(AF_INET, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        noteSocketError(errno);
        return false;
    }
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = htonl(bindAddress == 0 ? INADDR_ANY : bindAddress);
    local.sin_port = htons(port);
    if (::bind(fd, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) {
        noteSocketError(errno);
        ::close(fd);
        return false;
    }
    socklen_t len = sizeof local;
    if (::getsockname(fd, reinterpret_cast<sockaddr*>(&local), &len) != 0) {
        noteSocketError(errno);
        ::close(fd);
        return false;
    }
    int wake = ::eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (wake < 0) {
        noteSocketError(errno);
        ::close(fd);
        return false;
    }
    mFd = fd;
    mWakeFd = wake;
    mLocalPort = ntohs(local.sin_port);
    mOpen = true;
    return true;
}

int UdpSocket::sendTo(std::uint32_t address, std::uint16_t port, const void* data, std::size_t length) {
    if (!enterCall()) {
        noteSocketError(ENOTSOCK);
        return -1;
    }
    const int fd = static_cast<int>(mFd);
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = htonl(address);
    remote.sin_port = htons(port);
    ssize_t sent = ::sendto(fd, data, length, MSG_NOSIGNAL, reinterpret_cast<sockaddr*>(&remote), sizeof remote);
    if (sent < 0) noteSocketError(errno);
    leaveCall();
    return sent < 0 ? -1 : static_cast<int>(sent);
}

ReceiveResult UdpSocket::receiveImpl(void* buffer, std::size_t capacity, int timeoutMs) {
    ReceiveResult result;
    if (!enterCall()) {
        result.status = ReceiveStatus::Closed;
        return result;
    }
    const int fd = static_cast<int>(mFd);
    const int wake = static_cast<int>(mWakeFd);
    for (;;) {
        pollfd fds[2] = {{fd, POLLIN, 0}, {wake, POLLIN, 0}};
        int ready = ::poll(fds, 2, timeoutMs);
        if (ready < 0 && errno == EINTR) continue;
        if (!mOpen || (ready > 0 && (fds[1].revents & POLLIN))) {
            result.status = ReceiveStatus::Closed;
            break;
        }
        if (ready == 0) {
            result.status = ReceiveStatus::Error;
            break;
        }
        if (ready < 0) {
            noteSocketError(errno);
            result.status = ReceiveStatus::Error;
            break;
        }
        sockaddr_in from{};
        socklen_t fromLen = sizeof from;
        // MSG_TRUNC makes the system report the datagram's real size, so an
        // oversize datagram is seen as such instead of arriving cut.
        ssize_t got =
            ::recvfrom(fd, buffer, capacity, MSG_TRUNC | MSG_DONTWAIT, reinterpret_cast<sockaddr*>(&from), &fromLen);
        if (got < 0) {
            if (errno == EAGAIN || errno == EWOULDBLOCK || errno == EINTR) continue;
            noteSocketError(errno);
            result.status = ReceiveStatus::Error;
            break;
        }
        result.fromAddress = ntohl(from.sin_addr.s_addr);
        result.fromPort = ntohs(from.sin_port);
        if (static_cast<std::size_t>(got) > capacity) {
            result.status = ReceiveStatus::Oversize;
            result.length = 0;
        } else {
            result.status = ReceiveStatus::Data;
            result.length = static_cast<std::size_t>(got);
        }
        break;
    }
    leaveCall();
    return result;
}

int UdpSocket::close() {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mFd < 0) return 0;
    mOpen = false;
    std::uint64_t one = 1;
    ssize_t ignored = ::write(mWakeFd, &one, sizeof one);
    (void)ignored;
    // Receivers leave promptly once woken; the descriptors are released only
    // after that, so no receive ever polls a reused number.
    waitForCallsToLeave(lock);
    int result = 0;
    if (::close(mFd) != 0) {
        noteSocketError(errno);
        result = lastSocketError();
    }
    ::close(mWakeFd);
    mFd = -1;
    mWakeFd = -1;
    mLocalPort = 0;
    return result;
}

std::uint32_t parseDottedAddress(const char* text) {
    if (text == nullptr) return 0;
    in_addr addr{};
    if (::inet_pton(AF_INET, text, &addr) != 1) return 0;
    return ntohl(addr.s_addr);
}

}  // namespace platform
