#include "core/call_processor.h"

#include <cstring>
#include <new>

#include "core/call_state.h"
#include "core/mailbox.h"
#include "mgcp/mgcp.h"
#include "platform/clock.h"
#include "platform/debug_output.h"
#include "ptap/ptap.h"
#include "common/tracer.h"
#include "voice/wave.h"

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

CallProcessor* CallProcessor::instance() {
    return sInstance.load();
}

int CallProcessor::setParameters(const ParameterContainer* params) {
    if (params == nullptr) return 1;
    mNetworkInitData.reset();
    mNetworkInitData.reset(new (std::nothrow) NetworkInitData);
    if (!mNetworkInitData) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[CP :: CRITICAL ERROR] Object creation failed - PTAP data container");
        return 1;
    }
    std::memcpy(mNetworkInitData.get(), params, sizeof(NetworkInitData));
    return 0;
}

int CallProcessor::failStart(int level, const char* message, int result) {
    Tracer::instance()->trace(level, "%s", message);
    mLock.unlock();
    mSignalLock.unlock();
    shutdown();
    return result;
}

int CallProcessor::start() {
    Tracer* tracer = Tracer::instance();
    // The signal lock first, as on every other path (a server command takes
    // it before MGCP's lock and ours): commands wait until start-up is done.
    mSignalLock.lock();
    mLock.lock();
    tracer->trace(kTraceStatus, "[CP] Module starting");
    mStopping = false;

    if (!mPtapEvent) {
        mPtapEvent.reset(new (std::nothrow) platform::ManualResetEvent("EventPTAP_#ID00"));
        if (!mPtapEvent)
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] PTAP Synchronization object creation FAILED");
    }
    if (!mMgcpEvent) {
        mMgcpEvent.reset(new (std::nothrow) platform::ManualResetEvent("EventMGCP_#ID00"));
        if (!mMgcpEvent)
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] MGCP Synchronization object creation FAILED");
    }

    // The control link: START and its answer.
    if (mPtap == nullptr) {
        mPtap = new (std::nothrow) PTAP();
        if (mPtap == nullptr) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed - PTAP");
        if (mPtap->setNetworkInitData(mNetworkInitData.get()) != 0) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: PTAP initialization data invalid");
        }
        mPtap->setParent(this);
        mPtap->addListener(this);
        if (mPtap->start() != 0) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: PTAP");
        const CoreEvent started{kInputModuleStarted};
        if (stepCallState(&started) != 0) return failStart(kTraceError, "[CP :: ERROR] Startup state setup failed");
        const int startType = ptap::kTypeStart;
        if (mPtap->transmit(&startType, nullptr, nullptr) == 1) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: PTAP START delivery");
        }
        if (!mPtapEvent->wait(kAnswerWaitMs)) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation timeout: PTAP START");
        }
        const int result = mPtap->getResult();
        if (result == 0xC9) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] PTAP START - Registration failed/not possible",
                             0xC9);
        }
        if (result == 0xD2 || result == 0xD3) {
            return failStart(kTraceCritical,
                             "[CP :: CRITICAL ERROR] PTAP START - User-specified connection info INCORRECT!", result);
        }
        if (result != 0) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation failed: PTAP START");
    }

    // The signalling link: RSIP and its acknowledgment, then OP_BEGIN.
    if (mMgcp == nullptr) {
        mMgcp = new (std::nothrow) MGCP();
        if (mMgcp == nullptr) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed: MGCP");
        mMgcp->setParent(this);
        if (mMgcp->setNetworkInitData(mNetworkInitData.get()) != 0) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP initialization data invalid");
        }
        if (mMgcp->start() != 0) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP");
        mMgcp->setLocalRtpPort(kRtpPort);
        if (mMgcp->post(MgcpOperation::kRsip, nullptr) != 0) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP RSIP delivery");
        }
        tracer->trace(kTraceStatus, "[CP] Waiting for response: MGCP RSIP acknowledgment");
        // An answer first seen in the last pass still counts as too late.
        unsigned waited = 0;
        while (!mMgcp->isRsipAcknowledged() && waited <= kAnswerWaitMs) {
            waited += kRsipPollMs;
            platform::sleepMs(kRsipPollMs);
        }
        if (waited >= kAnswerWaitMs || !mMgcp->isRsipAcknowledged()) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation timeout: MGCP RSIP acknowledgement");
        }
        const int opBegin = ptap::kTypeOpBegin;
        if (mPtap->transmit(&opBegin, nullptr, nullptr) == 1) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: PTAP OP_BEGIN delivery");
        }
    }

    // Voice: the session runs from here with its gate shut.
    if (mWave == nullptr) {
        tracer->trace(kTraceStatus, "[CP :: STATUS] Initializing wave");
        mWave = new (std::nothrow) Wave();
        if (mWave == nullptr || mWave->start() != 0) {
            return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed: Wave");
        }
        mWave->setLocalPort(kRtpPort);
        mWave->setRemoteAddress(mNetworkInitData->mServerAddress);
        mWave->setRemotePort(kRtpPort);
        mWave->startSession();  // without a session voice is silent, not the start a failure
        mWave->setVoiceActive(false);
        tracer->trace(kTraceStatus, "[CP :: STATUS] Wave initialization completed");
    }

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
    tracer->trace(kTraceStatus, "[CP :: STATUS] CP initialization completed.");
    mLock.unlock();
    mSignalLock.unlock();
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

template <typename Engine>
static void takeDown(Engine*& engine) {
    if (engine == nullptr) return;
    engine->shutdown();
    delete engine;
    engine = nullptr;
}

int CallProcessor::shutdown() {
    mStopping = true;
    stopMailboxThread();
    // The reverse of creation: the control link came first and goes last.
    // Each engine joins its own threads in its shutdown, outside our locks.
    takeDown(mMailbox);
    takeDown(mWave);
    takeDown(mMgcp);
    takeDown(mPtap);
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
    if (mPtap == nullptr) return 1;
    return mPtap->getPtapParameters(out);
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
        case 3: {
            const NetworkInitData* init = mNetworkInitData.get();
            if (init == nullptr || init->mCallbacks.onClientEvent == nullptr || mPtap == nullptr) break;
            char block[1024] = {};
            block[0] = static_cast<char>(mPtap->getPtapParameter(0x10000) & 0xFF);
            init->mCallbacks.onClientEvent(toInt(ClientEvent::kCardValue), 1, block);
            break;
        }
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
