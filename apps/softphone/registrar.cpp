#include "registrar.h"

#include <algorithm>
#include <cstdio>

namespace client {

namespace {

using Clock = std::chrono::steady_clock;

std::string initializeResult(int result) {
    switch (result) {
        case SP_INIT_FAILED:
            return "no answer in time (or a busy server, or a port taken)";
        case SP_INIT_REFUSED:
            return "the server refused the terminal";
        case SP_INIT_WRONG_CONNECTION_INFO:
            return "wrong connection data";
        case SP_INIT_INCORRECT_CARD:
            return "the card record was refused";
        default:
            return "result " + std::to_string(result);
    }
}

}  // namespace

Registrar::Registrar(const Engine& engine, const ParameterContainer& params, std::string server, std::string traceFile,
                     Log log)
    : mEngine(engine),
      mParams(params),
      mServer(std::move(server)),
      mTraceFile(std::move(traceFile)),
      mLog(std::move(log)) {}

Registrar::~Registrar() {
    stop();
}

void Registrar::start() {
    mThread = std::thread([this] { run(); });
}

void Registrar::registerAgain() {
    std::lock_guard<std::mutex> lock(mMutex);
    // A registration under way already goes to the server as it now is (a
    // restarted server orders the restart as it comes up).
    if (mInitializing) return;
    mAgain = true;
    mWake.notify_all();
}

void Registrar::stop() {
    bool initializing = false;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mStop = true;
        initializing = mInitializing;
        mWake.notify_all();
    }
    // An initialize still waiting for the server is ended by an
    // uninitialize from this thread: it gives up within 100 ms.
    if (initializing) mEngine.uninitialize();
    if (mThread.joinable()) mThread.join();
}

std::string Registrar::status() const {
    std::lock_guard<std::mutex> lock(mMutex);
    if (mRegistered.load()) return "registered with " + mServer;
    if (mWaitingFor.empty()) return "not registered";
    const auto left = std::chrono::duration_cast<std::chrono::seconds>(mUntil - Clock::now()).count();
    return mWaitingFor + " " + std::to_string(std::max<long long>(left, 0)) + " s";
}

bool Registrar::waitMs(int ms) {
    std::unique_lock<std::mutex> lock(mMutex);
    return mWake.wait_for(lock, std::chrono::milliseconds(ms), [this] { return mStop || mAgain; });
}

void Registrar::run() {
    int backoffMs = kFirstBackoffMs;
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(mMutex);
            if (mStop) break;
            mAgain = false;
            mInitializing = true;
            mWaitingFor = "registering with " + mServer + ", gives up in";
            mUntil = Clock::now() + std::chrono::milliseconds(kRegistrationMs);
        }
        mLog("registering with " + mServer + " ...");
        PtapParameters ptap{};
        const int result = mEngine.initialize(&mParams, &ptap);
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mInitializing = false;
        }
        if (result == SP_INIT_OK) {
            mRegistered = true;
            ++mRegistrations;
            backoffMs = kFirstBackoffMs;
            mLog("registered with " + mServer + "; keepalive time-out " + std::to_string(ptap.mKeepaliveTimeout) +
                 " s");
            // Registered until the link goes or the program ends.
            std::unique_lock<std::mutex> lock(mMutex);
            mWake.wait(lock, [this] { return mStop || mAgain; });
            if (mStop) break;
            lock.unlock();
            mLog("registering again: uninitialize first");
        } else {
            mLog("registration failed: " + initializeResult(result) + "; trying again in " +
                 std::to_string(backoffMs / 1000) + " s");
        }
        mRegistered = false;
        // A failed initialize has taken its own engines down; uninitialize
        // ends the tone player, and after a session also its trace file.
        mEngine.uninitialize();
        if (result == SP_INIT_OK) {
            // The old session's trace is kept beside the new one.
            const std::string previous = mTraceFile + ".1";
            std::rename(mTraceFile.c_str(), previous.c_str());
            mEngine.tracer_startup(mTraceFile.c_str());
        } else {
            {
                std::lock_guard<std::mutex> lock(mMutex);
                mWaitingFor = "next registration in";
                mUntil = Clock::now() + std::chrono::milliseconds(backoffMs);
            }
            waitMs(backoffMs);
            backoffMs = std::min(backoffMs * 2, kLongestBackoffMs);
        }
    }
    mRegistered = false;
    mEngine.uninitialize();
}

}  // namespace client
