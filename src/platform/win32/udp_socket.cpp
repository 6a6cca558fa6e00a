#include "platform/udp_socket.h"

// clang-format off
#include <winsock2.h>
#include <ws2tcpip.h>
#include <mswsock.h>
// clang-format on

#include "platform/socket_error.h"

namespace platform {

namespace {

// Windows Sockets is started once for the process, on first use, and left
// to the process's end.
bool socketsStarted() {
    static const bool started = [] {
        WSADATA data{};
        return ::WSAStartup(MAKEWORD(2, 2), &data) == 0;
    }();
    return started;
}

// How long a send waits for room in the socket's buffer before it fails.
constexpr DWORD kSendRoomWaitMs = 1000;

SOCKET asSocket(std::intptr_t fd) {
    return static_cast<SOCKET>(fd);
}

HANDLE asHandle(std::intptr_t h) {
    return reinterpret_cast<HANDLE>(h);
}

}  // namespace

bool UdpSocket::open(std::uint16_t port, std::uint32_t bindAddress) {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mFd != -1) return false;
    if (!socketsStarted()) {
        noteSocketError(WSANOTINITIALISED);
        return false;
    }
    SOCKET s = ::WSASocketW(AF_INET, SOCK_DGRAM, IPPROTO_UDP, nullptr, 0, WSA_FLAG_NO_HANDLE_INHERIT);
    if (s == INVALID_SOCKET) {
        noteSocketError(::WSAGetLastError());
        return false;
    }
    auto fail = [&](HANDLE a, HANDLE b) {
        noteSocketError(::WSAGetLastError());
        if (a != nullptr) ::WSACloseEvent(a);
        if (b != nullptr) ::WSACloseEvent(b);
        ::closesocket(s);
        return false;
    };
    // Without this a datagram sent to a closed port makes the next receive
    // fail with 10054, as the ICMP answer is taken for a reset.
    BOOL reportResets = FALSE;
    DWORD ignored = 0;
    ::WSAIoctl(s, SIO_UDP_CONNRESET, &reportResets, sizeof reportResets, nullptr, 0, &ignored, nullptr, nullptr);
    sockaddr_in local{};
    local.sin_family = AF_INET;
    local.sin_addr.s_addr = ::htonl(bindAddress == 0 ? INADDR_ANY : bindAddress);
    local.sin_port = ::htons(port);
    if (::bind(s, reinterpret_cast<sockaddr*>(&local), sizeof local) != 0) return fail(nullptr, nullptr);
    int len = sizeof local;
    if (::getsockname(s, reinterpret_cast<sockaddr*>(&local), &len) != 0) return fail(nullptr, nullptr);
    // The socket signals `ready` when a datagram waits; a close signals
    // `wake`. A receive waits for either.
    HANDLE ready = ::WSACreateEvent();
    if (ready == WSA_INVALID_EVENT) return fail(nullptr, nullptr);
    HANDLE wake = ::WSACreateEvent();
    if (wake == WSA_INVALID_EVENT) return fail(ready, nullptr);
    if (::WSAEventSelect(s, ready, FD_READ) != 0) return fail(ready, wake);
    mFd = static_cast<std::intptr_t>(s);
    mReadyEvent = reinterpret_cast<std::intptr_t>(ready);
    mWakeFd = reinterpret_cast<std::intptr_t>(wake);
    mLocalPort = ::ntohs(local.sin_port);
    mOpen = true;
    return true;
}

int UdpSocket::sendTo(std::uint32_t address, std::uint16_t port, const void* data, std::size_t length) {
    if (!enterCall()) {
        noteSocketError(WSAENOTSOCK);
        return -1;
    }
    const SOCKET s = asSocket(mFd);
    sockaddr_in remote{};
    remote.sin_family = AF_INET;
    remote.sin_addr.s_addr = ::htonl(address);
    remote.sin_port = ::htons(port);
    int sent = SOCKET_ERROR;
    if (length > static_cast<std::size_t>(0x7FFFFFFF)) {
        noteSocketError(WSAEMSGSIZE);
    } else {
        // The event selection makes the socket non-blocking, so a send can
        // be refused for want of room (10035) where a blocking one waits;
        // under Wine that happens when two threads send on one socket at the
        // same moment. The send waits for room as a blocking one would, in short
        // slices so that a close ends it, and for at most kSendRoomWaitMs.
        const DWORD start = ::GetTickCount();
        for (;;) {
            sent = ::sendto(s, static_cast<const char*>(data), static_cast<int>(length), 0,
                            reinterpret_cast<sockaddr*>(&remote), sizeof remote);
            if (sent != SOCKET_ERROR) break;
            const int error = ::WSAGetLastError();
            if (error != WSAEWOULDBLOCK || !mOpen || ::GetTickCount() - start >= kSendRoomWaitMs) {
                noteSocketError(error);
                break;
            }
            fd_set writable;
            FD_ZERO(&writable);
            FD_SET(s, &writable);
            timeval slice{0, 10000};
            ::select(0, nullptr, &writable, nullptr, &slice);
        }
    }
    leaveCall();
    return sent == SOCKET_ERROR ? -1 : sent;
}

