// Audio lifecycle: start and shutdown, opening and closing the devices.
#include "audio/audio.h"

#include "common/tracer.h"
#include "platform/clock.h"

using platform::WaveDirection;
using platform::WaveHeader;
using platform::WaveMessage;

namespace {

void silentCallback(const void*, int) {}

// Each buffer of a device sized and prepared; 1 at the first that fails.
template <std::size_t N>
int prepareBuffers(platform::WaveDevice& device, std::array<WaveHeader, N>& headers,
                   std::array<std::vector<char>, N>& buffers, std::uint32_t bytes) {
    for (std::size_t i = 0; i < N; ++i) {
        buffers[i].assign(bytes, 0);
        WaveHeader& h = headers[i];
        h.clear();
        h.data = buffers[i].data();
        h.length = bytes;
        if (device.prepare(h) != 0) return 1;
    }
    return 0;
}

// Each prepared buffer unprepared and let go; one the device won't give
// back is traced with `failure` and kept.
template <std::size_t N>
void releaseBuffers(platform::WaveDevice& device, std::array<WaveHeader, N>& headers,
                    std::array<std::vector<char>, N>& buffers, const char* failure) {
    for (std::size_t i = 0; i < N; ++i) {
        WaveHeader& h = headers[i];
        if (h.data == nullptr) continue;
        if (device.unprepare(h) != 0) {
            Tracer::instance()->trace(kTraceError, failure);
            continue;
        }
        h.clear();
        buffers[i].clear();
        buffers[i].shrink_to_fit();
    }
}

}  // namespace

Audio::Audio() : mVoiceCallback(silentCallback) {
    Tracer::instance()->trace(kTraceStatus, "[AUDIO] Module created");
}

Audio::~Audio() {
    mAlive = false;
    shutdown();
    Tracer::instance()->trace(kTraceStatus, "[AUDIO] Module destroyed");
}

int Audio::start() {
    mStopRecording = false;
    mRecording = false;
    mInIndex = 0;
    mOutIndex = 0;
    mOutWrites = 0;
    mPlaying = false;
    mInDeviceId = -1;
    mOutDeviceId = -1;
    mFile.mDeviceId = -1;
    mTone.mDeviceId = -1;
    mSpeakerLevel = 0;
    mSpeakerStep = kSpeakerStep;
    mRingLevel = 0;
    mRingStep = kRingStep;
    mMicLevel = 0;
    mMicStep = kMicStep;
    // There is no foreground window to remember here; the client may still
    // hand one in, which nothing reads.
    mWindow = nullptr;

    readDeviceChoices();
    mStarting = true;
    if (Wave_out_open_device(16, 8000, 1, 20) != 0) {
        // A machine without output can still capture.
        Tracer::instance()->trace(kTraceCritical, "[AUDIO :: CRITICAL ERROR] Startup failed - Wave_out_open_device");
    }
    const int inResult = Wave_in_open_device(16, 8000, 1, 20);
    mStarting = false;
    if (inResult != 0) {
        Tracer::instance()->trace(kTraceCritical, "[AUDIO :: CRITICAL ERROR] Startup failed - Wave_in_open_device");
        shutdown();
        return 1;
    }
    if (!startRecordingThread()) {
        shutdown();
        return 1;
    }
    return 0;
}

int Audio::shutdown() {
    // The recording thread first, and without mLock: it may be waiting for
    // that lock to replace a lost device.
    if (mRecordThread) {
        if (mWaveIn) mStopRecording = true;
        endRecordingThread();
        mStopRecording = false;
    }

    platform::LockGuard lock(mLock);
    stopChannel(mFile);
    releaseChannelHeader(mFile);
    {
        platform::LockGuard out(mOutLock);
        releaseOutHeaders();
    }
    releaseInHeaders();

    closeFileOut();
    {
        platform::LockGuard out(mOutLock);
        closeWaveOut();
    }
    closeWaveIn();

    stopChannel(mTone);
    releaseChannelHeader(mTone);
    closeToneOut();

    freeChannel(mTone);
    freeChannel(mFile);
    mResourceCopy.clear();
    mResourceCopy.shrink_to_fit();
    // A device given up on at open may still be opening; it closes itself
    // when it answers, and is waited for a moment here so that nothing of
    // ours still runs once the client unloads us.
    if (!platform::settleWaveOpens(1000)) {
        Tracer::instance()->trace(kTraceWarning, "[AUDIO :: Warning] Shutdown - a device is still opening");
    }
    return 0;
}

