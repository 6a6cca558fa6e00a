// MGCP's dispatcher and the senders behind it: every datagram the terminal
// sends leaves through transmit.
#include <string_view>

#include "common/tracer.h"
#include "mgcp/command_reader.h"
#include "mgcp/datagram_view.h"
#include "mgcp/local_description.h"
#include "mgcp/mgcp.h"
#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_messages.h"
#include "mgcp/packet_writer.h"
#include "mgcp/retransmit_buffer.h"
#include "mgcp/signal_block.h"
#include "mgcp/signal_list.h"
#include "platform/socket_error.h"

namespace {

// Key texts and return codes come from the CallProcessor as C texts; none
// is longer than the Mailbox item that carried it.
constexpr std::size_t kMaxArgumentText = 200;

std::string_view boundedText(const char* text) {
    if (text == nullptr) return {};
    std::size_t n = 0;
    while (n < kMaxArgumentText && text[n] != '\0') ++n;
    return {text, n};
}

std::string_view endpointName(const MediaSession& session) {
    return {session.mEndpointName, fieldLength(session.mEndpointName)};
}

}  // namespace

int MGCP::post(MgcpOperation code, const char* text) {
    return process(code, mSessionRef, text, nullptr) == 0 ? 0 : 1;
}

int MGCP::process(MgcpOperation code, MediaSession* data, const char* text, MgcpPacket* packet) {
    if (data == nullptr) return 1;
    const bool on = true;
    const bool off = false;
    MgcpParent* parent = mParent;
    if (parent != nullptr) parent->lockSignal(&on);
    int result = 0;
    if (code == MgcpOperation::kCrcx || code == MgcpOperation::kMdcx || code == MgcpOperation::kDlcxReceived ||
        code == MgcpOperation::kRqnt) {
        // Takes mLock itself, around the reading and the answers.
        answerCommand(code, *data, packet);
    } else {
        platform::LockGuard lock(mLock);
        switch (code) {
            case MgcpOperation::kDlcxSent:
                result = sendDlcx(*data);
                break;
            case MgcpOperation::kNtfy:
                result = sendNtfy(*data, text);
                break;
            case MgcpOperation::kRsip:
                result = sendRsip(*data);
                break;
            case MgcpOperation::kResponse:
                result = sendResponse(*data, text, false);
                break;
            default:
                result = 1;
                break;
        }
    }
    if (parent != nullptr) parent->lockSignal(&off);
    return result;
}

void MGCP::answerCommand(MgcpOperation code, MediaSession& session, const MgcpPacket* packet) {
    // The parent handles each event under the signal lock that the caller
    // holds and under its own lock, which it takes; mLock is left free then,
    // so that every path takes the locks in one order: signal lock, the
    // parent's lock, mLock. The session is written only under the signal
    // lock, so the parent reads it whole.
    const DatagramView datagram = packet != nullptr ? DatagramView(packet->bytes()) : DatagramView();
    const bool takeLock = false;
    const auto raise = [this, &takeLock](MgcpOperation op, const char* data) {
        const CoreEvent event{toInt(op)};
        if (mParent != nullptr) mParent->onMgcpEvent(&event, data, &takeLock);
    };
    // Events reach the parent before the answer leaves; the answer goes out
    // whatever the reading gave.
    switch (code) {
        case MgcpOperation::kCrcx:
        case MgcpOperation::kMdcx:
        case MgcpOperation::kDlcxReceived: {
            bool accepted = false;
            {
                platform::LockGuard lock(mLock);
                accepted = readCommand(code, datagram, session);
            }
            if (accepted) raise(code, nullptr);
            platform::LockGuard lock(mLock);
            if (code == MgcpOperation::kCrcx) {
                sendResponse(session, "100", false);
                sendResponse(session, "200", true);
            } else if (code == MgcpOperation::kMdcx) {
                sendResponse(session, "100", true);
                sendResponse(session, "200", false);
            } else {
                sendResponse(session, "250", false);
            }
            break;
        }
        case MgcpOperation::kRqnt: {
            // One event per signal, in list order; the answer only after
            // the last of them.
            SignalList signals(packet != nullptr ? packet->bytes() : std::span<const std::uint8_t>());
            SignalBlock block;
            while (signals.pending()) {
                bool accepted = false;
                {
                    platform::LockGuard lock(mLock);
                    accepted = signals.next(session, block);
                }
                if (accepted) raise(MgcpOperation::kRqnt, block.data());
            }
            platform::LockGuard lock(mLock);
            sendResponse(session, "200", false);
            break;
        }
        default:
            break;
    }
}

