#include "raw_terminal.h"

#include <poll.h>
#include <termios.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>

namespace client {

namespace {

termios gSaved{};
volatile std::sig_atomic_t gHaveSaved = 0;
volatile std::sig_atomic_t gStop = 0;

void restore() {
    if (gHaveSaved != 0) {
        ::tcsetattr(STDIN_FILENO, TCSANOW, &gSaved);
        // Cursor back on.
        const char show[] = "\x1b[?25h";
        (void)!::write(STDOUT_FILENO, show, sizeof show - 1);
    }
}

void onSignal(int) {
    // Only the flag here: the main loop leaves, and the destructor restores.
    gStop = 1;
}

}  // namespace

RawTerminal::RawTerminal() {
    if (::isatty(STDIN_FILENO) && ::tcgetattr(STDIN_FILENO, &gSaved) == 0) {
        gHaveSaved = 1;
        std::atexit(restore);
        termios raw = gSaved;
        raw.c_lflag &= static_cast<tcflag_t>(~(ICANON | ECHO));
        raw.c_cc[VMIN] = 0;
        raw.c_cc[VTIME] = 0;
        ::tcsetattr(STDIN_FILENO, TCSANOW, &raw);
    }
    struct sigaction action {};
    action.sa_handler = onSignal;
    sigemptyset(&action.sa_mask);
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    ::sigaction(SIGHUP, &action, nullptr);
}

RawTerminal::~RawTerminal() {
    restore();
}

int RawTerminal::readKey(int timeoutMs) {
    static bool ended = false;
    if (ended) {
        // Nothing more can come: wait as a key read would, never spin.
        ::poll(nullptr, 0, timeoutMs);
        return kEndOfInput;
    }
    pollfd fd{STDIN_FILENO, POLLIN, 0};
    if (::poll(&fd, 1, timeoutMs) <= 0) return kNoKey;
    unsigned char c = 0;
    const ssize_t n = ::read(STDIN_FILENO, &c, 1);
    if (n == 1) return c;
    if (n == 0 || (n < 0 && errno != EINTR && errno != EAGAIN)) {
        ended = true;
        return kEndOfInput;
    }
    return kNoKey;
}

void RawTerminal::restoreNow() {
    restore();
}

bool RawTerminal::stopRequested() {
    return gStop != 0;
}

}  // namespace client
