// A manual-reset event: once set it stays set until reset.
#pragma once

#include <condition_variable>
#include <mutex>
#include <string>

namespace platform {

class ManualResetEvent {
public:
    explicit ManualResetEvent(std::string name = {}) : mName(std::move(name)) {}

    void set();
    void reset();
    bool isSet() const;
    // True when the event is set within `timeoutMs`.
    bool wait(unsigned timeoutMs) const;
    const std::string& name() const { return mName; }

    ManualResetEvent(const ManualResetEvent&) = delete;
    ManualResetEvent& operator=(const ManualResetEvent&) = delete;
#if defined(_WIN32)
    ~ManualResetEvent();
#endif

private:
    std::string mName;
#if defined(_WIN32)
    // The system's event object, made on first use.
    void* handle() const;
    mutable std::mutex mMutex;
    mutable void* mHandle = nullptr;
#else
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    bool mSet = false;
#endif
};

}  // namespace platform