int MGCP::sendRsip(MediaSession& session) {
    MgcpPacketPtr packet = createPacket();
    if (!packet) return 1;
    packet->length = static_cast<std::uint32_t>(buildRsip(packet->payload, session.mNextTid, endpointName(session)));
    ++session.mNextTid;
    // Commands wait again until this RSIP's own answer.
    mRsipAcknowledged = false;
    mRsipTid = readTransactionId(packet->bytes());
    transmit(packet->payload, packet->length, false);
    freePacket(std::move(packet));
    return 0;
}

int MGCP::sendNtfy(MediaSession& session, const char* keyText) {
    MgcpPacketPtr packet = createPacket();
    if (!packet) return 1;
    packet->length = static_cast<std::uint32_t>(
        buildNtfy(packet->payload, session.mNextTid, endpointName(session), session.mRequestId, boundedText(keyText)));
    ++session.mNextTid;
    transmit(packet->payload, packet->length, false);
    freePacket(std::move(packet));
    return 0;
}

int MGCP::sendDlcx(MediaSession& session) {
    MgcpPacketPtr packet = createPacket();
    if (!packet) return 1;
    const std::string_view callId(session.mCallId, fieldLength(session.mCallId));
    packet->length = static_cast<std::uint32_t>(
        buildDlcx(packet->payload, session.mLastTid, endpointName(session), callId, session.mConnectionId));
    transmit(packet->payload, packet->length, false);
    freePacket(std::move(packet));
    return 0;
}

int MGCP::sendResponse(MediaSession& session, const char* code, bool withDescription) {
    MgcpPacketPtr packet = createPacket();
    if (!packet) return 0;
    std::size_t length = buildResponse(packet->payload, boundedText(code), session.mLastTid);
    if (withDescription) length = appendDescription(packet->payload, length, session);
    packet->length = static_cast<std::uint32_t>(length);
    transmit(packet->payload, packet->length, false);
    freePacket(std::move(packet));
    return 0;
}

int MGCP::transmit(const std::array<std::uint8_t, kMgcpPayloadSize>& payload, std::uint32_t length, bool isResend) {
    if (!mSocket.isOpen()) return 1;
    // Held from before the send: an answer that comes back at once must
    // find its command already buffered.
    platform::LockGuard buffer(mBufferLock);
    const std::uint32_t used = length < payload.size() ? length : static_cast<std::uint32_t>(payload.size());
    const int sent =
        mSocket.sendTo(mSession.mServerEndpoint.address, mSession.mServerEndpoint.port, payload.data(), used);
    if (sent < 1) {
        const int error = platform::lastSocketError();
        Tracer::instance()->trace(kTraceCritical, "[MGCP SOCKET] Socket returned errorcode: %d (%x)", error,
                                  static_cast<unsigned>(error));
        return 1;
    }
    const std::span<const std::uint8_t> message(payload.data(), used);
    const MgcpOperation kind = classifySent(message);
    // Responses go out once; a server that repeats its command is answered
    // by handling it again.
    if (isResend || kind == MgcpOperation::kResponse) return 0;
    // A full buffer lets the command go out once, unbuffered.
    if (!mBufferTable || mBufferTable->isFull()) return 0;
    const std::int32_t tid = static_cast<std::int32_t>(readTransactionId(message));
    if (mBufferTable->add(payload, used, tid, mClock.utcTimeOfDay())) {
        Tracer::instance()->trace(kTraceDetail, "[MGCP] Packet transmitted: Event = %d; tID = %d; Buffer size = %d",
                                  toInt(kind), tid, mBufferTable->count());
    }
    return 0;
}
