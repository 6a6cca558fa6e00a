// Audio: whole files and tones, each played from one buffer on an output of
// its own and repeated on request.
#include <algorithm>
#include <cstring>

#include "audio/audio.h"
#include "audio/gain.h"
#include "audio/riff_wave.h"
#include "audio/wave_resources.h"
#include "common/settings_store.h"
#include "common/tracer.h"
#include "platform/clock.h"
#include "platform/input_file.h"

using platform::WaveHeader;

namespace {

bool deviceGone(int result) {
    return result == platform::kWaveInvalidHandle || result == platform::kWaveNoDriver;
}

// Ring and tone files are seconds long; anything past this is no sound file.
constexpr std::size_t kMaxSoundFileBytes = 64u << 20;

}  // namespace

int Audio::playFile(const char16_t* path, int repeat) {
    return play(mFile, path, repeat, true);
}

int Audio::playTone(const char16_t* path, int repeat) {
    return play(mTone, path, repeat, true);
}

int Audio::stopPlayFile() {
    return stopChannel(mFile);
}

int Audio::stopPlayTone() {
    return stopChannel(mTone);
}

void Audio::tryLowerStatus() {
    if (mFile.mDone.load() && mTone.mDone.load()) mPlaying = false;
}

int Audio::play(Channel& ch, const char16_t* path, int repeat, bool retryOnLoss) {
    if (path == nullptr) return 1;
    std::unique_lock<platform::RecursiveLock> lock(mLock);
    stopChannel(ch);
    mPlaying = true;

    bool changed = false;
    if (!ch.mPath || *ch.mPath != path) {
        ch.mPath = std::u16string(path);
        changed = true;
    }
    const int level = ch.isFile ? mRingLevel.load() : mSpeakerLevel.load();
    const float step = ch.isFile ? mRingStep.load() : mSpeakerStep.load();
    if (ch.mLevelApplied != level) {
        ch.mLevelApplied = level;
        changed = true;
    }

    if (changed) {
        if (loadFile(ch) != 0) {
            ch.mPristine.clear();
            ch.mPath.reset();
            return 1;
        }
        if (reopenChannel(ch) != 0) {
            ch.mPath.reset();
            Tracer::instance()->trace(kTraceCritical,
                                      "[AUDIO :: CRITICAL ERROR] Device Open Fail - play_file_open_device");
            return 1;
        }
    } else {
        if (ch.mPcm.empty() || ch.mPristine.empty()) {
            ch.mPath.reset();
            return 1;
        }
        ch.mPcm = ch.mPristine;
    }
    ch.mDeviceReady = true;
    applyGain(ch.mPcm.data(), static_cast<int>(ch.mBytes), level, step);
    if (ch.mHeader.data == nullptr || ch.mPcm.size() < ch.mBytes || !ch.mDevice) {
        ch.mPath.reset();
        return 1;
    }
    std::memcpy(ch.mHeader.data, ch.mPcm.data(), ch.mBytes);
    ch.mHeader.length = ch.mBytes;

    // The repeat count and thread are in place before the buffer goes out,
    // so that a short sound's completion finds them.
    ch.mDone = false;
    ch.mRepeat = repeat;
    if (repeat != 0) {
        auto thread = std::make_unique<platform::Thread>();
        if (!thread->createSuspended([this, &ch] { repeatThread(ch, platform::currentThreadId()); })) {
            Tracer::instance()->trace(kTraceWarning,
                                      "[AUDIO :: Warning] Startup error - Play File thread creation fail");
        } else {
            ch.mThreadId = thread->id();
            ch.mThread = std::move(thread);
            ch.mThread->resume();
        }
    }

    const int result = ch.mDevice->write(ch.mHeader);
    if (deviceGone(result)) {
        ch.mDeviceId = -1;
        stopChannel(ch);
        if (reopenChannel(ch) != 0) {
            ch.mPath.reset();
            Tracer::instance()->trace(
                kTraceCritical, "[AUDIO :: CRITICAL ERROR] No Device Available in system - play_file_open_device");
            return 1;
        }
        lock.unlock();
        // Once on the new device; a device that fails at once again is not
        // chased round in circles.
        if (retryOnLoss) play(ch, path, repeat, false);
        return 1;
    }
    return 0;
}

int Audio::stopChannel(Channel& ch) {
    platform::LockGuard lock(mLock);
    tryLowerStatus();
    ch.mRepeat = 0;
    ch.mThreadId = 0;
    if (ch.mThread && !ch.mThread->isCurrent()) {
        ch.mThread->join();
        ch.mThread.reset();
    }
    if (ch.mDevice) ch.mDevice->reset();
    return 0;
}

int Audio::openChannel(Channel& ch) {
    platform::LockGuard lock(mLock);
    buildDeviceList(platform::WaveDirection::Output, mOutDevices);
    validateDevice(ch.mDeviceId, mOutDevices, ch.isFile ? kPlayFileDevice : kOutputDevice);
    if (ch.mBytes == 0) return 1;
    platform::WaveOpenReport report;
    const int opened =
        platform::waveOpen(platform::WaveDirection::Output, listName(ch.mDeviceId, mOutDevices), ch.mFormat,
                           platform::WaveUse::Sound, ch.isFile ? fileCallback : toneCallback, this, ch.mDevice, report);
    traceOpen("[AUDIO :: CRITICAL ERROR] Device Open Fail - play_file_open_device", ch.isFile ? "PlayFile" : "Tone",
              report, opened == 0, ch.mDeviceId);
    if (opened != 0) return 1;
    if (!waitOpen(ch.mOpen)) {
        closeChannel(ch);
        return 1;
    }
    ch.mHeaderBuffer.assign(ch.mBytes, 0);
    ch.mHeader.clear();
    ch.mHeader.data = ch.mHeaderBuffer.data();
    ch.mHeader.length = ch.mBytes;
    return ch.mDevice->prepare(ch.mHeader) == 0 ? 0 : 1;
}

