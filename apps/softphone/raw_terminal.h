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

    static constexpr int kNoKey = -1;
    static constexpr int kEndOfInput = -2;

    // A key within `timeoutMs`, kNoKey, or kEndOfInput once standard input
    // has closed (after which it waits out `timeoutMs` instead of spinning).
    int readKey(int timeoutMs);
    // Set by SIGINT, SIGTERM or SIGHUP.
    static bool stopRequested();
    // The terminal as it was, now: for a program that ends without unwinding.
    static void restoreNow();
};

}  // namespace client
