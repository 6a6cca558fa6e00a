// ALSA backend: devices from the PCM name hints, blocking reads and writes
// of one period on the device's own thread. Opens run on a helper thread
// of their own, so that a device whose open hangs can't hold the caller.
#include <alsa/asoundlib.h>
#include <dlfcn.h>

#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <mutex>
#include <string>
#include <system_error>
#include <thread>
#include <vector>

#include "platform/posix/wave_alsa_names.h"
#include "platform/wave_stream.h"

namespace platform {

namespace {

// How long one device may take to open and take its format. A start opens
// at most four devices (a chosen one and the default, each way), and a
// device still opening from before is not waited for again: start stays
// under two seconds.
constexpr auto kOpenBound = std::chrono::milliseconds(450);
// Voice: the silence ahead of the first frame, in periods; a client's frame
// may come this late without a gap.
constexpr unsigned kVoiceCushionPeriods = 3;
// How long a write waits for room at a time before it looks for a stop.
constexpr int kRoomWaitMs = 5;
// A voice stream fed again within this time after it ran dry has
// underrun; after a longer pause the client had simply stopped.
constexpr std::uint64_t kVoicePauseUs = 1000000;

// ALSA prints its complaints to stderr by default; a library must not.
void quietAlsaErrors(const char*, int, const char*, int, const char*, ...) {}

void installQuietErrors() {
    static std::once_flag once;
    std::call_once(once, [] { snd_lib_error_set_handler(quietAlsaErrors); });
}

// Hints that are plugins over another device, or surround layouts a voice
// stream has no use for.
bool isListedPcm(const std::string& name) {
    static const char* const skipped[] = {
        "default",    "sysdefault", "front:", "rear:", "center_lfe:", "side:", "surround", "iec958:",
        "hdmi:",      "dmix",       "dsnoop", "hw:",   "usbstream:",  "upmix", "vdownmix", "lavrate",
        "samplerate", "speexrate",  "jack",   "oss",   "speex",       "a52"};
    for (const char* prefix : skipped) {
        if (name.rfind(prefix, 0) == 0) return false;
    }
    return !name.empty();
}

// One scan of ALSA's hints: the PCM names of both directions.
struct PcmNames {
    std::vector<std::string> output;
    std::vector<std::string> input;
};

PcmNames scanPcmNames() {
    installQuietErrors();
    PcmNames names;
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0 || hints == nullptr) return names;
    for (void** hint = hints; *hint != nullptr; ++hint) {
        char* name = snd_device_name_get_hint(*hint, "NAME");
        char* ioid = snd_device_name_get_hint(*hint, "IOID");
        // No IOID means the device works both ways.
        if (name != nullptr && isListedPcm(name)) {
            if (ioid == nullptr || std::string(ioid) == "Output") names.output.emplace_back(name);
            if (ioid == nullptr || std::string(ioid) == "Input") names.input.emplace_back(name);
        }
        std::free(name);
        std::free(ioid);
    }
    snd_device_name_free_hint(hints);
    return names;
}

std::string errorText(int error) {
    return snd_strerror(error);
}

bool isDeviceGone(long error) {
    return error == -ENODEV || error == -ENXIO || error == -EBADFD || error == -ESHUTDOWN;
}

// A PCM opened and set to the format, with its period and buffer.
struct ConfiguredPcm {
    snd_pcm_t* pcm = nullptr;
    snd_pcm_uframes_t periodFrames = 0;
    snd_pcm_uframes_t bufferFrames = 0;
};

// Opens without waiting for a busy device, then works blocking; the format
// at 20 ms periods in an 80 ms buffer. An output starts once a period is
// in; a capture at its first read.
int openConfigured(const std::string& name, WaveDirection direction, const WaveFormat& format, ConfiguredPcm& out,
                   std::string& failure) {
    const auto stream = direction == WaveDirection::Output ? SND_PCM_STREAM_PLAYBACK : SND_PCM_STREAM_CAPTURE;
    snd_pcm_t* pcm = nullptr;
    int err = snd_pcm_open(&pcm, name.c_str(), stream, SND_PCM_NONBLOCK);
    if (err < 0) {
        failure = errorText(err);
        return kWaveBadDeviceId;
    }
    const snd_pcm_format_t sampleFormat = format.bitsPerSample == 8 ? SND_PCM_FORMAT_U8 : SND_PCM_FORMAT_S16_LE;
    constexpr unsigned kLatencyUs = 80000;  // four periods of 20 ms
    snd_pcm_uframes_t bufferFrames = 0;
    snd_pcm_uframes_t periodFrames = 0;
    snd_pcm_sw_params_t* sw = nullptr;
    if ((err = snd_pcm_nonblock(pcm, 0)) < 0 ||
        (err = snd_pcm_set_params(pcm, sampleFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.channels,
                                  format.samplesPerSec, 1, kLatencyUs)) < 0 ||
        (err = snd_pcm_get_params(pcm, &bufferFrames, &periodFrames)) < 0 || periodFrames == 0 ||
        (err = snd_pcm_sw_params_malloc(&sw)) < 0) {
        failure = err < 0 ? errorText(err) : "no period size";
        snd_pcm_close(pcm);
        return kWaveBadFormat;
    }
    const snd_pcm_uframes_t threshold = direction == WaveDirection::Output ? periodFrames : 1;
    if ((err = snd_pcm_sw_params_current(pcm, sw)) < 0 ||
        (err = snd_pcm_sw_params_set_start_threshold(pcm, sw, threshold)) < 0 ||
        (err = snd_pcm_sw_params_set_avail_min(pcm, sw, periodFrames)) < 0 || (err = snd_pcm_sw_params(pcm, sw)) < 0) {
        snd_pcm_sw_params_free(sw);
        failure = errorText(err);
        snd_pcm_close(pcm);
        return kWaveBadFormat;
    }
    snd_pcm_sw_params_free(sw);
    out.pcm = pcm;
    out.periodFrames = periodFrames;
    out.bufferFrames = bufferFrames;
    return kWaveOk;
}

// One open on its helper thread. The thread owns a share of this and
// touches nothing else, so that an open given up on can end whenever the
// device lets it, and closes what it opened.
struct PendingOpen {
    std::mutex mutex;
    std::condition_variable finishedCv;
    bool finished = false;
    bool abandoned = false;
    std::string name;
    int result = kWaveError;
    std::string failure;
    ConfiguredPcm configured;
};

// Opens given up on, until their threads end.
class AbandonedOpens {
public:
    ~AbandonedOpens() {
        // At unload: the finished ones are joined; one still stuck in the
        // device can only be let go.
        std::lock_guard<std::mutex> lock(mMutex);
        for (Entry& e : mEntries) {
            if (isFinished(*e.open)) {
                e.thread.join();
            } else {
                e.thread.detach();
            }
        }
    }

