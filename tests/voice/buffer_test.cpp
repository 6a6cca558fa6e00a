#include "voice/buffer.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

namespace {

VoiceFramePtr frameOf(int sequence) {
    auto frame = std::make_unique<VoiceFrame>();
    frame->fill(static_cast<std::int16_t>(sequence));
    return frame;
}

// Stores `sequence` with the timestamp and arrival of a steady stream.
int putSteady(Buffer& buffer, int sequence, std::uint32_t lateMs = 0) {
    auto frame = frameOf(sequence);
    const auto timestamp = static_cast<std::uint32_t>(sequence) * 160u;
    return buffer.put(frame, sequence % Buffer::kSlotCount, timestamp, Buffer::kFrameBytes, nullptr,
                      timestamp / 8 + lateMs);
}

class BufferTest : public testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(buffer.start(), 0); }

    BufferHistory history;
    Buffer buffer{history};
};

TEST_F(BufferTest, TakesTheFrameOnlyWhenItStoresIt) {
    auto frame = frameOf(10);
    VoiceFrame* raw = frame.get();
    std::int32_t lengthOut = 0;
    ASSERT_EQ(buffer.put(frame, 10, 1600, 320, &lengthOut, 0), Buffer::kStored);
    EXPECT_EQ(frame, nullptr);
    EXPECT_EQ(lengthOut, 320);

    auto duplicate = frameOf(10);
    lengthOut = 0;
    EXPECT_EQ(buffer.put(duplicate, 10, 1600, 320, &lengthOut, 0), Buffer::kRefused);
    EXPECT_NE(duplicate, nullptr);
    EXPECT_NE(duplicate.get(), raw);
    EXPECT_EQ(lengthOut, 0);
}

TEST_F(BufferTest, RefusesWhatCouldNotBeStoredSafely) {
    VoiceFramePtr none;
    EXPECT_EQ(buffer.put(none, 10, 1600, 320, nullptr, 0), Buffer::kRefused);
    for (int sequence : {-1, 65536, 100000}) {
        auto frame = frameOf(1);
        EXPECT_EQ(buffer.put(frame, sequence, 1600, 320, nullptr, 0), Buffer::kRefused) << sequence;
        EXPECT_NE(frame, nullptr);
    }
    for (int length : {0, -320, 321, 640}) {
        auto frame = frameOf(1);
        EXPECT_EQ(buffer.put(frame, 10, 1600, length, nullptr, 0), Buffer::kRefused) << length;
    }
    // None of it counted as the first frame.
    EXPECT_EQ(buffer.readIndex(), -1);
    EXPECT_EQ(buffer.packetCount(), 0u);
}

TEST(Buffer, WithoutTableRefusesAndWaits) {
    BufferHistory history;
    Buffer buffer(history);
    auto frame = frameOf(1);
    EXPECT_EQ(buffer.put(frame, 1, 160, 320, nullptr, 0), Buffer::kRefused);
    std::vector<std::uint8_t> out(Buffer::kMaxGetBytes);
    std::int32_t length = 0;
    EXPECT_EQ(buffer.get(out.data(), &length), Buffer::kNotStarted);
    EXPECT_EQ(buffer.clear(0, Buffer::kSlotCount, true, false), 0);
    EXPECT_EQ(buffer.shutdown(), 0);
}

TEST_F(BufferTest, ShutdownFreesQueuedFramesAndCanBeRepeated) {
    for (int s = 0; s < 50; ++s) ASSERT_EQ(putSteady(buffer, s), Buffer::kStored);
    EXPECT_EQ(buffer.shutdown(), 0);
    EXPECT_EQ(buffer.shutdown(), 0);
    EXPECT_EQ(buffer.readIndex(), -1);
    // A new start gives a fresh table.
    ASSERT_EQ(buffer.start(), 0);
    EXPECT_EQ(putSteady(buffer, 0), Buffer::kStored);
}