ReceiveResult UdpSocket::receiveImpl(void* buffer, std::size_t capacity, int timeoutMs) {
    ReceiveResult result;
    if (!enterCall()) {
        result.status = ReceiveStatus::Closed;
        return result;
    }
    const SOCKET s = asSocket(mFd);
    HANDLE events[2] = {asHandle(mWakeFd), asHandle(mReadyEvent)};
    const int wanted = capacity > 0x7FFFFFFF ? 0x7FFFFFFF : static_cast<int>(capacity);
    for (;;) {
        // Try first: the socket's event is reset by a wait that sees it, and
        // a second datagram already queued does not signal it again.
        sockaddr_in from{};
        int fromLen = sizeof from;
        const int got =
            ::recvfrom(s, static_cast<char*>(buffer), wanted, 0, reinterpret_cast<sockaddr*>(&from), &fromLen);
        if (!mOpen) {
            result.status = ReceiveStatus::Closed;
            break;
        }
        if (got != SOCKET_ERROR) {
            result.status = ReceiveStatus::Data;
            result.length = static_cast<std::size_t>(got);
            result.fromAddress = ::ntohl(from.sin_addr.s_addr);
            result.fromPort = ::ntohs(from.sin_port);
            break;
        }
        const int error = ::WSAGetLastError();
        if (error == WSAEMSGSIZE) {
            // The system has dropped the rest; the datagram is reported, not
            // handed on cut.
            result.status = ReceiveStatus::Oversize;
            result.fromAddress = ::ntohl(from.sin_addr.s_addr);
            result.fromPort = ::ntohs(from.sin_port);
            break;
        }
        // A reset reports one refused datagram sent earlier (where the system
        // still reports them); what came after it may be waiting already.
        if (error == WSAECONNRESET || error == WSAEINTR) continue;
        if (error != WSAEWOULDBLOCK) {
            noteSocketError(error);
            result.status = ReceiveStatus::Error;
            break;
        }
        const DWORD limit = timeoutMs < 0 ? WSA_INFINITE : static_cast<DWORD>(timeoutMs);
        const DWORD which = ::WSAWaitForMultipleEvents(2, events, FALSE, limit, FALSE);
        if (which == WSA_WAIT_EVENT_0 || !mOpen) {
            result.status = ReceiveStatus::Closed;
            break;
        }
        if (which == WSA_WAIT_TIMEOUT) {
            result.status = ReceiveStatus::Error;
            break;
        }
        if (which == WSA_WAIT_FAILED) {
            noteSocketError(::WSAGetLastError());
            result.status = ReceiveStatus::Error;
            break;
        }
        ::WSAResetEvent(events[1]);
    }
    leaveCall();
    return result;
}

int UdpSocket::close() {
    std::unique_lock<std::mutex> lock(mMutex);
    if (mFd == -1) return 0;
    mOpen = false;
    ::WSASetEvent(asHandle(mWakeFd));
    // Receivers leave promptly once woken; the socket and its events are
    // released only after that, so no receive waits on a reused handle.
    waitForCallsToLeave(lock);
    int result = 0;
    if (::closesocket(asSocket(mFd)) != 0) {
        noteSocketError(::WSAGetLastError());
        result = lastSocketError();
    }
    ::WSACloseEvent(asHandle(mReadyEvent));
    ::WSACloseEvent(asHandle(mWakeFd));
    mFd = -1;
    mWakeFd = -1;
    mReadyEvent = -1;
    mLocalPort = 0;
    return result;
}

std::uint32_t parseDottedAddress(const char* text) {
    if (text == nullptr) return 0;
    in_addr addr{};
    if (::inet_pton(AF_INET, text, &addr) != 1) return 0;
    return ::ntohl(addr.s_addr);
}

}  // namespace platform
