#include "event_handler.h"

#include <cstdio>
#include <cstring>

namespace client {

namespace {

// Volume of the speaker in hands-free mode, as level and step of the gain.
constexpr int kHandsFreeLevel = 4;
constexpr float kHandsFreeStep = 0.1f;

std::int32_t intAt(const std::string& block, std::size_t offset) {
    std::int32_t value = -1;
    if (block.size() >= offset + 4) std::memcpy(&value, block.data() + offset, 4);
    return value;
}

// The fields of the tone data behind "mgcp_tone" and its zero byte.
struct ToneData {
    std::int32_t kind, volume[4], ringBase, ringPattern, ringMelody;
};

ToneData toneData(const std::string& block) {
    ToneData t{};
    t.kind = intAt(block, SP_TONE_DATA_KIND);
    constexpr std::size_t kVolumes[4] = {SP_TONE_DATA_VOLUME_0, SP_TONE_DATA_VOLUME_1, SP_TONE_DATA_VOLUME_2,
                                         SP_TONE_DATA_VOLUME_RINGER};
    for (int i = 0; i < 4; ++i) t.volume[i] = intAt(block, kVolumes[i]);
    t.ringBase = intAt(block, SP_TONE_DATA_RING_BASE);
    t.ringPattern = intAt(block, SP_TONE_DATA_RING_PATTERN);
    t.ringMelody = intAt(block, SP_TONE_DATA_RING_MELODY);
    return t;
}

std::string hex(std::uint32_t value) {
    char text[16];
    std::snprintf(text, sizeof text, "0x%X", value);
    return text;
}

}  // namespace

EventHandler::EventHandler(const Engine& engine, Log log) : mEngine(engine), mLog(std::move(log)) {}

PhoneDisplay EventHandler::display() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mDisplay;
}

void EventHandler::setOffHook(bool offHook) {
    // On hook ends what the terminal sends at once, without waiting for the
    // server's answer to the key.
    if (!offHook) mProgress.mayTalk = false;
    std::lock_guard<std::mutex> lock(mMutex);
    mDisplay.setOffHook(offHook);
}

std::string EventHandler::codec() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mCodec;
}

void EventHandler::handle(const EngineEvent& event) {
    switch (event.kind) {
        case EngineEvent::Client:
            onClientEvent(event);
            break;
        case EngineEvent::KeyState: {
            std::lock_guard<std::mutex> lock(mMutex);
            mDisplay.setLamp(event.first, event.second);
            mLog("lamp " + hex(event.first) + ": " + PhoneDisplay::lampName(event.second));
            break;
        }
        case EngineEvent::Display: {
            std::lock_guard<std::mutex> lock(mMutex);
            mLog(mDisplay.applyDisplay(event.data));
            break;
        }
        case EngineEvent::Link:
            if (event.code == SP_EVENT_LINK_LOST) {
                mProgress.mayTalk = false;
                mProgress.linkLost = true;
                mProgress.registerAgain = true;
                mLog("LINK LOST: the call server stopped answering");
            } else if (event.code == SP_EVENT_COMPULSION_RESTART) {
                mProgress.mayTalk = false;
                mProgress.registerAgain = true;
                mLog("the call server orders a restart");
            } else {
                mLog("call server event " + hex(static_cast<std::uint32_t>(event.code)));
            }
            break;
        case EngineEvent::LocalKeyTone:
            mEngine.ToneModulePlayDTMF(event.code, 0);
            break;
    }
}

