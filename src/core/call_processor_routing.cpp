// The CallProcessor's routing of work: Mailbox items from the client, events
// from the two links, and the client's callbacks.
#include <cstring>
#include <string>

#include "common/payload_type.h"
#include "common/tracer.h"
#include "core/call_processor.h"
#include "core/call_state.h"
#include "core/client_event.h"
#include "core/mailbox.h"
#include "mgcp/mgcp.h"
#include "mgcp/signal_block.h"
#include "platform/udp_socket.h"
#include "ptap/ptap.h"
#include "voice/wave.h"

namespace {

bool startsWith(const char* text, const char* prefix) {
    return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

int textLength(const char* data) {
    return data == nullptr ? 0 : static_cast<int>(std::strlen(data));
}

const char* codecName(std::int32_t payloadType) {
    switch (static_cast<PayloadType>(payloadType)) {
        case PayloadType::kPcmu:
        case PayloadType::kPcma:
            return "G.711";
        case PayloadType::kG722:
            return "G.722";
        case PayloadType::kG729:
            return "G.729";
        default:
            return "";
    }
}

}  // namespace

// MGCP's session record; null before MGCP has started.
MediaSession* CallProcessor::mediaSession() const {
    return mMgcp != nullptr ? mMgcp->session() : nullptr;
}

int CallProcessor::postMailbox(const CoreEvent* command, const void* data, const int* length) {
    if (mMailbox == nullptr || mMailbox->write(command, data, length) != 0) {
        Tracer::instance()->trace(kTraceError, "[CP :: ERROR] Write operation to Mailbox failed");
        return 1;
    }
    return 0;
}

int CallProcessor::stepCallState(const CoreEvent* input) {
    if (input == nullptr) return 1;
    std::int32_t next = 0;
    if (!nextCallState(mCallState.load(), input->code, &next)) return 1;
    mCallState = next;
    return 0;
}

int CallProcessor::processMailboxItem(const CoreEvent* command, const char* data) {
    if (command == nullptr) return 0;
    if (stepCallState(command) != 0) return 0;
    const char* text = data;
    switch (command->code) {
        case kInputOffHook:
            if (text == nullptr || text[0] == '\0') text = "0200";
            if (mWave != nullptr) mWave->setVoiceActive(true);
            break;
        case kInputOnHook:
        case kInputOnHookAlt:
            if (text == nullptr || text[0] == '\0') text = "0100";
            if (mMgcp != nullptr) mMgcp->setLocalRtpPort(0);
            if (mWave != nullptr) {
                mWave->setVoiceActive(false);
                mWave->resetBuffer();
            }
            break;
        case kInputAnswer:
            text = "0200";
            if (mWave != nullptr) mWave->setVoiceActive(true);
            break;
        case kInputSendError: {
            const int type = ptap::kTypeErrorResponse;
            const int length = 1;
            if (mPtap == nullptr || mPtap->transmit(&type, reinterpret_cast<const std::uint8_t*>(data), &length) == 1) {
                Tracer::instance()->trace(kTraceError,
                                          "[CP :: ERROR] Packet transmission failed: ZORV errorcode via PTAP");
                return 1;
            }
            return 0;
        }
        case kInputSignal:
        case kInputModuleStarted:
        case kInputKey:
            break;
        default:
            return 0;
    }
    CoreEvent event{toInt(MgcpOperation::kNtfy)};
    if (command->code == kInputSignal) event.code = toInt(MgcpOperation::kRqnt);
    if (command->code == kInputModuleStarted) event.code = toInt(MgcpOperation::kRsip);
    const bool takeLock = true;
    if (onMgcpEvent(&event, text, &takeLock) != 0) {
        Tracer::instance()->trace(kTraceError, "[CP :: ERROR] Unknown fault processing MGCP at %s(%d)", __FILE__,
                                  __LINE__);
    }
    return 0;
}

int CallProcessor::onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) {
    if (mStopping) {
        Tracer::instance()->trace(kTraceWarning, "[CP] Operation blocked: MGCP event");
        return 1;
    }
    const bool outer = takeLock != nullptr && *takeLock;
    if (outer) mSignalLock.lock();
    mLock.lock();
    // Shutdown may have detached the engines while this thread waited for
    // the locks.
    if (mStopping) {
        mLock.unlock();
        if (outer) mSignalLock.unlock();
        Tracer::instance()->trace(kTraceWarning, "[CP] Operation blocked: MGCP event");
        return 1;
    }
    if (event != nullptr) {
        switch (static_cast<MgcpOperation>(event->code)) {
            case MgcpOperation::kCrcx:
                dispatchMgcp(event, nullptr);
                break;
            case MgcpOperation::kMdcx:
            case MgcpOperation::kDlcxReceived:
            case MgcpOperation::kRqnt:
                dispatchMgcp(event, data);
                break;
            case MgcpOperation::kDlcxSent:
            case MgcpOperation::kNtfy:
            case MgcpOperation::kRsip:
                if (mMgcp != nullptr) mMgcp->post(static_cast<MgcpOperation>(event->code), data);
                break;
            case MgcpOperation::kResponse:
                if (outer && mMgcp != nullptr) mMgcp->post(static_cast<MgcpOperation>(event->code), data);
                break;
            default:
                break;
        }
    }
    mLock.unlock();
    if (outer) mSignalLock.unlock();
    return 0;
}

