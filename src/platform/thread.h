// Threads of the engines: created suspended, resumed, joined.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>

namespace platform {

enum class ThreadPriority { Normal, AboveNormal, Highest, TimeCritical };

// A process-unique, non-zero 32-bit id for the calling thread, stable for
// its life; it fits the "%04d" of the thread traces.
std::uint32_t currentThreadId();

// Best effort: false when the system refuses the priority.
bool setCurrentThreadPriority(ThreadPriority priority);

class Thread {
public:
    using Body = std::function<void()>;

    Thread();
    ~Thread();  // joins a thread that still runs
    Thread(const Thread&) = delete;
    Thread& operator=(const Thread&) = delete;

    // Creates the thread held back until resume(); its id is known at once,
    // so the owner can store it before the body first looks at it.
    bool createSuspended(Body body);
    void resume();
    // Waits for the body to return. Safe to call more than once, and on a
    // thread never created. Must not be called from the thread itself.
    void join();
    bool joinable() const;
    std::uint32_t id() const;
    bool isCurrent() const;

private:
    struct State;
    std::unique_ptr<State> mState;
};

}  // namespace platform
