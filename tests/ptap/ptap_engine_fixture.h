// A real PTAP on port 9301 against the simulated server on 9300, with a
// parent and listener that record what reaches them.
#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <mutex>
#include <vector>

#include "platform/clock.h"
#include "ptap/ptap.h"
#include "sim/ptap_server.h"

namespace ptap_test {

class RecordingParent : public PtapParent, public PtapListener {
public:
    struct Event {
        std::int32_t code = 0;
        std::vector<std::uint8_t> data;  // the first bytes, always inside the padded copy
        std::uint64_t atMs = 0;
    };

    void onPtapStatus(const int* code) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mStatuses.push_back(*code);
        mChanged.notify_all();
    }

    int onPtapEvent(const CoreEvent* event, const char* data) override {
        Event e;
        e.code = event->code;
        e.atMs = platform::monotonicMs();
        // A text with its terminator, or a five-byte item with its padding.
        const std::size_t n = data[0] == 0x20 ? 5 + ptap::kEventPadding : std::strlen(data) + 1;
        e.data.assign(data, data + n);
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back(e);
        mChanged.notify_all();
        return 0;
    }

    bool waitForStatus(int code, int timeoutMs) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] {
            for (int s : mStatuses) {
                if (s == code) return true;
            }
            return false;
        });
    }

    bool waitForEvents(std::size_t n, int timeoutMs) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return mEvents.size() >= n; });
    }

    std::vector<int> statuses() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mStatuses;
    }
    std::vector<Event> events() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<int> mStatuses;
    std::vector<Event> mEvents;
};

class PtapEngineTest : public ::testing::Test {
protected:
    static constexpr std::uint32_t kLoopback = 0x7F000001;

    void SetUp() override { ASSERT_TRUE(server.start()); }
    void TearDown() override {
        ptap.shutdown();
        server.stop();
    }

    // Starts the engine in `mode` with the parent and listener attached.
    void startEngine(int mode) {
        std::memset(&init, 0, sizeof init);
        init.mStartCode = 0x11;
        for (int i = 0; i < 12; ++i) init.mConnectionInfo[i] = static_cast<std::uint8_t>('a' + i);
        const std::uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
        std::memcpy(init.mHardwareAddress, mac, sizeof mac);
        init.mLocalAddress = kLoopback;
        init.mServerAddress = kLoopback;
        init.mRegistrationMode = static_cast<std::uint8_t>(mode);
        ASSERT_EQ(ptap.setNetworkInitData(&init), 0);
        ptap.setParent(&parent);
        ASSERT_EQ(ptap.addListener(&parent), 0);
        ASSERT_EQ(ptap.start(), 0);
    }

    int send(int type) { return ptap.transmit(&type, nullptr, nullptr); }

    int sendError(std::uint8_t code) {
        const int type = 0x14;
        const int length = 1;
        return ptap.transmit(&type, &code, &length);
    }

    // Polls a condition of the engine that no callback announces.
    template <typename Condition>
    static bool eventually(Condition condition, int timeoutMs) {
        const std::uint64_t end = platform::monotonicMs() + static_cast<std::uint64_t>(timeoutMs);
        while (!condition()) {
            if (platform::monotonicMs() > end) return false;
            platform::sleepMs(2);
        }
        return true;
    }

    NetworkInitData init{};
    sim::PtapServer server;
    RecordingParent parent;
    PTAP ptap;
};

}  // namespace ptap_test
