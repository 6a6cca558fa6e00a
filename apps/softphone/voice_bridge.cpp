#include "voice_bridge.h"

#include <algorithm>
#include <chrono>

namespace client {

namespace {

// The capture callback is a plain function: it finds the bridge here.
std::atomic<VoiceBridge*> gBridge{nullptr};
// recv_voice's caller gives room for ten frames.
constexpr int kPlayoutBytes = SP_RECV_VOICE_BYTES;

}  // namespace

VoiceBridge::VoiceBridge(const Engine& engine, const std::atomic<bool>& mayTalk) : mEngine(engine), mMayTalk(mayTalk) {}

VoiceBridge::~VoiceBridge() {
    stop();
}

bool VoiceBridge::start(bool deviceMicrophone) {
    mDeviceMicrophone = deviceMicrophone;
    gBridge = this;
    mEngine.AudioModuleRegisterCallback(&VoiceBridge::onCapture);
    mEngine.AudioModuleRecordStart(1);
    mStop = false;
    mThread = std::thread([this] { run(); });
    return true;
}

void VoiceBridge::stop() {
    if (gBridge.load() == this) {
        // The default do-nothing callback first, so that no device thread
        // calls into this bridge once it is gone.
        mEngine.AudioModuleRegisterCallback(nullptr);
        gBridge = nullptr;
    }
    mStop = true;
    if (mThread.joinable()) mThread.join();
}

void VoiceBridge::speak(std::vector<std::int16_t> samples) {
    std::lock_guard<std::mutex> lock(mMutex);
    mSpeech = std::move(samples);
    mSpeechAt = 0;
    mSpeaking = !mSpeech.empty();
}

void VoiceBridge::record(bool on) {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecording = on;
}

VoiceCounts VoiceBridge::counts() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCounts;
}

std::vector<std::int16_t> VoiceBridge::recording() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRecorded;
}

std::vector<std::uint64_t> VoiceBridge::recordedTicks() const {
    std::lock_guard<std::mutex> lock(mMutex);
    std::vector<std::uint64_t> ticks;
    for (const PlayedFrame& f : mRecordedFrames) ticks.push_back(f.tick);
    return ticks;
}

std::vector<PlayedFrame> VoiceBridge::recordedFrames() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRecordedFrames;
}

std::vector<std::uint64_t> VoiceBridge::spokenTicks() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSpokenTicks;
}

std::vector<std::uint64_t> VoiceBridge::spokenSendIndex() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSpokenSendIndex;
}

void VoiceBridge::onCapture(const void* pcm, int bytes) {
    VoiceBridge* self = gBridge.load();
    if (self == nullptr || pcm == nullptr || bytes <= 0) return;
    const bool send = self->mDeviceMicrophone && !self->mMuted && self->mMayTalk.load();
    {
        std::lock_guard<std::mutex> lock(self->mMutex);
        self->mCounts.captureFrames += static_cast<std::uint64_t>(bytes / kFrameBytes);
        if (send) self->mCounts.framesSent += bytes / kFrameBytes;
    }
    if (send) self->mEngine.send_voice(static_cast<std::uint32_t>(bytes), pcm);
}

namespace {

std::uint64_t steadyUs() {
    return static_cast<std::uint64_t>(
        std::chrono::duration_cast<std::chrono::microseconds>(std::chrono::steady_clock::now().time_since_epoch())
            .count());
}

}  // namespace

void VoiceBridge::run() {
    using Clock = std::chrono::steady_clock;
    std::vector<std::int16_t> frame(kFrameSamples);
    std::vector<std::int16_t> played(kPlayoutBytes / 2);
    auto next = Clock::now();
    for (std::uint64_t tick = 0; !mStop; ++tick) {
        next += std::chrono::milliseconds(kFrameMs);
        std::this_thread::sleep_until(next);
        if (Clock::now() > next + std::chrono::milliseconds(kFrameMs)) {
            // The device held us up: count it and take the clock from now.
            next = Clock::now();
            std::lock_guard<std::mutex> lock(mMutex);
            ++mCounts.lateTicks;
        }

        // The file microphone: a frame every tick, speech or silence; it goes
        // up only while the connection lets the terminal send.
        bool send = false;
        if (!mDeviceMicrophone) {
            std::lock_guard<std::mutex> lock(mMutex);
            const bool speech = mSpeechAt + kFrameSamples <= mSpeech.size();
            if (speech) {
                std::copy_n(mSpeech.begin() + static_cast<std::ptrdiff_t>(mSpeechAt), kFrameSamples, frame.begin());
                mSpeechAt += kFrameSamples;
            } else {
                std::fill(frame.begin(), frame.end(), std::int16_t{0});
                mSpeaking = false;
            }
            send = !mMuted && mMayTalk.load();
            if (send && speech) {
                mSpokenTicks.push_back(tick);
                mSpokenSendIndex.push_back(mCounts.framesSent);
            }
            if (send) ++mCounts.framesSent;
        }
        if (send) mEngine.send_voice(kFrameBytes, frame.data());

        int size = kPlayoutBytes;
        int status = 0;
        const int got = mEngine.recv_voice(&size, played.data(), &status);
        if (got < kFrameBytes || got > kPlayoutBytes) continue;
        play(played.data(), got / kFrameBytes, tick);
    }
}

int VoiceBridge::play(const std::int16_t* pcm, int frames, std::uint64_t tick) {
    // The device plays one frame each 20 ms from what it holds; what it still
    // holds is reckoned from what went to it and the time since.
    const std::uint64_t now = steadyUs();
    constexpr std::uint64_t kFrameUs = kFrameMs * 1000;
    if (mDeviceFreeUs < now) mDeviceFreeUs = now;
    const std::uint64_t backlogFrames = (mDeviceFreeUs - now + kFrameUs / 2) / kFrameUs;
    const int room = backlogFrames >= kMaxBacklogFrames ? 0 : kMaxBacklogFrames - static_cast<int>(backlogFrames);
    // A catch-up burst: the oldest frames go, the newest are heard, so the
    // delay falls back to what the buffer needs.
    const int keep = std::min(frames, room);
    const int dropped = frames - keep;
    const std::int16_t* first = pcm + static_cast<std::ptrdiff_t>(dropped) * kFrameSamples;
    const bool queued = keep > 0 && mEngine.AudioModulePlayVoice(first, keep * kFrameBytes) == 0;
    std::lock_guard<std::mutex> lock(mMutex);
    mCounts.framesDropped += static_cast<std::uint64_t>(dropped);
    if (!queued) return 0;
    mCounts.framesPlayed += static_cast<std::uint64_t>(keep);
    if (mRecording) {
        mRecorded.insert(mRecorded.end(), first, first + static_cast<std::ptrdiff_t>(keep) * kFrameSamples);
        for (int i = 0; i < keep; ++i)
            mRecordedFrames.push_back({tick, now, mDeviceFreeUs + static_cast<std::uint64_t>(i) * kFrameUs});
    }
    mDeviceFreeUs += static_cast<std::uint64_t>(keep) * kFrameUs;
    return keep;
}

}  // namespace client
