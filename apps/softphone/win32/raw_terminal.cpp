#include "raw_terminal.h"

#include <windows.h>

#include <algorithm>
#include <atomic>
#include <cstdlib>

namespace client {

namespace {

std::atomic<bool> gHaveSavedInput{false};
std::atomic<bool> gHaveSavedOutput{false};
DWORD gSavedInput = 0;
DWORD gSavedOutput = 0;
std::atomic<bool> gStop{false};
// Set once the terminal is back as it was, for a closing console's wait.
std::atomic<HANDLE> gRestored{nullptr};

void restore() {
    if (gHaveSavedInput.exchange(false)) ::SetConsoleMode(::GetStdHandle(STD_INPUT_HANDLE), gSavedInput);
    if (gHaveSavedOutput.exchange(false)) {
        const HANDLE out = ::GetStdHandle(STD_OUTPUT_HANDLE);
        // Cursor back on.
        const char show[] = "\x1b[?25h";
        DWORD written = 0;
        ::WriteFile(out, show, sizeof show - 1, &written, nullptr);
        ::SetConsoleMode(out, gSavedOutput);
    }
}

BOOL WINAPI onConsoleEvent(DWORD type) {
    if (type != CTRL_C_EVENT && type != CTRL_BREAK_EVENT && type != CTRL_CLOSE_EVENT) return FALSE;
    // Only the flag here: the main loop leaves, and the destructor restores.
    gStop = true;
    // A closing console ends the process when this returns: give the main
    // loop a few seconds to hang up and unload first (the system allows
    // five).
    const HANDLE restored = gRestored.load();
    if (type == CTRL_CLOSE_EVENT && restored != nullptr) ::WaitForSingleObject(restored, 4000);
    return TRUE;
}

DWORD untilEnd(ULONGLONG end) {
    const ULONGLONG now = ::GetTickCount64();
    return now >= end ? 0 : static_cast<DWORD>(end - now);
}

// A key from the console: the characters of key presses; other events
// (releases, the mouse, resizing) are passed over.
int consoleKey(HANDLE in, ULONGLONG end, bool& ended) {
    for (;;) {
        if (::WaitForSingleObject(in, untilEnd(end)) != WAIT_OBJECT_0) return RawTerminal::kNoKey;
        INPUT_RECORD record{};
        DWORD count = 0;
        if (!::ReadConsoleInputA(in, &record, 1, &count)) {
            ended = true;
            return RawTerminal::kEndOfInput;
        }
        const KEY_EVENT_RECORD& key = record.Event.KeyEvent;
        if (count == 1 && record.EventType == KEY_EVENT && key.bKeyDown && key.uChar.AsciiChar != 0)
            return static_cast<unsigned char>(key.uChar.AsciiChar);
        if (untilEnd(end) == 0) return RawTerminal::kNoKey;
    }
}

// A byte from a pipe or a file. A pipe can't be waited on: it is looked
// into every 10 ms until something is there or the time is up.
int streamByte(HANDLE in, bool pipe, ULONGLONG end, bool& ended) {
    while (pipe) {
        DWORD available = 0;
        if (!::PeekNamedPipe(in, nullptr, 0, nullptr, &available, nullptr)) break;  // the writer has gone
        if (available > 0) break;
        const DWORD left = untilEnd(end);
        if (left == 0) return RawTerminal::kNoKey;
        ::Sleep(std::min<DWORD>(left, 10));
    }
    unsigned char c = 0;
    DWORD count = 0;
    if (::ReadFile(in, &c, 1, &count, nullptr) && count == 1) return c;
    ended = true;
    return RawTerminal::kEndOfInput;
}

}  // namespace

RawTerminal::RawTerminal() {
    // Made once and kept: the console's handler thread may still wait on it.
    if (gRestored.load() == nullptr) gRestored = ::CreateEventW(nullptr, TRUE, FALSE, nullptr);
    ::ResetEvent(gRestored.load());
    DWORD mode = 0;
    const HANDLE in = ::GetStdHandle(STD_INPUT_HANDLE);
    if (::GetConsoleMode(in, &mode)) {
        gSavedInput = mode;
        gHaveSavedInput = true;
        ::SetConsoleMode(in, mode & ~static_cast<DWORD>(ENABLE_LINE_INPUT | ENABLE_ECHO_INPUT));
    }
    // The screen is drawn with the terminal's escape sequences.
    const HANDLE out = ::GetStdHandle(STD_OUTPUT_HANDLE);
    if (::GetConsoleMode(out, &mode)) {
        gSavedOutput = mode;
        gHaveSavedOutput = true;
        ::SetConsoleMode(out, mode | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    }
    if (gHaveSavedInput || gHaveSavedOutput) std::atexit(restore);
    ::SetConsoleCtrlHandler(onConsoleEvent, TRUE);
}

RawTerminal::~RawTerminal() {
    restore();
    ::SetConsoleCtrlHandler(onConsoleEvent, FALSE);
    if (gRestored.load() != nullptr) ::SetEvent(gRestored.load());
}

int RawTerminal::readKey(int timeoutMs) {
    static bool ended = false;
    const DWORD timeout = static_cast<DWORD>(std::max(timeoutMs, 0));
    if (ended) {
        // Nothing more can come: wait as a key read would, never spin.
        ::Sleep(timeout);
        return kEndOfInput;
    }
    const ULONGLONG end = ::GetTickCount64() + timeout;
    const HANDLE in = ::GetStdHandle(STD_INPUT_HANDLE);
    DWORD mode = 0;
    if (in == nullptr || in == INVALID_HANDLE_VALUE) {
        ended = true;
    } else if (::GetConsoleMode(in, &mode)) {
        return consoleKey(in, end, ended);
    } else {
        return streamByte(in, ::GetFileType(in) == FILE_TYPE_PIPE, end, ended);
    }
    ::Sleep(timeout);
    return kEndOfInput;
}

void RawTerminal::restoreNow() {
    restore();
}

bool RawTerminal::stopRequested() {
    return gStop.load();
}

}  // namespace client
