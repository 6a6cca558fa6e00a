// The terminal in key-at-a-time mode, restored when the object goes, at
// exit and on the signals that end the program.
#pragma once

#include <csignal>

namespace client {

class RawTerminal {
public:
    RawTerminal();
    ~RawTerminal();
    RawTerminal(const RawTerminal&) = delete;
    RawTerminal& operator=(const RawTerminal&) = delete;

    // A key within `timeoutMs`, or -1.
    int readKey(int timeoutMs);
    // Set by SIGINT, SIGTERM or SIGHUP.
    static bool stopRequested();
};

}  // namespace client
