// The call server of the demo, run in-process on its own thread: the
// simulator's PBX with an echo party. The only part of the client that
// links the simulator.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <string>
#include <vector>

namespace client {

struct DemoServerOptions {
    double lossPercent = 0.0;
    int jitterMs = 0;
    double reorderPercent = 0.0;
};

struct DemoServerCounts {
    bool registered = false;
    int calls = 0;
    std::uint64_t rtpReceived = 0;
    std::uint64_t rtpSent = 0;
    std::uint64_t rtpDropped = 0;
    std::uint64_t rtpStray = 0;  // from the terminal while its connection did not let it send
    // The far end's send time of each packet down, lost ones included
    // (steady clock, us).
    std::vector<std::uint64_t> farEndSentUs;
};

class DemoServer {
public:
    DemoServer(const DemoServerOptions& options, std::function<void(const std::string&)> log);
    ~DemoServer();
    bool start();
    void stop();
    DemoServerCounts counts() const;

private:
    struct Impl;
    std::unique_ptr<Impl> mImpl;
};

}  // namespace client
