// A real MGCP engine against the simulated server, both on ports the system
// chooses, on a clock that moves only when the test moves it, with a parent
// that only counts what reaches it.
#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <memory>
#include <string>

#include "mgcp/mgcp.h"
#include "mgcp/mgcp_parent.h"
#include "platform/recursive_lock.h"
#include "sim/mgcp_server.h"
#include "sim/virtual_clock.h"
#include "support_files/trace_capture.h"

namespace mgcp_test {

constexpr const char* kRsip1 = "RSIP 1 d1@0011223344ff MGCP 1.0\r\nRM: restart\r\n";

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
    int onMgcpEvent(const CoreEvent*, const char* data, const bool*) override {
        ++mEvents;
        // A signal block names its signal first; an RQNT without one gives an empty block.
        if (data != nullptr && data[0] != '\0') ++mNamedSignals;
        return 0;
    }

    platform::RecursiveLock mSignalLock;
    std::atomic<int> mLocks{0};
    std::atomic<int> mUnlocks{0};
    std::atomic<int> mEvents{0};
    std::atomic<int> mNamedSignals{0};
};

using sim::eventually;

class MgcpLinkTest : public ::testing::Test {
protected:
    void SetUp() override {
        mInitData.mLocalAddress = 0x0A010203;  // 10.1.2.3: only written into the description
        std::memcpy(mInitData.mHardwareAddress, "\x00\x11\x22\x33\x44\xff", 6);
        mInitData.mServerAddress = sim::kLoopbackAddress;
        ASSERT_TRUE(mServer.start(0));
        mMgcp = std::make_unique<MGCP>(mClock, 0, mServer.port());
    }
    void TearDown() override {
        mMgcp.reset();
        mServer.stop();
    }

    void startEngine() {
        ASSERT_EQ(mMgcp->setParent(&mParent), 0);
        ASSERT_EQ(mMgcp->setNetworkInitData(&mInitData), 0);
        ASSERT_EQ(mMgcp->start(), 0);
        ASSERT_EQ(mMgcp->setLocalRtpPort(8000), 0);
        mServer.setTerminalPort(mMgcp->localPort());
    }

    // The RSIP, answered: after it the engine takes commands.
    void registerTerminal() {
        ASSERT_EQ(mMgcp->post(MgcpOperation::kRsip, nullptr), 0);
        ASSERT_TRUE(eventually([this] { return mMgcp->isRsipAcknowledged(); }));
    }

    bool bufferEmpties() {
        return eventually([this] { return mMgcp->bufferCount() == 0; });
    }

    // Waits for the datagram at `index` and gives its text.
    std::string datagram(std::size_t index, int timeoutMs = 5000) {
        if (!mServer.waitForCount(index + 1, timeoutMs)) return "<none>";
        return std::string(mServer.received()[index].text());
    }

    sim::VirtualClock mClock;
    TraceCapture mTrace;
    sim::MgcpServer mServer;
    FakeParent mParent;
    NetworkInitData mInitData{};
    std::unique_ptr<MGCP> mMgcp;
};

}  // namespace mgcp_test
