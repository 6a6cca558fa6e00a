#include "sim/pbxsim/media_party.h"

#include <cmath>

#include "platform/clock.h"
#include "sim/reference_codec.h"
#include "sim/udp_peer.h"

namespace sim {

namespace {

constexpr std::uint32_t kSsrc = 0x0EC40EC4;
constexpr std::size_t kRtpHeaderBytes = 12;
constexpr std::uint64_t kFrameUs = 20000;
constexpr double kToneHz = 1000.0;
constexpr double kToneLevel = 6000.0;
constexpr double kPi = 3.14159265358979323846;

std::uint64_t nowUs() {
    return platform::monotonicTicks() / (platform::ticksPerSecond() / 1000000u);
}

}  // namespace

MediaParty::MediaParty(PartyKind kind, const LinkImpairment& impairment) : mKind(kind), mLink(impairment) {}

MediaParty::~MediaParty() {
    stop();
}

bool MediaParty::start(std::uint16_t port) {
    if (!mSocket.open(port, kLoopbackAddress)) return false;
    mStopping = false;
    if (!mReceiver.createSuspended([this] { receiveLoop(); }) || !mSender.createSuspended([this] { sendLoop(); })) {
        stop();
        return false;
    }
    mReceiver.resume();
    mSender.resume();
    return true;
}

void MediaParty::stop() {
    mStopping = true;
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mWake.notify_all();
    }
    mSocket.close();  // wakes the blocked receive
    mReceiver.join();
    mSender.join();
}

void MediaParty::connect(std::uint32_t address, std::uint16_t port, int payloadType) {
    std::lock_guard<std::mutex> lock(mMutex);
    mAddress = address;
    mPort = port;
    mPayloadType = payloadType;
    mConnected = true;
    mExpecting = true;
    mNextToneUs = nowUs();
    mWake.notify_all();
}

void MediaParty::disconnect() {
    std::lock_guard<std::mutex> lock(mMutex);
    mConnected = false;
    mQueue = {};
}

void MediaParty::expectTerminalMedia(bool on) {
    std::lock_guard<std::mutex> lock(mMutex);
    mExpecting = on;
    // A frame the terminal sent just as the connection went may still be on
    // its way.
    if (!on) mStrayFromUs = nowUs() + 2 * kFrameUs;
}

void MediaParty::recordSendTimes(bool on) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecordSendTimes = on;
}

PartyCounts MediaParty::counts() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCounts;
}

void MediaParty::queuePacket(const std::uint8_t* payload, std::size_t length, std::uint64_t now) {
    std::vector<std::uint8_t> bytes(kRtpHeaderBytes + length);
    bytes[0] = 0x80;
    bytes[1] = static_cast<std::uint8_t>(mPayloadType & 0x7F);
    bytes[2] = static_cast<std::uint8_t>(mSequence >> 8);
    bytes[3] = static_cast<std::uint8_t>(mSequence);
    for (int i = 0; i < 4; ++i) {
        bytes[4 + i] = static_cast<std::uint8_t>(mTimestamp >> (24 - 8 * i));
        bytes[8 + i] = static_cast<std::uint8_t>(kSsrc >> (24 - 8 * i));
    }
    std::copy(payload, payload + length, bytes.begin() + kRtpHeaderBytes);
    // Sequence and time move on for a lost packet too: the terminal sees
    // the gap.
    ++mSequence;
    mTimestamp += kSamplesPerPacket;
    if (mRecordSendTimes) mCounts.sentUs.push_back(now);
    const std::optional<int> delay = mLink.nextDelayMs();
    if (!delay) {
        ++mCounts.dropped;
        return;
    }
    mQueue.push({now + static_cast<std::uint64_t>(*delay) * 1000u, mOrder++, std::move(bytes)});
    mWake.notify_all();
}

void MediaParty::speakToneFrame(std::uint64_t now) {
    std::uint8_t payload[kSamplesPerPacket];
    for (int i = 0; i < kSamplesPerPacket; ++i, ++mTonePhase) {
        const double sample = kToneLevel * std::sin(2.0 * kPi * kToneHz * static_cast<double>(mTonePhase) / 8000.0);
        const auto linear = static_cast<std::int16_t>(sample);
        payload[i] = mPayloadType == kPayloadPcma ? alawFromLinear(linear) : ulawFromLinear(linear);
    }
    queuePacket(payload, sizeof payload, now);
}

void MediaParty::receiveLoop() {
    std::uint8_t buffer[platform::kMaxDatagram];
    while (!mStopping) {
        const platform::ReceiveResult r = mSocket.receive(buffer, sizeof buffer);
        if (r.status == platform::ReceiveStatus::Closed) return;
        if (r.status != platform::ReceiveStatus::Data || r.length <= kRtpHeaderBytes || (buffer[0] >> 6) != 2) continue;
        std::lock_guard<std::mutex> lock(mMutex);
        if (!mExpecting && nowUs() >= mStrayFromUs) ++mCounts.stray;
        if (!mConnected) continue;
        ++mCounts.received;
        if (mKind == PartyKind::Echo && (buffer[1] & 0x7F) == mPayloadType)
            queuePacket(buffer + kRtpHeaderBytes, r.length - kRtpHeaderBytes, nowUs());
    }
}

void MediaParty::sendLoop() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mStopping) {
        const std::uint64_t now = nowUs();
        if (mConnected && mKind == PartyKind::TestTone && now >= mNextToneUs) {
            speakToneFrame(now);
            mNextToneUs += kFrameUs;
            continue;
        }
        if (!mQueue.empty() && mQueue.top().dueUs <= now) {
            Pending packet = mQueue.top();
            mQueue.pop();
            const std::uint32_t address = mAddress;
            const std::uint16_t port = mPort;
            lock.unlock();
            const bool sent = mSocket.sendTo(address, port, packet.bytes.data(), packet.bytes.size()) ==
                              static_cast<int>(packet.bytes.size());
            lock.lock();
            if (sent) ++mCounts.sent;
            continue;
        }
        // Sleep until the next packet is due, or a tone frame, or 50 ms.
        std::uint64_t until = now + 50000;
        if (!mQueue.empty()) until = std::min(until, mQueue.top().dueUs);
        if (mConnected && mKind == PartyKind::TestTone) until = std::min(until, mNextToneUs);
        mWake.wait_for(lock, std::chrono::microseconds(until > now ? until - now : 0));
    }
}

}  // namespace sim
