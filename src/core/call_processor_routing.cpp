// The CallProcessor's routing of work: Mailbox items from the client, events
// from the two links, and the client's callbacks.
#include <cstring>
#include <string>

#include "core/call_processor.h"
#include "core/call_state.h"
#include "core/mailbox.h"
#include "mgcp/mgcp.h"
#include "platform/udp_socket.h"
#include "ptap/ptap.h"
#include "support/tracer.h"
#include "voice/wave.h"

namespace {

bool startsWith(const char* text, const char* prefix) {
    return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

int textLength(const char* data) {
    return data == nullptr ? 0 : static_cast<int>(std::strlen(data));
}

const char* codecName(std::int32_t payloadType) {
    switch (payloadType) {
        case 0:
        case 8:
            return "G.711";
        case 9:
            return "G.722";
        case 18:
            return "G.729";
        default:
            return "";
    }
}

// Where ringPattern lies in a "mgcp_tone" block.
constexpr std::size_t kToneDataOffset = sizeof "mgcp_tone";
constexpr std::size_t kRingPatternOffset = 24;

}  // namespace

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
        case kMailboxOffHook:
            if (text == nullptr || text[0] == '\0') text = "0200";
            if (mWave != nullptr) mWave->setVoiceActive(true);
            break;
        case kMailboxOnHook:
        case kMailboxOnHookAlt:
            if (text == nullptr || text[0] == '\0') text = "0100";
            if (mMgcp != nullptr) mMgcp->setLocalRtpPort(0);
            if (mWave != nullptr) {
                mWave->setVoiceActive(false);
                mWave->resetBuffer();
            }
            break;
        case kMailboxAnswer:
            text = "0200";
            if (mWave != nullptr) mWave->setVoiceActive(true);
            break;
        case kMailboxSendError: {
            const int type = kPtapError;
            const int length = 1;
            if (mPtap == nullptr || mPtap->transmit(&type, reinterpret_cast<const std::uint8_t*>(data), &length) == 1) {
                Tracer::instance()->trace(kTraceError,
                                          "[CP :: ERROR] Packet transmission failed: ZORV errorcode via PTAP");
                return 1;
            }
            return 0;
        }
        case kMailboxSignal:
        case kMailboxRsip:
        case kMailboxKey:
            break;
        default:
            return 0;
    }
    CoreEvent event{kMgcpSendNtfy};
    if (command->code == kMailboxSignal) event.code = kMgcpSignalReceived;
    if (command->code == kMailboxRsip) event.code = kMgcpSendRsip;
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
    if (event != nullptr) {
        switch (event->code) {
            case kMgcpCrcxReceived: {
                const CoreEvent modify{kMgcpMdcxReceived};
                dispatchMgcp(&modify, nullptr);
                break;
            }
            case kMgcpMdcxReceived:
            case kMgcpDlcxReceived:
            case kMgcpSignalReceived:
                dispatchMgcp(event, data);
                break;
            case kMgcpSendDlcx:
            case kMgcpSendNtfy:
            case kMgcpSendRsip:
                if (mMgcp != nullptr) mMgcp->post(event->code, data);
                break;
            case kMgcpSendResponse:
                if (outer && mMgcp != nullptr) mMgcp->post(event->code, data);
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
    switch (event->code) {
        case kMgcpDlcxReceived:
            if (mMgcp != nullptr) mMgcp->session()->mConnectionMode = kModeInactive;
            applyMediaSession(data);
            break;
        case kMgcpMdcxReceived:
            applyMediaSession(data);
            break;
        case kMgcpSignalReceived:
            walkSignalBlock(data);
            break;
        default:
            break;
    }
    return 0;
}

void CallProcessor::applyMediaSession(const char* data) {
    if (mMgcp == nullptr || mWave == nullptr) return;
    const MediaSession& session = *mMgcp->session();
    mWave->setRemotePort(session.mRemotePort);
    mWave->setLocalPort(session.mLocalPort);
    mWave->setCodec(session.mCodecType);
    // "IN IP4 a.b.c.d": the address starts at the eighth character. The line
    // is read only within its field.
    const char* line = session.mRemoteConnectionLine;
    const std::size_t lineLength = ::strnlen(line, sizeof session.mRemoteConnectionLine);
    if (lineLength > 7) {
        const std::string dotted(line + 7, lineLength - 7);
        const std::uint32_t address = platform::parseDottedAddress(dotted.c_str());
        if (address != 0) mWave->setRemoteAddress(address);
    }
    CoreEvent client{0};
    switch (session.mConnectionMode) {
        case kModeRecvOnly:
            client.code = 0x10;
            notifyClient(&client, nullptr);
            mWave->resetBuffer();
            mWave->setVoiceActive(true);
            client.code = 0x23;
            notifyClient(&client, nullptr);
            break;
        case kModeSendRecv:
        case kModeSendOnly: {
            mWave->resetBuffer();
            mWave->setVoiceActive(true);
            if (mCallState.load() == kCallConnected) {
                client.code = 0x07;
                notifyClient(&client, data);
            }
            client.code = 0x12;
            notifyClient(&client, nullptr);
            const CoreEvent connected{kInputMediaConnected};
            stepCallState(&connected);
            client.code = 0x23;
            notifyClient(&client, nullptr);
            break;
        }
        case kModeInactive: {
            mWave->resetBuffer();
            mWave->setVoiceActive(false);
            const std::int32_t state = mCallState.load();
            if (state == kCallRinging || state == kCallConnected) {
                const CoreEvent ended{kInputCallEnded};
                stepCallState(&ended);
                client.code = 0x01;
                notifyClient(&client, "end");
            }
            client.code = 0x11;
            notifyClient(&client, nullptr);
            client.code = 0x24;
            notifyClient(&client, nullptr);
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
        int code;
    };
    static constexpr Named kWhole[] = {{"unmute", 0x15},  {"mute", 0x14},   {"pbx_setting", 0x1E},
                                       {"sp_on", 0x1B},   {"sp_off", 0x1C}, {"sp_on_offhook", 0x1D},
                                       {"bgm_mute", 0x1F}};
    static constexpr Named kPrefixed[] = {{"tone", 0x20}, {"slc", 0x21}, {"hset_on", 0x25}, {"hset_off", 0x26}};
    CoreEvent client{0};
    bool whole = false;
    for (const Named& n : kWhole) {
        if (std::strcmp(block, n.text) == 0) {
            client.code = n.code;
            notifyClient(&client, block);
            whole = true;
            break;
        }
    }
    if (!whole) {
        for (const Named& n : kPrefixed) {
            if (startsWith(block, n.text)) {
                client.code = n.code;
                notifyClient(&client, block);
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
            std::memcpy(&ringPattern, block + kToneDataOffset + kRingPatternOffset, sizeof ringPattern);
            if (ringPattern >= 1 && ringPattern <= 3) {
                const CoreEvent ring{kInputRing};
                stepCallState(&ring);
                client.code = 0x02;
            } else {
                client.code = 0x17;
            }
            notifyClient(&client, block);
        }
    } else {
        if (std::strcmp(block, "end") == 0) {
            if (mCallState.load() == kCallConnected) {
                client.code = 0x01;
                notifyClient(&client, block);
                mCallState = kCallIdle;
                return;
            }
        } else if (startsWith(block, "voff")) {
            client.code = 0x16;
            notifyClient(&client, block);
        }
    }
    if (block[0] != '\0') {
        client.code = 0x0B;
        notifyClient(&client, block);
    }
}

int CallProcessor::onPtapEvent(const CoreEvent* event, const char* data) {
    if (mStopping) {
        Tracer::instance()->trace(kTraceWarning, "[CP] Operation blocked: PTAP event");
        return 1;
    }
    if (event == nullptr || event->code != kPtapEventServer || data == nullptr) return 0;
    const NetworkInitData* init = mNetworkInitData.get();
    OnLinkEventFn onLinkEvent = init != nullptr ? init->mCallbacks.onLinkEvent : nullptr;
    if (startsWith(data, "PTAP_NOCONN")) {
        Tracer::instance()->trace(kTraceStatus, "[CP] Connection lost. Notifying client GUI");
        if (onLinkEvent != nullptr) onLinkEvent(0x18, 0, 0);
    } else if (startsWith(data, "PTAP_COMREST")) {
        Tracer::instance()->trace(kTraceStatus, "[CP] Sending Compulsion Restart to GUI");
        if (onLinkEvent != nullptr) onLinkEvent(0x1A, 0, 0);
    } else if (static_cast<unsigned char>(data[0]) == 0x20) {
        // A PTAP item: tag, two length bytes, one value byte, widened signed.
        const int value = static_cast<signed char>(data[3]);
        if (onLinkEvent != nullptr) onLinkEvent(value, 0, 0);
    }
    return 0;
}

int CallProcessor::notifyClient(const CoreEvent* event, const char* data) {
    const NetworkInitData* init = mNetworkInitData.get();
    if (init == nullptr || event == nullptr) return 0;
    const ClientCallbacks& cb = init->mCallbacks;
    switch (event->code) {
        case 0x0B:
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
        case 0x20:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(0x20, 16, data);
            return 0;
        case 0x21:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(0x21, 975, data);
            return 0;
        case 0x23: {
            const char* name = codecName(mMgcp != nullptr ? mMgcp->session()->mCodecType : -1);
            if (cb.onClientEvent != nullptr) cb.onClientEvent(0x23, textLength(name), name);
            return 0;
        }
        case 0x24:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(0x24, 0, nullptr);
            return 0;
        case 0x01:
        case 0x02:
        case 0x07:
        case 0x08:
        case 0x09:
        case 0x0D:
        case 0x10:
        case 0x11:
        case 0x12:
        case 0x13:
        case 0x14:
        case 0x15:
        case 0x16:
        case 0x17:
        case 0x1B:
        case 0x1C:
        case 0x1D:
        case 0x1E:
        case 0x1F:
        case 0x25:
        case 0x26:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(event->code, textLength(data), data);
            return 0;
        default:
            return 0;
    }
}