void EventHandler::onClientEvent(const EngineEvent& event) {
    const std::string& data = event.data;
    auto setCall = [this](const char* text) {
        std::lock_guard<std::mutex> lock(mMutex);
        mDisplay.setCall(text);
    };
    switch (event.code) {
        case SP_EVENT_CALL_ENDED:
            mLog("call ended");
            setCall("ended");
            break;
        case SP_EVENT_RING:
            onRing(data, true);
            break;
        case SP_EVENT_TONE:
            onRing(data, false);
            break;
        case SP_EVENT_MEDIA_CONNECTED_IN_CALL:
        case SP_EVENT_MODE_SEND_RECV:
            mProgress.mayTalk = true;
            mProgress.connected = true;
            setCall("connected");
            mLog("media: send and receive");
            break;
        case SP_EVENT_MODE_RECV_ONLY:
            mProgress.mayTalk = false;
            setCall("far end ringing");
            mLog("media: receive only (ringback)");
            break;
        case SP_EVENT_MODE_INACTIVE:
            mProgress.mayTalk = false;
            mProgress.connected = false;
            setCall("idle");
            mLog("media: inactive");
            break;
        case SP_EVENT_MUTE:
        case SP_EVENT_UNMUTE: {
            const bool on = event.code == SP_EVENT_MUTE;
            mProgress.muted = on;
            // Muting stops the microphone's refill; the voice bridge also
            // sends no frames while muted.
            mEngine.AudioModuleRecordStart(on ? 0 : 1);
            std::lock_guard<std::mutex> lock(mMutex);
            mDisplay.setMute(on);
            mLog(on ? "microphone muted" : "microphone on");
            break;
        }
        case SP_EVENT_VOICE_OFF:
            if (mRinging) mLog("ring stops");
            mRinging = false;
            mEngine.ToneModulePlayTone(SP_TONE_STOP, SP_TONE_KEEP, SP_TONE_KEEP);
            break;
        case SP_EVENT_SPEAKER_ON:
        case SP_EVENT_SPEAKER_ON_OFF_HOOK:
        case SP_EVENT_SPEAKER_OFF: {
            const bool on = event.code != SP_EVENT_SPEAKER_OFF;
            if (on)
                mEngine.AudioModuleSetSpeakerVolume(kHandsFreeLevel, kHandsFreeStep);
            else
                mEngine.AudioModuleSetSpeakerVolume(0, 0.0f);
            std::lock_guard<std::mutex> lock(mMutex);
            mDisplay.setSpeaker(on);
            mLog(on ? "speaker on (hands-free)" : "speaker off");
            break;
        }
        case SP_EVENT_PBX_SETTING:
            onPbxSetting(data);
            break;
        case SP_EVENT_BGM_MUTE:
            mLog("background music muted");
            break;
        case SP_EVENT_TONE_COMMAND:
            onTone(data);
            break;
        case SP_EVENT_KEY_LABELS: {
            std::lock_guard<std::mutex> lock(mMutex);
            mDisplay.applyLabels(data);
            mLog("soft-key labels");
            break;
        }
        case SP_EVENT_CARD_VALUE:
            mLog("card value " + std::to_string(data.empty() ? 0 : static_cast<unsigned char>(data[0])));
            break;
        case SP_EVENT_VOICE_STARTED: {
            mProgress.voiceStarted = true;
            mProgress.voiceStopped = false;
            std::lock_guard<std::mutex> lock(mMutex);
            mCodec = data;
            mLog("voice started, codec " + (data.empty() ? std::string("unknown") : data));
            break;
        }
        case SP_EVENT_VOICE_STOPPED:
            mProgress.mayTalk = false;
            if (mProgress.voiceStarted) mProgress.voiceStopped = true;
            mLog("voice stopped");
            break;
        case SP_EVENT_HEADSET_ON:
        case SP_EVENT_HEADSET_OFF:
            mLog(event.code == SP_EVENT_HEADSET_ON ? "headset on" : "headset off");
            break;
        default:
            mLog("client event " + hex(static_cast<std::uint32_t>(event.code)));
            break;
    }
}

void EventHandler::onRing(const std::string& block, bool incoming) {
    const ToneData t = toneData(block);
    if (t.kind == SP_TONE_KIND_VOLUME) {
        // Volume data: type 3 is the ringer, the others the voice path.
        if (t.volume[3] >= 0) {
            mLog("ringer volume " + std::to_string(t.volume[3]));
            if (mRinging) mEngine.ToneModulePlayTone(SP_TONE_KEEP, t.volume[3], SP_TONE_KEEP);
        }
        for (int type = 0; type < 3; ++type) {
            if (t.volume[type] < 0) continue;
            mEngine.AudioModuleSetSpeakerVolume(t.volume[type], 0.1f);
            mLog("volume " + std::to_string(type) + ": " + std::to_string(t.volume[type]));
        }
        return;
    }
    if (incoming) ++mProgress.rings;
    mRinging = true;
    mLog(std::string(incoming ? "RING (incoming call)" : "tone") + ": pattern " + std::to_string(t.ringPattern) +
         ", melody " + std::to_string(t.ringMelody));
    mEngine.ToneModulePlayTone(t.ringPattern, SP_TONE_KEEP, t.ringMelody < 0 ? SP_TONE_KEEP : t.ringMelody);
    if (incoming) {
        std::lock_guard<std::mutex> lock(mMutex);
        mDisplay.setCall("ringing");
    }
}

void EventHandler::onTone(const std::string& block) {
    const std::int32_t code = intAt(block, SP_TONE_COMMAND_CODE);
    if (code <= 0) {
        mLog("tone off");
        mEngine.ToneModulePlayServiceTone(SP_SERVICE_TONE_STOP);
        return;
    }
    const char* name = code == SP_SERVICE_TONE_DIAL       ? " (dial tone)"
                       : code == SP_SERVICE_TONE_RINGBACK ? " (ringback)"
                       : code == SP_SERVICE_TONE_BUSY     ? " (busy)"
                                                          : "";
    mLog("tone " + hex(static_cast<std::uint32_t>(code)) + name);
    if (code == SP_SERVICE_TONE_DIAL) mProgress.dialTone = true;
    mEngine.ToneModulePlayServiceTone(code);
}

void EventHandler::onPbxSetting(const std::string& block) {
    const std::int32_t program = intAt(block, SP_PBX_SETTING_PROGRAM_MODE);
    const std::int32_t keypad = intAt(block, SP_PBX_SETTING_KEYPAD_MODE);
    if (program >= 0) mEngine.ToneModuleSetProgramMode(program);
    if (keypad >= 0) mEngine.ToneModuleSetKeyPadMode(keypad);
    mLog("pbx setting: program mode " + std::to_string(program) + ", keypad mode " + std::to_string(keypad));
}

}  // namespace client
