#include "sim/pbxsim/pbx.h"

#include <cstdio>

#include "platform/clock.h"

namespace sim {

namespace {

constexpr std::uint16_t kTerminalRtpPort = 8000;
constexpr int kTickMs = 10;
// Progress tones by the tone player's service codes; 0 stops the tone.
constexpr int kDialTone = 0x90;
constexpr int kRingbackTone = 0x92;

std::string toneSignal(int code) {
    char text[32];
    std::snprintf(text, sizeof text, "X-P/tone(%02X 1 0 0  00)", code & 0xFF);
    return text;
}

std::string displaySignal(const std::string& text, int row) {
    return "X-P/lcdp(" + CallAgent::displayRecord(text, 0, row) + ")";
}

}  // namespace

Pbx::Pbx(PbxOptions options, Log log)
    : mOptions(std::move(options)), mLog(std::move(log)), mParty(mOptions.party, mOptions.impairment) {}

Pbx::~Pbx() {
    stop();
}

bool Pbx::start() {
    mPtap.setParameterItems(PtapServer::defaultParameterItems(static_cast<std::uint8_t>(mOptions.keepaliveSeconds)));
    mParty.recordSendTimes(mOptions.recordSendTimes);
    if (!mPtap.start() || !mMgcp.start() || !mParty.start(mOptions.partyPort)) {
        log("cannot open the server's ports (PTAP 9300, MGCP 2727, RTP " + std::to_string(mOptions.partyPort) +
            ") on loopback");
        stop();
        return false;
    }
    mPtap.startKeepalives(mOptions.keepaliveSeconds * 1000 / 3);
    // A terminal left registered from an earlier run of this server would
    // wait for its keepalive time-out to notice the restart: tell it now,
    // and it registers anew.
    mPtap.sendCompulsionRestart();
    mStopping = false;
    if (!mThread.createSuspended([this] { run(); })) {
        stop();
        return false;
    }
    mThread.resume();
    log("call server listening on 127.0.0.1: PTAP 9300, MGCP 2727, party RTP " + std::to_string(mParty.port()));
    return true;
}

void Pbx::stop() {
    mStopping = true;
    mThread.join();
    mParty.stop();
    mMgcp.stop();
    mPtap.stop();
}

void Pbx::ringTerminal(const std::string& caller) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRequest = Request::Ring;
    mCaller = caller;
}

void Pbx::endCall() {
    std::lock_guard<std::mutex> lock(mMutex);
    mRequest = Request::End;
}

PbxCounts Pbx::counts() const {
    PbxCounts c;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        c.endpoint = mEndpoint;
        c.calls = mCalls;
    }
    c.registered = mState.load() != State::Unregistered;
    c.rtp = mParty.counts();
    return c;
}

void Pbx::log(const std::string& text) const {
    if (mLog) mLog(text);
}

bool Pbx::send(const std::string& signals) {
    return mAgent && mAgent->signal(signals);
}

void Pbx::run() {
    while (!mStopping) {
        const std::vector<Datagram> received = mMgcp.received();
        for (; mSeen < received.size(); ++mSeen) onDatagram(received[mSeen]);
        onTick();
        platform::sleepMs(kTickMs);
    }
}

void Pbx::onDatagram(const Datagram& datagram) {
    const std::string_view text = datagram.text();
    const std::string_view verb = mgcpVerb(text);
    if (verb == "RSIP") {
        // "RSIP <tid> <endpoint> MGCP 1.0": the terminal (re)starts.
        const std::vector<std::string> lines = mgcpLines(text);
        const std::string& first = lines.empty() ? std::string() : lines.front();
        const std::size_t a = first.find(' ', first.find(' ') + 1);
        const std::size_t b = a == std::string::npos ? a : first.find(' ', a + 1);
        const std::string endpoint = b == std::string::npos ? "" : first.substr(a + 1, b - a - 1);
        mParty.disconnect();
        mAgent = std::make_unique<CallAgent>(mMgcp, endpoint);
        mTerminalAddress = datagram.fromAddress;
        mHasConnection = false;
        mState = State::Idle;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mEndpoint = endpoint;
        }
        log("terminal " + endpoint + " registered (RSIP)");
        return;
    }
    if (verb != "NTFY") return;
    for (const std::string& line : mgcpLines(text))
        if (line.rfind("O: X-P/", 0) == 0) onObserved(line.substr(7));
}