    void add(std::shared_ptr<PendingOpen> open, std::thread thread) {
        std::lock_guard<std::mutex> lock(mMutex);
        mEntries.push_back({std::move(open), std::move(thread)});
    }

    // Joins the threads that have ended; true when `name` is still opening.
    bool reapAndCheck(const std::string& name) {
        std::lock_guard<std::mutex> lock(mMutex);
        bool busy = false;
        for (auto it = mEntries.begin(); it != mEntries.end();) {
            if (isFinished(*it->open)) {
                it->thread.join();
                it = mEntries.erase(it);
                continue;
            }
            busy = busy || it->open->name == name;
            ++it;
        }
        return busy;
    }

    bool settle(int timeoutMs) {
        const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
        for (;;) {
            std::shared_ptr<PendingOpen> waiting;
            {
                std::lock_guard<std::mutex> lock(mMutex);
                if (mEntries.empty()) return true;
                waiting = mEntries.front().open;
            }
            {
                std::unique_lock<std::mutex> lock(waiting->mutex);
                if (!waiting->finishedCv.wait_until(lock, end, [&] { return waiting->finished; })) return false;
            }
            reapAndCheck({});
        }
    }

private:
    struct Entry {
        std::shared_ptr<PendingOpen> open;
        std::thread thread;
    };
    static bool isFinished(PendingOpen& open) {
        std::lock_guard<std::mutex> lock(open.mutex);
        return open.finished;
    }
    std::mutex mMutex;
    std::vector<Entry> mEntries;
};

AbandonedOpens& abandonedOpens() {
    static AbandonedOpens opens;
    return opens;
}

// An open still stuck when the sound engine shuts down leaves its thread
// inside this library's code until the device answers, which may be never.
// From then on the library stays
// loaded for the life of the process, so that an unload can't take the code
// from under that thread.
void keepLibraryLoaded() {
    static std::once_flag once;
    std::call_once(once, [] {
        Dl_info info{};
        if (dladdr(reinterpret_cast<void*>(&keepLibraryLoaded), &info) != 0 && info.dli_fname != nullptr) {
            dlopen(info.dli_fname, RTLD_NOW | RTLD_NOLOAD | RTLD_NODELETE);
        }
    });
}

// Opens `name` on a helper thread and waits for it within kOpenBound.
int openBounded(const std::string& name, WaveDirection direction, const WaveFormat& format, ConfiguredPcm& out,
                std::string& failure) {
    if (abandonedOpens().reapAndCheck(name)) {
        failure = "still opening from an earlier attempt";
        return kWaveBadDeviceId;
    }
    auto pending = std::make_shared<PendingOpen>();
    pending->name = name;
    std::thread thread;
    try {
        thread = std::thread([pending, direction, format] {
            ConfiguredPcm configured;
            std::string why;
            const int result = openConfigured(pending->name, direction, format, configured, why);
            std::lock_guard<std::mutex> lock(pending->mutex);
            pending->finished = true;
            pending->result = result;
            pending->failure = why;
            if (pending->abandoned) {
                // Nobody waits for it any more.
                if (configured.pcm != nullptr) snd_pcm_close(configured.pcm);
            } else {
                pending->configured = configured;
            }
            pending->finishedCv.notify_all();
        });
    } catch (const std::system_error&) {
        failure = "no thread to open it";
        return kWaveNoMemory;
    }
    bool finished = false;
    {
        std::unique_lock<std::mutex> lock(pending->mutex);
        finished = pending->finishedCv.wait_for(lock, kOpenBound, [&] { return pending->finished; });
        if (!finished) pending->abandoned = true;
    }
    if (!finished) {
        abandonedOpens().add(pending, std::move(thread));
        failure = "no answer within " + std::to_string(kOpenBound.count()) + " ms";
        return kWaveBadDeviceId;
    }
    thread.join();
    if (pending->result != kWaveOk) {
        failure = pending->failure;
        return pending->result;
    }
    out = pending->configured;
    return kWaveOk;
}

class AlsaStream final : public WaveStream {
public:
    AlsaStream(snd_pcm_t* pcm, WaveDirection direction, const WaveFormat& format, WaveUse use, WaveCallback callback,
               void* user, std::uint32_t periodBytes, std::uint64_t bufferUs)
        : WaveStream(direction, format, callback, user, systemWaveClock(), periodBytes, bufferUs),
          mPcm(pcm),
          mUse(use),
          mPeriodFrames(periodBytes / format.blockAlign) {}
    ~AlsaStream() override { close(); }

protected:
    Transfer transfer(char* data, std::uint32_t bytes) override {
        if (direction() == WaveDirection::Output && mUse == WaveUse::Voice &&
            snd_pcm_state(mPcm) == SND_PCM_STATE_PREPARED && !writeCushion()) {
            return Transfer::Lost;
        }
        snd_pcm_uframes_t frames = bytes / format().blockAlign;
        // A running output is written only once it has room for the whole
        // chunk, so that a stop waiting for this thread is heard at once
        // rather than after a blocked write.
        while (direction() == WaveDirection::Output && snd_pcm_state(mPcm) == SND_PCM_STATE_RUNNING) {
            const snd_pcm_sframes_t avail = snd_pcm_avail_update(mPcm);
            if (avail < 0 || static_cast<snd_pcm_uframes_t>(avail) >= frames) break;
            if (interrupted()) return Transfer::Interrupted;
            snd_pcm_wait(mPcm, kRoomWaitMs);
        }
        bool retried = false;
        while (frames > 0) {
            snd_pcm_sframes_t n = direction() == WaveDirection::Output ? snd_pcm_writei(mPcm, data, frames)
                                                                       : snd_pcm_readi(mPcm, data, frames);
            if (n >= 0) {
                mWasIdle = false;
                mLastMovedUs = systemWaveClock().nowUs();
                frames -= static_cast<snd_pcm_uframes_t>(n);
                data += n * format().blockAlign;
                continue;
            }
            if (isDeviceGone(n)) return Transfer::Lost;
            if (n == -EPIPE && isXrun()) countXrun();
            if (retried || snd_pcm_recover(mPcm, static_cast<int>(n), 1) < 0) return Transfer::Lost;
            retried = true;
            if (direction() == WaveDirection::Output && mUse == WaveUse::Voice && !writeCushion()) {
                return Transfer::Lost;
            }
        }
        return Transfer::Ok;
    }

