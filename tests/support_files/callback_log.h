// Test helper: the client callbacks as the simulator's recorder takes them,
// each seen as an entry with a one-letter kind.
#pragma once

#include <cstdint>
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
    void clear() { sim::CallbackRecorder::instance().clear(); }
};