bool Audio::waitOpen(const std::atomic<bool>& flag) {
    for (int round = 0; round < 100; ++round) {
        if (flag.load()) return true;
        platform::sleepMs(10);
    }
    return flag.load();
}

std::u16string Audio::listName(int deviceId, const std::vector<DeviceName>& list) {
    if (deviceId < 0 || static_cast<std::size_t>(deviceId) + 1 >= list.size()) return {};
    const DeviceName& name = list[static_cast<std::size_t>(deviceId) + 1];
    std::u16string out;
    for (std::size_t i = 0; i < name.size() && name[i] != u'\0'; ++i) out.push_back(name[i]);
    return out;
}

void Audio::traceOpen(const char* partLine, const char* role, const platform::WaveOpenReport& report, bool opened,
                      std::atomic<int>& deviceId) {
    if (report.failures.empty()) return;
    Tracer* tracer = Tracer::instance();
    if (opened) tracer->trace(kTraceCritical, partLine);
    for (const platform::WaveOpenReport::Failure& failure : report.failures) {
        if (opened) {
            tracer->trace(kTraceDetail, "[AUDIO] %s device \"%s\" failed to open (%s) - using \"%s\"", role,
                          failure.device.c_str(), failure.reason.c_str(), report.device.c_str());
        } else {
            tracer->trace(kTraceDetail, "[AUDIO] %s device \"%s\" failed to open (%s) - no device in use", role,
                          failure.device.c_str(), failure.reason.c_str());
        }
    }
    // The choice stays stored, and the next start tries it again.
    deviceId = -1;
}

void Audio::traceXruns(const platform::WaveDevice& device, XrunTrace& state, const char* format, bool force) {
    const std::uint32_t count = device.xruns();
    if (count == state.traced) return;
    const std::uint64_t nowMs = platform::monotonicMs();
    if (!force && state.any && nowMs - state.lastMs < 1000) return;
    Tracer::instance()->trace(kTraceWarning, format, count);
    state.traced = count;
    state.lastMs = nowMs;
    state.any = true;
}

bool Audio::lockOrLeave(const std::atomic<std::uint32_t>& id, std::uint32_t mine) {
    while (!mLock.try_lock()) {
        if (id.load() != mine || !mAlive.load()) return false;
        platform::sleepMs(1);
    }
    return true;
}

int Audio::Wave_out_open_device(int bits, int rate, int channels, int) {
    platform::LockGuard lock(mLock);
    platform::LockGuard out(mOutLock);
    mOutFormat = platform::pcmFormat(bits, rate, channels);
    mOutBytes = kOutBytes;
    mOutWrites = 0;
    buildDeviceList(WaveDirection::Output, mOutDevices);
    validateDevice(mOutDeviceId, mOutDevices, kOutputDevice);

    platform::WaveOpenReport report;
    const int opened = platform::waveOpen(WaveDirection::Output, listName(mOutDeviceId, mOutDevices), mOutFormat,
                                          platform::WaveUse::Voice, outCallback, this, mWaveOut, report);
    traceOpen(mStarting ? "[AUDIO :: CRITICAL ERROR] Startup failed - Wave_out_open_device"
                        : "[AUDIO :: CRITICAL ERROR] No Device Available in system - Wave_out_open_device",
              "Output", report, opened == 0, mOutDeviceId);
    if (opened != 0) return 1;
    mOutXruns = {};
    if (!waitOpen(mOutOpen)) {
        closeWaveOut();
        return 1;
    }
    return prepareBuffers(*mWaveOut, mOutHeaders, mOutBuffers, kOutBytes);
}

