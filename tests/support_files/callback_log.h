// Test helper: plain-function client callbacks that log what they get.
#pragma once

#include <cstdint>
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
    void clear() {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.clear();
    }

private:
    std::mutex mMutex;
    std::vector<Entry> mEntries;
};
