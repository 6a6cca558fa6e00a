#include "core/call_processor.h"

#include <algorithm>
#include <cstring>
#include <new>
#include <utility>

#include "common/tracer.h"
#include "core/call_state.h"
#include "core/mailbox.h"
#include "mgcp/mgcp.h"
#include "platform/clock.h"
#include "platform/debug_output.h"
#include "ptap/ptap.h"
#include "voice/wave.h"

namespace {
std::atomic<CallProcessor*> sInstance{nullptr};
}

CallProcessor::CallProcessor(const EngineSetup& setup) : mSetup(setup) {
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
    // The signal lock first, as on every other path (a server command takes
    // it before MGCP's lock and ours): commands wait until start-up is done.
    mSignalLock.lock();
    mLock.lock();
    Tracer::instance()->trace(kTraceStatus, "[CP] Module starting");
    mStopping = false;
    mStartCancelled = false;
    // Each stage gives 0, or the start's result after failStart has
    // released the locks and shut down what was made.
    for (int (CallProcessor::*stage)() :
         {&CallProcessor::createEvents, &CallProcessor::startPtap, &CallProcessor::startMgcp, &CallProcessor::startWave,
          &CallProcessor::startMailbox}) {
        const int result = (this->*stage)();
        if (result != 0) return result;
    }
    Tracer::instance()->trace(kTraceStatus, "[CP :: STATUS] CP initialization completed.");
    mLock.unlock();
    mSignalLock.unlock();
    return 0;
}

int CallProcessor::createEvents() {
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
    return 0;
}

// The control link: START and its answer.
int CallProcessor::startPtap() {
    if (mPtap != nullptr) return 0;
    mPtap = new (std::nothrow) PTAP(*mSetup.clock, mSetup.ptapLocalPort, mSetup.ptapServerPort);
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
    if (!waitForPtapAnswer()) {
        if (mStartCancelled.load()) return failStart(kTraceError, "[CP :: ERROR] Startup cancelled: uninitialize");
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation timeout: PTAP START");
    }
    const int result = mPtap->getResult();
    if (result == ptap::kResultRefused) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] PTAP START - Registration failed/not possible",
                         result);
    }
    if (result == ptap::kResultWrongConnectionData || result == ptap::kResultIncorrectCard) {
        return failStart(kTraceCritical,
                         "[CP :: CRITICAL ERROR] PTAP START - User-specified connection info INCORRECT!", result);
    }
    if (result != ptap::kResultAccepted) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation failed: PTAP START");
    }
    return 0;
}

// The answer to START, waited for in slices so that a cancel ends the wait.
bool CallProcessor::waitForPtapAnswer() {
    for (unsigned waited = 0; waited < kAnswerWaitMs; waited += kRsipPollMs) {
        if (mStartCancelled.load()) return false;
        if (mPtapEvent->wait(std::min(kRsipPollMs, kAnswerWaitMs - waited))) return true;
    }
    return false;
}

// The signalling link: RSIP and its acknowledgment, then OP_BEGIN.
int CallProcessor::startMgcp() {
    if (mMgcp != nullptr) return 0;
    mMgcp = new (std::nothrow) MGCP(*mSetup.clock, mSetup.mgcpLocalPort, mSetup.mgcpServerPort);
    if (mMgcp == nullptr) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed: MGCP");
    mMgcp->setParent(this);
    if (mMgcp->setNetworkInitData(mNetworkInitData.get()) != 0) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP initialization data invalid");
    }
    if (mMgcp->start() != 0) return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP");
    mMgcp->setLocalRtpPort(mSetup.rtpPort);
    if (mMgcp->post(MgcpOperation::kRsip, nullptr) != 0) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: MGCP RSIP delivery");
    }
    Tracer::instance()->trace(kTraceStatus, "[CP] Waiting for response: MGCP RSIP acknowledgment");
    // An answer first seen in the last pass still counts as too late.
    unsigned waited = 0;
    while (!mMgcp->isRsipAcknowledged() && waited <= kAnswerWaitMs && !mStartCancelled.load()) {
        waited += kRsipPollMs;
        mSetup.clock->sleepMs(kRsipPollMs);
    }
    if (mStartCancelled.load()) return failStart(kTraceError, "[CP :: ERROR] Startup cancelled: uninitialize");
    if (waited >= kAnswerWaitMs || !mMgcp->isRsipAcknowledged()) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Operation timeout: MGCP RSIP acknowledgement");
    }
    const int opBegin = ptap::kTypeOpBegin;
    if (mPtap->transmit(&opBegin, nullptr, nullptr) == 1) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Startup failed: PTAP OP_BEGIN delivery");
    }
    return 0;
}