int Audio::Wave_in_open_device(int bits, int rate, int channels, int milliseconds) {
    platform::LockGuard lock(mLock);
    mInFormat = platform::pcmFormat(bits, rate, channels);
    mInBytes = static_cast<std::uint32_t>(milliseconds) * mInFormat.avgBytesPerSec / 1000;
    mInIndex = 0;
    buildDeviceList(WaveDirection::Input, mInDevices);
    validateDevice(mInDeviceId, mInDevices, kInputDevice);

    platform::WaveOpenReport report;
    const int opened = platform::waveOpen(WaveDirection::Input, listName(mInDeviceId, mInDevices), mInFormat,
                                          platform::WaveUse::Voice, inCallback, this, mWaveIn, report);
    traceOpen(mStarting ? "[AUDIO :: CRITICAL ERROR] Startup failed - Wave_in_open_device"
                        : "[AUDIO :: CRITICAL ERROR] No Device Available in system - Wave_in_open_device",
              "Input", report, opened == 0, mInDeviceId);
    if (opened != 0) return 1;
    mInXruns = {};
    if (!waitOpen(mInOpen)) {
        Tracer::instance()->trace(kTraceError, "[AUDIO :: ERROR] WaveIn open timeout");
        closeWaveIn();
        return 1;
    }
    return prepareBuffers(*mWaveIn, mInHeaders, mInBuffers, mInBytes);
}

int Audio::play_file_open_device() {
    return openChannel(mFile);
}

int Audio::tone_open_device() {
    return openChannel(mTone);
}

int Audio::closeWaveOut() {
    platform::LockGuard out(mOutLock);
    if (!mWaveOut) return 0;
    traceXruns(*mWaveOut, mOutXruns, "[AUDIO :: Warning] Output underruns [%u]", true);
    mWaveOut->reset();
    int result = mWaveOut->close();
    mWaveOut.reset();
    mOutOpen = false;
    return result == 0 ? 0 : 1;
}

int Audio::closeWaveIn() {
    if (!mWaveIn) return 0;
    traceXruns(*mWaveIn, mInXruns, "[AUDIO :: Warning] Input overruns [%u]", true);
    mWaveIn->reset();
    int result = mWaveIn->close();
    mWaveIn.reset();
    mInOpen = false;
    return result == 0 ? 0 : 1;
}

int Audio::closeFileOut() {
    return closeChannel(mFile);
}

int Audio::closeToneOut() {
    return closeChannel(mTone);
}

void Audio::releaseOutHeaders() {
    if (!mOutOpen.load() || !mWaveOut) return;
    // Buffers still queued come back first, so that each can be let go.
    mWaveOut->reset();
    releaseBuffers(*mWaveOut, mOutHeaders, mOutBuffers, "[AUDIO :: ERROR] Shutdown failed - waveOutUnPrepareHeader");
}

void Audio::releaseInHeaders() {
    if (!mInOpen.load() || !mWaveIn) return;
    mWaveIn->stop();
    mWaveIn->reset();
    releaseBuffers(*mWaveIn, mInHeaders, mInBuffers, "[AUDIO :: ERROR] Shutdown failed - waveInUnPrepareHeader");
}

void Audio::outCallback(WaveMessage message, WaveHeader*, void* user) {
    auto* self = static_cast<Audio*>(user);
    if (message == WaveMessage::Open) self->mOutOpen = true;
    if (message == WaveMessage::Close) self->mOutOpen = false;
}

void Audio::inCallback(WaveMessage message, WaveHeader* header, void* user) {
    auto* self = static_cast<Audio*>(user);
    if (message == WaveMessage::Open) self->mInOpen = true;
    if (message == WaveMessage::Close) self->mInOpen = false;
    if (message == WaveMessage::Data) self->onInputData(header);
}

void Audio::fileCallback(WaveMessage message, WaveHeader*, void* user) {
    auto* self = static_cast<Audio*>(user);
    if (message == WaveMessage::Open) self->mFile.mOpen = true;
    if (message == WaveMessage::Close) self->mFile.mOpen = false;
    if (message == WaveMessage::Done) self->onChannelDone(self->mFile);
}

void Audio::toneCallback(WaveMessage message, WaveHeader*, void* user) {
    auto* self = static_cast<Audio*>(user);
    if (message == WaveMessage::Open) self->mTone.mOpen = true;
    if (message == WaveMessage::Close) self->mTone.mOpen = false;
    if (message == WaveMessage::Done) self->onChannelDone(self->mTone);
}
