// The engine library, loaded as a third-party client loads it (dlopen,
// LoadLibrary): the exports this client uses, looked up by name from the
// public header.
#pragma once

#include <string>

#include "softphone.h"

namespace client {

#define CLIENT_EXPORTS(X)                                                                                      \
    X(initialize)                                                                                              \
    X(uninitialize)                                                                                            \
    X(put_key)                                                                                                 \
    X(make_call)                                                                                               \
    X(send_voice)                                                                                              \
    X(recv_voice) X(AudioModuleStart) X(AudioModuleShutdown) X(AudioModulePlayVoice) X(AudioModuleRecordStart) \
        X(AudioModuleRegisterCallback) X(AudioModuleSetSpeakerVolume) X(AudioModuleGetEngineStatus)            \
            X(ToneModulePlayDTMF) X(ToneModuleSetKeyPadMode) X(ToneModuleSetProgramMode) X(ToneModulePlayTone) \
                X(ToneModulePlayServiceTone) X(tracer_startup)

struct Engine {
#define CLIENT_SLOT(name) decltype(&::name) name = nullptr;
    CLIENT_EXPORTS(CLIENT_SLOT)
#undef CLIENT_SLOT
};

class EngineLibrary {
public:
    EngineLibrary() = default;
    ~EngineLibrary();
    EngineLibrary(const EngineLibrary&) = delete;
    EngineLibrary& operator=(const EngineLibrary&) = delete;

    // `path` empty: the library next to this program, else the build's.
    bool load(const std::string& path);
    const Engine& engine() const { return mEngine; }
    const std::string& path() const { return mPath; }
    const std::string& error() const { return mError; }

private:
    void* mHandle = nullptr;
    Engine mEngine;
    std::string mPath;
    std::string mError;
};

}  // namespace client
