// A real PTAP against the simulated server, both on ports the system
// chooses, on a clock that moves only when the test moves it. The fixture is
// the engine's parent and listener, and records what reaches it.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <mutex>
#include <vector>

#include "ptap/ptap.h"
#include "sim/ptap_server.h"
#include "sim/virtual_clock.h"
#include "support_files/trace_capture.h"

namespace ptap_test {

class PtapLinkTest : public ::testing::Test, public PtapParent, public PtapListener {
protected:
    struct Event {
        std::vector<std::uint8_t> data;  // a text with its terminator, or a five-byte item with its padding
        std::uint64_t atMs = 0;          // on the test's clock
    };

    void SetUp() override {
        ASSERT_TRUE(server.start(0));
        ptap = std::make_unique<PTAP>(clock, 0, server.port());
    }
    void TearDown() override {
        ptap.reset();
        server.stop();
    }

    void onPtapStatus(const int* code) override {
        std::lock_guard<std::mutex> lock(mMutex);
        mStatuses.push_back(*code);
    }
    int onPtapEvent(const CoreEvent* event, const char* data) override {
        EXPECT_EQ(event->code, 0x15);
        const std::size_t n = data[0] == 0x20 ? 5 + ptap::kEventPadding : std::strlen(data) + 1;
        std::lock_guard<std::mutex> lock(mMutex);
        mEvents.push_back({std::vector<std::uint8_t>(data, data + n), clock.monotonicMs()});
        return 0;
    }
    std::vector<int> statuses() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mStatuses;
    }
    std::vector<Event> events() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEvents;
    }

    // Starts the engine in `mode` with the fixture as parent and listener,
    // and tells the server where it listens.
    void startEngine(int mode) {
        init.mStartCode = 0x11;
        std::memcpy(init.mConnectionInfo, "abcdefghijkl", 12);
        std::memcpy(init.mHardwareAddress, "\x00\x11\x22\x33\x44\x55", 6);
        init.mLocalAddress = init.mServerAddress = sim::kLoopbackAddress;
        init.mRegistrationMode = static_cast<std::uint8_t>(mode);
        ASSERT_EQ(ptap->setNetworkInitData(&init), 0);
        ptap->setParent(this);
        ASSERT_EQ(ptap->addListener(this), 0);
        ASSERT_EQ(ptap->start(), 0);
        server.setTerminalPort(ptap->localPort());
    }

    int send(int type) { return ptap->transmit(&type, nullptr, nullptr); }
    bool statusArrives(int code) {
        return sim::eventually([&] {
            const std::vector<int> s = statuses();
            return std::find(s.begin(), s.end(), code) != s.end();
        });
    }
    bool eventsArrive(std::size_t n, int timeoutMs = 2000) {
        return sim::eventually([&] { return events().size() >= n; }, timeoutMs);
    }
    // START, answered as the server's script says, reports `status`.
    void registerWith(int status) {
        ASSERT_EQ(send(0x04), 0);
        ASSERT_TRUE(statusArrives(status));
    }

    sim::VirtualClock clock;
    TraceCapture trace;
    NetworkInitData init{};
    sim::PtapServer server;
    std::unique_ptr<PTAP> ptap;

private:
    std::mutex mMutex;
    std::vector<int> mStatuses;
    std::vector<Event> mEvents;
};

}  // namespace ptap_test
