#include "mgcp/signal_list.h"

#include <algorithm>
#include <string_view>

#include "mgcp/command_reader.h"
#include "mgcp/datagram_view.h"
#include "mgcp/signal_decoder.h"

namespace {

constexpr std::string_view kSignalLine = "S: X-P";
// "S: X-P/" stands in front of the name.
constexpr std::size_t kNameOffset = 7;
constexpr std::size_t kPackageOffset = 3;
constexpr std::string_view kNextSignal = ",X-P";

void applyToneSignal(ToneSignalChange change, MediaSession& session) {
    if (change == ToneSignalChange::kSet) session.mToneSignal = true;
    if (change == ToneSignalChange::kCleared) session.mToneSignal = false;
}

}  // namespace

SignalList::SignalList(std::span<const std::uint8_t> packet) {
    mLength = std::min(packet.size(), mBytes.size());
    std::copy_n(packet.begin(), mLength, mBytes.begin());
}

bool SignalList::next(MediaSession& session, SignalBlock& block) {
    block.clear();
    const DatagramView packet(std::span<const std::uint8_t>(mBytes.data(), mLength));
    if (packet.empty() || !readCommandLine(packet, session)) {
        mLength = 0;
        return false;
    }
    const std::size_t first = packet.find(kSignalLine);
    if (first == DatagramView::npos) {
        mLength = 0;
        return true;
    }
    // A signal that doesn't settle the block lets a later signal line of
    // the same message be read into it.
    for (std::size_t at = first; at != DatagramView::npos; at = packet.find(kSignalLine, at + 1)) {
        const SignalResult result = decodeSignal(packet.from(at + kNameOffset), block);
        applyToneSignal(result.toneSignal, session);
        if (result.complete) break;
    }
    const std::size_t listAt = first + kPackageOffset;
    const std::size_t comma = packet.find(kNextSignal, listAt);
    if (comma == DatagramView::npos) {
        mLength = 0;
        return true;
    }
    // The next "X-P" moves up to where this one stood; the freed tail reads
    // as zero again.
    const std::size_t removed = comma + 1 - listAt;
    std::copy(mBytes.begin() + static_cast<std::ptrdiff_t>(comma + 1),
              mBytes.begin() + static_cast<std::ptrdiff_t>(mLength),
              mBytes.begin() + static_cast<std::ptrdiff_t>(listAt));
    std::fill(mBytes.begin() + static_cast<std::ptrdiff_t>(mLength - removed),
              mBytes.begin() + static_cast<std::ptrdiff_t>(mLength), 0);
    mLength -= removed;
    return true;
}
