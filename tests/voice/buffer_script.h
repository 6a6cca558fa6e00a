// Scripts of steps on the jitter buffer: the scenario tests run them with
// their expected results, the fuzz target runs any text as one. A line:
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

#include <charconv>
#include <cmath>
#include <cstdint>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "common/voice_frame.h"

struct BufferStep {
    enum class Kind { Put, Get, Clear, Shutdown, Start, Expect };
    Kind kind = Kind::Get;
    std::string line;
    std::int64_t first = 0;  // put: sequence; clear: first slot
    std::int64_t last = 0;   // put: last sequence; clear: end slot
    bool range = false;
    bool timestampGiven = false;
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
