// ALSA backend: devices from the PCM name hints, blocking reads and writes
// of one period on the device's own thread.
#include <alsa/asoundlib.h>

#include <cerrno>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wave_stream.h"

namespace platform {

namespace {

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

std::vector<std::string> pcmNames(WaveDirection direction) {
    installQuietErrors();
    std::vector<std::string> names;
    void** hints = nullptr;
    if (snd_device_name_hint(-1, "pcm", &hints) < 0 || hints == nullptr) return names;
    const char* wanted = direction == WaveDirection::Output ? "Output" : "Input";
    for (void** hint = hints; *hint != nullptr; ++hint) {
        char* name = snd_device_name_get_hint(*hint, "NAME");
        char* ioid = snd_device_name_get_hint(*hint, "IOID");
        // No IOID means the device works both ways.
        if (name != nullptr && (ioid == nullptr || std::string(ioid) == wanted) && isListedPcm(name)) {
            names.emplace_back(name);
        }
        std::free(name);
        std::free(ioid);
    }
    snd_device_name_free_hint(hints);
    return names;
}

std::u16string listName(const std::string& name) {
    // PCM names are ASCII; the list has room for 31 units.
    std::u16string out;
    for (char c : name) {
        if (out.size() == kWaveNameUnits - 1) break;
        out.push_back(static_cast<unsigned char>(c) < 0x80 ? static_cast<char16_t>(c) : u'?');
    }
    return out;
}

std::mutex gDefaultMutex;
std::string gDefaultName = "default";

bool isDeviceGone(long error) {
    return error == -ENODEV || error == -ENXIO || error == -EBADFD || error == -ESHUTDOWN;
}

class AlsaStream final : public WaveStream {
public:
    AlsaStream(snd_pcm_t* pcm, WaveDirection direction, const WaveFormat& format, WaveCallback callback, void* user,
               std::uint32_t periodBytes, std::uint64_t bufferUs)
        : WaveStream(direction, format, callback, user, systemWaveClock(), periodBytes, bufferUs), mPcm(pcm) {}
    ~AlsaStream() override { close(); }

protected:
    Transfer transfer(char* data, std::uint32_t bytes) override {
        snd_pcm_uframes_t frames = bytes / format().blockAlign;
        bool retried = false;
        while (frames > 0) {
            snd_pcm_sframes_t n = direction() == WaveDirection::Output ? snd_pcm_writei(mPcm, data, frames)
                                                                       : snd_pcm_readi(mPcm, data, frames);
            if (n >= 0) {
                mWasIdle = false;
                frames -= static_cast<snd_pcm_uframes_t>(n);
                data += n * format().blockAlign;
                continue;
            }
            if (isDeviceGone(n)) return Transfer::Lost;
            // A stream that ran dry while nothing was queued is not an underrun.
            if (n == -EPIPE && !mWasIdle) countXrun();
            if (retried || snd_pcm_recover(mPcm, static_cast<int>(n), 1) < 0) return Transfer::Lost;
            retried = true;
        }
        return Transfer::Ok;
    }

    void halted() override {
        mWasIdle = true;
        // Playback keeps what it holds and drains on its own; a stopped
        // capture drops it and is prepared again by the next read.
        if (direction() == WaveDirection::Input) {
            snd_pcm_drop(mPcm);
            snd_pcm_prepare(mPcm);
        }
    }

    void release() override {
        if (mPcm != nullptr) {
            snd_pcm_close(mPcm);
            mPcm = nullptr;
        }
    }

private:
    snd_pcm_t* mPcm;
    bool mWasIdle = true;
};

class AlsaBackend final : public WaveBackend {
public:
    int deviceCount(WaveDirection direction) override { return static_cast<int>(pcmNames(direction).size()); }

    std::u16string deviceName(WaveDirection direction, int index) override {
        std::vector<std::string> names = pcmNames(direction);
        if (index < 0 || index >= static_cast<int>(names.size())) return {};
        return listName(names[static_cast<std::size_t>(index)]);
    }

    int open(WaveDirection direction, int index, const WaveFormat& format, WaveCallback callback, void* user,
             std::unique_ptr<WaveDevice>& device) override {
        installQuietErrors();
        if (!isPlayablePcm(format)) return kWaveBadFormat;
        std::string name;
        if (index < 0) {
            std::lock_guard<std::mutex> lock(gDefaultMutex);
            name = gDefaultName;
        } else {
            std::vector<std::string> names = pcmNames(direction);
            if (index >= static_cast<int>(names.size())) return kWaveBadDeviceId;
            name = names[static_cast<std::size_t>(index)];
        }
        snd_pcm_t* pcm = nullptr;
        auto stream = direction == WaveDirection::Output ? SND_PCM_STREAM_PLAYBACK : SND_PCM_STREAM_CAPTURE;
        if (snd_pcm_open(&pcm, name.c_str(), stream, 0) < 0) return kWaveBadDeviceId;
        const snd_pcm_format_t sampleFormat = format.bitsPerSample == 8 ? SND_PCM_FORMAT_U8 : SND_PCM_FORMAT_S16_LE;
        constexpr unsigned kLatencyUs = 80000;  // four periods of 20 ms
        if (snd_pcm_set_params(pcm, sampleFormat, SND_PCM_ACCESS_RW_INTERLEAVED, format.channels, format.samplesPerSec,
                               1, kLatencyUs) < 0) {
            snd_pcm_close(pcm);
            return kWaveBadFormat;
        }
        snd_pcm_uframes_t bufferFrames = 0;
        snd_pcm_uframes_t periodFrames = 0;
        if (snd_pcm_get_params(pcm, &bufferFrames, &periodFrames) < 0 || periodFrames == 0) {
            periodFrames = format.samplesPerSec / 50;
            bufferFrames = periodFrames * 4;
        }
        // Playback may run ahead by what the device holds; a capture that
        // returns sooner than real time (a device with no clock) is held back.
        const std::uint64_t bufferUs = direction == WaveDirection::Output
                                           ? static_cast<std::uint64_t>(bufferFrames) * 1000000u / format.samplesPerSec
                                           : 0;
        auto opened =
            std::make_unique<AlsaStream>(pcm, direction, format, callback, user,
                                         static_cast<std::uint32_t>(periodFrames * format.blockAlign), bufferUs);
        if (!opened->launch()) return kWaveNoMemory;
        device = std::move(opened);
        return kWaveOk;
    }
};

}  // namespace

void setAlsaDefaultDevice(const std::string& name) {
    std::lock_guard<std::mutex> lock(gDefaultMutex);
    gDefaultName = name.empty() ? "default" : name;
}

WaveBackend& alsaWaveBackend() {
    static AlsaBackend backend;
    return backend;
}

}  // namespace platform
