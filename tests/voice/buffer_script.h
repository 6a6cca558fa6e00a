// Scripts of steps on the jitter buffer and the runner of them: the
// scenario tests run them with their expected results, the fuzz target runs
// any text as one. A line:
//
//   put <seq>[..<seq>] [ts=<n>] [at=<ms>] [step=<ms>] [late=<ms>] [len=<n>] [none] -> stored|refused
//       A frame per sequence number; a range runs on from 65535 to 0, a
//       single number is taken as it is. The timestamp defaults to
//       160 x seq and rises by 160 along a range; the arrival defaults to
//       timestamp / 8 ms and rises by step (20) ms; late= adds to it; len=
//       is the length given (320); none puts no frame at all.
//   get -> conceal|empty|waiting|<frames>   <frames>: "10" or "10,11,L" (L: loss marker)
//   clear <first> <last> [reset] [wipe]
//   shutdown | start
//   expect <key>=<value> ...   keys: fill target limit read highest started jitter packets
//   # a comment
#pragma once

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/voice_frame.h"
#include "voice/buffer.h"

struct BufferStep {
    enum class Kind { Put, Get, Clear, Shutdown, Start, Expect };
    Kind kind = Kind::Get;
    std::string line;
    std::int64_t first = 0;  // put: sequence; clear: first slot
    std::int64_t last = 0;   // put: last sequence; clear: end slot
    bool range = false;
    std::uint32_t timestamp = 0;
    bool arrivalGiven = false;
    std::uint32_t arrival = 0;
    double stepMs = 20.0;
    std::uint32_t late = 0;
    std::int32_t length = kFrameBytes;
    bool noFrame = false;
    bool reset = false;  // clear
    bool wipe = false;   // clear
    std::string result;  // what follows "->"
    std::vector<std::pair<std::string, std::int64_t>> expects;
};

struct BufferScript {
    std::vector<BufferStep> steps;
    std::vector<std::string> errors;  // lines that aren't steps
};

namespace buffer_script {

inline bool number(std::string_view text, std::int64_t& value) {
    const auto [end, ec] = std::from_chars(text.data(), text.data() + text.size(), value);
    return ec == std::errc() && end == text.data() + text.size();
}

inline bool option(std::string_view word, std::string_view key, std::int64_t& value) {
    return word.substr(0, key.size()) == key && number(word.substr(key.size()), value);
}

inline bool parseLine(const std::vector<std::string>& w, BufferStep& step) {
    using Kind = BufferStep::Kind;
    std::size_t end = w.size();
    for (std::size_t i = 0; i < w.size(); ++i) {
        if (w[i] != "->") continue;
        if (i + 2 != w.size()) return false;
        step.result = w[i + 1];
        end = i;
        break;
    }
    const std::string& verb = w[0];
    std::int64_t v = 0;
    if (verb == "put" && end >= 2) {
        step.kind = Kind::Put;
        const auto dots = w[1].find("..");
        step.range = dots != std::string::npos;
        if (!number(std::string_view(w[1]).substr(0, dots), step.first)) return false;
        step.last = step.first;
        if (step.range && (!number(std::string_view(w[1]).substr(dots + 2), step.last) || step.first < 0 ||
                           step.first > 65535 || step.last < 0 || step.last > 65535)) {
            return false;
        }
        step.timestamp = static_cast<std::uint32_t>(step.first) * 160u;
        for (std::size_t i = 2; i < end; ++i) {
            const std::string& o = w[i];
            if (option(o, "ts=", v)) {
                step.timestamp = static_cast<std::uint32_t>(v);
            } else if (option(o, "at=", v)) {
                step.arrival = static_cast<std::uint32_t>(v);
                step.arrivalGiven = true;
            } else if (option(o, "late=", v)) {
                step.late = static_cast<std::uint32_t>(v);
            } else if (option(o, "len=", v)) {
                step.length = static_cast<std::int32_t>(v);
            } else if (o.rfind("step=", 0) == 0) {
                char* stop = nullptr;
                step.stepMs = std::strtod(o.c_str() + 5, &stop);
                if (*stop != '\0' || !(step.stepMs >= 0.0 && step.stepMs <= 60000.0)) return false;
            } else if (o == "none") {
                step.noFrame = true;
            } else {
                return false;
            }
        }
        if (!step.arrivalGiven) step.arrival = step.timestamp / 8;
        return true;
    }
    if (verb == "get" && end == 1) {
        step.kind = Kind::Get;
        return true;
    }
    if (verb == "clear" && end >= 3 && number(w[1], step.first) && number(w[2], step.last)) {
        step.kind = Kind::Clear;
        for (std::size_t i = 3; i < end; ++i) {
            if (w[i] == "reset") {
                step.reset = true;
            } else if (w[i] == "wipe") {
                step.wipe = true;
            } else {
                return false;
            }
        }
        return true;
    }
    if ((verb == "shutdown" || verb == "start") && end == 1) {
        step.kind = verb == "start" ? Kind::Start : Kind::Shutdown;
        return true;
    }
    if (verb == "expect" && end >= 2) {
        step.kind = Kind::Expect;
        for (std::size_t i = 1; i < end; ++i) {
            const auto eq = w[i].find('=');
            if (eq == std::string::npos || !number(std::string_view(w[i]).substr(eq + 1), v)) return false;
            step.expects.emplace_back(w[i].substr(0, eq), v);
        }
        return true;
    }
    return false;
}

}  // namespace buffer_script

