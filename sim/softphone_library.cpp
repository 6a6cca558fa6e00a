#include "sim/softphone_library.h"

#if defined(_WIN32)
#include <windows.h>
#else
#include <dlfcn.h>
#endif

#include <chrono>
#include <cstring>
#include <string>

namespace sim {

const std::vector<std::string>& exportNames() {
#define SP_API_NAME(name) #name,
    static const std::vector<std::string> names = {SOFTPHONE_EXPORTS(SP_API_NAME)};
#undef SP_API_NAME
    return names;
}

SoftphoneLibrary::~SoftphoneLibrary() {
    unload();
}

bool SoftphoneLibrary::load(const std::string& path) {
    unload();
#if defined(_WIN32)
    // As a Windows client loads it.
    mHandle = reinterpret_cast<void*>(::LoadLibraryA(path.c_str()));
    if (mHandle == nullptr) {
        mError = "LoadLibrary failed with error " + std::to_string(::GetLastError());
        return false;
    }
#else
    mHandle = ::dlopen(path.c_str(), RTLD_NOW | RTLD_LOCAL);
    if (mHandle == nullptr) {
        const char* why = ::dlerror();
        mError = why != nullptr ? why : "dlopen failed";
        return false;
    }
#endif
    bool ok = true;
    auto resolve = [&](auto& slot, const char* name) {
#if defined(_WIN32)
        void* symbol = reinterpret_cast<void*>(::GetProcAddress(static_cast<HMODULE>(mHandle), name));
#else
        void* symbol = ::dlsym(mHandle, name);
#endif
        if (symbol == nullptr && ok) {
            ok = false;
            mError = std::string("missing export ") + name;
        }
        slot = reinterpret_cast<std::remove_reference_t<decltype(slot)>>(symbol);
    };
#define SP_RESOLVE(name) resolve(mApi.name, #name);
    SOFTPHONE_EXPORTS(SP_RESOLVE)
#undef SP_RESOLVE
    if (!ok) unload();
    return ok;
}

void SoftphoneLibrary::unload() {
#if defined(_WIN32)
    if (mHandle != nullptr) ::FreeLibrary(static_cast<HMODULE>(mHandle));
#else
    if (mHandle != nullptr) ::dlclose(mHandle);
#endif
    mHandle = nullptr;
    mApi = SoftphoneApi{};
}

CallbackRecorder& CallbackRecorder::instance() {
    static CallbackRecorder recorder;
    return recorder;
}

namespace {
void recordClientEvent(int code, int length, const char* data) {
    CallbackRecord r;
    r.kind = CallbackRecord::ClientEvent;
    r.code = code;
    if (data != nullptr && length > 0) r.data.assign(data, static_cast<std::size_t>(length));
    CallbackRecorder::instance().add(std::move(r));
}
void recordKeyState(std::uint32_t first, std::uint32_t second) {
    CallbackRecord r;
    r.kind = CallbackRecord::KeyState;
    r.first = first;
    r.second = second;
    CallbackRecorder::instance().add(std::move(r));
}
void recordDisplayText(int zero1, int zero2, const char* text, int zero3) {
    CallbackRecord r;
    r.kind = CallbackRecord::DisplayText;
    if (text != nullptr) r.data = text;
    r.zeros = {zero1, zero2, zero3};
    CallbackRecorder::instance().add(std::move(r));
}
void recordLinkEvent(int code, int zero1, int zero2) {
    CallbackRecord r;
    r.kind = CallbackRecord::LinkEvent;
    r.code = code;
    r.zeros = {zero1, zero2};
    CallbackRecorder::instance().add(std::move(r));
}
}  // namespace

void CallbackRecorder::install(ParameterContainer& params) {
    params.mCallbacks.onClientEvent = &recordClientEvent;
    params.mCallbacks.onKeyState = &recordKeyState;
    params.mCallbacks.onDisplayText = &recordDisplayText;
    params.mCallbacks.onLinkEvent = &recordLinkEvent;
}

std::vector<CallbackRecord> CallbackRecorder::records() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mRecords;
}

void CallbackRecorder::clear() {
    std::lock_guard<std::mutex> lock(mMutex);
    mRecords.clear();
}

bool CallbackRecorder::waitFor(const std::function<bool(const std::vector<CallbackRecord>&)>& done,
                               int timeoutMs) const {
    std::unique_lock<std::mutex> lock(mMutex);
    return mChanged.wait_for(lock, std::chrono::milliseconds(timeoutMs), [&] { return done(mRecords); });
}

void CallbackRecorder::add(CallbackRecord record) {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mRecords.push_back(std::move(record));
    }
    mChanged.notify_all();
}

ParameterContainer loopbackParameters(std::uint8_t registrationMode) {
    ParameterContainer params;
    std::memset(&params, 0, sizeof params);
    params.mStartCode = 0x01;
    std::memcpy(params.mConnectionInfo, "CONNINFO0001", 12);
    params.mLocalAddress = kLoopbackAddress;
    const std::uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xff};
    std::memcpy(params.mHardwareAddress, mac, 6);
    params.mServerAddress = kLoopbackAddress;
    params.mRegistrationMode = registrationMode;
    CallbackRecorder::install(params);
    return params;
}

}  // namespace sim
