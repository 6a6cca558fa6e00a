#include "core/mailbox.h"

#include <gtest/gtest.h>

#include <cstring>
#include <thread>
#include <vector>

namespace {

int writeText(Mailbox& box, int code, const std::string& text) {
    CoreEvent command{code};
    const int length = static_cast<int>(text.size());
    return box.write(&command, text.data(), &length);
}

}  // namespace

TEST(Mailbox, RefusesEverythingBeforeStartAndAfterShutdown) {
    Mailbox box;
    EXPECT_EQ(writeText(box, 13, "0731"), 1);
    CoreEvent code{77};
    char data[200];
    int length = 55;
    EXPECT_EQ(box.read(&code, data, &length), 1);
    ASSERT_EQ(box.start(), 0);
    EXPECT_EQ(writeText(box, 13, "0731"), 0);
    EXPECT_EQ(box.shutdown(), 0);  // drops the queued item
    EXPECT_EQ(box.shutdown(), 0);
    EXPECT_EQ(writeText(box, 13, "0731"), 1);
    EXPECT_EQ(box.read(&code, data, &length), 1);
}

TEST(Mailbox, HoldsAHundredItemsAndTakesMoreAfterARead) {
    Mailbox box;
    ASSERT_EQ(box.start(), 0);
    for (int i = 0; i < 100; ++i) ASSERT_EQ(writeText(box, 13, "0730"), 0) << i;
    EXPECT_EQ(writeText(box, 13, "0731"), 1);
    CoreEvent code;
    char data[200];
    int length = 0;
    ASSERT_EQ(box.read(&code, data, &length), 0);
    EXPECT_EQ(writeText(box, 13, "0731"), 0);
}

TEST(Mailbox, LengthMustBeOneToTwoHundred) {
    Mailbox box;
    ASSERT_EQ(box.start(), 0);
    EXPECT_EQ(writeText(box, 10, ""), 1);
    EXPECT_EQ(writeText(box, 10, std::string(201, 'a')), 1);
    std::string full(200, 'z');
    full[0] = 'a';
    full[199] = 'b';
    ASSERT_EQ(writeText(box, 10, full), 0);
    CoreEvent code;
    char data[200] = {};
    int length = 0;
    ASSERT_EQ(box.read(&code, data, &length), 0);
    EXPECT_EQ(code.code, 10);
    EXPECT_EQ(length, 200);
    EXPECT_EQ(std::string(data, 200), full);
}

TEST(Mailbox, EmptyReadLeavesOutputsUntouched) {
    Mailbox box;
    ASSERT_EQ(box.start(), 0);
    CoreEvent code{42};
    char data[200];
    int length = 17;
    EXPECT_EQ(box.read(&code, data, &length), 1);
    EXPECT_EQ(code.code, 42);
    EXPECT_EQ(length, 17);
}

TEST(Mailbox, ItemsComeOutInWritingOrderAcrossRefills) {
    Mailbox box;
    ASSERT_EQ(box.start(), 0);
    for (int round = 0; round < 3; ++round) {
        for (int i = 0; i < 5; ++i) ASSERT_EQ(writeText(box, i, std::string(1 + i, 'a' + i)), 0);
        for (int i = 0; i < 5; ++i) {
            CoreEvent code;
            char data[200] = {};
            int length = 0;
            ASSERT_EQ(box.read(&code, data, &length), 0);
            EXPECT_EQ(code.code, i);
            EXPECT_EQ(length, 1 + i);
            EXPECT_EQ(std::string(data, length), std::string(1 + i, 'a' + i));
        }
    }
}

TEST(Mailbox, ConcurrentWritersLoseNothingAndKeepEachWritersOrder) {
    Mailbox box;
    ASSERT_EQ(box.start(), 0);
    constexpr int kWriters = 4;
    constexpr int kEach = 25;  // 100 in all: exactly full
    std::vector<std::thread> writers;
    for (int w = 0; w < kWriters; ++w) {
        writers.emplace_back([&box, w] {
            for (int i = 0; i < kEach; ++i) {
                unsigned char payload[2] = {static_cast<unsigned char>(w), static_cast<unsigned char>(i)};
                CoreEvent command{13};
                const int length = 2;
                ASSERT_EQ(box.write(&command, payload, &length), 0);
            }
        });
    }
    for (auto& t : writers) t.join();
    int next[kWriters] = {};
    for (int n = 0; n < kWriters * kEach; ++n) {
        CoreEvent code;
        unsigned char data[200];
        int length = 0;
        ASSERT_EQ(box.read(&code, data, &length), 0);
        ASSERT_EQ(length, 2);
        EXPECT_EQ(data[1], next[data[0]]++);
    }
    for (int w = 0; w < kWriters; ++w) EXPECT_EQ(next[w], kEach);
}