int CallProcessor::dispatchMgcp(const CoreEvent* event, const char* data) {
    if (event == nullptr) return 0;
    switch (static_cast<MgcpOperation>(event->code)) {
        case MgcpOperation::kDlcxReceived:
            if (MediaSession* session = mediaSession()) session->mConnectionMode = kModeInactive;
            applyMediaSession(data);
            break;
        case MgcpOperation::kCrcx:
            // A new connection is handled as a change of it, without data.
            applyMediaSession(nullptr);
            break;
        case MgcpOperation::kMdcx:
            applyMediaSession(data);
            break;
        case MgcpOperation::kRqnt:
            walkSignalBlock(data);
            break;
        default:
            break;
    }
    return 0;
}

void CallProcessor::applyMediaSession(const char* data) {
    const MediaSession* record = mediaSession();
    if (record == nullptr) return;
    const MediaSession& session = *record;
    // Without Wave the client still hears of the media; there is only no
    // voice to start or stop.
    Wave* wave = mWave;
    if (wave != nullptr) {
        wave->setRemotePort(session.mRemotePort);
        wave->setLocalPort(session.mLocalPort);
        wave->setCodec(session.mCodecType);
        // "IN IP4 a.b.c.d": the address starts at the eighth character. The
        // line is read only within its field; a text that is no address
        // leaves Wave's address as it was.
        const char* line = session.mRemoteConnectionLine;
        const std::size_t lineLength = ::strnlen(line, sizeof session.mRemoteConnectionLine);
        if (lineLength > 7) {
            const std::string dotted(line + 7, lineLength - 7);
            const std::uint32_t address = platform::parseDottedAddress(dotted.c_str());
            if (address != 0) wave->setRemoteAddress(address);
        }
    }
    const auto resetBuffer = [wave] {
        if (wave != nullptr) wave->resetBuffer();
    };
    const auto setVoiceActive = [wave](bool active) {
        if (wave != nullptr) wave->setVoiceActive(active);
    };
    ClientEvent client{};
    switch (session.mConnectionMode) {
        case kModeRecvOnly:
            client = ClientEvent::kModeRecvOnly;
            notifyClient(client, nullptr);
            resetBuffer();
            setVoiceActive(true);
            client = ClientEvent::kVoiceStarted;
            notifyClient(client, nullptr);
            break;
        case kModeSendRecv:
        case kModeSendOnly: {
            resetBuffer();
            setVoiceActive(true);
            if (mCallState.load() == kCallConnected) {
                client = ClientEvent::kMediaConnectedInCall;
                notifyClient(client, data);
            }
            client = ClientEvent::kModeSendRecv;
            notifyClient(client, nullptr);
            const CoreEvent connected{kInputMediaConnected};
            stepCallState(&connected);
            client = ClientEvent::kVoiceStarted;
            notifyClient(client, nullptr);
            break;
        }
        case kModeInactive: {
            resetBuffer();
            setVoiceActive(false);
            const std::int32_t state = mCallState.load();
            if (state == kCallRinging || state == kCallConnected) {
                const CoreEvent ended{kInputCallEnded};
                stepCallState(&ended);
                client = ClientEvent::kCallEnded;
                notifyClient(client, "end");
            }
            client = ClientEvent::kModeInactive;
            notifyClient(client, nullptr);
            client = ClientEvent::kVoiceStopped;
            notifyClient(client, nullptr);
            break;
        }
        default:
            break;
    }
}