TEST_F(BufferTest, ClearRunsAcrossTheTableEnd) {
    for (int s = 65528; s < 65536 + 6; ++s) ASSERT_EQ(putSteady(buffer, s), Buffer::kStored) << s;
    buffer.clear(65530, 3, false, false);
    // Only the nine cleared slots take a frame again.
    for (int s = 65528; s < 65536 + 6; ++s) {
        const bool cleared = s >= 65530 && s < 65536 + 3;
        EXPECT_EQ(putSteady(buffer, s), cleared ? Buffer::kStored : Buffer::kRefused) << s;
    }
}

TEST_F(BufferTest, ClearWithoutResetKeepsPlayoutGoing) {
    for (int s = 10; s < 13; ++s) putSteady(buffer, s);
    buffer.clear(11, 12, false, false);
    EXPECT_TRUE(buffer.started());
    std::vector<std::uint8_t> out(Buffer::kMaxGetBytes);
    std::int32_t length = 0;
    EXPECT_EQ(buffer.get(out.data(), &length), Buffer::kPlayed);
    EXPECT_EQ(buffer.get(out.data(), &length), Buffer::kConceal);  // the cleared slot is a hole now
}

TEST_F(BufferTest, WholeTableClearEmptiesTheLastSlotToo) {
    putSteady(buffer, 65535);
    buffer.clear(0, Buffer::kSlotCount, true, false);
    EXPECT_EQ(putSteady(buffer, 65535), Buffer::kStored);
}

TEST_F(BufferTest, OneLateFrameRaisesTheTargetForTheNext2500Frames) {
    int s = 0;
    for (; s < 301; ++s) putSteady(buffer, s);
    EXPECT_EQ(buffer.jitterFrames(), 0);
    putSteady(buffer, s++, 200);
    EXPECT_EQ(buffer.jitterFrames(), 10);
    EXPECT_EQ(buffer.targetFrames(), 10);
    EXPECT_EQ(buffer.limitFrames(), 20);
    // The ring slot of the late frame comes round again after 2500 frames.
    for (int i = 0; i < 2499; ++i) putSteady(buffer, s++);
    EXPECT_EQ(buffer.jitterFrames(), 10);
    putSteady(buffer, s++);
    EXPECT_EQ(buffer.jitterFrames(), 0);
}

TEST_F(BufferTest, FindsTheNewestMarkWhenAMultipleOf100IsLost) {
    // Frames 1500 and 2000 never arrive: their marks are left over from the
    // previous thousand, and the estimate must fall back on the mark
    // before. Otherwise the next frames would seem 20 s late.
    for (int s = 0; s < 3000; ++s) {
        if (s == 1500 || s == 2000) continue;
        ASSERT_EQ(putSteady(buffer, s), Buffer::kStored);
        ASSERT_EQ(buffer.jitterFrames(), 0) << s;
    }
}

TEST_F(BufferTest, ReferenceFollowsTheFastestPath) {
    // The sender's clock runs fast: each frame comes 0.5 ms earlier than a
    // steady 20 ms. Early frames move the reference, so nothing counts as
    // late.
    for (int s = 0; s < 2000; ++s) {
        auto frame = frameOf(s);
        const auto arrival = static_cast<std::uint32_t>(100000 + s * 20 - s / 2);
        ASSERT_EQ(buffer.put(frame, s, static_cast<std::uint32_t>(s) * 160u, 320, nullptr, arrival), Buffer::kStored);
    }
    EXPECT_EQ(buffer.jitterFrames(), 0);
}

TEST_F(BufferTest, SlowSenderClockIsReanchoredEvery100Frames) {
    // 0.1 ms more per frame adds up to 10 ms over a hundred frames, below
    // the 15 ms that count as a frame.
    for (int s = 0; s < 3000; ++s) {
        auto frame = frameOf(s);
        const auto arrival = static_cast<std::uint32_t>(100000 + s * 20 + s / 10);
        ASSERT_EQ(buffer.put(frame, s, static_cast<std::uint32_t>(s) * 160u, 320, nullptr, arrival), Buffer::kStored);
    }
    EXPECT_EQ(buffer.jitterFrames(), 0);
}

TEST_F(BufferTest, TargetIsCappedAtAThousandFrames) {
    for (int s = 0; s < 101; ++s) putSteady(buffer, s);
    putSteady(buffer, 101, 60000);
    EXPECT_EQ(buffer.jitterFrames(), 3000);
    EXPECT_EQ(buffer.targetFrames(), 1000);
    EXPECT_EQ(buffer.limitFrames(), 1030);
}

