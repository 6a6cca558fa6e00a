#include "sim/pbxsim/link_impairment.h"

namespace sim {

namespace {
// A reordered packet waits two packet times more, so that the next one
// overtakes it.
constexpr int kReorderHoldMs = 40;
}  // namespace

ImpairedLink::ImpairedLink(const LinkImpairment& impairment) : mImpairment(impairment), mRandom(impairment.seed) {}

std::optional<int> ImpairedLink::nextDelayMs() {
    if (mImpairment.lossPercent > 0.0 && mPercent(mRandom) < mImpairment.lossPercent) return std::nullopt;
    int delay = 0;
    if (mImpairment.jitterMs > 0) {
        const int spread = mImpairment.jitterMs / 2;
        delay =
            std::uniform_int_distribution<int>(mImpairment.jitterMs - spread, mImpairment.jitterMs + spread)(mRandom);
    }
    if (mImpairment.reorderPercent > 0.0 && mPercent(mRandom) < mImpairment.reorderPercent) delay += kReorderHoldMs;
    return delay;
}

}  // namespace sim
