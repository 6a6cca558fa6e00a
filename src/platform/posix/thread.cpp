#include "platform/thread.h"

#include <pthread.h>
#include <sched.h>

#include <condition_variable>
#include <mutex>
#include <thread>

#include "platform/thread_id.h"

namespace platform {

bool setCurrentThreadPriority(ThreadPriority priority) {
    if (priority == ThreadPriority::Normal) return true;
    // Real-time scheduling needs privileges a desktop user rarely has; the
    // caller traces the refusal and runs on at normal priority.
    int policy = SCHED_FIFO;
    sched_param param{};
    int low = sched_get_priority_min(policy);
    int high = sched_get_priority_max(policy);
    switch (priority) {
        case ThreadPriority::AboveNormal:
            param.sched_priority = low;
            break;
        case ThreadPriority::Highest:
            param.sched_priority = (low + high) / 2;
            break;
        default:
            param.sched_priority = high;
            break;
    }
    return pthread_setschedparam(pthread_self(), policy, &param) == 0;
}

struct Thread::State {
    std::thread thread;
    std::mutex mutex;
    std::condition_variable released;
    bool go = false;
    std::uint32_t id = 0;
};

Thread::Thread() = default;

Thread::~Thread() {
    if (mState) {
        resume();  // a thread never resumed must still be able to end
        join();
    }
}

bool Thread::createSuspended(Body body) {
    if (mState) return false;
    auto state = std::make_unique<State>();
    state->id = allocateThreadId();
    State* raw = state.get();
    try {
        raw->thread = std::thread([raw, body = std::move(body)] {
            adoptThreadId(raw->id);
            {
                std::unique_lock<std::mutex> lock(raw->mutex);
                raw->released.wait(lock, [raw] { return raw->go; });
            }
            body();
        });
    } catch (...) {
        return false;
    }
    mState = std::move(state);
    return true;
}

void Thread::resume() {
    if (!mState) return;
    std::lock_guard<std::mutex> lock(mState->mutex);
    mState->go = true;
    mState->released.notify_all();
}

void Thread::join() {
    if (!mState) return;
    if (mState->thread.joinable() && mState->thread.get_id() != std::this_thread::get_id()) {
        mState->thread.join();
    }
}

bool Thread::joinable() const {
    return mState && mState->thread.joinable();
}

std::uint32_t Thread::id() const {
    return mState ? mState->id : 0;
}

bool Thread::isCurrent() const {
    return mState && mState->thread.get_id() == std::this_thread::get_id();
}

}  // namespace platform
