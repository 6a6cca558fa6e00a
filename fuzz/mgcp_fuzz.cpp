// The MGCP text readers on arbitrary datagrams: the classifiers and the
// round trip of the builders through them; whole datagrams through the
// command readers into the session record and signal blocks (CRCX, MDCX and
// DLCX with their descriptions, the RQNT walk), and the signal decoders on
// the datagram as their argument text.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <limits>
#include <span>
#include <string_view>

#include "mgcp/command_reader.h"
#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_messages.h"
#include "mgcp/mgcp_packet.h"
#include "mgcp/observed_event.h"
#include "mgcp/signal_decoder.h"
#include "mgcp/signal_list.h"

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

MediaSession freshSession() {
    MediaSession s;
    std::strcpy(s.mEndpointName, "d1@0011223344ff");
    return s;
}

void checkBlock(const SignalBlock& block) {
    // Every block stays a terminated text, whatever the signal said.
    check(block.bytes[kSignalBlockSize - 1] == 0);
}

void checkSession(const MediaSession& s) {
    check(s.mEndpointName[kEndpointNameSize - 1] == 0);
    check(s.mCallId[kCallIdSize - 1] == 0);
    check(s.mConnectionMode >= kModeSendRecv && s.mConnectionMode <= kModeRecvOnly);
    check(s.mCodecType == 0 || s.mCodecType == 8 || s.mCodecType == 9 || s.mCodecType == 18);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The socket never hands over more than one payload.
    if (size > kMgcpPayloadSize) return 0;
    const std::span<const std::uint8_t> datagram(data, size);

    const MgcpOperation received = classifyReceived(datagram);
    check(received == MgcpOperation::kCrcx || received == MgcpOperation::kMdcx ||
          received == MgcpOperation::kDlcxReceived || received == MgcpOperation::kRqnt ||
          received == MgcpOperation::kResponse);
    const MgcpOperation sent = classifySent(datagram);
    check(toInt(sent) >= toInt(MgcpOperation::kCrcx) && toInt(sent) <= toInt(MgcpOperation::kResponse));
    const std::uint32_t tid = readTransactionId(datagram);

    // The datagram as a key text: whatever it says, the NTFY built from it
    // is classed as NTFY and gives back its own number.
    const std::string_view key(reinterpret_cast<const char*>(data), std::min<std::size_t>(size, 200));
    const ObservedEvent event = lookupObservedEvent(key);
    check(event.code.size() <= key.size());
    const std::uint32_t ntfyTid = tid == 0 ? 1 : tid;
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};
    const std::size_t n = buildNtfy(payload, ntfyTid, "d1@0011223344ff", 1, key);
    check(n <= payload.size());
    const std::span<const std::uint8_t> ntfy(payload.data(), n);
    check(classifySent(ntfy) == MgcpOperation::kNtfy);
    check(readTransactionId(ntfy) == ntfyTid);

    // The same for an answer carrying the number.
    if (tid <= static_cast<std::uint32_t>(std::numeric_limits<std::int32_t>::max())) {
        const std::size_t r = buildResponse(payload, "200", tid);
        check(readTransactionId(std::span<const std::uint8_t>(payload.data(), r)) == tid);
        check(classifyReceived(std::span<const std::uint8_t>(payload.data(), r)) == MgcpOperation::kResponse);
    }

    // Then the path its verb gives it in the engine; anything else goes to
    // one signal decoder, picked by its first byte, as that decoder's
    // argument text. One path per input keeps the runs fast.
    const DatagramView view(datagram);
    MediaSession s = freshSession();
    switch (received) {
        case MgcpOperation::kCrcx:
        case MgcpOperation::kMdcx:
        case MgcpOperation::kDlcxReceived:
            readCommand(received, view, s);
            checkSession(s);
            return 0;
        case MgcpOperation::kRqnt: {
            SignalList list(datagram);
            SignalBlock block;
            // Each pass takes at least one byte off the list or ends it.
            for (std::size_t passes = 0; list.pending(); ++passes) {
                check(passes <= size);
                list.next(s, block);
                checkBlock(block);
            }
            checkSession(s);
            return 0;
        }
        default:
            break;
    }
    static constexpr const char* kNames[] = {"hset", "pctl", "ks",  "pgmm", "cspc", "vctl",
                                             "ring", "tone", "slc", "las",  "dtm",  "lcdp"};
    const char* name = kNames[size == 0 ? 0 : data[0] % std::size(kNames)];
    std::uint8_t text[kMgcpPayloadSize + 8];
    const std::size_t nameLength = std::strlen(name);
    std::memcpy(text, name, nameLength);
    text[nameLength] = '(';
    const std::size_t copied = size < kMgcpPayloadSize - nameLength - 1 ? size : kMgcpPayloadSize - nameLength - 1;
    if (copied > 0) std::memcpy(text + nameLength + 1, data, copied);
    SignalBlock one;
    decodeSignal(DatagramView(std::span<const std::uint8_t>(text, nameLength + 1 + copied)), one);
    checkBlock(one);
    return 0;
}
