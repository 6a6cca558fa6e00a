// The jitter buffer driven by small scripts of put and get steps, each with
// its expected result.
//
//   put <seq>[..<seq>] [ts=<n>] [at=<ms>] [late=<ms>] -> stored|refused
//       A frame per sequence number (a range may wrap past 65535). The
//       timestamp defaults to 160 x seq and rises by 160 along a range; the
//       arrival defaults to timestamp / 8 ms and rises by 20; late= adds to
//       it. Each frame holds its sequence number in every sample.
//   get -> conceal|empty|waiting|<list>
//       <list>: the frames played, e.g. "10" or "10,11,L" (L: loss marker).
//   clear <first> <last> [reset]
//   expect <key>=<value> ...   keys: fill target limit read highest started jitter
#include <gtest/gtest.h>

#include <cstring>
#include <sstream>
#include <string>
#include <vector>

#include "voice/buffer.h"

namespace {

std::vector<std::string> words(const std::string& line) {
    std::istringstream in(line);
    std::vector<std::string> result;
    for (std::string word; in >> word;) result.push_back(word);
    return result;
}

std::vector<std::string> splitList(const std::string& text) {
    std::vector<std::string> items;
    std::string item;
    std::istringstream in(text);
    while (std::getline(in, item, ',')) items.push_back(item);
    return items;
}

class ScenarioRunner {
public:
    ScenarioRunner() : mBuffer(mHistory) { EXPECT_EQ(mBuffer.start(), 0); }

    void run(const std::string& script) {
        std::istringstream lines(script);
        int number = 0;
        for (std::string line; std::getline(lines, line);) {
            ++number;
            const auto w = words(line);
            if (w.empty() || w[0][0] == '#') continue;
            SCOPED_TRACE("line " + std::to_string(number) + ": " + line);
            if (w[0] == "put") {
                put(w);
            } else if (w[0] == "get") {
                get(w);
            } else if (w[0] == "clear") {
                ASSERT_GE(w.size(), 3u);
                mBuffer.clear(std::stoi(w[1]), std::stoi(w[2]), w.size() > 3 && w[3] == "reset", false);
            } else if (w[0] == "expect") {
                expect(w);
            } else {
                FAIL() << "unknown step";
            }
        }
    }

private:
    static std::string resultOf(const std::vector<std::string>& w) {
        for (std::size_t i = 0; i + 1 < w.size(); ++i) {
            if (w[i] == "->") return w[i + 1];
        }
        ADD_FAILURE() << "no expected result";
        return {};
    }

    void put(const std::vector<std::string>& w) {
        ASSERT_GE(w.size(), 2u);
        const auto dots = w[1].find("..");
        const int first = std::stoi(w[1].substr(0, dots));
        const int last = dots == std::string::npos ? first : std::stoi(w[1].substr(dots + 2));
        std::uint32_t timestamp = static_cast<std::uint32_t>(first) * 160u;
        bool arrivalGiven = false;
        std::uint32_t arrival = 0;
        std::uint32_t late = 0;
        for (std::size_t i = 2; i < w.size() && w[i] != "->"; ++i) {
            const std::string& option = w[i];
            if (option.rfind("ts=", 0) == 0) timestamp = static_cast<std::uint32_t>(std::stoul(option.substr(3)));
            if (option.rfind("at=", 0) == 0) {
                arrival = static_cast<std::uint32_t>(std::stoul(option.substr(3)));
                arrivalGiven = true;
            }
            if (option.rfind("late=", 0) == 0) late = static_cast<std::uint32_t>(std::stoul(option.substr(5)));
        }
        if (!arrivalGiven) arrival = timestamp / 8;
        const std::string expected = resultOf(w);
        for (int sequence = first;; sequence = (sequence + 1) % Buffer::kSlotCount) {
            auto frame = std::make_unique<VoiceFrame>();
            frame->fill(static_cast<std::int16_t>(sequence));
            std::int32_t lengthOut = 0;
            const int result = mBuffer.put(frame, sequence, timestamp, Buffer::kFrameBytes, &lengthOut, arrival + late);
            if (expected == "stored") {
                EXPECT_EQ(result, Buffer::kStored) << "sequence " << sequence;
                EXPECT_EQ(frame, nullptr);
                EXPECT_EQ(lengthOut, Buffer::kFrameBytes);
            } else {
                EXPECT_EQ(result, Buffer::kRefused) << "sequence " << sequence;
                EXPECT_NE(frame, nullptr);
            }
            timestamp += 160;
            arrival += 20;
            if (sequence == last) break;
        }
    }

