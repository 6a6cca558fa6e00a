// The jitter buffer driven by the scripts of its fuzz corpus, each step with
// its expected result (the language is in buffer_script.h), and by two
// threads at once.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "buffer_script.h"
#include "voice/buffer.h"

namespace {

const std::filesystem::path kScripts = std::filesystem::path(__FILE__).parent_path() / "../../fuzz/corpus/buffer_fuzz";

std::vector<std::string> scriptNames() {
    std::vector<std::string> names;
    for (const auto& entry : std::filesystem::directory_iterator(kScripts)) names.push_back(entry.path().filename());
    std::sort(names.begin(), names.end());
    return names;
}

VoiceFramePtr frameOf(int tag) {
    auto frame = std::make_unique<VoiceFrame>();
    frame->fill(static_cast<std::int16_t>(tag));
    return frame;
}

// A frame of a get is the one tagged `expected` in every sample, or the loss
// marker for "L".
void expectFrame(const std::uint8_t* bytes, const std::string& expected) {
    if (expected == "L") {
        EXPECT_TRUE(Buffer::isLossMarker(bytes));
        return;
    }
    EXPECT_FALSE(Buffer::isLossMarker(bytes));
    VoiceFrame frame;
    std::memcpy(frame.data(), bytes, kFrameBytes);
    for (std::int16_t sample : frame) ASSERT_EQ(sample, static_cast<std::int16_t>(std::stoi(expected)));
}

class ScenarioRunner {
public:
    ScenarioRunner() { EXPECT_EQ(mBuffer.start(), 0); }

    void run(const BufferStep& step) {
        using Kind = BufferStep::Kind;
        switch (step.kind) {
            case Kind::Put:
                forEachFrame(step, Buffer::kSlotCount, [&](std::int32_t sequence, std::uint32_t ts, std::uint32_t at) {
                    put(step, sequence, ts, at);
                });
                break;
            case Kind::Get:
                get(step.result);
                break;
            case Kind::Clear:
                EXPECT_EQ(mBuffer.clear(static_cast<std::int32_t>(step.first), static_cast<std::int32_t>(step.last),
                                        step.reset, step.wipe),
                          0);
                break;
            case Kind::Shutdown:
                EXPECT_EQ(mBuffer.shutdown(), 0);
                break;
            case Kind::Start:
                EXPECT_EQ(mBuffer.start(), 0);
                break;
            case Kind::Expect:
                for (const auto& [key, value] : step.expects) EXPECT_EQ(state(key), value) << key;
                break;
        }
    }

private:
    void put(const BufferStep& step, std::int32_t sequence, std::uint32_t timestamp, std::uint32_t arrival) {
        VoiceFramePtr frame = step.noFrame ? nullptr : frameOf(sequence);
        std::int32_t lengthOut = -1;
        const int result = mBuffer.put(frame, sequence, timestamp, step.length, &lengthOut, arrival);
        ASSERT_TRUE(step.result == "stored" || step.result == "refused") << step.result;
        if (step.result == "stored") {
            EXPECT_EQ(result, Buffer::kStored) << "sequence " << sequence;
            EXPECT_EQ(frame, nullptr);
            EXPECT_EQ(lengthOut, step.length);
        } else {
            // A refused frame stays with the caller, and nothing is written.
            EXPECT_EQ(result, Buffer::kRefused) << "sequence " << sequence;
            EXPECT_EQ(frame == nullptr, step.noFrame);
            EXPECT_EQ(lengthOut, -1);
        }
    }

    void get(const std::string& expected) {
        std::vector<std::uint8_t> out(Buffer::kMaxGetBytes, 0xEE);
        std::int32_t length = -7;
        const int result = mBuffer.get(out.data(), &length);
        if (expected == "conceal" || expected == "empty" || expected == "waiting") {
            EXPECT_EQ(result, expected == "conceal" ? Buffer::kConceal
                              : expected == "empty" ? Buffer::kEmpty
                                                    : Buffer::kNotStarted);
            EXPECT_EQ(length, -7) << "length written without frames";
            return;
        }
        ASSERT_EQ(result, Buffer::kPlayed);
        std::vector<std::string> frames;
        std::istringstream list(expected);
        for (std::string item; std::getline(list, item, ',');) frames.push_back(item);
        ASSERT_EQ(length, static_cast<int>(frames.size()) * kFrameBytes);
        for (std::size_t f = 0; f < frames.size(); ++f) {
            SCOPED_TRACE("frame " + std::to_string(f));
            expectFrame(out.data() + f * kFrameBytes, frames[f]);
        }
    }

