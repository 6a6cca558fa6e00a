#include "ptap/ptap_supervision.h"

#include <gtest/gtest.h>

TEST(PtapSupervision, TimesOutWhenWholeSecondsOfSilencePassTheThreshold) {
    // A second time-out replaces the first and counts as a contact; a
    // contact without a threshold arms nothing.
    const struct {
        std::uint8_t threshold;
        std::uint64_t contactMs, keepaliveEveryMs;
        std::uint8_t laterThreshold;
        std::uint64_t laterAtMs, timeoutMs;  // timeoutMs 0: never
    } cases[] = {{30, 5000, 0, 0, 0, 36000}, {2, 5000, 0, 0, 0, 8000}, {1, 0, 0, 0, 0, 2000},
                 {30, 0, 10000, 0, 0, 0},    {0, 0, 0, 0, 0, 0},       {2, 0, 0, 10, 2500, 13500}};
    for (const auto& c : cases) {
        SCOPED_TRACE(std::to_string(c.threshold) + " s, keepalive every " + std::to_string(c.keepaliveEveryMs));
        ptap::KeepaliveSupervisor s;
        s.setTimeout(c.threshold, c.contactMs);
        std::uint64_t timedOutAt = 0;
        for (std::uint64_t now = c.contactMs; now <= 120000 && timedOutAt == 0; now += 10) {
            if (c.keepaliveEveryMs != 0 && now % c.keepaliveEveryMs == 0) s.stampContact(now);
            if (c.laterAtMs != 0 && now == c.laterAtMs) s.setTimeout(c.laterThreshold, now);
            const std::uint64_t due = s.nextPollMs();
            const ptap::KeepaliveSupervisor::Poll p = s.poll(now);
            if (!p.timedOut) continue;
            EXPECT_EQ(due, now) << "the watch sleeps until the time-out";
            timedOutAt = now;
            EXPECT_EQ(p.runningSeconds, s.threshold() + 1u);
        }
        EXPECT_EQ(timedOutAt, c.timeoutMs);
    }
}

TEST(PtapSupervision, ResetDisarmsAndForgets) {
    ptap::KeepaliveSupervisor s;
    s.setTimeout(2, 0);
    s.poll(0);
    ASSERT_TRUE(s.armed());
    s.reset();
    EXPECT_FALSE(s.armed());
    EXPECT_FALSE(s.poll(100000).timedOut);
    EXPECT_FALSE(s.armed()) << "neither threshold nor contact is left to arm it";
}
