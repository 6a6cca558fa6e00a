// The spine of the terminal: owns the engines, brings them up in the order
// that is also the registration protocol, and routes every event.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/core_event.h"
#include "common/module.h"
#include "common/network_init_data.h"
#include "core/client_event.h"
#include "mgcp/mgcp.h"
#include "mgcp/mgcp_parent.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"
#include "ptap/ptap.h"
#include "ptap/ptap_listener.h"
#include "voice/rtp_port.h"

class Mailbox;
class Wave;
struct MediaSession;

// Where the engines listen and whose time they keep. The defaults are the
// terminal's fixed ports and real time; tests hand in free ports.
struct EngineSetup {
    const platform::Clock* clock = &platform::systemClock();
    std::uint16_t ptapLocalPort = PTAP::kLocalPort;
    std::uint16_t ptapServerPort = PTAP::kServerPort;
    std::uint16_t mgcpLocalPort = MGCP::kLocalPort;
    std::uint16_t mgcpServerPort = MGCP::kServerPort;
    // The local and first remote RTP port.
    std::uint16_t rtpPort = kRtpPort;
};

class CallProcessor : public Module, public PtapListener, public PtapParent, public MgcpParent {
public:
    // How long start-up waits for each link's answer.
    static constexpr unsigned kAnswerWaitMs = 19000;
    static constexpr unsigned kMailboxPollMs = 50;
    // Bound on a quiet wait; a write or a stop ends it sooner.
    static constexpr unsigned kMailboxIdleWaitMs = 60000;
    static constexpr unsigned kRsipPollMs = 100;

    explicit CallProcessor(const EngineSetup& setup = EngineSetup{});
    ~CallProcessor() override;

    // The one object, for the Mailbox thread; null when none exists.
    static CallProcessor* instance();

    // 1 for a null container or no memory; else 0.
    int setParameters(const ParameterContainer* params);
    int start() override;
    int shutdown() override;
    // Ends a start that waits for the server's answers, from another thread:
    // the wait stops within one poll and start gives 1. Cleared by start.
    void cancelStart() { mStartCancelled.store(true); }

    int getWave(Wave** out);
    int getPtapParameters(PtapParameters** out);

    // MgcpParent
    void lockSignal(const bool* on) override;
    int onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) override;
    // PtapListener, PtapParent
    void onPtapStatus(const int* code) override;
    int onPtapEvent(const CoreEvent* event, const char* data) override;

    // Writes one Mailbox item; 1 (with a trace) when refused.
    int postMailbox(const CoreEvent* command, const void* data, const int* length);
    // The polling thread's handler of one item.
    int processMailboxItem(const CoreEvent* command, const char* data);
    // 0 accepted, 1 refused; a refused input leaves the state alone.
    int stepCallState(const CoreEvent* input);
    int notifyClient(const CoreEvent* event, const char* data);
    // Pushes what the server said about the media into Wave (CRCX, MDCX,
    // DLCX) or walks one signal block (RQNT).
    int dispatchMgcp(const CoreEvent* event, const char* data);

    std::int32_t callState() const { return mCallState.load(); }
    bool isStopping() const { return mStopping.load(); }
    const NetworkInitData* networkInitData() const { return mNetworkInitData.get(); }

private:
    int notifyClient(ClientEvent event, const char* data);
    int failStart(int level, const char* message, int result = 1);
    // The stages of start, in their order.
    int createEvents();
    int startPtap();
    int startMgcp();
    int startWave();
    int startMailbox();
    bool waitForPtapAnswer();
    void pollMailbox();
    void stopMailboxThread();
    void applyMediaSession(const char* data);
    MediaSession* mediaSession() const;
    void walkSignalBlock(const char* block);

    const EngineSetup mSetup;
    platform::RecursiveLock mLock;
    std::unique_ptr<platform::Thread> mMailboxThread;
    std::atomic<std::uint32_t> mMailboxThreadId{0};
    platform::ManualResetEvent mMailboxStop;
    std::atomic<std::int32_t> mCallState{0};
    platform::RecursiveLock mSignalLock;
    MGCP* mMgcp = nullptr;
    PTAP* mPtap = nullptr;
    Mailbox* mMailbox = nullptr;
    Wave* mWave = nullptr;
    std::unique_ptr<NetworkInitData> mNetworkInitData;
    std::unique_ptr<platform::ManualResetEvent> mPtapEvent;
    std::unique_ptr<platform::ManualResetEvent> mMgcpEvent;
    std::atomic<bool> mStopping{false};
    std::atomic<bool> mStartCancelled{false};
};
