// Wave devices: PCM streams opened with a format and a completion callback,
// fed with prepared buffers that come back marked done. Two backends stand
// behind one table of operations: ALSA and a virtual device paced by a clock.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>

namespace platform {

enum class WaveDirection { Output, Input };

// Results of the wave operations. The engine acts on 5 and 6: the device
// has gone away.
enum WaveResult : int {
    kWaveOk = 0,
    kWaveError = 1,
    kWaveBadDeviceId = 2,
    kWaveInvalidHandle = 5,
    kWaveNoDriver = 6,
    kWaveNoMemory = 7,
    kWaveBadFormat = 32,
    kWaveStillPlaying = 33,
    kWaveUnprepared = 34,
};

// Linear PCM only; extraSize is always 0.
struct WaveFormat {
    std::uint16_t formatTag = 0;
    std::uint16_t channels = 0;
    std::uint32_t samplesPerSec = 0;
    std::uint32_t avgBytesPerSec = 0;
    std::uint16_t blockAlign = 0;
    std::uint16_t bitsPerSample = 0;
    std::uint16_t extraSize = 0;
};

// Sensible PCM: tag 1, 8 or 16 bits, block align and rate consistent.
bool isPlayablePcm(const WaveFormat& format);
WaveFormat pcmFormat(int bits, int rate, int channels);

// One buffer handed to a device. The owner fills data and length; the device
// sets bytesRecorded (input) and the done mark when it is finished with it.
struct WaveHeader {
    char* data = nullptr;
    std::uint32_t length = 0;
    std::atomic<std::uint32_t> bytesRecorded{0};
    std::atomic<bool> done{false};
    std::atomic<bool> prepared{false};
    std::atomic<bool> queued{false};

    void clear() {
        data = nullptr;
        length = 0;
        bytesRecorded = 0;
        done = false;
        prepared = false;
        queued = false;
    }
};

enum class WaveMessage { Open, Close, Done, Data };

// Runs on the device's own thread, never after close() has returned.
using WaveCallback = void (*)(WaveMessage message, WaveHeader* header, void* user);

class WaveDevice {
public:
    virtual ~WaveDevice() = default;
    virtual int prepare(WaveHeader& header) = 0;
    virtual int unprepare(WaveHeader& header) = 0;
    // Output: queue for playing (playing starts at once). Input: queue for
    // filling once started. Buffers complete in the order queued.
    virtual int write(WaveHeader& header) = 0;
    virtual int start() = 0;
    virtual int stop() = 0;
    // Ends the stream and returns every queued buffer, marked done, before
    // it returns.
    virtual int reset() = 0;
    // Stops the device's thread; no callback runs after it returns.
    virtual int close() = 0;
    // Times the device starved (output) or overflowed (input) while it had
    // buffers to work on.
    virtual std::uint32_t xruns() const = 0;
};

// A backend: its device names and how to open them. Index -1 is the
// backend's default device.
class WaveBackend {
public:
    virtual ~WaveBackend() = default;
    virtual int deviceCount(WaveDirection direction) = 0;
    virtual std::u16string deviceName(WaveDirection direction, int index) = 0;
    virtual int open(WaveDirection direction, int index, const WaveFormat& format, WaveCallback callback, void* user,
                     std::unique_ptr<WaveDevice>& device) = 0;
};

// Names in device lists have room for 31 UTF-16 units and a terminator.
constexpr int kWaveNameUnits = 32;

// The system's devices: every backend in use, numbered from 0 in one list.
// Device id -1 is the system default, which falls back on the virtual
// device when no sound card answers.
int waveDeviceCount(WaveDirection direction);
std::u16string waveDeviceName(WaveDirection direction, int index);
int waveOpen(WaveDirection direction, int deviceId, const WaveFormat& format, WaveCallback callback, void* user,
             std::unique_ptr<WaveDevice>& device);

// Which backends are in use. Automatic: ALSA devices then the virtual ones,
// the default on ALSA when it opens. The others restrict to one backend.
enum class WaveBackendChoice { Automatic, Alsa, Virtual };
void selectWaveBackend(WaveBackendChoice choice);
WaveBackendChoice selectedWaveBackend();
// The ALSA device name that stands for the system default ("default").
void setAlsaDefaultDevice(const std::string& name);

WaveBackend& alsaWaveBackend();
WaveBackend& virtualWaveBackend();

}  // namespace platform
