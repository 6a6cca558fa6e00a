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
    for (const auto& entry : std::filesystem::directory_iterator(kScripts))
        names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
}

// What the script says a step gives, in the runner's words.
std::string expected(const BufferStep& step) {
    if (step.kind == BufferStep::Kind::Expect) {
        std::string values;
        for (const auto& [key, value] : step.expects)
            values += (values.empty() ? "" : " ") + key + "=" + std::to_string(value);
        return values;
    }
    const bool hasResult = step.kind == BufferStep::Kind::Put || step.kind == BufferStep::Kind::Get;
    return hasResult ? step.result : "0";
}

VoiceFramePtr frameOf(int tag) {
    auto frame = std::make_unique<VoiceFrame>();
    frame->fill(static_cast<std::int16_t>(tag));
    return frame;
}

class BufferScenario : public testing::TestWithParam<std::string> {};

TEST_P(BufferScenario, Runs) {
    std::ifstream file(kScripts / GetParam());
    ASSERT_TRUE(file) << GetParam();
    std::stringstream text;
    text << file.rdbuf();
    const BufferScript script = parseBufferScript(text.str());
    ASSERT_EQ(script.errors, std::vector<std::string>{});
    ASSERT_FALSE(script.steps.empty());
    BufferRunner runner(32767, 1000);
    for (const BufferStep& step : script.steps) EXPECT_EQ(runner.run(step), expected(step)) << step.line;
    EXPECT_EQ(runner.faults, std::vector<std::string>{});
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

// The depth follows the worst delay still in the ring, also after that
// delay is overwritten (rises, plateaus and falls, twice round the ring).
TEST(BufferHistory, RecordGivesTheLargestDelayInTheRing) {
    BufferHistory history;
    std::uint32_t seed = 7;
    for (int n = 0; n < 3 * BufferHistory::kRingLength; ++n) {
        seed = seed * 1103515245u + 12345u;
        const std::uint32_t level = n < BufferHistory::kRingLength ? 9 : (n < 2 * BufferHistory::kRingLength ? 4 : 1);
        const std::uint32_t delay = (seed >> 16) % (level + 1);
        const std::uint32_t worst = history.record(n % BufferHistory::kRingLength, delay);
        ASSERT_EQ(worst, *std::max_element(history.ring.begin(), history.ring.end())) << "write " << n;
    }
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
                VoiceFrame frame;
                std::memcpy(frame.data(), bytes, kFrameBytes);
                ASSERT_GT(frame[0], lastPlayed);
                ASSERT_TRUE(std::all_of(frame.begin(), frame.end(), [&](std::int16_t s) { return s == frame[0]; }));
                lastPlayed = frame[0];
            }
        } else if (finished && result == Buffer::kEmpty) {
            break;
        }
    }
    producer.join();
    EXPECT_EQ(lastPlayed, kFrames - 1);
}

}  // namespace