void CallProcessor::walkSignalBlock(const char* block) {
    if (block == nullptr) return;
    struct Named {
        const char* text;
        ClientEvent code;
    };
    static constexpr Named kWhole[] = {
        {"unmute", ClientEvent::kUnmute},          {"mute", ClientEvent::kMute},
        {"pbx_setting", ClientEvent::kPbxSetting}, {"sp_on", ClientEvent::kSpeakerOn},
        {"sp_off", ClientEvent::kSpeakerOff},      {"sp_on_offhook", ClientEvent::kSpeakerOnOffHook},
        {"bgm_mute", ClientEvent::kBgmMute}};
    static constexpr Named kPrefixed[] = {{"tone", ClientEvent::kToneCommand},
                                          {"slc", ClientEvent::kKeyLabels},
                                          {"hset_on", ClientEvent::kHeadsetOn},
                                          {"hset_off", ClientEvent::kHeadsetOff}};
    ClientEvent client{};
    bool whole = false;
    for (const Named& n : kWhole) {
        if (std::strcmp(block, n.text) == 0) {
            client = n.code;
            notifyClient(client, block);
            whole = true;
            break;
        }
    }
    if (!whole) {
        for (const Named& n : kPrefixed) {
            if (startsWith(block, n.text)) {
                client = n.code;
                notifyClient(client, block);
                return;
            }
        }
    }
    const bool toneSignal = mMgcp != nullptr && mMgcp->toneSignal();
    if (toneSignal) {
        if (std::strcmp(block, "mgcp_tone") == 0) {
            // ToneData starts behind the tag's zero byte; ringPattern is its
            // seventh integer.
            std::int32_t ringPattern = 0;
            std::memcpy(&ringPattern, block + kToneDataOffset + kToneRingPattern, sizeof ringPattern);
            if (ringPattern >= 1 && ringPattern <= 3) {
                const CoreEvent ring{kInputRing};
                stepCallState(&ring);
                client = ClientEvent::kRing;
            } else {
                client = ClientEvent::kTone;
            }
            notifyClient(client, block);
        }
    } else {
        if (std::strcmp(block, "end") == 0) {
            if (mCallState.load() == kCallConnected) {
                client = ClientEvent::kCallEnded;
                notifyClient(client, block);
                mCallState = kCallIdle;
                return;
            }
        } else if (startsWith(block, "voff")) {
            client = ClientEvent::kVoiceOff;
            notifyClient(client, block);
        }
    }
    if (block[0] != '\0') {
        client = ClientEvent::kSignal;
        notifyClient(client, block);
    }
}

