// What the call server's RTP meets on its way to the terminal: random loss,
// a delay that varies around a mean, and packets held back past the next.
#pragma once

#include <cstdint>
#include <optional>
#include <random>

namespace sim {

struct LinkImpairment {
    double lossPercent = 0.0;
    int jitterMs = 0;  // mean delay; each packet varies by half of it either way
    double reorderPercent = 0.0;
    std::uint32_t seed = 1;
};

class ImpairedLink {
public:
    explicit ImpairedLink(const LinkImpairment& impairment);

    // The delay in ms of the next packet, or nothing when it is lost.
    std::optional<int> nextDelayMs();

private:
    LinkImpairment mImpairment;
    std::mt19937 mRandom;
    std::uniform_real_distribution<double> mPercent{0.0, 100.0};
};

}  // namespace sim
