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
#include "src/api/export_list.h"
#include "softphone.h"

namespace sim {

// The library's exports, looked up by name.
struct SoftphoneApi {
#define SP_API_SLOT(name) decltype(&::name) name = nullptr;
    SOFTPHONE_EXPORTS(SP_API_SLOT)
#undef SP_API_SLOT
};

// The export names, in the order of the header.
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
