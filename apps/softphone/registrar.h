// Keeps the terminal registered, on a thread of its own: initialize blocks
// through the whole registration (up to 38 s with a silent server), and
// the keyboard stays live meanwhile. A failed registration is tried again
// after a back-off that doubles up to half a minute; a lost link (or the
// server's order to restart) is answered by uninitialize and a fresh
// registration, with no key pressed.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <thread>

#include "engine_library.h"

namespace client {

class Registrar {
public:
    using Log = std::function<void(const std::string&)>;

    // initialize: PTAP START waits 19 s, then MGCP RSIP 19 s more.
    static constexpr int kRegistrationMs = 38000;
    static constexpr int kFirstBackoffMs = 1000;
    static constexpr int kLongestBackoffMs = 30000;

    Registrar(const Engine& engine, const ParameterContainer& params, std::string server, std::string traceFile,
              Log log);
    ~Registrar();
    Registrar(const Registrar&) = delete;
    Registrar& operator=(const Registrar&) = delete;

    void start();
    // The link is gone: uninitialize and register again.
    void registerAgain();
    // Ends the thread, cutting short an initialize under way; the engine
    // is left uninitialized.
    void stop();

    bool registered() const { return mRegistered.load(); }
    bool initializing() const {
        std::lock_guard<std::mutex> lock(mMutex);
        return mInitializing;
    }
    int registrations() const { return mRegistrations.load(); }
    // The status line: registered, or what it waits for with a count-down.
    std::string status() const;

private:
    void run();
    // Waits up to `ms`, or until stop or registerAgain; true when woken.
    bool waitMs(int ms);

    const Engine& mEngine;
    ParameterContainer mParams;
    const std::string mServer;
    const std::string mTraceFile;
    Log mLog;
    std::thread mThread;

    std::atomic<bool> mRegistered{false};
    std::atomic<int> mRegistrations{0};

    mutable std::mutex mMutex;
    std::condition_variable mWake;
    bool mStop = false;
    bool mAgain = false;
    bool mInitializing = false;
    std::string mWaitingFor;  // what the count-down counts to
    std::chrono::steady_clock::time_point mUntil;
};

}  // namespace client