    std::int64_t state(const std::string& key) const {
        if (key == "fill") return mBuffer.fill();
        if (key == "target") return mBuffer.targetFrames();
        if (key == "limit") return mBuffer.limitFrames();
        if (key == "read") return mBuffer.readIndex();
        if (key == "highest") return mBuffer.highestIndex();
        if (key == "started") return mBuffer.started() ? 1 : 0;
        if (key == "jitter") return mBuffer.jitterFrames();
        if (key == "packets") return mBuffer.packetCount();
        ADD_FAILURE() << "unknown key " << key;
        return -1;
    }

    BufferHistory mHistory;
    Buffer mBuffer{mHistory};
};

class BufferScenario : public testing::TestWithParam<std::string> {};

TEST_P(BufferScenario, Runs) {
    std::ifstream file(kScripts / GetParam());
    ASSERT_TRUE(file) << GetParam();
    std::stringstream text;
    text << file.rdbuf();
    const BufferScript script = parseBufferScript(text.str());
    ASSERT_EQ(script.errors, std::vector<std::string>{});
    ASSERT_FALSE(script.steps.empty());
    ScenarioRunner runner;
    for (const BufferStep& step : script.steps) {
        SCOPED_TRACE(step.line);
        runner.run(step);
        if (HasFatalFailure()) return;
    }
}

INSTANTIATE_TEST_SUITE_P(Scripts, BufferScenario, testing::ValuesIn(scriptNames()),
                         [](const testing::TestParamInfo<std::string>& info) {
                             std::string name = info.param;
                             for (char& c : name) c = std::isalnum(static_cast<unsigned char>(c)) ? c : '_';
                             return name;
                         });

TEST(Buffer, DefaultBuffersShareTheProcessWideHistory) {
    Buffer a;
    Buffer b;
    ASSERT_EQ(a.start(), 0);
    const auto steady = [](Buffer& buffer, int sequence, std::uint32_t late) {
        auto frame = frameOf(sequence);
        const auto ts = static_cast<std::uint32_t>(sequence) * 160u;
        return buffer.put(frame, sequence, ts, kFrameBytes, nullptr, ts / 8 + late);
    };
    for (int s = 0; s < 101; ++s) steady(a, s, 0);
    steady(a, 101, 300);
    ASSERT_EQ(a.jitterFrames(), 15);
    a.shutdown();
    ASSERT_EQ(b.start(), 0);
    for (int s = 0; s < 101; ++s) steady(b, s, 0);
    EXPECT_EQ(b.jitterFrames(), 15);
    BufferHistory::processWide() = BufferHistory{};
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
        for (int s = 0; s < kFrames; ++s) {
            auto frame = frameOf(s);
            buffer.put(frame, s, 160u * s, kFrameBytes, nullptr, 20u * s);
        }
        done = true;
    });
    std::vector<std::uint8_t> out(Buffer::kMaxGetBytes);
    int lastPlayed = -1;
    for (;;) {
        const bool finished = done.load();
        std::int32_t length = 0;
        const int result = buffer.get(out.data(), &length);
        if (result == Buffer::kPlayed) {
            ASSERT_EQ(length % kFrameBytes, 0);
            for (int f = 0; f < length / kFrameBytes; ++f) {
                const std::uint8_t* bytes = out.data() + f * kFrameBytes;
                if (Buffer::isLossMarker(bytes)) continue;
                std::int16_t first = 0;
                std::memcpy(&first, bytes, sizeof first);
                ASSERT_GT(first, lastPlayed);
                expectFrame(bytes, std::to_string(first));
                lastPlayed = first;
            }
        } else if (finished && result == Buffer::kEmpty) {
            break;
        }
    }
    producer.join();
    EXPECT_EQ(lastPlayed, kFrames - 1);
}

}  // namespace
