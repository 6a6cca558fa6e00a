// `softphone --server ADDRESS`: the phone at the keyboard. Keys from the
// terminal, the display redrawn in place.
#pragma once

#include <string>

namespace client {

struct InteractiveOptions {
    std::string library;
    std::string server;
    std::string local = "127.0.0.1";
    std::string mac = "001122334455";
    std::string traceFile = "softphone-trace.log";
};

int runInteractive(const InteractiveOptions& options);

}  // namespace client
