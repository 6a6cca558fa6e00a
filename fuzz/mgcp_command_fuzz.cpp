// Whole datagrams through the command readers into the session record and
// signal blocks: CRCX, MDCX and DLCX with their descriptions, the RQNT walk,
// and the signal decoders on the datagram as their argument text.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iterator>
#include <span>

#include "mgcp/command_reader.h"
#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_packet.h"
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
    // The socket never hands over more than one payload. The datagram is
    // copied to a buffer of its own length, so that a read past it is seen.
    if (size > kMgcpPayloadSize) return 0;
    const std::span<const std::uint8_t> datagram(data, size);
    const DatagramView view(datagram);

    // Each datagram takes the path its verb gives it in the engine; anything
    // else goes to one signal decoder, picked by its first byte, as that
    // decoder's argument text. One path per input keeps the runs fast.
    MediaSession s = freshSession();
    switch (classifyReceived(datagram)) {
        case MgcpOperation::kCrcx:
        case MgcpOperation::kMdcx:
        case MgcpOperation::kDlcxReceived:
            readCommand(classifyReceived(datagram), view, s);
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