void Pbx::onObserved(const std::string& event) {
    const State state = mState.load();
    const bool lineKey = event.rfind("line(", 0) == 0;
    if (event == "fk0200" || lineKey) {
        if (state == State::Idle) offHook();
        if (state == State::Ringing) {
            log("terminal answers");
            send("X-P/ring(000000)," + displaySignal("Connected", 0) + ",X-P/ks(0C00,gon)");
            MediaOffer offer;
            offer.payloadType = mOptions.payloadType;
            offer.rtpPort = mParty.port();
            // The party is ready before the connection lets the terminal send.
            mParty.connect(mTerminalAddress, kTerminalRtpPort, mOptions.payloadType);
            mHasConnection = mAgent && mAgent->createConnection(offer);
            mState = State::Connected;
            std::lock_guard<std::mutex> lock(mMutex);
            ++mCalls;
        }
        return;
    }
    if (event == "fk0100") {
        if (state != State::Idle && state != State::Unregistered && state != State::Ringing) release(false);
        return;
    }
    const char d = CallAgent::digitOf(event);
    if (d != 0 && state == State::Dialling) digit(d);
}

void Pbx::onTick() {
    Request request;
    std::string caller;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        request = mRequest;
        caller = mCaller;
        mRequest = Request::None;
    }
    const State state = mState.load();
    const std::uint64_t now = platform::monotonicMs();
    if (request == Request::Ring && state == State::Idle) {
        log("ringing the terminal: " + caller);
        send("X-P/ring(000100)," + displaySignal(caller, 0) + ",X-P/ks(0C00,r3i)");
        mState = State::Ringing;
    } else if (request == Request::End && state != State::Idle && state != State::Unregistered) {
        release(true);
    }
    if (state == State::Dialling && !mDigits.empty() && now >= mLastDigitMs + mOptions.interDigitMs) placeCall();
    if (state == State::Ringback && now >= mAnswerAtMs) farEndAnswers();
}

void Pbx::offHook() {
    log("off hook: dial tone");
    mDigits.clear();
    // The terminal reads one display record from a command, so the clear
    // and the text go in two.
    send("X-P/lcdp(300100000000)," + toneSignal(kDialTone) + ",X-P/ks(0C00,gon)");
    send(displaySignal("Dial a number", 0));
    mState = State::Dialling;
}

void Pbx::digit(char d) {
    if (d == '#') {
        if (!mDigits.empty()) placeCall();
        return;
    }
    if (mDigits.empty()) send(toneSignal(0));
    mDigits += d;
    mLastDigitMs = platform::monotonicMs();
    log("digit " + std::string(1, d) + ": " + mDigits);
    send(displaySignal(mDigits, 1));
}

void Pbx::placeCall() {
    log("calling " + mDigits + ": ringback");
    MediaOffer offer;
    offer.payloadType = mOptions.payloadType;
    offer.rtpPort = mParty.port();
    offer.mode = "recvonly";
    send(displaySignal("Calling " + mDigits, 0) + "," + toneSignal(kRingbackTone));
    mHasConnection = mAgent && mAgent->createConnection(offer);
    mAnswerAtMs = platform::monotonicMs() + static_cast<std::uint64_t>(mOptions.ringbackMs);
    mState = State::Ringback;
}

void Pbx::farEndAnswers() {
    log(std::string(mOptions.party == PartyKind::Echo ? "echo" : "test-tone") + " party answers " + mDigits);
    MediaOffer offer;
    offer.payloadType = mOptions.payloadType;
    offer.rtpPort = mParty.port();
    offer.mode = "sendrecv";
    send(toneSignal(0) + "," + displaySignal("Connected " + mDigits, 0) + ",X-P/ks(0C00,gon)");
    mParty.connect(mTerminalAddress, kTerminalRtpPort, mOptions.payloadType);
    if (mAgent) mAgent->modifyConnection(offer);
    mState = State::Connected;
    std::lock_guard<std::mutex> lock(mMutex);
    ++mCalls;
}

void Pbx::release(bool byServer) {
    log(byServer ? "the server ends the call" : "on hook: call released");
    mParty.disconnect();
    if (mHasConnection && mAgent) mAgent->deleteConnection();
    mParty.expectTerminalMedia(false);
    mHasConnection = false;
    send(toneSignal(0) + ",X-P/ring(000000),X-P/lcdp(300100000000),X-P/ks(0C00,off)");
    mState = State::Idle;
}

}  // namespace sim
