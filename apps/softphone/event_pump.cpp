#include "event_pump.h"

namespace client {

void EventPump::start(std::function<void()> changed) {
    mStop = false;
    mThread = std::thread([this, changed = std::move(changed)] {
        while (!mStop) {
            auto event = EventQueue::instance().pop(50);
            if (!event) continue;
            mHandler.handle(*event);
            if (changed) changed();
        }
        // What came in last is still shown.
        while (auto event = EventQueue::instance().pop(0)) mHandler.handle(*event);
    });
}

void EventPump::stop() {
    mStop = true;
    if (mThread.joinable()) mThread.join();
}

}  // namespace client
