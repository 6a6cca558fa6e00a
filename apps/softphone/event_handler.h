// Turns the library's events into what a phone does: display and lamps
// drawn, ring and tones played through the tone player, the sound path
// switched. Runs on one client thread, the only caller of the tone exports.
#pragma once

#include <atomic>
#include <functional>
#include <mutex>
#include <string>

#include "engine_library.h"
#include "event_queue.h"
#include "phone_display.h"

namespace client {

// What the user (or a test) wants to know about the call.
struct CallProgress {
    std::atomic<bool> dialTone{false};
    std::atomic<bool> connected{false};     // media both ways
    std::atomic<bool> voiceStarted{false};  // 0x23 seen
    std::atomic<bool> voiceStopped{false};  // 0x24 seen after a start
    std::atomic<bool> linkLost{false};
    // The link is gone (lost, or the server orders a restart): the client
    // uninitializes and registers again. Taken by the one who does it.
    std::atomic<bool> registerAgain{false};
    // The connection lets the terminal send: from the send-and-receive
    // event until receive-only, inactive, voice stopped, or the user's own
    // on hook. The voice bridge sends only while it is set.
    std::atomic<bool> mayTalk{false};
    std::atomic<bool> muted{false};
    std::atomic<int> rings{0};
};

class EventHandler {
public:
    using Log = std::function<void(const std::string&)>;

    EventHandler(const Engine& engine, Log log);

    void handle(const EngineEvent& event);
    // A copy of the face, for drawing.
    PhoneDisplay display() const;
    // The user's hook, as the client's own keys left it.
    void setOffHook(bool offHook);
    CallProgress& progress() { return mProgress; }
    std::string codec() const;

private:
    void onClientEvent(const EngineEvent& event);
    void onRing(const std::string& block, bool incoming);
    void onTone(const std::string& block);
    void onPbxSetting(const std::string& block);

    const Engine& mEngine;
    Log mLog;
    mutable std::mutex mMutex;  // the face and the codec, read by the drawing thread
    PhoneDisplay mDisplay;
    std::string mCodec;
    CallProgress mProgress;
    bool mRinging = false;
};

}  // namespace client
