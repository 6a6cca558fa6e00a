// Wave devices: PCM streams opened with a format and a completion callback,
// fed with prepared buffers that come back marked done. Two backends stand
// behind one table of operations: ALSA and a virtual device paced by a clock.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

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

// What a stream carries, which decides how its device starts. Voice is a
// stream of frames from a client that paces it: the device starts with a
// cushion of silence ahead of the first frame, so that a late frame is not
// heard as a gap, and a device that runs dry while frames keep coming has
// underrun. A sound is whole: its device starts as soon as a period is
// queued or the sound's last frames are in, and running dry after the last
// frames is its end, not an underrun.
enum class WaveUse { Voice, Sound };

// A backend: its device names and how to open them. The empty name is the
// backend's default device.
class WaveBackend {
public:
    virtual ~WaveBackend() = default;
    // The list names of the devices of a direction, each unique, read from
    // the system once per call.
    virtual std::vector<std::u16string> deviceNames(WaveDirection direction) = 0;
    // Whether `name` is one of the devices the last deviceNames() call gave.
    virtual bool hasDevice(WaveDirection direction, const std::u16string& name) = 0;
    // How the default device is named in traces.
    virtual std::string defaultName(WaveDirection direction) = 0;
    // Opens within a bounded time; on failure `failure` says why.
    virtual int open(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse use,
                     WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, std::string& failure) = 0;
};

// Names in device lists have room for 31 UTF-16 units and a terminator.
constexpr int kWaveNameUnits = 32;

// What an open tried: the devices that failed, with why, and the one in use
// (empty when none opened).
struct WaveOpenReport {
    struct Failure {
        std::string device;
        std::string reason;
    };
    std::vector<Failure> failures;
    std::string device;
};

// The system's devices: every backend in use, in one list, one read of each
// backend per call.
std::vector<std::u16string> waveDeviceNames(WaveDirection direction);
// Opens the device of that list name; the empty name is the system default.
// A named device that fails falls back on the default, and a default that
// fails on the next backend's (the virtual device when no sound card
// answers); `report` tells what failed and what is in use.
int waveOpen(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse use,
             WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, WaveOpenReport& report);
// Waits up to `timeoutMs` for opens given up on as too slow to end in the
// background; true when none is left.
bool settleWaveOpens(int timeoutMs);

// Which backends are in use. Automatic: the system's devices then the
// virtual ones, the default on the system's when it opens. The others
// restrict to one backend; Alsa names the system's backend, whichever it is.
enum class WaveBackendChoice { Automatic, Alsa, Virtual };
void selectWaveBackend(WaveBackendChoice choice);
WaveBackendChoice selectedWaveBackend();
// The ALSA device name that stands for the system default ("default").
void setAlsaDefaultDevice(const std::string& name);

WaveBackend& alsaWaveBackend();
WaveBackend& virtualWaveBackend();
// The sound system of the machine: ALSA on Linux, the wave devices on
// Windows.
WaveBackend& systemWaveBackend();

}  // namespace platform
