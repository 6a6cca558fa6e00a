// The client's half of the voice path. The library has no playout clock:
// this bridge is it. Every 20 ms it hands one microphone frame to
// send_voice (from a file, when one stands in for the microphone), asks
// recv_voice for what is due and plays that with AudioModulePlayVoice. In
// live mode the sound engine's capture callback feeds send_voice instead.
//
// Voice goes up only while the connection lets the terminal send (the
// media events say so) and the microphone is not muted. What goes to the
// device is kept to a bounded backlog: of a catch-up burst from recv_voice
// only the newest frames that fit are played, so the delay at the ear
// falls back instead of staying with the burst.
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
// The device's backlog after a tick's frames are queued: the tick's own
// frame and two of margin against a late tick.
constexpr int kMaxBacklogFrames = 3;

struct VoiceCounts {
    std::uint64_t framesSent = 0;     // frames given to send_voice
    std::uint64_t framesPlayed = 0;   // frames recv_voice gave and the device got
    std::uint64_t captureFrames = 0;  // frames the capture callback brought
    std::uint64_t lateTicks = 0;      // playout ticks more than a frame late
    std::uint64_t framesDropped = 0;  // oldest frames of catch-up bursts, not played
};

// What the bridge knows of each frame it played.
struct PlayedFrame {
    std::uint64_t tick = 0;      // the playout tick that got it
    std::uint64_t recvUs = 0;    // when recv_voice gave it (steady clock)
    std::uint64_t outputUs = 0;  // when the device starts to play it, by the bridge's reckoning
};

class VoiceBridge {
public:
    // `mayTalk`: whether the connection lets the terminal send now.
    VoiceBridge(const Engine& engine, const std::atomic<bool>& mayTalk);
    ~VoiceBridge();
    VoiceBridge(const VoiceBridge&) = delete;
    VoiceBridge& operator=(const VoiceBridge&) = delete;

    // Registers the capture callback and starts the playout clock.
    // `deviceMicrophone`: captured frames go to send_voice.
    bool start(bool deviceMicrophone);
    void stop();

    // Frames of `samples` go up one a tick, from the next tick on; between
    // speeches the file microphone gives silence.
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
    std::vector<PlayedFrame> recordedFrames() const;
    // For each spoken frame, how many frames had gone to send_voice before it.
    std::vector<std::uint64_t> spokenSendIndex() const;

private:
    static void onCapture(const void* pcm, int bytes);
    void run();
    // Plays the newest of `frames` frames in `pcm` that fit the device's
    // backlog; gives how many it played.
    int play(const std::int16_t* pcm, int frames, std::uint64_t tick);

    const Engine& mEngine;
    const std::atomic<bool>& mMayTalk;
    std::uint64_t mDeviceFreeUs = 0;  // when the device has played all it holds; playout thread only
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
    std::vector<PlayedFrame> mRecordedFrames;
    std::vector<std::uint64_t> mSpokenTicks;
    std::vector<std::uint64_t> mSpokenSendIndex;
    VoiceCounts mCounts;
};

}  // namespace client