TEST_F(BufferTest, ArrivalClockWrapIsNoDelay) {
    // Arrival in ms wraps after 49.7 days; the delay is worked out modulo 2^32.
    const std::uint32_t start = 0xFFFFFFFFu - 1000;
    for (int s = 0; s < 300; ++s) {
        auto frame = frameOf(s);
        ASSERT_EQ(buffer.put(frame, s, static_cast<std::uint32_t>(s) * 160u, 320, nullptr,
                             start + static_cast<std::uint32_t>(s) * 20u),
                  Buffer::kStored);
    }
    EXPECT_EQ(buffer.jitterFrames(), 0);
}

TEST(Buffer, DelayHistoryCarriesOverToTheNextBuffer) {
    BufferHistory history;
    {
        Buffer first(history);
        ASSERT_EQ(first.start(), 0);
        for (int s = 0; s < 101; ++s) putSteady(first, s);
        putSteady(first, 101, 100);
        EXPECT_EQ(first.jitterFrames(), 5);
    }
    Buffer second(history);
    ASSERT_EQ(second.start(), 0);
    EXPECT_EQ(second.jitterFrames(), 0);
    for (int s = 0; s < 101; ++s) putSteady(second, s);
    EXPECT_EQ(second.jitterFrames(), 5);
}

TEST(Buffer, DefaultBuffersShareTheProcessWideHistory) {
    Buffer a;
    Buffer b;
    ASSERT_EQ(a.start(), 0);
    for (int s = 0; s < 101; ++s) putSteady(a, s);
    putSteady(a, 101, 300);
    ASSERT_EQ(a.jitterFrames(), 15);
    a.shutdown();
    ASSERT_EQ(b.start(), 0);
    for (int s = 0; s < 101; ++s) putSteady(b, s);
    EXPECT_EQ(b.jitterFrames(), 15);
    BufferHistory::processWide() = BufferHistory{};
}

TEST(Buffer, RecognisesTheLossMarker) {
    std::uint8_t frame[Buffer::kFrameBytes] = {0x0D, 0x0E, 0x0A, 0x0D, 0x0B, 0x0E, 0x0E, 0x0F};
    EXPECT_TRUE(Buffer::isLossMarker(frame));
    frame[7] = 0;
    EXPECT_FALSE(Buffer::isLossMarker(frame));
}

// The receive thread puts while the playout thread gets: every frame comes
// out whole, once, in sequence, whatever the interleaving.
TEST(Buffer, ProducerAndConsumerThreadsShareIt) {
    BufferHistory history;
    Buffer buffer(history);
    ASSERT_EQ(buffer.start(), 0);
    constexpr int kFrames = 3000;
    std::atomic<bool> done{false};
    std::thread producer([&] {
        for (int s = 0; s < kFrames; ++s) putSteady(buffer, s);
        done = true;
    });
    std::vector<std::uint8_t> out(Buffer::kMaxGetBytes);
    int lastPlayed = -1;
    int played = 0;
    for (;;) {
        const bool finished = done.load();
        std::int32_t length = 0;
        const int result = buffer.get(out.data(), &length);
        if (result == Buffer::kPlayed) {
            ASSERT_EQ(length % Buffer::kFrameBytes, 0);
            for (int f = 0; f < length / Buffer::kFrameBytes; ++f) {
                const std::uint8_t* bytes = out.data() + f * Buffer::kFrameBytes;
                if (Buffer::isLossMarker(bytes)) continue;
                VoiceFrame frame;
                std::memcpy(frame.data(), bytes, Buffer::kFrameBytes);
                ASSERT_GT(frame[0], lastPlayed);
                for (std::int16_t sample : frame) ASSERT_EQ(sample, frame[0]);
                lastPlayed = frame[0];
                ++played;
            }
        } else if (finished && result == Buffer::kEmpty) {
            break;
        }
    }
    producer.join();
    EXPECT_EQ(lastPlayed, kFrames - 1);
    EXPECT_GT(played, 0);
}

}  // namespace
