// The far party of a call: it speaks a known signal as RTP in the call's
// codec and keeps what the terminal sends, decoded with the reference
// codecs, so that a test can compare both directions with the signal.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "sim/rtp_peer.h"

namespace sim {

class RtpParty {
public:
    // Binds `port` on loopback; 0 lets the system choose.
    bool start(std::uint16_t port = 0) { return mPeer.start(port); }
    void stop() { mPeer.stop(); }
    std::uint16_t port() const { return mPeer.port(); }

    // Speaks `pcm` in 20 ms packets of `payloadType` to the terminal, from
    // now on, on the party's own thread.
    bool speak(std::span<const std::int16_t> pcm, int payloadType, std::uint32_t address, std::uint16_t port);
    bool waitSpoken(int timeoutMs) { return mPeer.waitPlayed(timeoutMs); }

    // The terminal's packets of `payloadType` in sequence order, decoded:
    // what the party heard.
    std::vector<std::int16_t> heard(int payloadType) const;
    std::size_t packetsHeard() const { return mPeer.received().size(); }
    bool waitForPackets(std::size_t count, int timeoutMs) const { return mPeer.waitForPackets(count, timeoutMs); }
    void forget() { mPeer.clear(); }

private:
    RtpPeer mPeer;
};

// The best normalised correlation of `recorded` with `reference` over the
// shifts of -maxShift to maxShift samples, with at least half the reference
// overlapping: how alike the two are once aligned. From -1 to 1.
double alignedCorrelation(std::span<const std::int16_t> reference, std::span<const std::int16_t> recorded,
                          int maxShift);

}  // namespace sim