int CallProcessor::onPtapEvent(const CoreEvent* event, const char* data) {
    if (mStopping) {
        Tracer::instance()->trace(kTraceWarning, "[CP] Operation blocked: PTAP event");
        return 1;
    }
    if (event == nullptr || event->code != ptap::kTypeEvent || data == nullptr) return 0;
    const NetworkInitData* init = mNetworkInitData.get();
    OnLinkEventFn onLinkEvent = init != nullptr ? init->mCallbacks.onLinkEvent : nullptr;
    if (startsWith(data, "PTAP_NOCONN")) {
        Tracer::instance()->trace(kTraceStatus, "[CP] Connection lost. Notifying client GUI");
        if (onLinkEvent != nullptr) onLinkEvent(toInt(ClientEvent::kLinkLost), 0, 0);
    } else if (startsWith(data, "PTAP_COMREST")) {
        Tracer::instance()->trace(kTraceStatus, "[CP] Sending Compulsion Restart to GUI");
        if (onLinkEvent != nullptr) onLinkEvent(toInt(ClientEvent::kCompulsionRestart), 0, 0);
    } else if (static_cast<unsigned char>(data[0]) == 0x20) {
        // A PTAP item: tag, two length bytes, one value byte, widened signed.
        const int value = static_cast<signed char>(data[3]);
        if (onLinkEvent != nullptr) onLinkEvent(value, 0, 0);
    }
    return 0;
}

int CallProcessor::notifyClient(const CoreEvent* event, const char* data) {
    return event == nullptr ? 0 : notifyClient(static_cast<ClientEvent>(event->code), data);
}

int CallProcessor::notifyClient(ClientEvent event, const char* data) {
    const NetworkInitData* init = mNetworkInitData.get();
    if (init == nullptr) return 0;
    const ClientCallbacks& cb = init->mCallbacks;
    const std::int32_t code = toInt(event);
    switch (event) {
        case ClientEvent::kSignal:
            if (startsWith(data, "ks")) {
                if (cb.onKeyState != nullptr) {
                    std::uint32_t words[2];
                    std::memcpy(words, data + 2, sizeof words);
                    cb.onKeyState(words[0], words[1]);
                }
            } else if (startsWith(data, "lcd")) {
                if (cb.onDisplayText != nullptr) cb.onDisplayText(0, 0, data + 3, 0);
            } else if (startsWith(data, "dtm") || startsWith(data, "key")) {
                if (cb.onDisplayText != nullptr) cb.onDisplayText(0, 0, data, 0);
            }
            return 0;
        case ClientEvent::kToneCommand:
            // The tag and the 12-byte ToneCommand behind it.
            if (cb.onClientEvent != nullptr) cb.onClientEvent(code, 16, data);
            return 0;
        case ClientEvent::kKeyLabels:
            // The tag and the 972-byte KeyLabels behind it.
            if (cb.onClientEvent != nullptr) cb.onClientEvent(code, 975, data);
            return 0;
        case ClientEvent::kVoiceStarted: {
            const MediaSession* session = mediaSession();
            const char* name = codecName(session != nullptr ? session->mCodecType : -1);
            if (cb.onClientEvent != nullptr) cb.onClientEvent(code, textLength(name), name);
            return 0;
        }
        case ClientEvent::kVoiceStopped:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(code, 0, nullptr);
            return 0;
        case ClientEvent::kCallEnded:
        case ClientEvent::kRing:
        case ClientEvent::kMediaConnectedInCall:
        case ClientEvent::kPassThrough8:
        case ClientEvent::kPassThrough9:
        case ClientEvent::kPassThrough13:
        case ClientEvent::kModeRecvOnly:
        case ClientEvent::kModeInactive:
        case ClientEvent::kModeSendRecv:
        case ClientEvent::kPassThrough19:
        case ClientEvent::kMute:
        case ClientEvent::kUnmute:
        case ClientEvent::kVoiceOff:
        case ClientEvent::kTone:
        case ClientEvent::kSpeakerOn:
        case ClientEvent::kSpeakerOff:
        case ClientEvent::kSpeakerOnOffHook:
        case ClientEvent::kPbxSetting:
        case ClientEvent::kBgmMute:
        case ClientEvent::kHeadsetOn:
        case ClientEvent::kHeadsetOff:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(code, textLength(data), data);
            return 0;
        default:
            return 0;
    }
}
