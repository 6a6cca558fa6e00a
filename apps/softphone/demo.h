// `softphone demo`: a whole call against the built-in call server, with a
// file or a generated speech-like signal as the microphone, and a summary
// of measured figures.
#pragma once

#include <string>

namespace client {

struct DemoOptions {
    std::string library;  // empty: beside the program, else the build's
    std::string micFile;
    std::string recordFile = "softphone-demo-heard.wav";
    std::string traceFile = "softphone-demo-trace.log";
    double lossPercent = 0.0;
    int jitterMs = 0;
    double reorderPercent = 0.0;
    bool check = false;  // exit 1 when a clean-loopback figure is off
};

int runDemo(const DemoOptions& options);

}  // namespace client
