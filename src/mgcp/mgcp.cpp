// MGCP's life: creation, start-up, shutdown and the small setters.
#include "mgcp/mgcp.h"

#include <cstdio>
#include <new>

#include "mgcp/local_description.h"
#include "mgcp/retransmit_buffer.h"
#include "common/tracer.h"

namespace {

std::atomic<MGCP*> gMgcpInstance{nullptr};

// Lets the new threads come up before the first message is sent.
constexpr unsigned kStartSettleMs = 500;

void makeEndpointName(MediaSession& session, const std::uint8_t (&mac)[6]) {
    std::snprintf(session.mEndpointName, sizeof session.mEndpointName, "d1@%02x%02x%02x%02x%02x%02x", mac[0], mac[1],
                  mac[2], mac[3], mac[4], mac[5]);
}

}  // namespace

MGCP::MGCP(const platform::Clock& clock) : mClock(clock) {
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
    {
        platform::LockGuard buffer(mBufferLock);
        if (!mBufferTable) mBufferTable.reset(new (std::nothrow) MgcpBufferTable());
        if (!mBufferTable) {
            Tracer::instance()->trace(kTraceCritical,
                                      "[MGCP :: CRITICAL ERROR] Object creation failed - MGCP buffer table");
        }
    }
    mRsipAcknowledged = false;
    mRsipTid = 0;
    Tracer::instance()->trace(kTraceStatus, "[MGCP] Module starting");
    if (mParent == nullptr) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MGCP :: CRITICAL ERROR] Startup failed - CallProcessor not registered");
        mLock.unlock();
        shutdown();
        return 1;
    }

    mSocketThreadId = 0;
    mRetransmitThreadId = 0;
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
    setLocalAddressLines(mSession, mSession.mLocalAddress);
    mSession.mNextTid = 1;
    mSession.mLastTid = 1;
    mSession.mRequestId = 1;
    mSession.mToneSignal = false;

    // Without a socket start goes on: the RSIP then simply goes unanswered.
    if (mSocket.open(kLocalPort)) {
        mSession.mSocket = &mSocket;
        mSession.mLocalEndpoint = {0, kLocalPort};
        mSession.mServerEndpoint.port = kServerPort;
    } else {
        Tracer::instance()->trace(kTraceWarning, "[MGCP :: Warning] Socket unavailable - port %d", kLocalPort);
    }

    std::unique_ptr<platform::Thread> socketThread(new (std::nothrow) platform::Thread());
    if (!socketThread || !socketThread->createSuspended([this] { pollSocket(); })) {
        mLock.unlock();
        shutdown();
        return 1;
    }
    mSocketThreadId = socketThread->id();
    mSocketThread = std::move(socketThread);
    mSocketThread->resume();

    std::unique_ptr<platform::Thread> retransmitThread(new (std::nothrow) platform::Thread());
    if (!retransmitThread || !retransmitThread->createSuspended([this] { retransmit(); })) {
        mLock.unlock();
        shutdown();
        return 1;
    }
    mRetransmitThreadId = retransmitThread->id();
    mRetransmitThread = std::move(retransmitThread);
    mRetransmitThread->resume();

    platform::sleepMs(kStartSettleMs);
    mLock.unlock();
    return 0;
}

int MGCP::shutdown() {
    std::unique_ptr<platform::Thread> socketThread;
    std::unique_ptr<platform::Thread> retransmitThread;
    {
        platform::LockGuard lock(mLock);
        // A zero id tells each thread to end at its next look.
        mSocketThreadId = 0;
        mRetransmitThreadId = 0;
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
