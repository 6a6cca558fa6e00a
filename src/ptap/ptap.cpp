// The PTAP object's life: creation, start, shutdown, and what the
// CallProcessor reads of it.
#include "ptap/ptap.h"

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "common/tracer.h"

PTAP::PTAP(const platform::Clock& clock, std::uint16_t localPort, std::uint16_t serverPort)
    : mClock(clock), mLocalPort(localPort), mServerPort(serverPort) {
    Tracer::instance()->trace(kTraceStatus, "[PTAP] Module created");
}

PTAP::~PTAP() {
    shutdown();
    mNetworkData = nullptr;
    Tracer::instance()->trace(kTraceStatus, "[PTAP] Module destroyed");
}

int PTAP::setNetworkInitData(const NetworkInitData* data) {
    if (data != nullptr) {
        mNetworkData = data;
        Tracer::instance()->trace(kTraceStatus, "[PTAP] Network initialization data has been registered");
    }
    if (mNetworkData == nullptr) {
        Tracer::instance()->trace(kTraceWarning, "[PTAP :: Warning] Reference to invalid network data");
        return 1;
    }
    return 0;
}

void PTAP::setParent(PtapParent* parent) {
    mParent = parent;
    Tracer::instance()->trace(kTraceStatus, "[PTAP] Parent reference registered - CallProcessor");
}

int PTAP::addListener(PtapListener* listener) {
    if (listener == nullptr) return 1;
    platform::LockGuard guard(mStateLock);
    if (std::find(mListeners.begin(), mListeners.end(), listener) == mListeners.end()) mListeners.push_back(listener);
    return 0;
}

void PTAP::setRemoteAddress(const std::uint32_t* address) {
    if (address == nullptr) return;
    mServerAddress = *address;
    char dotted[16];
    std::snprintf(dotted, sizeof dotted, "%u.%u.%u.%u", (*address >> 24) & 0xFFu, (*address >> 16) & 0xFFu,
                  (*address >> 8) & 0xFFu, *address & 0xFFu);
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Remote IP configured to: %s", dotted);
}

int PTAP::failStart(int level, const char* message) {
    Tracer::instance()->trace(level, "%s", message);
    shutdown();
    return 1;
}

bool PTAP::startThread(std::unique_ptr<platform::Thread>& thread, std::atomic<std::uint32_t>& id,
                       void (PTAP::*body)()) {
    if (thread) return true;
    auto created = std::make_unique<platform::Thread>();
    if (!created->createSuspended([this, body] { (this->*body)(); })) return false;
    // The id is stored before the thread runs, so its first test sees it.
    id = created->id();
    thread = std::move(created);
    thread->resume();
    return true;
}

int PTAP::start() {
    platform::LockGuard guard(mModuleLock);
    mStopping = false;
    Tracer::instance()->trace(kTraceStatus, "[PTAP] Module starting");

    mNextTid = 1;
    mStartData = ptap::StartData{};
    if (mNetworkData == nullptr) {
        Tracer::instance()->trace(kTraceCritical, "[PTAP :: CRITICAL ERROR] Cannot update PTAP initialization data");
        return failStart(kTraceCritical, "[PTAP :: CRITICAL ERROR] Startup failed - Error in PTAP initialization data");
    }
    const NetworkInitData& init = *mNetworkData;
    mStartData.startCode = init.mStartCode;
    std::memcpy(mStartData.connectionInfo.data(), init.mConnectionInfo, mStartData.connectionInfo.size());
    std::memcpy(mStartData.hardwareAddress.data(), init.mHardwareAddress, mStartData.hardwareAddress.size());
    mStartData.localAddress = init.mLocalAddress;
    mStartData.registrationMode = init.mRegistrationMode == 1 ? 1 : 0;
    {
        platform::LockGuard state(mStateLock);
        ptap::resetLinkState(mLink, mStartData.registrationMode);
        mRecordExists = true;
    }
    {
        platform::LockGuard buffers(mBufferLock);
        mBufferList.clear();
    }

    const std::uint32_t server = init.mServerAddress;
    setRemoteAddress(&server);
    if (!mSocket.isOpen() && !mSocket.open(mLocalPort)) {
        return failStart(kTraceCritical, "[PTAP :: CRITICAL ERROR] Socket creation failed - PTAP");
    }

    if (!startThread(mSocketThread, mSocketThreadId, &PTAP::socketThread)) {
        return failStart(kTraceCritical, "[PTAP :: CRITICAL ERROR] Thread creation failed - PTAP socket polling");
    }
    if (!startThread(mRetransmitThread, mRetransmitThreadId, &PTAP::retransmitThread)) {
        return failStart(kTraceError, "[PTAP :: ERROR] Thread creation failed - PTAP retransmission");
    }
    mSupervisor.reset();
    if (!startThread(mKeepaliveThread, mKeepaliveThreadId, &PTAP::keepaliveThread)) {
        return failStart(kTraceError, "[PTAP :: ERROR] Thread creation failed - Connection timeout polling");
    }
    mClock.sleepMs(kStartSettleMs);
    return 0;
}

