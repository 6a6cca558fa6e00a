// The CallProcessor's routing of work: Mailbox items from the client, events
// from the two links, and the client's callbacks.
#include <cstring>

#include "core/call_processor.h"
#include "core/call_state.h"
#include "core/mailbox.h"
#include "support/tracer.h"

namespace {

bool startsWith(const char* text, const char* prefix) {
    return text != nullptr && std::strncmp(text, prefix, std::strlen(prefix)) == 0;
}

int textLength(const char* data) { return data == nullptr ? 0 : static_cast<int>(std::strlen(data)); }

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
    switch (command->code) {
        case kMailboxSendError:
            // The error code leaves on the control link, which this build
            // does not have: the item is lost with its trace.
            Tracer::instance()->trace(kTraceError, "[CP :: ERROR] Packet transmission failed: ZORV errorcode via PTAP");
            return 1;
        case kMailboxKey: {
            CoreEvent event{kMgcpSendNtfy};
            const bool takeLock = true;
            if (onMgcpEvent(&event, data, &takeLock) != 0) {
                Tracer::instance()->trace(kTraceError, "[CP :: ERROR] Unknown fault processing MGCP at %s(%d)",
                                          __FILE__, __LINE__);
            }
            return 0;
        }
        default:
            return 0;
    }
}

int CallProcessor::onMgcpEvent(const CoreEvent* event, const char* data, const bool* takeLock) {
    if (mStopping) {
        Tracer::instance()->trace(kTraceWarning, "[CP] Operation blocked: MGCP event");
        return 1;
    }
    const bool outer = takeLock != nullptr && *takeLock;
    if (outer) mSignalLock.lock();
    mLock.lock();
    // Without an MGCP engine there is no one to hand the event to.
    (void)event;
    (void)data;
    mLock.unlock();
    if (outer) mSignalLock.unlock();
    return 0;
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
        case 0x24:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(0x24, 0, nullptr);
            return 0;
        case 0x01: case 0x02: case 0x07: case 0x08: case 0x09: case 0x0D: case 0x10: case 0x11: case 0x12:
        case 0x13: case 0x14: case 0x15: case 0x16: case 0x17: case 0x1B: case 0x1C: case 0x1D: case 0x1E:
        case 0x1F: case 0x25: case 0x26:
            if (cb.onClientEvent != nullptr) cb.onClientEvent(event->code, textLength(data), data);
            return 0;
        default:
            return 0;
    }
}
