#include "core/call_state.h"

#include <gtest/gtest.h>

#include <map>
#include <utility>

// The whole table: for each state every input from 0 to 16, accepted or not
// and the state it leads to.
TEST(CallState, FollowsTheTableForEveryStateAndInput) {
    const std::map<std::pair<int, int>, int> accepted = {
        {{1, 2}, 3},  {{1, 3}, 2},  {{1, 13}, 1}, {{1, 14}, 1}, {{2, 4}, 1}, {{2, 8}, 4},  {{2, 9}, 1}, {{2, 13}, 2},
        {{2, 14}, 1}, {{2, 15}, 2}, {{3, 1}, 1},  {{3, 3}, 4},  {{3, 4}, 1}, {{3, 5}, 1},  {{3, 6}, 4}, {{3, 13}, 3},
        {{4, 1}, 1},  {{4, 2}, 4},  {{4, 4}, 1},  {{4, 5}, 1},  {{4, 6}, 4}, {{4, 13}, 4},
    };
    for (int state = 1; state <= 4; ++state) {
        for (int input = 0; input <= 16; ++input) {
            std::int32_t next = -7;
            const bool ok = nextCallState(state, input, &next);
            auto it = accepted.find({state, input});
            if (input == 10 || input == 11) {
                EXPECT_TRUE(ok) << state << "/" << input;
                EXPECT_EQ(next, state) << state << "/" << input;
            } else if (it != accepted.end()) {
                EXPECT_TRUE(ok) << state << "/" << input;
                EXPECT_EQ(next, it->second) << state << "/" << input;
            } else {
                EXPECT_FALSE(ok) << state << "/" << input;
                EXPECT_EQ(next, -7) << "refused input must not write the state";
            }
        }
    }
}

TEST(CallState, StoppedAcceptsAllAndOnlyTheModuleStartMoves) {
    for (int input = 0; input <= 16; ++input) {
        std::int32_t next = -7;
        EXPECT_TRUE(nextCallState(0, input, &next));
        EXPECT_EQ(next, input == 12 ? 1 : 0) << input;
    }
}
