// The client's event thread: takes the callbacks' records from the queue
// and hands them to the handler, one at a time.
#pragma once

#include <atomic>
#include <functional>
#include <thread>

#include "event_handler.h"

namespace client {

class EventPump {
public:
    explicit EventPump(EventHandler& handler) : mHandler(handler) {}
    ~EventPump() { stop(); }
    EventPump(const EventPump&) = delete;
    EventPump& operator=(const EventPump&) = delete;

    // `changed` runs after each record, on the pump's thread.
    void start(std::function<void()> changed = {});
    void stop();

private:
    EventHandler& mHandler;
    std::thread mThread;
    std::atomic<bool> mStop{false};
};

}  // namespace client