inline BufferScript parseBufferScript(std::string_view text) {
    BufferScript script;
    std::istringstream lines{std::string(text)};
    for (std::string line; std::getline(lines, line);) {
        std::istringstream in(line);
        std::vector<std::string> w;
        for (std::string word; in >> word;) w.push_back(word);
        if (w.empty() || w[0][0] == '#') continue;
        BufferStep step;
        step.line = line;
        if (buffer_script::parseLine(w, step)) {
            script.steps.push_back(std::move(step));
        } else {
            script.errors.push_back(line);
        }
    }
    return script;
}

// Calls `frame(sequence, timestamp, arrival)` for each frame of a put, at
// most `most` times.
template <typename Frame>
void forEachFrame(const BufferStep& step, int most, Frame frame) {
    std::int64_t sequence = step.first;
    for (int i = 0; i < most; ++i) {
        const auto offset = static_cast<std::uint32_t>(std::floor(step.stepMs * i));
        frame(static_cast<std::int32_t>(sequence), step.timestamp + 160u * static_cast<std::uint32_t>(i),
              step.arrival + offset + step.late);
        if (sequence == step.last) return;
        sequence = (sequence + 1) % 65536;
    }
}

// Runs steps on a Buffer of its own; each frame carries a tag, its order of
// putting, in every sample. A step gives its outcome in the script's words
// ("stored", "10,11,L", "fill=3", 0 for clear, shutdown and start), and
// whatever breaks the buffer's promises goes into `faults`: a frame out
// that never went in, or twice, or not whole; a refused frame taken; a
// length written without frames.
class BufferRunner {
public:
    // At most `maxFrames` frames in all, and `maxHeavySteps` clears and
    // starts (each may walk the whole table).
    BufferRunner(int maxFrames, int maxHeavySteps) : mMaxFrames(maxFrames), mMaxHeavySteps(maxHeavySteps) {
        mBuffer.start();
    }

    // Back to a fresh buffer, freeing only the slots frames went to.
    void restart() {
        for (std::int32_t sequence : mSequenceOf) mBuffer.clear(sequence, sequence + 1, false, false);
        mHistory = BufferHistory{};
        mBuffer.clear(0, 0, true, false);
        mBuffer.start();
        mSequenceOf.clear();
        mPlayed.clear();
        mHeavySteps = 0;
        faults.clear();
    }

    std::string run(const BufferStep& step) {
        using Kind = BufferStep::Kind;
        const bool heavy = step.kind == Kind::Clear || step.kind == Kind::Start;
        if (heavy && ++mHeavySteps > mMaxHeavySteps) return "skipped";
        switch (step.kind) {
            case Kind::Put:
                return put(step);
            case Kind::Get:
                return get();
            case Kind::Clear:
                return std::to_string(mBuffer.clear(static_cast<std::int32_t>(step.first),
                                                    static_cast<std::int32_t>(step.last), step.reset, step.wipe));
            case Kind::Shutdown:
                return std::to_string(mBuffer.shutdown());
            case Kind::Start:
                return std::to_string(mBuffer.start());
            case Kind::Expect:
                break;
        }
        std::string values;
        for (const auto& [key, value] : step.expects) values += (values.empty() ? "" : " ") + key + "=" + state(key);
        return values;
    }

