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

VoiceBridge::VoiceBridge(const Engine& engine) : mEngine(engine) {}

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
    return mRecordedTicks;
}

std::vector<std::uint64_t> VoiceBridge::spokenTicks() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSpokenTicks;
}

void VoiceBridge::onCapture(const void* pcm, int bytes) {
    VoiceBridge* self = gBridge.load();
    if (self == nullptr || pcm == nullptr || bytes <= 0) return;
    {
        std::lock_guard<std::mutex> lock(self->mMutex);
        self->mCounts.captureFrames += static_cast<std::uint64_t>(bytes / kFrameBytes);
        if (self->mDeviceMicrophone && !self->mMuted) self->mCounts.framesSent += bytes / kFrameBytes;
    }
    if (self->mDeviceMicrophone && !self->mMuted) self->mEngine.send_voice(static_cast<std::uint32_t>(bytes), pcm);
}

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

        bool haveFrame = false;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            if (mSpeechAt + kFrameSamples <= mSpeech.size()) {
                std::copy_n(mSpeech.begin() + static_cast<std::ptrdiff_t>(mSpeechAt), kFrameSamples, frame.begin());
                mSpeechAt += kFrameSamples;
                haveFrame = !mMuted;
                if (haveFrame) {
                    ++mCounts.framesSent;
                    mSpokenTicks.push_back(tick);
                }
            } else {
                mSpeaking = false;
            }
        }
        if (haveFrame) mEngine.send_voice(kFrameBytes, frame.data());

        int size = kPlayoutBytes;
        int status = 0;
        const int got = mEngine.recv_voice(&size, played.data(), &status);
        if (got < kFrameBytes || got > kPlayoutBytes) continue;
        const int frames = got / kFrameBytes;
        {
            std::lock_guard<std::mutex> lock(mMutex);
            mCounts.framesPlayed += static_cast<std::uint64_t>(frames);
            if (mRecording) {
                // Before the device gets it: playing applies the speaker gain in place.
                mRecorded.insert(mRecorded.end(), played.begin(), played.begin() + frames * kFrameSamples);
                mRecordedTicks.insert(mRecordedTicks.end(), static_cast<std::size_t>(frames), tick);
            }
        }
        mEngine.AudioModulePlayVoice(played.data(), frames * kFrameBytes);
    }
}

}  // namespace client
