// Audio: the recording thread, captured frames to the client, voice out.
#include <cstring>

#include "audio/audio.h"
#include "audio/gain.h"
#include "common/tracer.h"
#include "platform/clock.h"

using platform::WaveHeader;

namespace {

bool deviceGone(int result) {
    return result == platform::kWaveInvalidHandle || result == platform::kWaveNoDriver;
}

// Time-critical when the system grants it, else the highest it does grant.
void raiseRecordingPriority() {
    using platform::ThreadPriority;
    if (platform::setCurrentThreadPriority(ThreadPriority::TimeCritical)) return;
    Tracer::instance()->trace(kTraceWarning, "[AUDIO :: Warning] Startup error - Thread priority change failed");
    if (!platform::setCurrentThreadPriority(ThreadPriority::Highest)) {
        platform::setCurrentThreadPriority(ThreadPriority::AboveNormal);
    }
}

// A buffer not back within this time means the device hangs; the waits
// give up rather than hold the caller forever.
constexpr int kDoneWaitMs = 2000;

}  // namespace

void Audio::registerCallback(VoiceCallback callback) {
    mVoiceCallback = callback != nullptr ? callback : +[](const void*, int) {};
}

bool Audio::startRecordingThread() {
    auto thread = std::make_unique<platform::Thread>();
    if (!thread->createSuspended([this] { recordingThread(platform::currentThreadId()); })) return false;
    mRecordThreadId = thread->id();
    mRecordThread = std::move(thread);
    mRecordThread->resume();
    return true;
}

void Audio::endRecordingThread() {
    mRecordThreadId = 0;
    if (mRecordThread && !mRecordThread->isCurrent()) {
        mRecordThread->join();
        mRecordThread.reset();
    }
}

void Audio::recordingThread(std::uint32_t mine) {
    raiseRecordingPriority();
    Tracer* tracer = Tracer::instance();
    if (mRecordThreadId.load() != mine) {
        tracer->trace(kTraceStatus, "[AUDIO :: Thread] Thread terminated - Recording");
        return;
    }
    tracer->trace(kTraceDetail, "[AUDIO :: Thread] Thread started - ID [%04d]", static_cast<int>(mine));
    if (mWaveIn) mWaveIn->start();
    int queued = 0;
    auto ended = [&] { return mRecordThreadId.load() != mine || !mAlive.load(); };
    for (;;) {
        if (ended()) {
            tracer->trace(kTraceStatus, "[AUDIO :: Thread] Thread terminated - Recording");
            if (mWaveIn) mWaveIn->stop();
            mStopRecording = false;
            return;
        }
        if (!mRecording.load() || !mWaveIn) {
            platform::sleepMs(10);
            if (mStopRecording.load()) {
                tracer->trace(kTraceStatus, "[AUDIO :: Thread] Thread terminated - Recording ID %d",
                              static_cast<int>(mine));
                mStopRecording = false;
                return;
            }
            continue;
        }
        const int result = mWaveIn->write(mInHeaders[mInIndex]);
        if (deviceGone(result)) {
            replaceLostInput(mine);
            continue;
        }
        mInIndex = (mInIndex + 1) % kBuffers;
        ++queued;
        if (queued < kBuffers) continue;
        // Queue full: wait for whichever buffer the device hands back next.
        while (!mInHeaders[mInIndex].done.load() && !ended() && mWaveIn) {
            mInIndex = (mInIndex + 1) % kBuffers;
            platform::sleepMs(1);
        }
        mInHeaders[mInIndex].done = false;
        mInHeaders[mInIndex].bytesRecorded = 0;
        if (mWaveIn) traceXruns(*mWaveIn, mInXruns, "[AUDIO :: Warning] Input overruns [%u]", false);
    }
}

void Audio::replaceLostInput(std::uint32_t mine) {
    mInDeviceId = -1;
    if (!lockOrLeave(mRecordThreadId, mine)) return;
    releaseInHeaders();
    closeWaveIn();
    if (Wave_in_open_device(16, 8000, 1, 20) != 0) {
        // With no input left the thread ends at its next round.
        closeWaveIn();
        mRecordThreadId = 0;
        Tracer::instance()->trace(kTraceCritical,
                                  "[AUDIO :: CRITICAL ERROR] No Device Available in system - Wave_in_open_device");
    } else {
        mWaveIn->start();
    }
    mLock.unlock();
}

void Audio::onInputData(WaveHeader* header) {
    const std::uint32_t bytes = header->bytesRecorded.load();
    // A buffer handed back unfilled by a reset carries nothing to pass on.
    if (bytes == 0) return;
    applyGain(header->data, static_cast<int>(bytes), mMicLevel.load(), mMicStep.load());
    mVoiceCallback.load()(header->data, static_cast<int>(bytes));
}

int Audio::playVoice(const void* pcm, int bytes) {
    if (mStopRecording.load()) return 1;
    const auto limit = static_cast<int>(mOutBytes.load());
    if (bytes > limit) {
        Tracer::instance()->trace(
            kTraceDetail, "[AUDIO :: Warning] Data length exceeded buffer limits - Expected [%d], Requested [%d]",
            limit, bytes);
        bytes = limit;
    }
    if (pcm == nullptr || bytes <= 0) return 1;

    std::unique_lock<platform::RecursiveLock> out(mOutLock);
    if (!mWaveOut) return 1;
    WaveHeader& header = mOutHeaders[mOutIndex];
    // Five writes queue at once; each later one waits for its buffer to come
    // back. A buffer still out after the wait belongs to a hung device: the
    // frame is dropped.
    if (mOutWrites >= kBuffers) {
        for (int waited = 0; header.queued.load() && waited < kDoneWaitMs; ++waited) platform::sleepMs(1);
    }
    if (header.data == nullptr || header.queued.load()) return 1;
    // The caller's frame is const: the gain works on our copy of it.
    std::memcpy(header.data, pcm, static_cast<std::size_t>(bytes));
    applyGain(header.data, bytes, mSpeakerLevel.load(), mSpeakerStep.load());
    header.length = static_cast<std::uint32_t>(bytes);
    const int result = mWaveOut->write(header);
    if (deviceGone(result)) {
        mOutDeviceId = -1;
        out.unlock();
        replaceLostOutput();
        return 1;
    }
    mOutIndex = (mOutIndex + 1) % kBuffers;
    if (mOutWrites < kBuffers) ++mOutWrites;
    traceXruns(*mWaveOut, mOutXruns, "[AUDIO :: Warning] Output underruns [%u]", false);
    return 0;
}

void Audio::replaceLostOutput() {
    // mLock before mOutLock, as everywhere.
    platform::LockGuard lock(mLock);
    platform::LockGuard out(mOutLock);
    releaseOutHeaders();
    closeWaveOut();
    if (Wave_out_open_device(16, 8000, 1, 20) != 0) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[AUDIO :: CRITICAL ERROR] No Device Available in system - Wave_out_open_device");
    }
}
