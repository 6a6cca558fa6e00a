#include "platform/thread.h"

// clang-format off
#include <windows.h>
#include <process.h>
// clang-format on

#include <atomic>
#include <memory>

#include "platform/thread_id.h"
#include "platform/win32/process_state.h"

namespace platform {

namespace {

int systemPriority(ThreadPriority priority) {
    switch (priority) {
        case ThreadPriority::AboveNormal:
            return THREAD_PRIORITY_ABOVE_NORMAL;
        case ThreadPriority::Highest:
            return THREAD_PRIORITY_HIGHEST;
        case ThreadPriority::TimeCritical:
            return THREAD_PRIORITY_TIME_CRITICAL;
        default:
            return THREAD_PRIORITY_NORMAL;
    }
}

// How long a join waits while the library is being unloaded: the system
// holds its loader lock then, and a thread that must take it to end would
// never be seen to end.
constexpr DWORD kDetachJoinMs = 2000;
}  // namespace

bool setCurrentThreadPriority(ThreadPriority priority) {
    return ::SetThreadPriority(::GetCurrentThread(), systemPriority(priority)) != 0;
}

struct Thread::State {
    Body body;
    HANDLE handle = nullptr;
    // Set when the body has returned: from then on the thread touches
    // nothing of the library's but its own exit.
    HANDLE finished = nullptr;
    unsigned systemId = 0;
    std::uint32_t id = 0;
    std::atomic<bool> resumed{false};
    bool joined = false;

    ~State() {
        if (handle != nullptr) ::CloseHandle(handle);
        if (finished != nullptr) ::CloseHandle(finished);
    }

    static unsigned __stdcall start(void* raw) {
        State* self = static_cast<State*>(raw);
        adoptThreadId(self->id);
        self->body();
        // The last of the library's code the thread runs: an unload that
        // saw this event may go on, and leaves the thread only its return
        // into the C runtime.
        ::SetEvent(self->finished);
        return 0;
    }
};

Thread::Thread() = default;

Thread::~Thread() {
    if (mState) {
        resume();  // a thread never resumed must still be able to end
        join();
        // A thread still in its body after a bounded join keeps its state:
        // freeing what it runs on would be worse than leaving it behind.
        if (!mState->joined) (void)mState.release();
    }
}

bool Thread::createSuspended(Body body) {
    if (mState) return false;
    auto state = std::make_unique<State>();
    state->id = allocateThreadId();
    state->body = std::move(body);
    state->finished = ::CreateEventA(nullptr, TRUE, FALSE, nullptr);
    if (state->finished == nullptr) return false;
    // _beginthreadex rather than CreateThread, so the C runtime is set up
    // for the thread.
    const std::uintptr_t handle =
        ::_beginthreadex(nullptr, 0, &State::start, state.get(), CREATE_SUSPENDED, &state->systemId);
    if (handle == 0) return false;
    state->handle = reinterpret_cast<HANDLE>(handle);
    mState = std::move(state);
    return true;
}

void Thread::resume() {
    if (!mState || mState->resumed.exchange(true)) return;
    ::ResumeThread(mState->handle);
}

void Thread::join() {
    if (!mState || mState->joined || isCurrent()) return;
    if (win32::processEnding()) {
        // The process is exiting: the system has already stopped every other
        // thread, and nothing is left to wait for.
        mState->joined = true;
        return;
    }
    if (win32::libraryDetaching()) {
        // Under the loader lock: wait for the body to return, bounded; the
        // thread's own exit waits for the lock and is not waited for.
        if (::WaitForSingleObject(mState->finished, kDetachJoinMs) == WAIT_OBJECT_0) mState->joined = true;
        return;
    }
    ::WaitForSingleObject(mState->handle, INFINITE);
    mState->joined = true;
}

bool Thread::joinable() const {
    return mState && !mState->joined;
}

std::uint32_t Thread::id() const {
    return mState ? mState->id : 0;
}

bool Thread::isCurrent() const {
    return mState && mState->systemId == ::GetCurrentThreadId();
}

}  // namespace platform
