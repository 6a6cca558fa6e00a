// MGCP's life: creation, start-up, shutdown and the small setters.
#include "mgcp/mgcp.h"

#include <cstdio>
#include <new>

#include "common/tracer.h"
#include "mgcp/local_description.h"
#include "mgcp/retransmit_buffer.h"

namespace {

std::atomic<MGCP*> gMgcpInstance{nullptr};

void makeEndpointName(MediaSession& session, const std::uint8_t (&mac)[6]) {
    std::snprintf(session.mEndpointName, sizeof session.mEndpointName, "d1@%02x%02x%02x%02x%02x%02x", mac[0], mac[1],
                  mac[2], mac[3], mac[4], mac[5]);
}

}  // namespace

MGCP::MGCP(const platform::Clock& clock, std::uint16_t localPort, std::uint16_t serverPort)
    : mClock(clock), mLocalPort(localPort), mServerPort(serverPort) {
    gMgcpInstance = this;
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Module created");
}

MGCP::~MGCP() {
    shutdown();
    MGCP* self = this;
    gMgcpInstance.compare_exchange_strong(self, nullptr);
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Module destroyed");
}

MGCP* MGCP::instance() {
    return gMgcpInstance.load();
}

int MGCP::setParent(MgcpParent* parent) {
    mParent = parent;
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Parent reference registered - CallProcessor");
    return 0;
}

int MGCP::setNetworkInitData(const NetworkInitData* data) {
    if (data != nullptr) {
        mInitData = data;
        Tracer::instance()->trace(kTraceStatus, "[MGCP] Network initialization data registered");
    }
    if (mInitData == nullptr) {
        Tracer::instance()->trace(kTraceWarning, "[MGCP :: Warning] Reference to invalid network initialization data");
        return 1;
    }
    return 0;
}

int MGCP::start() {
    // A second start begins from scratch, as the first did.
    if (mSocketThread || mRetransmitThread) shutdown();

    mLock.lock();
    createBufferTable();
    mRsipAcknowledged = false;
    mRsipTid = 0;
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Module starting");
    if (mParent == nullptr) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MGCP :: CRITICAL ERROR] Startup failed - CallProcessor not registered");
        return failStart();
    }
    mSocketThreadId = 0;
    mRetransmitThreadId = 0;
    resetSession();
    openSocket();
    if (!startThread(mSocketThread, mSocketThreadId, &MGCP::pollSocket)) return failStart();
    if (!startThread(mRetransmitThread, mRetransmitThreadId, &MGCP::retransmit)) return failStart();
    mClock.sleepMs(kStartSettleMs);
    mLock.unlock();
    return 0;
}

void MGCP::createBufferTable() {
    platform::LockGuard buffer(mBufferLock);
    if (!mBufferTable) mBufferTable.reset(new (std::nothrow) MgcpBufferTable());
    // Start goes on without it; nothing is then retransmitted.
    if (!mBufferTable) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MGCP :: CRITICAL ERROR] Object creation failed - MGCP buffer table");
        return;
    }
    mBufferTable->setOnAdd([this] { mRetransmitWakeup.wake(); });
}

void MGCP::resetSession() {
    mSession = MediaSession{};
    mSessionRef = &mSession;
    if (mInitData != nullptr) {
        mSession.mLocalAddress = mInitData->mLocalAddress;
        mSession.mServerAddress = mInitData->mServerAddress;
        makeEndpointName(mSession, mInitData->mHardwareAddress);
    } else {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MGCP :: CRITICAL ERROR] Object unavailable - MGCP initialization data");
    }
    mSession.mServerEndpoint.address = mSession.mServerAddress;
    mServerAddress = mSession.mServerAddress;
    setLocalAddressLines(mSession, mSession.mLocalAddress);
    mSession.mNextTid = 1;
    mSession.mLastTid = 1;
    mSession.mRequestId = 1;
    mSession.mToneSignal = false;
}

void MGCP::openSocket() {
    // Without a socket start goes on, silently: the RSIP that follows then
    // fails or goes unanswered, and that is reported.
    if (!mSocket.open(mLocalPort)) return;
    mSession.mSocket = &mSocket;
    mSession.mLocalEndpoint = {0, mSocket.localPort()};
    mSession.mServerEndpoint.port = mServerPort;
}

bool MGCP::startThread(std::unique_ptr<platform::Thread>& thread, std::atomic<std::uint32_t>& id,
                       void (MGCP::*body)()) {
    std::unique_ptr<platform::Thread> created(new (std::nothrow) platform::Thread());
    if (!created || !created->createSuspended([this, body] { (this->*body)(); })) return false;
    // The id is stored before the thread runs, so its first look sees it.
    id = created->id();
    thread = std::move(created);
    thread->resume();
    return true;
}

int MGCP::failStart() {
    mLock.unlock();
    shutdown();
    return 1;
}

int MGCP::shutdown() {
    std::unique_ptr<platform::Thread> socketThread;
    std::unique_ptr<platform::Thread> retransmitThread;
    {
        platform::LockGuard lock(mLock);
        // A zero id tells each thread to end at its next look.
        mSocketThreadId = 0;
        mRetransmitThreadId = 0;
        mRetransmitWakeup.wake();
        mNoSocketWakeup.wake();
        if (mSocketThread && !mSocketThread->isCurrent()) socketThread = std::move(mSocketThread);
        if (mRetransmitThread && !mRetransmitThread->isCurrent()) retransmitThread = std::move(mRetransmitThread);
        // Wakes the blocked receive.
        mSocket.close();
        mSession.mSocket = nullptr;
    }
    // Joined outside mLock: the socket thread may be waiting for it inside
    // process, and must get through to see its id gone.
    if (socketThread) socketThread->join();
    if (retransmitThread) retransmitThread->join();
    {
        platform::LockGuard lock(mLock);
        platform::LockGuard buffer(mBufferLock);
        if (mBufferTable) {
            mBufferTable->clear();
            mBufferTable.reset();
        }
    }
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Module shutdown");
    return 0;
}

int MGCP::setLocalRtpPort(int port) {
    platform::LockGuard lock(mLock);
    return setLocalMediaLines(mSession, port) ? 0 : 1;
}

void MGCP::setToneSignal(bool on) {
    platform::LockGuard lock(mLock);
    mSession.mToneSignal = on;
}

bool MGCP::toneSignal() {
    platform::LockGuard lock(mLock);
    return mSession.mToneSignal;
}

int MGCP::bufferCount() {
    platform::LockGuard buffer(mBufferLock);
    return mBufferTable ? mBufferTable->count() : 0;
}
