// Virtual backend: sound devices with no hardware, paced by a clock. Output
// may be kept in memory; input comes from a source function or silence.
// Two environment variables reach them from outside the process, for a
// client with no sound card: SOFTPHONE_VIRTUAL_INPUT names a 16-bit PCM WAV
// file that the virtual microphones play in a loop, and
// SOFTPHONE_VIRTUAL_OUTPUT names a folder where each virtual output stream
// leaves what it played, as "<device>-<n>.wav", when it closes.
#include <atomic>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <iterator>
#include <mutex>

#include "platform/virtual_wave.h"

namespace platform {

namespace {

struct VirtualDevice {
    VirtualDevice(WaveDirection d, std::u16string n) : direction(d), name(std::move(n)) {}
    WaveDirection direction;
    std::u16string name;
    bool present = true;
    std::uint64_t generation = 0;  // rises at each pull
    std::vector<std::uint8_t> captured;
};

struct VirtualState {
    std::mutex mutex;
    std::vector<VirtualDevice> devices{{WaveDirection::Output, virtual_wave::kOutput},
                                       {WaveDirection::Output, virtual_wave::kHeadset},
                                       {WaveDirection::Input, virtual_wave::kInput},
                                       {WaveDirection::Input, virtual_wave::kHeadset}};
    const WaveClock* clock = nullptr;
    virtual_wave::Source source;
    bool capture = false;
};

VirtualState& state() {
    static VirtualState s;
    return s;
}

// The index-th present device of a direction, under the state's lock.
VirtualDevice* presentDevice(VirtualState& s, WaveDirection direction, int index) {
    int seen = 0;
    for (VirtualDevice& d : s.devices) {
        if (d.direction != direction || !d.present) continue;
        if (seen++ == index) return &d;
    }
    return nullptr;
}

std::uint32_t readLe(const std::vector<std::uint8_t>& bytes, std::size_t at, int count) {
    std::uint32_t value = 0;
    for (int i = 0; i < count; ++i) value |= std::uint32_t{bytes[at + static_cast<std::size_t>(i)]} << (8 * i);
    return value;
}

// The samples of a 16-bit PCM WAV file; empty for anything else. Every
// chunk size is checked against the file before it is used.
std::vector<std::int16_t> readPcm16File(const char* path) {
    std::ifstream in(path, std::ios::binary);
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 || std::memcmp(bytes.data() + 8, "WAVE", 4) != 0)
        return {};
    bool pcm16 = false;
    for (std::size_t at = 12; at + 8 <= bytes.size();) {
        const std::size_t size = readLe(bytes, at + 4, 4);
        if (size > bytes.size() - at - 8) return {};
        if (std::memcmp(bytes.data() + at, "fmt ", 4) == 0 && size >= 16) {
            pcm16 = readLe(bytes, at + 8, 2) == 1 && readLe(bytes, at + 22, 2) == 16;
        } else if (std::memcmp(bytes.data() + at, "data", 4) == 0 && pcm16) {
            std::vector<std::int16_t> samples(size / 2);
            for (std::size_t i = 0; i < samples.size(); ++i)
                samples[i] = static_cast<std::int16_t>(readLe(bytes, at + 8 + 2 * i, 2));
            return samples;
        }
        at += 8 + size + (size & 1);
    }
    return {};
}

void putLe(std::ofstream& out, std::uint32_t value, int bytes) {
    for (int i = 0; i < bytes; ++i) out.put(static_cast<char>((value >> (8 * i)) & 0xFF));
}

bool writeWav(const std::string& path, const WaveFormat& format, const std::vector<std::uint8_t>& data) {
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    if (!out) return false;
    const auto size = static_cast<std::uint32_t>(data.size());
    out.write("RIFF", 4);
    putLe(out, 36 + size + (size & 1), 4);
    out.write("WAVEfmt ", 8);
    putLe(out, 16, 4);
    putLe(out, format.formatTag, 2);
    putLe(out, format.channels, 2);
    putLe(out, format.samplesPerSec, 4);
    putLe(out, format.avgBytesPerSec, 4);
    putLe(out, format.blockAlign, 2);
    putLe(out, format.bitsPerSample, 2);
    out.write("data", 4);
    putLe(out, size, 4);
    out.write(reinterpret_cast<const char*>(data.data()), static_cast<std::streamsize>(data.size()));
    if (size & 1) out.put('\0');
    return static_cast<bool>(out);
}

std::string narrowName(const std::u16string& name) {
    std::string out;
    for (char16_t c : name) out += c < 0x80 ? static_cast<char>(c) : '_';
    return out;
}

class VirtualStream final : public WaveStream {
public:
    VirtualStream(VirtualDevice& device, const WaveClock& clock, WaveDirection direction, const WaveFormat& format,
                  WaveCallback callback, void* user)
        : WaveStream(direction, format, callback, user, clock, format.avgBytesPerSec / 50, 0),
          mDevice(device),
          mGeneration(device.generation) {
        if (direction == WaveDirection::Output) {
            if (const char* folder = std::getenv("SOFTPHONE_VIRTUAL_OUTPUT")) {
                static std::atomic<int> sStreams{0};
                mRecordPath = std::string(folder) + "/" + narrowName(device.name) + "-" +
                              std::to_string(sStreams.fetch_add(1) + 1) + ".wav";
            }
        } else if (const char* file = std::getenv("SOFTPHONE_VIRTUAL_INPUT")) {
            if (format.bitsPerSample == 16) mInputFile = readPcm16File(file);
        }
    }
    ~VirtualStream() override {
        close();
        if (!mRecordPath.empty()) writeWav(mRecordPath, format(), mRecorded);
    }

protected:
    Transfer transfer(char* data, std::uint32_t bytes) override {
        VirtualState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        if (!mDevice.present || mDevice.generation != mGeneration) return Transfer::Lost;
        if (direction() == WaveDirection::Output) {
            if (s.capture) mDevice.captured.insert(mDevice.captured.end(), data, data + bytes);
            if (!mRecordPath.empty()) mRecorded.insert(mRecorded.end(), data, data + bytes);
            return Transfer::Ok;
        }
        const std::size_t frames = bytes / format().blockAlign;
        if (!mInputFile.empty()) {
            auto* samples = reinterpret_cast<std::int16_t*>(data);
            for (std::size_t i = 0; i < bytes / 2; ++i) {
                samples[i] = mInputFile[mInputAt];
                mInputAt = (mInputAt + 1) % mInputFile.size();
            }
        } else if (format().bitsPerSample == 16 && s.source) {
            const std::size_t count = bytes / 2;
            if (mSamples.size() < count) mSamples.resize(count);  // once, at the first period
            s.source(mSamples.data(), count, mPosition);
            std::memcpy(data, mSamples.data(), count * 2);
        } else {
            std::memset(data, format().bitsPerSample == 8 ? 0x80 : 0, bytes);
        }
        mPosition += frames;
        return Transfer::Ok;
    }

private:
    VirtualDevice& mDevice;
    const std::uint64_t mGeneration;
    std::uint64_t mPosition = 0;
    std::vector<std::int16_t> mSamples;
    std::string mRecordPath;
    std::vector<std::uint8_t> mRecorded;
    std::vector<std::int16_t> mInputFile;
    std::size_t mInputAt = 0;
};

class VirtualBackend final : public WaveBackend {
public:
    std::vector<std::u16string> deviceNames(WaveDirection direction) override {
        VirtualState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        std::vector<std::u16string> names;
        for (const VirtualDevice& d : s.devices) {
            if (d.direction == direction && d.present) names.push_back(d.name);
        }
        return names;
    }