    void halted(bool discard) override {
        mWasIdle = true;
        if (discard || direction() == WaveDirection::Input) {
            // Silence at once: what the device still holds is dropped.
            snd_pcm_drop(mPcm);
            snd_pcm_prepare(mPcm);
            return;
        }
        // The last frames are in. A sound shorter than the start threshold
        // would wait in the device for ever: it starts now.
        if (snd_pcm_state(mPcm) == SND_PCM_STATE_PREPARED) snd_pcm_start(mPcm);
    }

    void release() override {
        if (mPcm != nullptr) {
            snd_pcm_close(mPcm);
            mPcm = nullptr;
        }
    }

private:
    // Whether a device that ran dry (or a capture that overflowed) was a
    // fault: a sound ending, or a client that had stopped feeding voice, is
    // not.
    bool isXrun() const {
        if (direction() == WaveDirection::Output && mUse == WaveUse::Voice) {
            return systemWaveClock().nowUs() - mLastMovedUs < kVoicePauseUs;
        }
        return !mWasIdle;
    }

    bool writeCushion() {
        if (mSilence.empty())
            mSilence.assign(static_cast<std::size_t>(mPeriodFrames) * format().blockAlign,
                            format().bitsPerSample == 8 ? char(0x80) : char(0));
        for (unsigned i = 0; i < kVoiceCushionPeriods; ++i) {
            const snd_pcm_sframes_t n = snd_pcm_writei(mPcm, mSilence.data(), mPeriodFrames);
            if (n < 0 && (isDeviceGone(n) || snd_pcm_recover(mPcm, static_cast<int>(n), 1) < 0)) return false;
        }
        return true;
    }

