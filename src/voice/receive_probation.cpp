#include "voice/receive_probation.h"

#include <algorithm>

namespace {

// The distance from `from` to `to`, taken the short way round the 16-bit
// sequence space: a wrap from 65535 to 0 is one step ahead.
int distance(std::uint16_t from, std::uint16_t to) {
    return static_cast<std::int16_t>(static_cast<std::uint16_t>(to - from));
}

}  // namespace

bool ReceiveProbation::Run::continuedBy(std::uint32_t source, std::uint16_t sequence) const {
    const int d = distance(newest, sequence);
    return source == ssrc && d >= -kWindow && d <= kWindow;
}

void ReceiveProbation::Run::take(std::uint16_t sequence) {
    if (distance(newest, sequence) > 0) newest = sequence;
    // The stream counts no further than a run needs: the count stays small
    // however long the call.
    if (count < kConfirmingPackets) sequences[static_cast<std::size_t>(count++)] = sequence;
}

ReceiveProbation::Verdict ReceiveProbation::check(std::uint32_t ssrc, std::uint16_t sequence) {
    if (!mFollowing || mStream.continuedBy(ssrc, sequence)) {
        if (!mFollowing) mStream = Run{ssrc, sequence};
        mFollowing = true;
        mStream.take(sequence);
        // A run on probation has to come in a row: the stream went on.
        mCandidate = Run{};
        return Verdict::kAccept;
    }
    if (mCandidate.count > 0 && mCandidate.continuedBy(ssrc, sequence)) {
        const auto end = mCandidate.sequences.begin() + mCandidate.count;
        if (std::find(mCandidate.sequences.begin(), end, sequence) != end) return Verdict::kDrop;
        mCandidate.take(sequence);
        if (mCandidate.count < kConfirmingPackets) return Verdict::kHold;
        mStream = Run{ssrc, mCandidate.newest};
        mCandidate = Run{};
        return Verdict::kRestart;
    }
    mCandidate = Run{ssrc, sequence};
    mCandidate.take(sequence);
    return Verdict::kHoldNew;
}

void ReceiveProbation::forget() {
    mFollowing = false;
    mStream = Run{};
    mCandidate = Run{};
}
