// The MGCP text readers on arbitrary datagrams, and the round trip of the
// builders through them.
#include <algorithm>
#include <array>
#include <cstdint>
#include <cstdlib>
#include <limits>
#include <span>
#include <string_view>

#include "mgcp/mgcp_classify.h"
#include "mgcp/mgcp_messages.h"
#include "mgcp/mgcp_packet.h"
#include "mgcp/observed_event.h"

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The socket never hands over more than one payload.
    if (size > kMgcpPayloadSize) return 0;
    const std::span<const std::uint8_t> datagram(data, size);

    const MgcpOperation received = classifyReceived(datagram);
    check(received == MgcpOperation::kCrcx || received == MgcpOperation::kMdcx || received == MgcpOperation::kDlcxReceived || received == MgcpOperation::kRqnt ||
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
    return 0;
}
