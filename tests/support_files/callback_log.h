// Test helper: the client callbacks as the simulator's recorder takes them,
// each seen as an entry with a one-letter kind.
#pragma once

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "sim/softphone_library.h"
#include "softphone.h"

struct CallbackLog {
    struct Entry {
        char kind;  // 'C' client event, 'K' key state, 'D' display text, 'L' link event
        int code;
        int length;  // of a client event's bytes
        std::string data;
        std::uint32_t first;
        std::uint32_t second;
    };

    static CallbackLog& instance() {
        static CallbackLog log;
        return log;
    }
    static void install(ParameterContainer& params) { sim::CallbackRecorder::install(params); }
    std::vector<Entry> entries() const {
        std::vector<Entry> out;
        for (const sim::CallbackRecord& r : sim::CallbackRecorder::instance().records()) {
            const char kind = "CKDL"[r.kind];
            const int length = kind == 'C' ? static_cast<int>(r.data.size()) : 0;
            out.push_back({kind, r.code, length, r.data, r.first, r.second});
        }
        return out;
    }
    // One word per entry, for comparing whole sequences: "C23/5:G.729" (a
    // client event with its length and its text up to the first zero),
    // "K1,2" (key state), "D:text", "L24" (link event, decimal).
    std::string summary() const {
        std::string out;
        char word[64];
        for (const Entry& e : entries()) {
            if (!out.empty()) out += ' ';
            switch (e.kind) {
                case 'C':
                    std::snprintf(word, sizeof word, "C%02X/%d", static_cast<unsigned>(e.code) & 0xFFu, e.length);
                    out += word;
                    if (!e.data.empty() && e.data[0] != '\0') out += ":" + std::string(e.data.c_str());
                    break;
                case 'K':
                    std::snprintf(word, sizeof word, "K%X,%X", e.first, e.second);
                    out += word;
                    break;
                case 'D':
                    out += "D:" + e.data;
                    break;
                default:
                    std::snprintf(word, sizeof word, "L%d", e.code);
                    out += word;
                    break;
            }
        }
        return out;
    }
    void clear() { sim::CallbackRecorder::instance().clear(); }
};
