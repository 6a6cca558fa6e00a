#include "sim/rtp_party.h"

#include <algorithm>
#include <cmath>

#include "sim/reference_codec.h"

namespace sim {

bool RtpParty::speak(std::span<const std::int16_t> pcm, int payloadType, std::uint32_t address, std::uint16_t port) {
    RtpStreamPlan plan;
    plan.payloadType = payloadType;
    return mPeer.play(planRtpStream(pcm, plan), address, port);
}

std::vector<std::int16_t> RtpParty::heard(int payloadType) const {
    std::vector<RtpDatagram> packets = mPeer.received();
    std::erase_if(packets, [payloadType](const RtpDatagram& p) { return p.payloadType != payloadType; });
    if (packets.empty()) return {};
    // Sequence order, counted from the first packet so that a wrap sorts.
    const std::uint16_t first = packets.front().sequence;
    std::stable_sort(packets.begin(), packets.end(), [first](const RtpDatagram& a, const RtpDatagram& b) {
        return static_cast<std::uint16_t>(a.sequence - first) < static_cast<std::uint16_t>(b.sequence - first);
    });
    std::vector<std::vector<std::uint8_t>> payloads;
    for (const RtpDatagram& p : packets) payloads.push_back(p.payload);
    return decodeStream(payloadType, payloads);
}

double alignedCorrelation(std::span<const std::int16_t> reference, std::span<const std::int16_t> recorded,
                          int maxShift) {
    const auto n = static_cast<long>(reference.size());
    const auto m = static_cast<long>(recorded.size());
    double best = -1.0;
    for (long shift = -maxShift; shift <= maxShift; ++shift) {
        // reference[i] against recorded[i + shift].
        const long begin = std::max(0L, -shift);
        const long end = std::min(n, m - shift);
        if (end - begin < n / 2) continue;
        double xy = 0.0, xx = 0.0, yy = 0.0;
        for (long i = begin; i < end; ++i) {
            const double x = reference[static_cast<std::size_t>(i)];
            const double y = recorded[static_cast<std::size_t>(i + shift)];
            xy += x * y;
            xx += x * x;
            yy += y * y;
        }
        if (xx > 0.0 && yy > 0.0) best = std::max(best, xy / std::sqrt(xx * yy));
    }
    return best;
}

}  // namespace sim
