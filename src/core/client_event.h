// The codes of onClientEvent and onLinkEvent, named as the client sees them.
#pragma once

#include <cstdint>

#include "softphone.h"

enum class ClientEvent : std::int32_t {
    kCallEnded = SP_EVENT_CALL_ENDED,
    kRing = SP_EVENT_RING,
    kMediaConnectedInCall = SP_EVENT_MEDIA_CONNECTED_IN_CALL,
    kPassThrough8 = SP_EVENT_PASS_THROUGH_08,
    kPassThrough9 = SP_EVENT_PASS_THROUGH_09,
    kSignal = SP_EVENT_SIGNAL,
    kPassThrough13 = SP_EVENT_PASS_THROUGH_0D,
    kModeRecvOnly = SP_EVENT_MODE_RECV_ONLY,
    kModeInactive = SP_EVENT_MODE_INACTIVE,
    kModeSendRecv = SP_EVENT_MODE_SEND_RECV,
    kPassThrough19 = SP_EVENT_PASS_THROUGH_13,
    kMute = SP_EVENT_MUTE,
    kUnmute = SP_EVENT_UNMUTE,
    kVoiceOff = SP_EVENT_VOICE_OFF,
    kTone = SP_EVENT_TONE,
    kLinkLost = SP_EVENT_LINK_LOST,
    kCompulsionRestart = SP_EVENT_COMPULSION_RESTART,
    kSpeakerOn = SP_EVENT_SPEAKER_ON,
    kSpeakerOff = SP_EVENT_SPEAKER_OFF,
    kSpeakerOnOffHook = SP_EVENT_SPEAKER_ON_OFF_HOOK,
    kPbxSetting = SP_EVENT_PBX_SETTING,
    kBgmMute = SP_EVENT_BGM_MUTE,
    kToneCommand = SP_EVENT_TONE_COMMAND,
    kKeyLabels = SP_EVENT_KEY_LABELS,
    kCardValue = SP_EVENT_CARD_VALUE,
    kVoiceStarted = SP_EVENT_VOICE_STARTED,
    kVoiceStopped = SP_EVENT_VOICE_STOPPED,
    kHeadsetOn = SP_EVENT_HEADSET_ON,
    kHeadsetOff = SP_EVENT_HEADSET_OFF,
};

constexpr std::int32_t toInt(ClientEvent event) {
    return static_cast<std::int32_t>(event);
}