    std::vector<std::string> faults;

private:
    // "stored" or "refused" for the whole range, or the last change.
    std::string put(const BufferStep& step) {
        std::string outcome;
        const int room = mMaxFrames - static_cast<int>(mSequenceOf.size());
        forEachFrame(
            step, std::min(room, Buffer::kSlotCount), [&](std::int32_t sequence, std::uint32_t ts, std::uint32_t at) {
                const auto tag = static_cast<std::int16_t>(mSequenceOf.size() + 1);
                VoiceFramePtr frame = step.noFrame ? nullptr : std::make_unique<VoiceFrame>();
                if (frame) frame->fill(tag);
                std::int32_t lengthOut = -1;
                const bool stored = mBuffer.put(frame, sequence, ts, step.length, &lengthOut, at) == Buffer::kStored;
                if (stored && (frame != nullptr || lengthOut != step.length || step.noFrame)) fault("stored", sequence);
                if (!stored && ((frame == nullptr) != step.noFrame || lengthOut != -1)) fault("refused", sequence);
                // Tags go on only with a stored frame, so that each names one.
                if (stored) {
                    mSequenceOf.push_back(sequence);
                    mPlayed.push_back(false);
                }
                const std::string result = stored ? "stored" : "refused";
                outcome = outcome.empty() || outcome == result ? result : "mixed at " + std::to_string(sequence);
            });
        return outcome;
    }

    std::string get() {
        std::vector<std::uint8_t> out(Buffer::kMaxGetBytes, 0xEE);
        std::int32_t length = -7;
        const int result = mBuffer.get(out.data(), &length);
        if (result != Buffer::kPlayed) {
            if (length != -7) fault("length written without frames", result);
            return result == Buffer::kConceal      ? "conceal"
                   : result == Buffer::kEmpty      ? "empty"
                   : result == Buffer::kNotStarted ? "waiting"
                                                   : "result " + std::to_string(result);
        }
        const bool single = length >= 1 && length <= kFrameBytes;
        if (!single && (length % kFrameBytes != 0 || length > 8 * kFrameBytes)) fault("length", length);
        const int frames = single ? 1 : std::min(length / kFrameBytes, 8);
        std::string played;
        for (int f = 0; f < frames; ++f) {
            const std::uint8_t* bytes = out.data() + f * kFrameBytes;
            played += f == 0 ? "" : ",";
            if (!single && Buffer::isLossMarker(bytes)) {
                played += "L";
                continue;
            }
            std::int16_t samples[kFrameSamples];
            std::memcpy(samples, bytes, sizeof samples);
            const int tag = samples[0];
            // A frame goes out whole whatever length it was given.
            const bool whole =
                std::all_of(samples, samples + kFrameSamples, [tag](std::int16_t s) { return s == tag; });
            if (tag < 1 || tag > static_cast<int>(mSequenceOf.size()) || !whole || mPlayed[tag - 1]) {
                fault("frame out of nothing, twice or not whole", tag);
                played += "?";
                continue;
            }
            mPlayed[tag - 1] = true;
            played += std::to_string(mSequenceOf[tag - 1]);
        }
        if (mBuffer.fill() < 0 || mBuffer.fill() > Buffer::kSlotCount + 1) fault("fill", mBuffer.fill());
        if (mBuffer.readIndex() < 0 || mBuffer.readIndex() >= Buffer::kSlotCount) fault("read", mBuffer.readIndex());
        return played;
    }

    std::string state(const std::string& key) const {
        const std::int64_t value = key == "fill"      ? mBuffer.fill()
                                   : key == "target"  ? mBuffer.targetFrames()
                                   : key == "limit"   ? mBuffer.limitFrames()
                                   : key == "read"    ? mBuffer.readIndex()
                                   : key == "highest" ? mBuffer.highestIndex()
                                   : key == "started" ? (mBuffer.started() ? 1 : 0)
                                   : key == "jitter"  ? mBuffer.jitterFrames()
                                   : key == "packets" ? static_cast<std::int64_t>(mBuffer.packetCount())
                                                      : -999999;
        return std::to_string(value);
    }

    void fault(const std::string& what, std::int64_t at) { faults.push_back(what + " " + std::to_string(at)); }

    BufferHistory mHistory;
    Buffer mBuffer{mHistory};
    const int mMaxFrames;
    const int mMaxHeavySteps;
    int mHeavySteps = 0;
    std::vector<std::int32_t> mSequenceOf;  // by tag - 1
    std::vector<bool> mPlayed;
};
