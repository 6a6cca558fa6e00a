// A small PBX on loopback: it accepts one terminal on PTAP and MGCP, gives
// dial tone when the handset goes up, echoes the digits on the display,
// rings back, and connects to an echo or test-tone party. It runs on its own
// thread and reports what happens through a log function.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <memory>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "platform/thread.h"
#include "sim/call_agent.h"
#include "sim/mgcp_server.h"
#include "sim/pbxsim/media_party.h"
#include "sim/ptap_server.h"

namespace sim {

struct PbxOptions {
    PartyKind party = PartyKind::Echo;
    LinkImpairment impairment;
    int payloadType = 0;      // 0 PCMU or 8 PCMA
    int interDigitMs = 2000;  // the number is complete after this pause, or at '#'
    int ringbackMs = 1000;    // how long the far end rings before it answers
    std::uint16_t partyPort = 5004;
    bool recordSendTimes = false;  // the party's send time of each packet, in the counts
    int keepaliveSeconds = 30;     // the time-out given to the terminal; requests go at a third of it
};

struct PbxCounts {
    bool registered = false;
    std::string endpoint;
    int calls = 0;  // calls that reached the connected state
    PartyCounts rtp;
};

class Pbx {
public:
    using Log = std::function<void(const std::string&)>;

    Pbx(PbxOptions options, Log log);
    ~Pbx();
    Pbx(const Pbx&) = delete;
    Pbx& operator=(const Pbx&) = delete;

    // Opens the ports (9300, 2727, the party's) and starts the thread.
    bool start();
    void stop();

    // Requests for the PBX's thread, as an operator gives them.
    void ringTerminal(const std::string& caller);
    void endCall();

    PbxCounts counts() const;
    bool connected() const { return mState.load() == State::Connected; }

private:
    enum class State { Unregistered, Idle, Dialling, Ringback, Ringing, Connected };
    enum class Request { None, Ring, End };

    void run();
    void onDatagram(const Datagram& datagram);
    void onObserved(const std::string& event);
    void onTick();
    void offHook();
    void digit(char d);
    void placeCall();
    void farEndAnswers();
    void release(bool byServer);
    bool send(const std::string& signals);
    void log(const std::string& text) const;

    PbxOptions mOptions;
    Log mLog;
    PtapServer mPtap;
    MgcpServer mMgcp;
    MediaParty mParty;
    std::unique_ptr<CallAgent> mAgent;
    platform::Thread mThread;
    std::atomic<bool> mStopping{false};
    std::atomic<State> mState{State::Unregistered};

    // Owned by the PBX's thread.
    std::size_t mSeen = 0;
    std::uint32_t mTerminalAddress = 0;
    std::string mEndpoint;
    std::string mDigits;
    std::uint64_t mLastDigitMs = 0;
    std::uint64_t mAnswerAtMs = 0;
    bool mHasConnection = false;
    int mCalls = 0;

    mutable std::mutex mMutex;
    Request mRequest = Request::None;
    std::string mCaller;
};

}  // namespace sim