    void get(const std::vector<std::string>& w) {
        const std::string expected = resultOf(w);
        std::vector<std::uint8_t> out(Buffer::kMaxGetBytes, 0xEE);
        std::int32_t length = -7;
        const int result = mBuffer.get(out.data(), &length);
        if (expected == "conceal" || expected == "empty" || expected == "waiting") {
            const int code = expected == "conceal" ? Buffer::kConceal
                             : expected == "empty" ? Buffer::kEmpty
                                                   : Buffer::kNotStarted;
            EXPECT_EQ(result, code);
            EXPECT_EQ(length, -7) << "length written without frames";
            return;
        }
        ASSERT_EQ(result, Buffer::kPlayed);
        const auto frames = splitList(expected);
        ASSERT_EQ(length, static_cast<int>(frames.size()) * Buffer::kFrameBytes);
        for (std::size_t f = 0; f < frames.size(); ++f) {
            const std::uint8_t* bytes = out.data() + f * Buffer::kFrameBytes;
            if (frames[f] == "L") {
                EXPECT_TRUE(Buffer::isLossMarker(bytes)) << "frame " << f;
                continue;
            }
            VoiceFrame frame;
            std::memcpy(frame.data(), bytes, Buffer::kFrameBytes);
            const auto sequence = static_cast<std::int16_t>(std::stoi(frames[f]));
            for (std::int16_t sample : frame) ASSERT_EQ(sample, sequence) << "frame " << f;
        }
    }

    void expect(const std::vector<std::string>& w) {
        for (std::size_t i = 1; i < w.size(); ++i) {
            const auto eq = w[i].find('=');
            ASSERT_NE(eq, std::string::npos);
            const std::string key = w[i].substr(0, eq);
            const int value = std::stoi(w[i].substr(eq + 1));
            if (key == "fill")
                EXPECT_EQ(mBuffer.fill(), value) << key;
            else if (key == "target")
                EXPECT_EQ(mBuffer.targetFrames(), value) << key;
            else if (key == "limit")
                EXPECT_EQ(mBuffer.limitFrames(), value) << key;
            else if (key == "highest")
                EXPECT_EQ(mBuffer.highestIndex(), value) << key;
            else if (key == "read")
                EXPECT_EQ(mBuffer.readIndex(), value) << key;
            else if (key == "started")
                EXPECT_EQ(mBuffer.started() ? 1 : 0, value) << key;
            else if (key == "jitter")
                EXPECT_EQ(mBuffer.jitterFrames(), value) << key;
            else
                ADD_FAILURE() << "unknown key " << key;
        }
    }