    bool hasDevice(WaveDirection direction, const std::u16string& name) override {
        VirtualState& s = state();
        std::lock_guard<std::mutex> lock(s.mutex);
        return namedDevice(s, direction, name) != nullptr;
    }

    std::string defaultName(WaveDirection direction) override {
        return narrowName(direction == WaveDirection::Output ? virtual_wave::kOutput : virtual_wave::kInput);
    }

    int open(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse,
             WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, std::string& failure) override {
        if (!isPlayablePcm(format)) {
            failure = "format not playable";
            return kWaveBadFormat;
        }
        VirtualState& s = state();
        std::unique_ptr<VirtualStream> stream;
        {
            std::lock_guard<std::mutex> lock(s.mutex);
            VirtualDevice* d = name.empty() ? presentDevice(s, direction, 0) : namedDevice(s, direction, name);
            if (d == nullptr) {
                failure = "unplugged";
                return kWaveBadDeviceId;
            }
            const WaveClock& clock = s.clock != nullptr ? *s.clock : systemWaveClock();
            stream = std::make_unique<VirtualStream>(*d, clock, direction, format, callback, user);
        }
        if (!stream->launch()) {
            failure = "no thread for the device";
            return kWaveNoMemory;
        }
        device = std::move(stream);
        return kWaveOk;
    }

private:
    static VirtualDevice* namedDevice(VirtualState& s, WaveDirection direction, const std::u16string& name) {
        for (VirtualDevice& d : s.devices) {
            if (d.direction == direction && d.present && d.name == name) return &d;
        }
        return nullptr;
    }
};

void setPresent(const std::u16string& name, bool present) {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (VirtualDevice& d : s.devices) {
        if (d.name != name || d.present == present) continue;
        d.present = present;
        if (!present) ++d.generation;
    }
}

}  // namespace

WaveBackend& virtualWaveBackend() {
    static VirtualBackend backend;
    return backend;
}

namespace virtual_wave {

void useClock(const WaveClock* clock) {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clock = clock;
}

void setInputSource(Source source) {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.source = std::move(source);
}

void captureOutput(bool on) {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.capture = on;
}

void clearCapture() {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (VirtualDevice& d : s.devices) d.captured.clear();
}

std::vector<std::uint8_t> capturedOutput(const std::u16string& device) {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    for (const VirtualDevice& d : s.devices) {
        if (d.direction == WaveDirection::Output && d.name == device) return d.captured;
    }
    return {};
}

bool writeCaptureWav(const std::u16string& device, const std::string& path, const WaveFormat& format) {
    return writeWav(path, format, capturedOutput(device));
}

void unplug(const std::u16string& device) {
    setPresent(device, false);
}

void plugIn(const std::u16string& device) {
    setPresent(device, true);
}

void restoreDefaults() {
    VirtualState& s = state();
    std::lock_guard<std::mutex> lock(s.mutex);
    s.clock = nullptr;
    s.source = nullptr;
    s.capture = false;
    for (VirtualDevice& d : s.devices) {
        d.present = true;
        d.captured.clear();
    }
}

}  // namespace virtual_wave

}  // namespace platform
