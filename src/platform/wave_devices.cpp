// The system's devices: the backends in use, merged into one numbering.
#include <mutex>

#include "platform/wave_device.h"

namespace platform {

namespace {

std::atomic<WaveBackendChoice> gChoice{WaveBackendChoice::Automatic};

// The backends in list order.
struct Backends {
    WaveBackend* items[2] = {};
    int count = 0;
};

Backends backendsInUse() {
    Backends b;
    WaveBackendChoice choice = gChoice.load();
    if (choice != WaveBackendChoice::Virtual) b.items[b.count++] = &alsaWaveBackend();
    if (choice != WaveBackendChoice::Alsa) b.items[b.count++] = &virtualWaveBackend();
    return b;
}

}  // namespace

void selectWaveBackend(WaveBackendChoice choice) {
    gChoice = choice;
}

WaveBackendChoice selectedWaveBackend() {
    return gChoice.load();
}

int waveDeviceCount(WaveDirection direction) {
    Backends b = backendsInUse();
    int n = 0;
    for (int i = 0; i < b.count; ++i) n += b.items[i]->deviceCount(direction);
    return n;
}

std::u16string waveDeviceName(WaveDirection direction, int index) {
    if (index < 0) return {};
    Backends b = backendsInUse();
    for (int i = 0; i < b.count; ++i) {
        int n = b.items[i]->deviceCount(direction);
        if (index < n) return b.items[i]->deviceName(direction, index);
        index -= n;
    }
    return {};
}

int waveOpen(WaveDirection direction, int deviceId, const WaveFormat& format, WaveCallback callback, void* user,
             std::unique_ptr<WaveDevice>& device) {
    Backends b = backendsInUse();
    if (deviceId < 0) {
        // The default: the first backend whose default opens, so that a
        // machine with no sound card still has a working device.
        int result = kWaveBadDeviceId;
        for (int i = 0; i < b.count; ++i) {
            result = b.items[i]->open(direction, -1, format, callback, user, device);
            if (result == kWaveOk) return result;
        }
        return result;
    }
    for (int i = 0; i < b.count; ++i) {
        int n = b.items[i]->deviceCount(direction);
        if (deviceId < n) return b.items[i]->open(direction, deviceId, format, callback, user, device);
        deviceId -= n;
    }
    return kWaveBadDeviceId;
}

}  // namespace platform
