// Test helper: plain-function client callbacks that log what they get.
#pragma once

#include <cstdint>
#include <cstdio>
#include <mutex>
#include <string>
#include <vector>

#include "softphone.h"

struct CallbackLog {
    struct Entry {
        char kind;  // 'C' client event, 'K' key state, 'D' display text, 'L' link event
        int code;
        int length;
        std::string data;
        std::uint32_t first;
        std::uint32_t second;
    };

    static CallbackLog& instance() {
        static CallbackLog log;
        return log;
    }
    static void install(ParameterContainer& params) {
        params.mCallbacks.onClientEvent = [](int code, int length, const char* data) {
            std::string bytes = data != nullptr && length > 0 ? std::string(data, length) : std::string();
            instance().add({'C', code, length, bytes, 0, 0});
        };
        params.mCallbacks.onKeyState = [](std::uint32_t first, std::uint32_t second) {
            instance().add({'K', 0, 0, {}, first, second});
        };
        params.mCallbacks.onDisplayText = [](int, int, const char* text, int) {
            instance().add({'D', 0, 0, text != nullptr ? text : "", 0, 0});
        };
        params.mCallbacks.onLinkEvent = [](int code, int, int) { instance().add({'L', code, 0, {}, 0, 0}); };
    }
    void add(Entry e) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.push_back(std::move(e));
    }
    std::vector<Entry> entries() {
        std::lock_guard<std::mutex> lock(mMutex);
        return mEntries;
    }
    // One word per entry, for comparing whole sequences: "C23/5:G.729" (a
    // client event with its length and its text up to the first zero),
    // "K1,2" (key state), "D:text", "L24" (link event, decimal).
    std::string summary() {
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
    void clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.clear();
    }

private:
    std::mutex mMutex;
    std::vector<Entry> mEntries;
};