void PTAP::stopThread(std::unique_ptr<platform::Thread>& thread, const char* shutdownTrace) {
    if (!thread) return;
    if (thread->isCurrent()) {
        // A callback on this thread shut the module down. It can't wait for
        // itself: it leaves at its next test of its id, and its handle is let
        // go rather than joined from inside.
        (void)thread.release();
    } else {
        thread->join();
        thread.reset();
    }
    Tracer::instance()->trace(kTraceStatus, "%s", shutdownTrace);
}

int PTAP::shutdown() {
    platform::LockGuard guard(mModuleLock);
    mStopping = true;
    // Zeroed ids tell the threads to leave; closing the socket wakes the
    // blocked receive. Each is joined before what it touches is released.
    mSocketThreadId = 0;
    mRetransmitThreadId = 0;
    mKeepaliveThreadId = 0;
    mRetransmitWakeup.wake();
    mKeepaliveWakeup.wake();
    const int closeError = mSocket.close();
    switch (closeError) {
        case 10004:  // interrupted
        case 10035:  // would block
        case 10036:  // in progress
        case 10050:  // network down
            Tracer::instance()->trace(kTraceWarning, "[PTAP :: Warning] Close socket returned error: %d", closeError);
            break;
        default:
            break;
    }
    stopThread(mSocketThread, "[PTAP :: Thread] Thread shutdown - PTAP socket polling");
    stopThread(mRetransmitThread, "[PTAP :: Thread] Thread shutdown - PTAP retransmission");
    stopThread(mKeepaliveThread, "[PTAP :: Thread] Thread shutdown - Connection timeout polling");
    {
        platform::LockGuard state(mStateLock);
        mRecordExists = false;
        mLink.parameters = PtapParameters{};
        mLink.parameterCount = 0;
        mLink.parametersComplete = false;
    }
    {
        platform::LockGuard buffers(mBufferLock);
        mBufferList.clear();
    }
    return 0;
}

int PTAP::getResult() const {
    platform::LockGuard state(mStateLock);
    return mLink.result;
}

void PTAP::setResult(int result) {
    platform::LockGuard state(mStateLock);
    mLink.result = result;
}

std::uint32_t PTAP::getPtapParameter(int selector) const {
    platform::LockGuard state(mStateLock);
    return ptap::selectorValue(mLink, selector);
}

int PTAP::getPtapParameters(PtapParameters** out) {
    if (out == nullptr) return 1;
    platform::LockGuard state(mStateLock);
    if (!mRecordExists) return 1;
    mParametersSnapshot = mLink.parameters;
    *out = &mParametersSnapshot;
    return 0;
}

int PTAP::copyPtapParameters(PtapParameters* out) const {
    if (out == nullptr) return 1;
    platform::LockGuard state(mStateLock);
    if (!mRecordExists) return 1;
    *out = mLink.parameters;
    return 0;
}

std::size_t PTAP::pendingPackets() const {
    platform::LockGuard buffers(mBufferLock);
    return mBufferList.size();
}
