// The sound device engine: a microphone input and a voice output held open
// for its whole life, and two outputs opened on demand for whole files and
// for tones. The client moves voice frames between it and the voice engine.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "common/module.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"
#include "platform/wave_device.h"
#include "softphone.h"

class Audio : public Module {
public:
    using VoiceCallback = void (*)(const void* pcm, int bytes);
    using DeviceName = std::array<char16_t, platform::kWaveNameUnits>;

    static constexpr int kBuffers = 5;
    static constexpr std::uint32_t kOutBytes = 3200;  // ten voice frames
    static constexpr const char16_t* kSettingsKey = u"Software\\Quillmere\\Softphone\\Settings";
    static constexpr const char16_t* kOutputDevice = u"Output Device";
    static constexpr const char16_t* kPlayFileDevice = u"PlayFile Device";
    static constexpr const char16_t* kInputDevice = u"Input Device";
    static constexpr const char16_t* kSystemDefault = u"System Default";
    static constexpr float kSpeakerStep = 0.6f;
    static constexpr float kRingStep = 0.6f;
    static constexpr float kMicStep = 0.25f;

    Audio();
    ~Audio() override;
    int start() override;
    int shutdown() override;

    // Voice.
    int playVoice(const void* pcm, int bytes);
    void recordStart(bool on) { mRecording = on; }
    void registerCallback(VoiceCallback callback);

    // Whole files and tones.
    int playFile(const char16_t* path, int repeat);
    int stopPlayFile();
    int playTone(const char16_t* path, int repeat);
    int stopPlayTone();
    int engineStatus() const { return mPlaying.load() ? SP_AUDIO_PLAYING : SP_AUDIO_IDLE; }

    // Devices and volume. A list is one malloc'ed block: the pointers, then
    // the names; the caller frees it.
    int inDeviceList(char16_t*** list);
    int outDeviceList(char16_t*** list);
    int setDevice(int output, int file, int input);
    void deviceIds(int* output, int* file, int* input) const;
    void setSpeakerVolume(int level, float step);
    void setRingVolume(int level, float step);
    void setMicVolume(int level, float step);
    void setWindowHandle(void* window) { mWindow = window; }

    int Wave_out_open_device(int bits, int rate, int channels, int milliseconds);
    int Wave_in_open_device(int bits, int rate, int channels, int milliseconds);
    int play_file_open_device();
    int tone_open_device();
    int closeWaveOut();
    int closeWaveIn();
    int closeFileOut();
    int closeToneOut();

private:
    // One of the two whole-sound outputs; file and tone are twins.
    struct Channel {
        explicit Channel(bool file) : isFile(file) {}
        const bool isFile;
        std::optional<std::u16string> mPath;
        std::uint32_t mBytes = 0;
        std::vector<std::uint8_t> mPcm;       // with gain applied
        std::vector<std::uint8_t> mPristine;  // as read
        std::atomic<int> mRepeat{0};
        std::unique_ptr<platform::Thread> mThread;
        std::atomic<std::uint32_t> mThreadId{0};
        std::atomic<bool> mDone{true};
        bool mDeviceReady = false;
        int mLevelApplied = 0;
        platform::WaveHeader mHeader;
        std::vector<char> mHeaderBuffer;
        platform::WaveFormat mFormat;
        std::unique_ptr<platform::WaveDevice> mDevice;
        std::atomic<int> mDeviceId{-1};
        std::atomic<bool> mOpen{false};
    };

    static void outCallback(platform::WaveMessage message, platform::WaveHeader* header, void* user);
    static void inCallback(platform::WaveMessage message, platform::WaveHeader* header, void* user);
    static void fileCallback(platform::WaveMessage message, platform::WaveHeader* header, void* user);
    static void toneCallback(platform::WaveMessage message, platform::WaveHeader* header, void* user);

    // Devices and settings.
    void readDeviceChoices();
    static void buildDeviceList(platform::WaveDirection direction, std::vector<DeviceName>& list);
    void validateDevice(std::atomic<int>& deviceId, const std::vector<DeviceName>& list, const char16_t* valueName);
    int deviceList(platform::WaveDirection direction, char16_t*** list);
    static bool waitOpen(const std::atomic<bool>& flag);
    void releaseOutHeaders();
    void releaseInHeaders();
    // Takes mLock unless the calling thread's id stops matching first.
    bool lockOrLeave(const std::atomic<std::uint32_t>& id, std::uint32_t mine);

    // Voice.
    bool startRecordingThread();
    void endRecordingThread();
    void recordingThread(std::uint32_t mine);
    void replaceLostInput(std::uint32_t mine);
    void replaceLostOutput();
    void onInputData(platform::WaveHeader* header);

    // Files and tones.
    int play(Channel& channel, const char16_t* path, int repeat, bool retryOnLoss);
    int stopChannel(Channel& channel);
    int openChannel(Channel& channel);
    int closeChannel(Channel& channel);
    void releaseChannelHeader(Channel& channel);
    // The channel's buffer released and its device closed and opened again
    // (on whatever device its id now names); the open's result.
    int reopenChannel(Channel& channel);
    // A channel sent to another device; one that is open stops and reopens there.
    void moveChannel(Channel& channel, int deviceId);
    int loadFile(Channel& channel);
    void onChannelDone(Channel& channel);
    void repeatThread(Channel& channel, std::uint32_t mine);
    void rewriteChannel(Channel& channel, std::uint32_t mine);
    void tryLowerStatus();
    void freeChannel(Channel& channel);

    std::atomic<VoiceCallback> mVoiceCallback;
    int mInIndex = 0;  // the recording thread's
    int mOutIndex = 0;
    int mOutWrites = 0;
    std::atomic<bool> mAlive{true};
    std::atomic<bool> mRecording{false};
    std::atomic<bool> mStopRecording{false};
    platform::RecursiveLock mLock;     // device opening and file loading
    platform::RecursiveLock mOutLock;  // the voice output, after mLock when both are held
    std::unique_ptr<platform::Thread> mRecordThread;
    std::atomic<std::uint32_t> mRecordThreadId{0};

    std::array<platform::WaveHeader, kBuffers> mOutHeaders;
    std::array<platform::WaveHeader, kBuffers> mInHeaders;
    std::array<std::vector<char>, kBuffers> mOutBuffers;
    std::array<std::vector<char>, kBuffers> mInBuffers;
    platform::WaveFormat mInFormat;
    platform::WaveFormat mOutFormat;
    std::unique_ptr<platform::WaveDevice> mWaveIn;
    std::unique_ptr<platform::WaveDevice> mWaveOut;
    std::uint32_t mInBytes = 0;
    std::atomic<std::uint32_t> mOutBytes{0};
    std::atomic<int> mInDeviceId{-1};
    std::atomic<int> mOutDeviceId{-1};
    std::atomic<bool> mInOpen{false};
    std::atomic<bool> mOutOpen{false};
    std::vector<DeviceName> mInDevices;
    std::vector<DeviceName> mOutDevices;
    void* mWindow = nullptr;
    std::atomic<bool> mPlaying{false};

    Channel mFile{true};
    Channel mTone{false};
    std::vector<std::uint8_t> mResourceCopy;

    std::atomic<int> mSpeakerLevel{0};
    std::atomic<float> mSpeakerStep{kSpeakerStep};
    std::atomic<int> mRingLevel{0};
    std::atomic<float> mRingStep{kRingStep};
    std::atomic<int> mMicLevel{0};
    std::atomic<float> mMicStep{kMicStep};
};
