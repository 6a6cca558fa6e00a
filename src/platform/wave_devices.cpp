// The system's devices: the backends in use, merged into one list.
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
    if (choice != WaveBackendChoice::Virtual) b.items[b.count++] = &systemWaveBackend();
    if (choice != WaveBackendChoice::Alsa) b.items[b.count++] = &virtualWaveBackend();
    return b;
}

std::string narrow(const std::u16string& text) {
    std::string out;
    for (char16_t c : text) out.push_back(c < 0x80 ? static_cast<char>(c) : '?');
    return out;
}

}  // namespace

void selectWaveBackend(WaveBackendChoice choice) {
    gChoice = choice;
}

WaveBackendChoice selectedWaveBackend() {
    return gChoice.load();
}

std::vector<std::u16string> waveDeviceNames(WaveDirection direction) {
    std::vector<std::u16string> names;
    Backends b = backendsInUse();
    for (int i = 0; i < b.count; ++i) {
        std::vector<std::u16string> more = b.items[i]->deviceNames(direction);
        names.insert(names.end(), more.begin(), more.end());
    }
    return names;
}

int waveOpen(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse use,
             WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, WaveOpenReport& report) {
    report = {};
    Backends b = backendsInUse();
    int result = kWaveBadDeviceId;
    std::string failure;
    if (!name.empty()) {
        failure = "not among the system's devices";
        for (int i = 0; i < b.count; ++i) {
            if (!b.items[i]->hasDevice(direction, name)) continue;
            failure.clear();
            result = b.items[i]->open(direction, name, format, use, callback, user, device, failure);
            if (result == kWaveOk) {
                report.device = narrow(name);
                return result;
            }
            break;
        }
        report.failures.push_back({narrow(name), failure});
    }
    // The default: the first backend whose default opens, so that a
    // machine with no sound card still has a working device.
    for (int i = 0; i < b.count; ++i) {
        failure.clear();
        result = b.items[i]->open(direction, {}, format, use, callback, user, device, failure);
        if (result == kWaveOk) {
            report.device = b.items[i]->defaultName(direction);
            return result;
        }
        report.failures.push_back({b.items[i]->defaultName(direction), failure});
    }
    return result;
}

}  // namespace platform
