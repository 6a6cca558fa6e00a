#include "core/call_processor.h"

#include <cstring>
#include <new>

#include "core/call_state.h"
#include "core/mailbox.h"
#include "platform/clock.h"
#include "platform/debug_output.h"
#include "support/tracer.h"

namespace {
std::atomic<CallProcessor*> sInstance{nullptr};
}

CallProcessor::CallProcessor() {
    Tracer::instance()->trace(kTraceStatus, "[CP] Module created");
    sInstance.store(this);
}

CallProcessor::~CallProcessor() {
    shutdown();
    platform::sleepMs(10);
    mNetworkInitData.reset();
    CallProcessor* self = this;
    sInstance.compare_exchange_strong(self, nullptr);
    Tracer::instance()->trace(kTraceStatus, "[CP] Module Destroyed ");
}

CallProcessor* CallProcessor::instance() { return sInstance.load(); }

int CallProcessor::setParameters(const ParameterContainer* params) {
    if (params == nullptr) return 1;
    mNetworkInitData.reset();
    mNetworkInitData.reset(new (std::nothrow) NetworkInitData);
    if (!mNetworkInitData) {
        Tracer::instance()->trace(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed - PTAP data container");
        return 1;
    }
    std::memcpy(mNetworkInitData.get(), params, sizeof(NetworkInitData));
    return 0;
}

int CallProcessor::failStart(int level, const char* message, int result) {
    Tracer::instance()->trace(level, "%s", message);
    mLock.unlock();
    shutdown();
    return result;
}

int CallProcessor::start() {
    mLock.lock();
    Tracer::instance()->trace(kTraceStatus, "[CP] Module starting");
    mStopping = false;

    if (!mPtapEvent) {
        mPtapEvent.reset(new (std::nothrow) platform::ManualResetEvent("EventPTAP_#ID00"));
        if (!mPtapEvent) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] PTAP Synchronization object creation FAILED");
    }
    if (!mMgcpEvent) {
        mMgcpEvent.reset(new (std::nothrow) platform::ManualResetEvent("EventMGCP_#ID00"));
        if (!mMgcpEvent) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] MGCP Synchronization object creation FAILED");
    }

    // The control link comes first. This build has no PTAP engine yet, so
    // start-up ends at the step that creates it.
    if (mPtap == nullptr) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed - PTAP");

    if (mMailbox == nullptr) {
        mMailbox = new (std::nothrow) Mailbox();
        if (mMailbox == nullptr || mMailbox->start() != 0) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed: Mailbox");
        }
    }
    if (!mMailboxThread) {
        auto thread = std::make_unique<platform::Thread>();
        if (!thread->createSuspended([this] { pollMailbox(); })) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Thread creation failed: Mailbox polling");
        }
        mMailboxThreadId = thread->id();
        mMailboxThread = std::move(thread);
        mMailboxThread->resume();
    }
    Tracer::instance()->trace(kTraceStatus, "[CP :: STATUS] CP initialization completed.");
    mLock.unlock();
    return 0;
}

void CallProcessor::stopMailboxThread() {
    if (!mMailboxThread) return;
    // Zeroing the id ends the thread at its next test; it is joined before
    // the Mailbox and the engines it reaches go away.
    mMailboxThreadId = 0;
    mMailboxThread->join();
    mMailboxThread.reset();
    Tracer::instance()->trace(kTraceStatus, "[CP] Module shutdown");
}

int CallProcessor::shutdown() {
    mStopping = true;
    stopMailboxThread();
    if (mMailbox != nullptr) {
        mMailbox->shutdown();
        delete mMailbox;
        mMailbox = nullptr;
    }
    mCallState = kCallStopped;
    mMgcpEvent.reset();
    mPtapEvent.reset();
    return 0;
}

int CallProcessor::getWave(Wave** out) {
    if (out == nullptr || mWave == nullptr) {
        Tracer::instance()->trace(kTraceError, "[CP :: ERROR] Pointer registration failed: Wave (invalid)");
        return 1;
    }
    *out = mWave;
    Tracer::instance()->trace(kTraceStatus, "[CP] Pointer registration completed: Wave");
    return 0;
}

int CallProcessor::getPtapParameters(PtapParameters** out) {
    (void)out;
    return 1;  // no PTAP engine, so no record to give
}

void CallProcessor::lockSignal(const bool* on) {
    if (on == nullptr) return;
    if (*on) {
        mSignalLock.lock();
    } else {
        mSignalLock.unlock();
    }
}

void CallProcessor::onPtapStatus(const int* code) {
    if (code == nullptr) return;
    switch (*code) {
        case 1:
        case 2:
            platform::debugOutput("WOOO CONNECTED LIAO!!!!!!!!!!\n");
            if (mPtapEvent) mPtapEvent->set();
            break;
        case 4:
            platform::debugOutput("CANNOT REGISTER!!!!!!!!!!\n");
            if (mPtapEvent) mPtapEvent->set();
            break;
        case 6:
            platform::debugOutput("INCORRECT CARD!!!!!!!!!!\n");
            if (mPtapEvent) mPtapEvent->set();
            break;
        default:
            break;
    }
}

void CallProcessor::pollMailbox() {
    const std::uint32_t myId = mMailboxThreadId.load();
    if (instance() == nullptr || myId == 0) {
        Tracer::instance()->trace(kTraceStatus, "[CP :: Thread] Thread terminated - Mailbox polling");
        return;
    }
    Tracer::instance()->trace(kTraceDetail, "[CP :: Thread] Thread started - ID [%04d]", static_cast<int>(myId));
    // Room for a terminator behind the 200 bytes, so a full item still
    // reads as text.
    char data[Mailbox::kMaxData + 1] = {};
    while (instance() != nullptr && mMailboxThreadId.load() == myId) {
        CoreEvent command;
        int length = 0;
        if (mMailbox != nullptr && mMailbox->read(&command, data, &length) == 0) {
            processMailboxItem(&command, data);
            std::memset(data, 0, sizeof data);
        }
        platform::sleepMs(kMailboxPollMs);
    }
    Tracer::instance()->trace(kTraceDetail, "[CP :: Thread] Thread terminated - ID [%04d]", static_cast<int>(myId));
}
