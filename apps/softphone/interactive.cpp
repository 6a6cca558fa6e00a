#include "interactive.h"

#include <array>
#include <atomic>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <mutex>
#include <string>

#include "engine_library.h"
#include "event_handler.h"
#include "event_pump.h"
#include "raw_terminal.h"
#include "registrar.h"
#include "terminal_parameters.h"
#include "voice_bridge.h"

namespace client {

namespace {

constexpr std::size_t kLogLines = 8;
constexpr char kHelp[] = "keys: 0-9 * # dial   h hook   l line 1   s speaker   a-d soft keys 1-4   q quit";

// Key index of the tone player for a dial key; -1 for none.
int keyToneIndex(char c) {
    if (c >= '0' && c <= '9') return SP_KEY_TONE_0 + (c - '0');
    if (c == '*') return SP_KEY_TONE_STAR;
    if (c == '#') return SP_KEY_TONE_HASH;
    return -1;
}

class Screen {
public:
    void log(const std::string& text) {
        std::lock_guard<std::mutex> lock(mMutex);
        mLog.push_back(text);
        while (mLog.size() > kLogLines) mLog.pop_front();
        mDirty = true;
    }
    void markDirty() { mDirty = true; }
    // Draws from the top left, each line cleared to its end.
    void draw(const PhoneDisplay& display, const std::string& status) {
        if (!mDirty.exchange(false)) return;
        std::string frame = "\x1b[H";
        auto line = [&frame](const std::string& text) { frame += text + "\x1b[K\r\n"; };
        line("softphone  " + status);
        for (const std::string& row : display.render()) line(row);
        line("");
        {
            std::lock_guard<std::mutex> lock(mMutex);
            for (const std::string& entry : mLog) line("  " + entry);
            for (std::size_t i = mLog.size(); i < kLogLines; ++i) line("");
        }
        line(kHelp);
        frame += "\x1b[J";
        std::fwrite(frame.data(), 1, frame.size(), stdout);
        std::fflush(stdout);
    }

private:
    std::mutex mMutex;
    std::deque<std::string> mLog;
    std::atomic<bool> mDirty{true};
};

}  // namespace

int runInteractive(const InteractiveOptions& options) {
    std::uint32_t server = 0, local = 0;
    std::array<std::uint8_t, 6> mac{};
    if (!parseAddress(options.server, server) || !parseAddress(options.local, local)) {
        std::fprintf(stderr, "softphone: addresses are dotted IPv4 addresses\n");
        return 2;
    }
    if (!parseMac(options.mac, mac)) {
        std::fprintf(stderr, "softphone: --mac takes 12 hexadecimal digits\n");
        return 2;
    }
    EngineLibrary library;
    if (!library.load(options.library)) {
        std::fprintf(stderr, "softphone: cannot load %s: %s\n", library.path().c_str(), library.error().c_str());
        return 2;
    }
    const Engine& engine = library.engine();
    engine.tracer_startup(options.traceFile.c_str());

    RawTerminal terminal;
    Screen screen;
    std::fputs("\x1b[2J\x1b[?25l", stdout);
    EventHandler handler(engine, [&screen](const std::string& text) { screen.log(text); });
    EventPump pump(handler);
    pump.start([&screen] { screen.markDirty(); });
    CallProgress& progress = handler.progress();

    if (engine.AudioModuleStart() != 0) screen.log("sound engine did not start: no voice");
    VoiceBridge bridge(engine, progress.mayTalk);
    bridge.start(true);

    Registrar registrar(engine, terminalParameters(server, local, mac), options.server, options.traceFile,
                        [&screen](const std::string& text) { screen.log(text); });
    registrar.start();

    bool offHook = false;
    bool inputEnded = false;
    std::string shown;
    while (!RawTerminal::stopRequested()) {
        if (progress.registerAgain.exchange(false)) {
            // The link is gone: whatever was up is over.
            offHook = false;
            handler.setOffHook(false);
            registrar.registerAgain();
        }
        const std::string status = registrar.status() + (offHook ? ", off hook" : ", on hook") +
                                   (progress.linkLost && !registrar.registered() ? "  ** LINK LOST **" : "");
        if (status != shown) screen.markDirty();
        shown = status;
        screen.draw(handler.display(), status);
        // No more keys can come: the program ends as soon as it can end
        // cleanly, that is once initialize has returned.
        if (inputEnded && !registrar.initializing()) break;
        const int key = terminal.readKey(100);
        if (key == RawTerminal::kEndOfInput) {
            if (!inputEnded) screen.log("standard input closed: quitting");
            inputEnded = true;
            continue;
        }
        if (key == RawTerminal::kNoKey) continue;
        const char c = static_cast<char>(key);
        if (c == 'q' || c == 3) break;
        screen.markDirty();
        if (!registrar.registered()) {
            screen.log("not registered yet: key ignored");
            continue;
        }
        if (keyToneIndex(c) >= 0) {
            const char digits[2] = {c, '\0'};
            engine.make_call(digits);
            EngineEvent tone;
            tone.kind = EngineEvent::LocalKeyTone;
            tone.code = keyToneIndex(c);
            EventQueue::instance().push(tone);  // the tone player has one caller: the pump
        } else if (c == 'h') {
            offHook = !offHook;
            handler.setOffHook(offHook);
            screen.log(offHook ? "off hook" : "on hook");
            engine.put_key(offHook ? SP_KEY_OFF_HOOK : SP_KEY_ON_HOOK);
        } else if (c == 'l') {
            offHook = true;
            handler.setOffHook(true);
            screen.log("line key 1");
            engine.put_key(SP_KEY_LINE_1);
        } else if (c == 's') {
            screen.log("speaker key");
            engine.put_key(SP_KEY_SPEAKER);
        } else if (c >= 'a' && c <= 'd') {
            screen.log("soft key " + std::to_string(c - 'a' + 1));
            engine.put_key(SP_KEY_SOFT_FIRST + static_cast<std::uint32_t>(c - 'a'));
        }
    }
    const bool wasRegistered = registrar.registrations() > 0;
    registrar.stop();  // ends a registration under way, and uninitializes
    bridge.stop();
    engine.AudioModuleShutdown();
    pump.stop();
    std::fputs("\r\n", stdout);
    return wasRegistered ? 0 : 1;
}

}  // namespace client
