#include "platform/udp_socket.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <thread>
#include <vector>

#include "platform/event.h"
#include "platform/socket_error.h"

namespace {
constexpr std::uint32_t kLoopback = 0x7F000001;
}

TEST(UdpSocket, CloseFromAnotherThreadWakesBlockedReceive) {
    platform::UdpSocket s;
    ASSERT_TRUE(s.open(0));
    platform::ManualResetEvent done;
    std::atomic<platform::ReceiveStatus> status{platform::ReceiveStatus::Data};
    std::thread receiver([&] {
        char buf[1500];
        status = s.receive(buf, sizeof buf).status;
        done.set();
    });
    EXPECT_FALSE(done.wait(100));  // really blocked
    s.close();
    EXPECT_TRUE(done.wait(2000));
    receiver.join();
    EXPECT_EQ(status.load(), platform::ReceiveStatus::Closed);
    EXPECT_FALSE(s.isOpen());
}

TEST(UdpSocket, OversizeDatagramIsAnErrorNotACut) {
    platform::UdpSocket a, b;
    ASSERT_TRUE(a.open(0));
    ASSERT_TRUE(b.open(0));
    std::vector<char> big(1501, 'x');
    ASSERT_EQ(a.sendTo(kLoopback, b.localPort(), big.data(), big.size()), 1501);
    ASSERT_EQ(a.sendTo(kLoopback, b.localPort(), big.data(), 1500), 1500);
    char buf[1500];
    EXPECT_EQ(b.receive(buf, sizeof buf, 2000).status, platform::ReceiveStatus::Oversize);
    platform::ReceiveResult r = b.receive(buf, sizeof buf, 2000);
    EXPECT_EQ(r.status, platform::ReceiveStatus::Data);
    EXPECT_EQ(r.length, 1500u);
}

TEST(UdpSocket, ParsesDottedAddresses) {
    EXPECT_EQ(platform::parseDottedAddress("127.0.0.1"), kLoopback);
    EXPECT_EQ(platform::parseDottedAddress("10.1.2.3"), 0x0A010203u);
    EXPECT_EQ(platform::parseDottedAddress("10.1.2"), 0u);
    EXPECT_EQ(platform::parseDottedAddress("300.1.2.3"), 0u);
    EXPECT_EQ(platform::parseDottedAddress(nullptr), 0u);
}

TEST(UdpSocket, FailuresAreTracedWithWindowsSocketsCodes) {
#if !defined(_WIN32)
    // Windows gives its socket codes as they are; elsewhere they are mapped.
    EXPECT_EQ(platform::socketErrorCode(EINTR), 10004);
    EXPECT_EQ(platform::socketErrorCode(EWOULDBLOCK), 10035);
    EXPECT_EQ(platform::socketErrorCode(EINPROGRESS), 10036);
    EXPECT_EQ(platform::socketErrorCode(ENETDOWN), 10050);
    EXPECT_EQ(platform::socketErrorCode(EADDRINUSE), 10048);
#endif
    // A port already taken: the failed bind is kept as its Windows Sockets code.
    platform::UdpSocket first, second;
    ASSERT_TRUE(first.open(0, kLoopback));
    EXPECT_FALSE(second.open(first.localPort(), kLoopback));
    EXPECT_EQ(platform::lastSocketError(), 10048);
}

// Two threads send on one socket at once while a third waits to receive on
// it, as the simulator answers from its receiver while a test sends a
// command: every send goes out whole, none is refused for want of room.
TEST(UdpSocket, ConcurrentSendsOnOneSocketAllGoOut) {
    constexpr int kDatagrams = 2000;
    platform::UdpSocket a, b;
    ASSERT_TRUE(a.open(0, kLoopback));
    ASSERT_TRUE(b.open(0, kLoopback));
    auto drain = [](platform::UdpSocket& s) {
        char buf[256];
        while (s.receive(buf, sizeof buf).status != platform::ReceiveStatus::Closed) {
        }
    };
    std::thread sinkA(drain, std::ref(a));
    std::thread sinkB(drain, std::ref(b));
    std::atomic<int> failures{0};
    std::atomic<int> lastError{0};
    auto send = [&] {
        const char payload[160] = {};
        for (int i = 0; i < kDatagrams; ++i) {
            if (a.sendTo(kLoopback, b.localPort(), payload, sizeof payload) != static_cast<int>(sizeof payload)) {
                ++failures;
                lastError = platform::lastSocketError();
            }
        }
    };
    std::thread second(send);
    send();
    second.join();
    a.close();
    b.close();
    sinkA.join();
    sinkB.join();
    EXPECT_EQ(failures.load(), 0) << "last socket error " << lastError.load();
}