    BufferHistory mHistory;
    Buffer mBuffer;
};

struct Scenario {
    const char* name;
    const char* script;
};

const Scenario kScenarios[] = {
    {"StartsWhenMoreThanTargetFramesWait", R"(
        get -> waiting
        put 10 -> stored
        get -> waiting
        put 11 -> stored
        expect started=0 fill=2 target=1 limit=11
        put 12 -> stored
        expect started=1 fill=3 read=10
        get -> 10
        get -> 11
    )"},
    {"PlaysReorderedFramesInSequence", R"(
        put 10 -> stored
        put 12 -> stored
        put 11 -> stored
        expect started=1 fill=3
        get -> 10
        get -> 11
        # fill 1, at the target: the last frame waits one concealed tick
        get -> conceal
        get -> 12
        get -> empty
        put 13 -> stored
        get -> conceal
        get -> 13
    )"},
    {"RefusesLateAndDuplicateFrames", R"(
        put 18..22 -> stored
        get -> 18
        get -> 19
        expect read=20
        put 15 -> refused
        put 21 -> refused
        put 19 -> refused
        # below the read index but newer than slot 20: a wrapped sequence
        put 5 ts=100000 -> stored
        expect fill=65522
    )"},
    {"RefusesTheSameSequenceTwiceBeforePlayoutBegins", R"(
        put 10 -> stored
        put 10 -> refused
        put 11 -> stored
        # a refused put still counts the frames waiting: playout begins
        put 11 -> refused
        expect started=1 fill=2
    )"},
    {"ConcealsAHoleAndPlaysTheNextFrame", R"(
        put 10..11 -> stored
        put 13..14 -> stored
        expect fill=5
        # excess 1 over target + 3: a burst of one frame
        get -> 10
        get -> 11
        get -> conceal
        expect read=13 fill=2
        get -> 13
        get -> conceal
        get -> 14
        get -> empty
    )"},
    {"AHeldFrameNeverStartsABurst", R"(
        put 10..12 -> stored
        get -> 10
        get -> 11
        get -> conceal
        put 13..20 -> stored
        expect fill=9
        get -> 12
        expect fill=8
        get -> 13,14
    )"},
    {"BurstOfOneAtExcessOne", R"(
        put 10..14 -> stored
        expect fill=5
        get -> 10
        expect read=11 fill=4
        get -> 11
    )"},
    {"BurstOfTwoAtExcessFour", R"(
        put 10..17 -> stored
        expect fill=8
        get -> 10,11
        expect read=12
    )"},
    {"BurstOfFiveAtTheLimit", R"(
        put 10..20 -> stored
        expect fill=11 limit=11
        get -> 10,11,12,13,14
        expect read=15 fill=6
        get -> 15,16
    )"},
    {"BurstMarksALostFrame", R"(
        put 10..12 -> stored
        put 14..19 -> stored
        expect fill=10
        get -> 10,11,12,L
        expect read=14 fill=6
        get -> 14,15
    )"},
    {"OverflowDropsThenBursts", R"(
        put 10..21 -> stored
        expect fill=12 limit=11
        # drop 1 means two slots go; the fill counts one less
        get -> 12,13,14,15,16
        expect read=17
    )"},
    {"BurstOfEightAtTargetForty", R"(
        put 98..100 -> stored
        expect started=1 jitter=0
        put 101 late=800 -> stored
        expect jitter=40 target=40 limit=70
        put 102..157 -> stored
        expect fill=60
        get -> 98,99,100,101,102,103,104,105
        expect read=106 fill=52
    )"},
    {"LimitIsTargetPlusTenUpTo35", R"(
        put 98..100 -> stored
        put 101 late=700 -> stored
        expect jitter=35 target=35 limit=45
    )"},
    {"LimitIsTargetPlusThirtyFrom36", R"(
        put 98..100 -> stored
        put 101 late=715 -> stored
        expect jitter=36 target=36 limit=66
    )"},
    {"DelayOfFifteenMsCountsAsAFrame", R"(
        put 98..100 -> stored
        put 101 late=14 -> stored
        expect jitter=0
        put 102 late=15 -> stored
        expect jitter=1 target=1
    )"},
    {"NoMeasurementBeforeAMultipleOf100AfterTheStart", R"(
        # playout begins at 100, so 100 sets no mark: nothing is measured
        put 99..100 -> stored
        put 101 late=900 -> stored
        expect started=1 jitter=0
        put 200 -> stored
        put 201 late=300 -> stored
        expect jitter=15
    )"},
    {"Fill2000DropsToAThousandInOneGet", R"(
        put 10..2009 -> stored
        expect fill=2000
        # 1001 slots go; the fill counts 1000; a burst of eight follows
        get -> 1011,1012,1013,1014,1015,1016,1017,1018
        expect read=1019 fill=991
        get -> 2000,2001,2002,2003,2004
    )"},
    {"SequenceJumpSkipsToNearTheNewestFrame", R"(
        put 10..12 -> stored
        get -> 10
        put 40000 -> stored
        expect fill=39990
        # 38991 slots go, frames 11 and 12 among them; the new read slot is a hole
        get -> conceal
        expect read=39003 fill=998
        get -> conceal
        expect read=39992 fill=9
        get -> conceal
        get -> conceal
        get -> conceal
        get -> conceal
        get -> conceal
        get -> conceal
        get -> conceal
        get -> conceal
        expect read=40000 fill=1
        # at the target: one stretching tick, then the frame
        get -> conceal
        get -> 40000
    )"},
    {"WrapsFrom65535To0", R"(
        put 65533..0 -> stored
        expect fill=4 highest=0
        get -> 65533
        # below the read index with a newer timestamp: not late
        put 1 ts=10485920 -> stored
        get -> 65534
        get -> 65535
        get -> 0
        expect read=1
        get -> conceal
        get -> 1
        get -> empty
        put 2 ts=10486080 -> stored
        expect fill=1
    )"},
    {"WrapsPastALostFrameAt65535WithPlayoutCaughtUp", R"(
        put 65530..65534 -> stored
        get -> 65530
        get -> 65531
        get -> 65532
        get -> 65533
        get -> conceal
        get -> 65534
        get -> empty
        expect read=65535 fill=0
        # just below the empty read slot: late
        put 65533 ts=10485120 -> refused
        # 65535 is lost; 0 is the wrapped sequence, not a late frame
        put 0 ts=10485760 -> stored
        expect fill=2 highest=0
        get -> conceal
        expect read=0
        get -> conceal
        get -> 0
        put 1 ts=10485920 -> stored
        get -> conceal
        get -> 1
    )"},
    {"WrapFillCountsAcrossTheTableEnd", R"(
        put 65534..3 -> stored
        expect fill=6
        get -> 65534,65535
        expect read=0 fill=4
    )"},
    {"ResetKeepsTheDepthForTheNextCall", R"(
        put 98..100 -> stored
        put 101 late=100 -> stored
        expect jitter=5
        clear 0 65536 reset
        expect started=0 jitter=5 read=-1
        get -> waiting
        put 500..505 -> stored
        expect started=0 fill=6
        put 506 -> stored
        expect started=1
        get -> 500
    )"},
};

void PrintTo(const Scenario& scenario, std::ostream* out) {
    *out << scenario.name;
}

class BufferScenario : public testing::TestWithParam<Scenario> {};

TEST_P(BufferScenario, Runs) {
    ScenarioRunner runner;
    runner.run(GetParam().script);
}

INSTANTIATE_TEST_SUITE_P(Scripts, BufferScenario, testing::ValuesIn(kScenarios),
                         [](const testing::TestParamInfo<Scenario>& info) { return std::string(info.param.name); });

}  // namespace