int Audio::closeChannel(Channel& ch) {
    if (!ch.mDevice) return 0;
    ch.mDevice->reset();
    const int result = ch.mDevice->close();
    ch.mDevice.reset();
    ch.mOpen = false;
    return result == 0 ? 0 : 1;
}

int Audio::reopenChannel(Channel& ch) {
    releaseChannelHeader(ch);
    closeChannel(ch);
    return openChannel(ch);
}

void Audio::releaseChannelHeader(Channel& ch) {
    if (!ch.mOpen.load() || !ch.mDevice || ch.mHeader.data == nullptr) return;
    ch.mDevice->reset();
    if (ch.mDevice->unprepare(ch.mHeader) != 0) {
        Tracer::instance()->trace(kTraceError, "[AUDIO :: ERROR] Shutdown failed - waveOutUnPrepareHeader");
        return;
    }
    ch.mHeader.clear();
    ch.mHeaderBuffer.clear();
    ch.mHeaderBuffer.shrink_to_fit();
}

void Audio::freeChannel(Channel& ch) {
    ch.mPath.reset();
    ch.mPcm = {};
    ch.mPristine = {};
    ch.mBytes = 0;
}

int Audio::loadFile(Channel& ch) {
    std::string name;
    if (!ch.mPath || !utf16ToUtf8(*ch.mPath, name) || name.empty()) return 1;
    std::vector<std::uint8_t> bytes;
    bool read = platform::readWholeFile(name, kMaxSoundFileBytes, bytes);
    if (!read && name.find('\\') != std::string::npos) {
        // Client paths may come in the other separator.
        std::replace(name.begin(), name.end(), '\\', '/');
        read = platform::readWholeFile(name, kMaxSoundFileBytes, bytes);
    }
    std::span<const std::uint8_t> file;
    if (read) {
        file = bytes;
    } else {
        // No such file: a sound the client keeps in memory under that name.
        if (!wave_resources::copy(*ch.mPath, mResourceCopy)) {
            // Else the sound is silently missing: ring, tone or file.
            Tracer::instance()->trace(kTraceCritical,
                                      "[AUDIO :: CRITICAL ERROR] File open failed - %s (no readable file or sound "
                                      "of that name)",
                                      name.c_str());
            return 1;
        }
        file = mResourceCopy;
    }
    RiffWave wave;
    if (parseRiffWave(file, wave) != RiffWaveResult::Ok) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[AUDIO :: CRITICAL ERROR] File open failed - %s (not a PCM RIFF WAVE sound)",
                                  name.c_str());
        ch.mPcm.clear();
        return 1;
    }
    ch.mFormat = wave.format;
    ch.mBytes = wave.dataBytes;
    const auto* data = file.data() + wave.dataOffset;
    ch.mPcm.assign(data, data + wave.dataBytes);
    ch.mPristine = ch.mPcm;
    return 0;
}

void Audio::onChannelDone(Channel& ch) {
    // The repeat decision comes before the done mark: the repeat thread
    // acts on the mark, and must see the count as it now stands.
    int repeat = ch.mRepeat.load();
    while (repeat > 0 && !ch.mRepeat.compare_exchange_weak(repeat, repeat - 1)) {
    }
    if (repeat == 0) {
        ch.mThreadId = 0;  // the repeat thread has nothing left to do
        ch.mDone = true;
        tryLowerStatus();
    } else {
        mPlaying = true;
        ch.mDone = true;
    }
}

void Audio::repeatThread(Channel& ch, std::uint32_t mine) {
    if (ch.mThreadId.load() != mine) return;
    for (;;) {
        if (ch.mThreadId.load() != mine || !mAlive.load()) {
            Tracer::instance()->trace(kTraceStatus, "[AUDIO :: Thread] Thread terminated - Recording");
            return;
        }
        if (ch.mDone.exchange(false)) {
            if (ch.mThreadId.load() != mine || !lockOrLeave(ch.mThreadId, mine)) {
                ch.mDone = true;  // not ours to replay any more
                continue;
            }
            rewriteChannel(ch, mine);
            mLock.unlock();
        }
        platform::sleepMs(10);
    }
}

void Audio::rewriteChannel(Channel& ch, std::uint32_t mine) {
    int result = ch.mDevice ? ch.mDevice->write(ch.mHeader) : platform::kWaveInvalidHandle;
    if (!deviceGone(result)) return;
    ch.mDeviceId = -1;
    if (reopenChannel(ch) == 0 && ch.mPcm.size() >= ch.mBytes) {
        // The same sound on the new device, with the repeats still owed.
        std::memcpy(ch.mHeader.data, ch.mPcm.data(), ch.mBytes);
        ch.mHeader.length = ch.mBytes;
        result = ch.mDevice->write(ch.mHeader);
        if (!deviceGone(result)) return;
    }
    if (ch.mThreadId.load() == mine) ch.mThreadId = 0;
    ch.mDone = true;
    tryLowerStatus();
    Tracer::instance()->trace(kTraceCritical,
                              "[AUDIO :: CRITICAL ERROR] No Device Available in system - play_file_open_device");
    ch.mPath.reset();
}
