#include "ptap/ptap_supervision.h"

#include <gtest/gtest.h>

namespace {

// Polls every 10 ms from `fromMs` until a time-out or `toMs`; the time of
// the time-out, or 0.
std::uint64_t pollUntilTimeout(ptap::KeepaliveSupervisor& s, std::uint64_t fromMs, std::uint64_t toMs,
                               std::uint64_t keepaliveEveryMs = 0) {
    for (std::uint64_t now = fromMs; now <= toMs; now += 10) {
        if (keepaliveEveryMs != 0 && now % keepaliveEveryMs == 0) s.stampContact(now);
        if (s.poll(now).timedOut) return now;
    }
    return 0;
}

}  // namespace

TEST(PtapSupervision, ArmsOnlyWithAThresholdAndAContact) {
    ptap::KeepaliveSupervisor s;
    s.reset();
    s.stampContact(1000);
    s.poll(1010);
    EXPECT_FALSE(s.armed()) << "a keepalive before any time-out value arms nothing";
    s.setTimeout(30, 1020);
    s.poll(1030);
    EXPECT_TRUE(s.armed());
}

TEST(PtapSupervision, RegularKeepalivesNeverTimeOut) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(30, 0);
    EXPECT_EQ(pollUntilTimeout(s, 0, 120000, 10000), 0u);
}

TEST(PtapSupervision, SilenceTimesOutWhenWholeSecondsPassTheThreshold) {
    struct Case {
        std::uint8_t threshold;
        std::uint64_t expectedAfterMs;
    } cases[] = {{30, 31000}, {2, 3000}, {1, 2000}};
    for (const Case& c : cases) {
        ptap::KeepaliveSupervisor s;
        s.setTimeout(c.threshold, 5000);
        EXPECT_EQ(pollUntilTimeout(s, 5000, 100000), 5000 + c.expectedAfterMs) << int(c.threshold);
    }
}

TEST(PtapSupervision, ReportsRunningSecondsAtTimeOut) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(2, 0);
    s.poll(0);
    EXPECT_FALSE(s.poll(2999).timedOut);
    const ptap::KeepaliveSupervisor::Poll p = s.poll(3000);
    EXPECT_TRUE(p.timedOut);
    EXPECT_EQ(p.runningSeconds, 3u);
}

TEST(PtapSupervision, ThresholdZeroTimesOutAtTheFirstWholeSecondOnceArmed) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(5, 0);
    s.poll(0);
    ASSERT_TRUE(s.armed());
    s.setTimeout(0, 100);
    EXPECT_FALSE(s.poll(1099).timedOut);
    EXPECT_TRUE(s.poll(1100).timedOut);

    ptap::KeepaliveSupervisor unarmed;
    unarmed.setTimeout(0, 0);
    unarmed.poll(10);
    EXPECT_FALSE(unarmed.armed());
}

TEST(PtapSupervision, NewTimeoutReplacesTheOldAndRefreshesContact) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(2, 0);
    s.poll(0);
    s.setTimeout(10, 2500);
    EXPECT_FALSE(s.poll(5000).timedOut);
    EXPECT_TRUE(s.poll(13500).timedOut);
}

TEST(PtapSupervision, ResetDisarmsAndForgets) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(2, 0);
    s.poll(0);
    s.reset();
    EXPECT_FALSE(s.armed());
    EXPECT_EQ(s.threshold(), 0u);
    EXPECT_FALSE(s.hasContact());
    EXPECT_FALSE(s.poll(100000).timedOut);
}

TEST(PtapSupervision, ContactAtTimeZeroCounts) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(1, 0);
    EXPECT_TRUE(s.hasContact());
    s.poll(0);
    EXPECT_TRUE(s.armed());
}
