// The client's half of the voice path. The library has no playout clock:
// this bridge is it. Every 20 ms it hands one microphone frame to
// send_voice (from a file, when one stands in for the microphone), asks
// recv_voice for what is due and plays that with AudioModulePlayVoice. In
// live mode the sound engine's capture callback feeds send_voice instead.
#pragma once

#include <atomic>
#include <cstdint>
#include <mutex>
#include <thread>
#include <vector>

#include "engine_library.h"

namespace client {

constexpr int kFrameSamples = SP_VOICE_FRAME_SAMPLES;
constexpr int kFrameBytes = SP_VOICE_FRAME_BYTES;
constexpr int kFrameMs = SP_VOICE_FRAME_MS;

struct VoiceCounts {
    std::uint64_t framesSent = 0;     // frames given to send_voice
    std::uint64_t framesPlayed = 0;   // frames recv_voice gave and the device got
    std::uint64_t captureFrames = 0;  // frames the capture callback brought
    std::uint64_t lateTicks = 0;      // playout ticks more than a frame late
};

class VoiceBridge {
public:
    explicit VoiceBridge(const Engine& engine);
    ~VoiceBridge();
    VoiceBridge(const VoiceBridge&) = delete;
    VoiceBridge& operator=(const VoiceBridge&) = delete;

    // Registers the capture callback and starts the playout clock.
    // `deviceMicrophone`: captured frames go to send_voice.
    bool start(bool deviceMicrophone);
    void stop();

    // Frames of `samples` go up one a tick, from the next tick on.
    void speak(std::vector<std::int16_t> samples);
    bool speaking() const { return mSpeaking.load(); }
    void setMuted(bool muted) { mMuted = muted; }
    // Keep what is played, with the tick at which each frame came.
    void record(bool on);

    VoiceCounts counts() const;
    std::vector<std::int16_t> recording() const;
    // Tick of each recorded frame, and the tick at which each spoken frame
    // went up: the two time lines of the recording and the signal.
    std::vector<std::uint64_t> recordedTicks() const;
    std::vector<std::uint64_t> spokenTicks() const;

private:
    static void onCapture(const void* pcm, int bytes);
    void run();

    const Engine& mEngine;
    std::thread mThread;
    std::atomic<bool> mStop{false};
    std::atomic<bool> mDeviceMicrophone{false};
    std::atomic<bool> mMuted{false};
    std::atomic<bool> mSpeaking{false};

    mutable std::mutex mMutex;
    std::vector<std::int16_t> mSpeech;
    std::size_t mSpeechAt = 0;
    bool mRecording = false;
    std::vector<std::int16_t> mRecorded;
    std::vector<std::uint64_t> mRecordedTicks;
    std::vector<std::uint64_t> mSpokenTicks;
    VoiceCounts mCounts;
};

}  // namespace client