// Voice: the session runs from here with its gate shut.
int CallProcessor::startWave() {
    if (mWave != nullptr) return 0;
    Tracer::instance()->trace(kTraceStatus, "[CP :: STATUS] Initializing wave");
    mWave = new (std::nothrow) Wave(mSetup.rtpPort, *mSetup.clock);
    if (mWave == nullptr || mWave->start() != 0) {
        return failStart(kTraceCritical, "[CP :: CRITICAL ERROR] Object creation failed: Wave");
    }
    mWave->setLocalPort(mSetup.rtpPort);
    mWave->setRemoteAddress(mNetworkInitData->mServerAddress);
    mWave->setRemotePort(mSetup.rtpPort);
    mWave->startSession();  // without a session voice is silent, not the start a failure
    mWave->setVoiceActive(false);
    Tracer::instance()->trace(kTraceStatus, "[CP :: STATUS] Wave initialization completed");
    return 0;
}

int CallProcessor::startMailbox() {
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
        mMailboxStop.reset();
        mMailboxThreadId = thread->id();
        mMailboxThread = std::move(thread);
        mMailboxThread->resume();
    }
    return 0;
}

void CallProcessor::stopMailboxThread() {
    if (!mMailboxThread) return;
    // Zeroing the id ends the thread at its next test; it is joined before
    // the Mailbox and the engines it reaches go away.
    mMailboxThreadId = 0;
    mMailboxStop.set();
    if (mMailbox != nullptr) mMailbox->wake();
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
    // A server command already inside onMgcpEvent holds both locks: taking
    // them waits for it to finish. Once the engines are detached here, a
    // later command finds mStopping under the locks and touches nothing.
    Mailbox* mailbox = nullptr;
    Wave* wave = nullptr;
    MGCP* mgcp = nullptr;
    PTAP* ptap = nullptr;
    {
        platform::LockGuard signal(mSignalLock);
        platform::LockGuard module(mLock);
        mailbox = std::exchange(mMailbox, nullptr);
        wave = std::exchange(mWave, nullptr);
        mgcp = std::exchange(mMgcp, nullptr);
        ptap = std::exchange(mPtap, nullptr);
    }
    // The reverse of creation: the control link came first and goes last.
    // Each engine joins its own threads in its shutdown, outside our locks,
    // since MGCP's socket thread may be waiting for them.
    takeDown(mailbox);
    takeDown(wave);
    takeDown(mgcp);
    takeDown(ptap);
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
        case ptap::kStatusStartAccepted:
        case ptap::kStatusOpBeginAnswered:
            platform::debugOutput("WOOO CONNECTED LIAO!!!!!!!!!!\n");
            if (mPtapEvent) mPtapEvent->set();
            break;
        case ptap::kStatusCardValue: {
            const NetworkInitData* init = mNetworkInitData.get();
            if (init == nullptr || init->mCallbacks.onClientEvent == nullptr || mPtap == nullptr) break;
            char block[1024] = {};
            block[0] = static_cast<char>(mPtap->getPtapParameter(0x10000) & 0xFF);
            init->mCallbacks.onClientEvent(toInt(ClientEvent::kCardValue), 1, block);
            break;
        }
        case ptap::kStatusCannotRegister:
            platform::debugOutput("CANNOT REGISTER!!!!!!!!!!\n");
            if (mPtapEvent) mPtapEvent->set();
            break;
        case ptap::kStatusIncorrectCard:
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
            const std::uint64_t began = mSetup.clock->monotonicMs();
            processMailboxItem(&command, data);
            std::memset(data, 0, sizeof data);
            // One item each 50 ms, counted from the item's start: the digits
            // of a dialled number keep their pace however long sending one
            // took on a busy machine. Only a stop cuts the pause short.
            const std::uint64_t spent = mSetup.clock->monotonicMs() - began;
            if (spent < kMailboxPollMs) mMailboxStop.wait(kMailboxPollMs - static_cast<unsigned>(spent));
        } else if (mMailbox != nullptr) {
            // Quiet: sleep until the next write, so that a key after a
            // pause leaves at once.
            mMailbox->waitForItem(kMailboxIdleWaitMs);
        } else {
            mMailboxStop.wait(kMailboxPollMs);
        }
    }
    Tracer::instance()->trace(kTraceDetail, "[CP :: Thread] Thread terminated - ID [%04d]", static_cast<int>(myId));
}
