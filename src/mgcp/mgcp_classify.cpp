#include "mgcp/mgcp_classify.h"

#include <algorithm>
#include <charconv>

namespace {

constexpr std::size_t kVerbLength = 4;
constexpr std::size_t kMaxTidToken = 11;

bool hasVerb(std::span<const std::uint8_t> message, std::string_view verb) {
    return message.size() >= kVerbLength &&
           std::equal(verb.begin(), verb.end(), message.begin(),
                      [](char v, std::uint8_t b) { return static_cast<std::uint8_t>(v) == b; });
}

}  // namespace

MgcpOperation classifyReceived(std::span<const std::uint8_t> message) {
    if (hasVerb(message, "CRCX")) return MgcpOperation::kCrcx;
    if (hasVerb(message, "MDCX")) return MgcpOperation::kMdcx;
    if (hasVerb(message, "RQNT")) return MgcpOperation::kRqnt;
    if (hasVerb(message, "DLCX")) return MgcpOperation::kDlcxReceived;
    return MgcpOperation::kResponse;
}

MgcpOperation classifySent(std::span<const std::uint8_t> message) {
    if (hasVerb(message, "CRCX")) return MgcpOperation::kCrcx;
    if (hasVerb(message, "MDCX")) return MgcpOperation::kMdcx;
    if (hasVerb(message, "RQNT")) return MgcpOperation::kRqnt;
    if (hasVerb(message, "DLCX")) return MgcpOperation::kDlcxSent;
    if (hasVerb(message, "RSIP")) return MgcpOperation::kRsip;
    if (hasVerb(message, "NTFY")) return MgcpOperation::kNtfy;
    return MgcpOperation::kResponse;
}

std::uint32_t readTransactionId(std::span<const std::uint8_t> message) {
    const auto firstBlank = std::find(message.begin(), message.end(), std::uint8_t{' '});
    if (firstBlank == message.end() || firstBlank + 1 == message.end()) return 0;
    const auto tokenBegin = firstBlank + 1;
    const auto tokenEnd = std::find(tokenBegin, message.end(), std::uint8_t{' '});
    const std::size_t length = std::min<std::size_t>(static_cast<std::size_t>(tokenEnd - tokenBegin), kMaxTidToken);
    const char* first = reinterpret_cast<const char*>(&*tokenBegin);
    std::uint32_t value = 0;
    // Only the leading digits count; a number too large for 32 bits is none.
    const std::from_chars_result r = std::from_chars(first, first + length, value);
    if (r.ec != std::errc()) return 0;
    return value;
}
