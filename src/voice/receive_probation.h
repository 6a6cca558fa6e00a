// Which run of received packets the voice path follows.
//
// The Buffer keys frames by sequence number alone and trusts each one: a
// single packet far ahead of the stream (a stray, a late one of the last
// call's far end, anything that reaches the port) moves its newest frame so
// far that the live stream behind counts as late for as long as the jump,
// and a far end that changes source and starts lower is refused as late
// for good. So the receive path looks at each packet's source and sequence
// before the Buffer does: a packet that continues the stream goes on to the
// Buffer, one that breaks it waits on probation and changes nothing, and
// only a new run confirmed by packets in a row replaces the stream, with
// the Buffer reset for it as for a new call. Pure: header values in, a
// verdict out.
#pragma once

#include <array>
#include <cstdint>

class ReceiveProbation {
public:
    // Sequence numbers within this distance of the newest one taken, ahead
    // or behind, continue the stream: reordering, duplicates and losses of
    // up to 640 ms. Beyond it a restart waits for confirmation.
    static constexpr int kWindow = 32;
    // Packets of one new run, in a row, that replace the stream.
    static constexpr int kConfirmingPackets = 3;

    enum class Verdict {
        kAccept,   // continues the stream: to the Buffer; what was held goes
        kHold,     // continues the run on probation: held beside it
        kHoldNew,  // begins a run on probation: held, what was held before goes
        kRestart,  // confirms the run on probation: it becomes the stream,
                   // taken from its first packet, on a reset Buffer
        kDrop,     // a duplicate of a held packet: changes nothing
    };

    // The verdict on one received packet. The first packet after a reset
    // (or ever) starts the stream.
    Verdict check(std::uint32_t ssrc, std::uint16_t sequence);
    // A new call: the next packet starts the stream.
    void forget();

    bool following() const { return mFollowing; }
    std::uint32_t ssrc() const { return mStream.ssrc; }
    std::uint16_t newest() const { return mStream.newest; }
    // Packets of the run on probation; 0 when none.
    int held() const { return mCandidate.count; }

private:
    struct Run {
        std::uint32_t ssrc = 0;
        std::uint16_t newest = 0;
        int count = 0;
        std::array<std::uint16_t, kConfirmingPackets> sequences{};

        // Within the window of this run's newest packet, from the same source.
        bool continuedBy(std::uint32_t ssrc, std::uint16_t sequence) const;
        void take(std::uint16_t sequence);
    };

    bool mFollowing = false;
    Run mStream;     // only ssrc and newest count
    Run mCandidate;  // count 0: nothing on probation
};
