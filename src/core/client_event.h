// The codes of onClientEvent and onLinkEvent.
#pragma once

#include <cstdint>

enum class ClientEvent : std::int32_t {
    kCallEnded = 0x01,
    kRing = 0x02,
    kMediaConnectedInCall = 0x07,
    kPassThrough8 = 0x08,  // passed through, raised by nothing
    kPassThrough9 = 0x09,
    kSignal = 0x0B,  // never reaches the client as such: key state and display text
    kPassThrough13 = 0x0D,
    kModeRecvOnly = 0x10,
    kModeInactive = 0x11,
    kModeSendRecv = 0x12,
    kPassThrough19 = 0x13,
    kMute = 0x14,
    kUnmute = 0x15,
    kVoiceOff = 0x16,
    kTone = 0x17,
    kLinkLost = 0x18,
    kCompulsionRestart = 0x1A,
    kSpeakerOn = 0x1B,
    kSpeakerOff = 0x1C,
    kSpeakerOnOffHook = 0x1D,
    kPbxSetting = 0x1E,
    kBgmMute = 0x1F,
    kToneCommand = 0x20,
    kKeyLabels = 0x21,
    kCardValue = 0x22,
    kVoiceStarted = 0x23,
    kVoiceStopped = 0x24,
    kHeadsetOn = 0x25,
    kHeadsetOff = 0x26,
};

constexpr std::int32_t toInt(ClientEvent event) { return static_cast<std::int32_t>(event); }
