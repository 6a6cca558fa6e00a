// Loads libsoftphone.so with dlopen, as a client does, and records every
// callback the library makes.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "sim/udp_peer.h"
#include "softphone.h"

namespace sim {

// The library's exports, looked up by name.
struct SoftphoneApi {
    decltype(&::initialize) initialize = nullptr;
    decltype(&::uninitialize) uninitialize = nullptr;
    decltype(&::put_key) put_key = nullptr;
    decltype(&::make_call) make_call = nullptr;
    decltype(&::send_error) send_error = nullptr;
    decltype(&::open_voice) open_voice = nullptr;
    decltype(&::close_voice) close_voice = nullptr;
    decltype(&::send_voice) send_voice = nullptr;
    decltype(&::recv_voice) recv_voice = nullptr;
    decltype(&::set_alaw) set_alaw = nullptr;
    decltype(&::AudioModuleStart) AudioModuleStart = nullptr;
    decltype(&::AudioModuleShutdown) AudioModuleShutdown = nullptr;
    decltype(&::AudioModulePlayVoice) AudioModulePlayVoice = nullptr;
    decltype(&::AudioModuleRecordStart) AudioModuleRecordStart = nullptr;
    decltype(&::AudioModuleRegisterCallback) AudioModuleRegisterCallback = nullptr;
    decltype(&::AudioModuleGetInDevice) AudioModuleGetInDevice = nullptr;
    decltype(&::AudioModuleGetOutDevice) AudioModuleGetOutDevice = nullptr;
    decltype(&::AudioModuleSetDevice) AudioModuleSetDevice = nullptr;
    decltype(&::AudioModulePlayFile) AudioModulePlayFile = nullptr;
    decltype(&::AudioModuleStopPlayFile) AudioModuleStopPlayFile = nullptr;
    decltype(&::AudioModuleSetSpeakerVolume) AudioModuleSetSpeakerVolume = nullptr;
    decltype(&::AudioModuleSetRingVolume) AudioModuleSetRingVolume = nullptr;
    decltype(&::AudioModuleSetMicVolume) AudioModuleSetMicVolume = nullptr;
    decltype(&::AudioModuleGetEngineStatus) AudioModuleGetEngineStatus = nullptr;
    decltype(&::AudioModuleGetDeviceID) AudioModuleGetDeviceID = nullptr;
    decltype(&::AudioModuleSetWindowHandle) AudioModuleSetWindowHandle = nullptr;
    decltype(&::AudioModulePlayTone) AudioModulePlayTone = nullptr;
    decltype(&::AudioModuleStopPlayTone) AudioModuleStopPlayTone = nullptr;
    decltype(&::ToneModulePlayDTMF) ToneModulePlayDTMF = nullptr;
    decltype(&::ToneModuleGetKeyPadMode) ToneModuleGetKeyPadMode = nullptr;
    decltype(&::ToneModuleGetProgramMode) ToneModuleGetProgramMode = nullptr;
    decltype(&::ToneModuleSetKeyPadMode) ToneModuleSetKeyPadMode = nullptr;
    decltype(&::ToneModuleSetProgramMode) ToneModuleSetProgramMode = nullptr;
    decltype(&::ToneModulePlayTone) ToneModulePlayTone = nullptr;
    decltype(&::ToneModuleSaveCustomTone) ToneModuleSaveCustomTone = nullptr;
    decltype(&::ToneModuleRemoveCustomTone) ToneModuleRemoveCustomTone = nullptr;
    decltype(&::ToneModuleGetCustomTone) ToneModuleGetCustomTone = nullptr;
    decltype(&::ToneModuleSetServiceTonePath) ToneModuleSetServiceTonePath = nullptr;
    decltype(&::ToneModulePlayServiceTone) ToneModulePlayServiceTone = nullptr;
    decltype(&::tracer_startup) tracer_startup = nullptr;
    decltype(&::tracer_add_filter) tracer_add_filter = nullptr;
    decltype(&::tracer_remove_filter) tracer_remove_filter = nullptr;
    decltype(&::tracer_set_filter) tracer_set_filter = nullptr;
    decltype(&::set_module_variable) set_module_variable = nullptr;
    decltype(&::get_module_variable) get_module_variable = nullptr;
    decltype(&::check_leading) check_leading = nullptr;
    decltype(&::check_added) check_added = nullptr;
    decltype(&::get_formatted_number) get_formatted_number = nullptr;
    decltype(&::discard_changes) discard_changes = nullptr;
};

// The 49 export names, in the order of the header.
const std::vector<std::string>& exportNames();

class SoftphoneLibrary {
public:
    SoftphoneLibrary() = default;
    ~SoftphoneLibrary();
    SoftphoneLibrary(const SoftphoneLibrary&) = delete;
    SoftphoneLibrary& operator=(const SoftphoneLibrary&) = delete;

    // Loads the library and resolves every export; false names the first
    // failure in error().
    bool load(const std::string& path);
    void unload();
    const SoftphoneApi& api() const { return mApi; }
    const std::string& error() const { return mError; }

private:
    void* mHandle = nullptr;
    SoftphoneApi mApi;
    std::string mError;
};

// One callback as the library made it.
struct CallbackRecord {
    enum Kind { ClientEvent, KeyState, DisplayText, LinkEvent } kind = ClientEvent;
    int code = 0;             // client or link event code
    std::string data;         // client event bytes (length as given), or display text
    std::uint32_t first = 0;  // key state words
    std::uint32_t second = 0;
    std::vector<int> zeros;  // the arguments that must be 0
};

// Process-wide recorder behind the four plain-function callbacks.
class CallbackRecorder {
public:
    static CallbackRecorder& instance();
    // Fills the four callbacks of `params` with the recorder's functions.
    static void install(ParameterContainer& params);

    std::vector<CallbackRecord> records() const;
    void clear();
    bool waitFor(const std::function<bool(const std::vector<CallbackRecord>&)>& done, int timeoutMs) const;

    void add(CallbackRecord record);

private:
    mutable std::mutex mMutex;
    mutable std::condition_variable mChanged;
    std::vector<CallbackRecord> mRecords;
};

// A container with the terminal and the server both on loopback.
ParameterContainer loopbackParameters(std::uint8_t registrationMode = 0);

}  // namespace sim
