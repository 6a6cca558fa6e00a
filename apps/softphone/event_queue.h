// The library's callbacks copied into a queue. They run on the library's
// threads with its locks held, so they only copy and return; the client's
// own thread takes the records and acts on them.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <string>

#include "softphone.h"

namespace client {

struct EngineEvent {
    enum Kind { Client, KeyState, Display, Link, LocalKeyTone } kind = Client;
    int code = 0;      // client or link event code; key index of a key tone
    int length = 0;    // the length the library gave
    std::string data;  // the block, with the record behind the tag
    std::uint32_t first = 0;
    std::uint32_t second = 0;
};

class EventQueue {
public:
    static EventQueue& instance();
    // The four callbacks into `params`.
    static void install(ParameterContainer& params);

    void push(EngineEvent event);
    // Waits up to `timeoutMs` for the next record.
    std::optional<EngineEvent> pop(int timeoutMs);

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::deque<EngineEvent> mEvents;
};

}  // namespace client
