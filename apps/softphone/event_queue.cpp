#include "event_queue.h"

#include <chrono>
#include <cstring>

namespace client {

namespace {

// How many bytes of a client event's block to keep: the records behind the
// tags reach past the length the library gives.
std::size_t blockBytes(int code, int length) {
    switch (code) {
        case SP_EVENT_RING:
        case SP_EVENT_TONE:
            return SP_TONE_DATA_BYTES;
        case SP_EVENT_PBX_SETTING:
            return SP_PBX_SETTING_BYTES;
        case SP_EVENT_TONE_COMMAND:
            return SP_TONE_COMMAND_BYTES;
        case SP_EVENT_KEY_LABELS:
            return SP_KEY_LABELS_BYTES;
        default:
            return length > 0 ? static_cast<std::size_t>(length) : 0;
    }
}

void onClientEvent(int code, int length, const char* data) {
    EngineEvent e;
    e.kind = EngineEvent::Client;
    e.code = code;
    e.length = length;
    if (data != nullptr) e.data.assign(data, blockBytes(code, length));
    EventQueue::instance().push(std::move(e));
}

void onKeyState(std::uint32_t first, std::uint32_t second) {
    EngineEvent e;
    e.kind = EngineEvent::KeyState;
    e.first = first;
    e.second = second;
    EventQueue::instance().push(std::move(e));
}

void onDisplayText(int, int, const char* text, int) {
    EngineEvent e;
    e.kind = EngineEvent::Display;
    if (text != nullptr) e.data.assign(text, std::strlen(text));
    EventQueue::instance().push(std::move(e));
}

void onLinkEvent(int code, int, int) {
    EngineEvent e;
    e.kind = EngineEvent::Link;
    e.code = code;
    EventQueue::instance().push(std::move(e));
}

}  // namespace

EventQueue& EventQueue::instance() {
    static EventQueue queue;
    return queue;
}

void EventQueue::install(ParameterContainer& params) {
    params.mCallbacks.onClientEvent = onClientEvent;
    params.mCallbacks.onKeyState = onKeyState;
    params.mCallbacks.onDisplayText = onDisplayText;
    params.mCallbacks.onLinkEvent = onLinkEvent;
}

void EventQueue::push(EngineEvent event) {
    std::lock_guard<std::mutex> lock(mMutex);
    mEvents.push_back(std::move(event));
    mChanged.notify_all();
}

std::optional<EngineEvent> EventQueue::pop(int timeoutMs) {
    std::unique_lock<std::mutex> lock(mMutex);
    if (!mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [this] { return !mEvents.empty(); }))
        return std::nullopt;
    EngineEvent e = std::move(mEvents.front());
    mEvents.pop_front();
    return e;
}

}  // namespace client
