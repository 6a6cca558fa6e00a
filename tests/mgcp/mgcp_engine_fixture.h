// A real MGCP engine on port 2427 against the simulated server on 2727, with
// a parent that only counts what reaches it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <memory>
#include <string>

#include "core/engine_interfaces.h"
#include "mgcp/mgcp.h"
#include "platform/clock.h"
#include "platform/recursive_lock.h"
#include "sim/mgcp_server.h"

namespace mgcp_test {

constexpr const char* kEndpoint = "d1@0011223344ff";

class FakeParent : public MgcpParent {
public:
    void lockSignal(const bool* on) override {
        if (*on) {
            mSignalLock.lock();
            ++mLocks;
        } else {
            ++mUnlocks;
            mSignalLock.unlock();
        }
    }
    int onMgcpEvent(const CoreEvent*, const char*, const bool*) override {
        ++mEvents;
        return 0;
    }

    platform::RecursiveLock mSignalLock;
    std::atomic<int> mLocks{0};
    std::atomic<int> mUnlocks{0};
    std::atomic<int> mEvents{0};
};

inline NetworkInitData makeInitData() {
    NetworkInitData data{};
    data.mLocalAddress = 0x0A010203;  // 10.1.2.3: only written into the description
    const std::uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xff};
    for (int i = 0; i < 6; ++i) data.mHardwareAddress[i] = mac[i];
    data.mServerAddress = sim::kLoopbackAddress;
    return data;
}

// Polls a condition that no datagram signals, such as the engine's own flags.
inline bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    const std::uint64_t end = platform::monotonicMs() + static_cast<std::uint64_t>(timeoutMs);
    while (!done()) {
        if (platform::monotonicMs() >= end) return false;
        platform::sleepMs(1);
    }
    return true;
}

class MgcpEngineTest : public ::testing::Test {
protected:
    // The engine runs on `clock`; the system's unless a test gives its own.
    void startEngine(const platform::Clock& clock = platform::systemClock()) {
        ASSERT_TRUE(mServer.start());
        mMgcp = std::make_unique<MGCP>(clock);
        ASSERT_EQ(mMgcp->setParent(&mParent), 0);
        ASSERT_EQ(mMgcp->setNetworkInitData(&mInitData), 0);
        ASSERT_EQ(mMgcp->start(), 0);
        ASSERT_EQ(mMgcp->setLocalRtpPort(8000), 0);
    }

    // The RSIP, answered: after it the engine takes commands.
    void registerTerminal() {
        ASSERT_EQ(mMgcp->post(7, nullptr), 0);
        ASSERT_TRUE(waitUntil([this] { return mMgcp->isRsipAcknowledged(); }, 5000));
    }

    // Waits for the datagram at `index` and gives its text.
    std::string datagram(std::size_t index, int timeoutMs = 5000) {
        if (!mServer.waitForCount(index + 1, timeoutMs)) return "<none>";
        return std::string(mServer.received()[index].text());
    }

    void TearDown() override {
        if (mMgcp) mMgcp->shutdown();
        mMgcp.reset();
        mServer.stop();
    }

    sim::MgcpServer mServer;
    FakeParent mParent;
    NetworkInitData mInitData = makeInitData();
    std::unique_ptr<MGCP> mMgcp;
};

}  // namespace mgcp_test
