// Audio: which device serves which role, and how loud each stream is.
#include <cstdlib>
#include <cstring>

#include "audio/audio.h"
#include "common/settings_store.h"

using platform::WaveDirection;

namespace {

bool sameName(const Audio::DeviceName& entry, const char16_t* name) {
    for (std::size_t i = 0; i < entry.size(); ++i) {
        if (entry[i] != name[i]) return false;
        if (name[i] == u'\0') return true;
    }
    return name[entry.size() - 1] == u'\0';
}

Audio::DeviceName toDeviceName(const std::u16string& text) {
    Audio::DeviceName name{};
    for (std::size_t i = 0; i < text.size() && i + 1 < name.size(); ++i) name[i] = text[i];
    return name;
}

// A value the store lacks is written as "System Default" and read as such.
Audio::DeviceName storedChoice(const char16_t* valueName) {
    Audio::DeviceName name{};
    if (!readSettingW(Audio::kSettingsKey, valueName, name.data(), name.size())) {
        writeSettingW(Audio::kSettingsKey, valueName, Audio::kSystemDefault);
        name = toDeviceName(Audio::kSystemDefault);
    }
    return name;
}

void setVolume(std::atomic<int>& level, std::atomic<float>& step, float defaultStep, int newLevel, float newStep) {
    if (newLevel >= 0) level = newLevel;
    if (newStep > 0.0f) {
        step = newStep;
    } else if (newStep == 0.0f) {
        step = defaultStep;
    }
}

}  // namespace

void Audio::buildDeviceList(WaveDirection direction, std::vector<DeviceName>& list) {
    // One read of the system's devices for the whole list.
    const std::vector<std::u16string> names = platform::waveDeviceNames(direction);
    list.assign(names.size() + 1, DeviceName{});
    list[0] = toDeviceName(kSystemDefault);
    for (std::size_t i = 0; i < names.size(); ++i) list[i + 1] = toDeviceName(names[i]);
}

void Audio::readDeviceChoices() {
    const DeviceName output = storedChoice(kOutputDevice);
    const DeviceName file = storedChoice(kPlayFileDevice);
    const DeviceName input = storedChoice(kInputDevice);

    buildDeviceList(WaveDirection::Input, mInDevices);
    mInDeviceId = -1;
    if (mInDevices.size() >= 2) {
        for (std::size_t i = 0; i < mInDevices.size(); ++i) {
            if (sameName(mInDevices[i], input.data())) {
                mInDeviceId = static_cast<int>(i) - 1;
                break;
            }
        }
    }

    buildDeviceList(WaveDirection::Output, mOutDevices);
    mOutDeviceId = -1;
    mFile.mDeviceId = -1;
    mTone.mDeviceId = -1;
    if (mOutDevices.size() >= 2) {
        // The whole list is searched: with equal names the last one serves.
        for (std::size_t i = 0; i < mOutDevices.size(); ++i) {
            if (sameName(mOutDevices[i], output.data())) {
                mOutDeviceId = static_cast<int>(i) - 1;
                mTone.mDeviceId = static_cast<int>(i) - 1;
            }
            if (sameName(mOutDevices[i], file.data())) mFile.mDeviceId = static_cast<int>(i) - 1;
        }
    }
}

void Audio::validateDevice(std::atomic<int>& deviceId, const std::vector<DeviceName>& list, const char16_t* valueName) {
    const int id = deviceId.load();
    if (id == -1 || static_cast<unsigned>(id) >= list.size()) return;
    DeviceName stored{};
    if (!readSettingW(kSettingsKey, valueName, stored.data(), stored.size())) {
        // With no store to write to, the choice made in memory stands.
        if (writeSettingW(kSettingsKey, valueName, kSystemDefault)) deviceId = -1;
        return;
    }
    // The stored name outranks the number.
    for (std::size_t i = 1; i < list.size(); ++i) {
        if (sameName(list[i], stored.data())) {
            deviceId = static_cast<int>(i) - 1;
            return;
        }
    }
    deviceId = -1;
}

int Audio::deviceList(WaveDirection direction, char16_t*** list) {
    std::vector<DeviceName> names;
    buildDeviceList(direction, names);
    if (list == nullptr) return static_cast<int>(names.size());
    const std::size_t n = names.size();
    const std::size_t pointers = n * sizeof(char16_t*);
    void* block = std::malloc(pointers + n * sizeof(DeviceName));
    if (block == nullptr) {
        *list = nullptr;
        return 0;
    }
    auto** entries = static_cast<char16_t**>(block);
    auto* slots = reinterpret_cast<char16_t*>(static_cast<char*>(block) + pointers);
    for (std::size_t i = 0; i < n; ++i) {
        entries[i] = slots + i * platform::kWaveNameUnits;
        std::memcpy(entries[i], names[i].data(), sizeof(DeviceName));
    }
    *list = entries;
    return static_cast<int>(n);
}

int Audio::inDeviceList(char16_t*** list) {
    return deviceList(WaveDirection::Input, list);
}

int Audio::outDeviceList(char16_t*** list) {
    return deviceList(WaveDirection::Output, list);
}

void Audio::moveChannel(Channel& ch, int deviceId) {
    ch.mDeviceId = deviceId;
    if (!ch.mDeviceReady) return;
    stopChannel(ch);
    reopenChannel(ch);
}

int Audio::setDevice(int output, int file, int input) {
    int result = 0;
    platform::LockGuard lock(mLock);
    if (output >= 0 && output - 1 != mOutDeviceId.load()) {
        mOutDeviceId = output - 1;
        {
            platform::LockGuard out(mOutLock);
            releaseOutHeaders();
            closeWaveOut();
            Wave_out_open_device(16, 8000, 1, 20);
        }
        // Tones go out where voice goes.
        moveChannel(mTone, output - 1);
    }
    if (file >= 0 && file - 1 != mFile.mDeviceId.load()) moveChannel(mFile, file - 1);
    if (input >= 0 && input - 1 != mInDeviceId.load()) {
        mInDeviceId = input - 1;
        // The recording thread uses the input device: it ends before the
        // device changes, and a new one starts on the new device.
        endRecordingThread();
        releaseInHeaders();
        closeWaveIn();
        if (Wave_in_open_device(16, 8000, 1, 20) != 0 || !startRecordingThread()) result = 1;
    }
    return result;
}

void Audio::deviceIds(int* output, int* file, int* input) const {
    if (output != nullptr) *output = mOutDeviceId.load() + 1;
    if (file != nullptr) *file = mFile.mDeviceId.load() + 1;
    if (input != nullptr) *input = mInDeviceId.load() + 1;
}

void Audio::setSpeakerVolume(int level, float step) {
    setVolume(mSpeakerLevel, mSpeakerStep, kSpeakerStep, level, step);
}

void Audio::setRingVolume(int level, float step) {
    setVolume(mRingLevel, mRingStep, kRingStep, level, step);
}

void Audio::setMicVolume(int level, float step) {
    setVolume(mMicLevel, mMicStep, kMicStep, level, step);
}