    snd_pcm_t* mPcm;
    const WaveUse mUse;
    const snd_pcm_uframes_t mPeriodFrames;
    bool mWasIdle = true;
    std::uint64_t mLastMovedUs = 0;
    std::vector<char> mSilence;
};

std::mutex gDefaultMutex;
std::string gDefaultName = "default";

class AlsaBackend final : public WaveBackend {
public:
    std::vector<std::u16string> deviceNames(WaveDirection direction) override {
        PcmNames scanned = scanPcmNames();
        std::vector<std::string>& alsa = direction == WaveDirection::Output ? scanned.output : scanned.input;
        std::vector<std::u16string> listed = alsaListNames(alsa);
        std::lock_guard<std::mutex> lock(mMutex);
        Known& known = direction == WaveDirection::Output ? mOutput : mInput;
        known.listed = listed;
        known.alsa = std::move(alsa);
        return listed;
    }

    bool hasDevice(WaveDirection direction, const std::u16string& name) override {
        return !alsaName(direction, name).empty();
    }

    std::string defaultName(WaveDirection) override {
        std::lock_guard<std::mutex> lock(gDefaultMutex);
        return gDefaultName;
    }

    int open(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse use,
             WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, std::string& failure) override {
        installQuietErrors();
        if (!isPlayablePcm(format)) {
            failure = "format not playable";
            return kWaveBadFormat;
        }
        const std::string pcmName = name.empty() ? defaultName(direction) : alsaName(direction, name);
        if (pcmName.empty()) {
            failure = "not among ALSA's devices";
            return kWaveBadDeviceId;
        }
        ConfiguredPcm configured;
        const int result = openBounded(pcmName, direction, format, configured, failure);
        if (result != kWaveOk) return result;
        // Playback may run ahead by what the device holds; a capture that
        // returns sooner than real time (a device with no clock) is held back.
        const std::uint64_t bufferUs =
            direction == WaveDirection::Output
                ? static_cast<std::uint64_t>(configured.bufferFrames) * 1000000u / format.samplesPerSec
                : 0;
        auto opened = std::make_unique<AlsaStream>(
            configured.pcm, direction, format, use, callback, user,
            static_cast<std::uint32_t>(configured.periodFrames * format.blockAlign), bufferUs);
        if (!opened->launch()) {
            failure = "no thread for the device";
            return kWaveNoMemory;
        }
        device = std::move(opened);
        return kWaveOk;
    }

private:
    // The list names of the last scan and the ALSA names they stand for.
    struct Known {
        std::vector<std::u16string> listed;
        std::vector<std::string> alsa;
    };

    std::string alsaName(WaveDirection direction, const std::u16string& name) {
        std::lock_guard<std::mutex> lock(mMutex);
        const Known& known = direction == WaveDirection::Output ? mOutput : mInput;
        for (std::size_t i = 0; i < known.listed.size(); ++i) {
            if (known.listed[i] == name) return known.alsa[i];
        }
        return {};
    }

    std::mutex mMutex;
    Known mOutput;
    Known mInput;
};

}  // namespace

void setAlsaDefaultDevice(const std::string& name) {
    std::lock_guard<std::mutex> lock(gDefaultMutex);
    gDefaultName = name.empty() ? "default" : name;
}

bool settleWaveOpens(int timeoutMs) {
    if (abandonedOpens().settle(timeoutMs)) return true;
    keepLibraryLoaded();
    return false;
}

WaveBackend& alsaWaveBackend() {
    static AlsaBackend backend;
    return backend;
}

WaveBackend& systemWaveBackend() {
    return alsaWaveBackend();
}

}  // namespace platform
