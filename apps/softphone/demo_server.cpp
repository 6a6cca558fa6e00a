#include "demo_server.h"

#include "sim/pbxsim/pbx.h"

namespace client {

struct DemoServer::Impl {
    explicit Impl(sim::PbxOptions options, std::function<void(const std::string&)> log)
        : pbx(std::move(options), std::move(log)) {}
    sim::Pbx pbx;
};

DemoServer::DemoServer(const DemoServerOptions& options, std::function<void(const std::string&)> log) {
    sim::PbxOptions pbx;
    pbx.party = sim::PartyKind::Echo;
    pbx.impairment.lossPercent = options.lossPercent;
    pbx.impairment.jitterMs = options.jitterMs;
    pbx.impairment.reorderPercent = options.reorderPercent;
    pbx.ringbackMs = 800;
    pbx.recordSendTimes = true;
    mImpl = std::make_unique<Impl>(pbx, std::move(log));
}

DemoServer::~DemoServer() = default;

bool DemoServer::start() {
    return mImpl->pbx.start();
}

void DemoServer::stop() {
    mImpl->pbx.stop();
}

DemoServerCounts DemoServer::counts() const {
    const sim::PbxCounts c = mImpl->pbx.counts();
    return {c.registered, c.calls, c.rtp.received, c.rtp.sent, c.rtp.dropped, c.rtp.stray, c.rtp.sentUs};
}

}  // namespace client
