#include "demo.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <thread>

#include "demo_server.h"
#include "engine_library.h"
#include "event_handler.h"
#include "event_pump.h"
#include "terminal_parameters.h"
#include "voice_analysis.h"
#include "voice_bridge.h"
#include "wav_file.h"

namespace client {

namespace {

using Clock = std::chrono::steady_clock;
constexpr int kTalkSeconds = 4;
constexpr std::uint32_t kLoopback = 0x7F000001;

class Printer {
public:
    void line(const char* who, const std::string& text) {
        std::lock_guard<std::mutex> lock(mMutex);
        const double t = std::chrono::duration<double>(Clock::now() - mStart).count();
        std::printf("[%6.2f s] %-7s %s\n", t, who, text.c_str());
        std::fflush(stdout);
    }

private:
    std::mutex mMutex;
    const Clock::time_point mStart = Clock::now();
};

bool waitUntil(const std::function<bool()>& done, int timeoutMs) {
    const auto end = Clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!done()) {
        if (Clock::now() >= end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::string absolute(const std::string& path) {
    char resolved[PATH_MAX];
    return ::realpath(path.c_str(), resolved) != nullptr ? resolved : path;
}

int median(std::vector<int> values) {
    if (values.empty()) return -1;
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int runDemo(const DemoOptions& options) {
    Printer out;
    auto client = [&out](const std::string& text) { out.line("client", text); };

    std::vector<std::int16_t> speech;
    std::string micSource;
    if (!options.micFile.empty()) {
        std::string error;
        if (!readWav(options.micFile, speech, error)) {
            std::fprintf(stderr, "softphone demo: %s\n", error.c_str());
            return 2;
        }
        micSource = options.micFile;
    } else {
        speech = speechLikeSignal(kTalkSeconds * 8000);
        micSource = "generated speech-like signal";
    }
    speech.resize(speech.size() / kFrameSamples * kFrameSamples);

    DemoServerOptions serverOptions{options.lossPercent, options.jitterMs, options.reorderPercent};
    DemoServer server(serverOptions, [&out](const std::string& text) { out.line("server", text); });
    if (!server.start()) return 2;

    EngineLibrary library;
    if (!library.load(options.library)) {
        std::fprintf(stderr, "softphone demo: cannot load %s: %s\n", library.path().c_str(), library.error().c_str());
        return 2;
    }
    const Engine& engine = library.engine();
    client("loaded " + library.path());
    engine.tracer_startup(options.traceFile.c_str());

    EventHandler handler(engine, client);
    EventPump pump(handler);
    pump.start();
    CallProgress& progress = handler.progress();

    // Sound first, as a client does: devices, then the capture callback.
    const int audio = engine.AudioModuleStart();
    client(audio == 0 ? "sound engine started (System Default devices)" : "sound engine did not start");
    VoiceBridge bridge(engine);
    bridge.start(false);

    ParameterContainer params = terminalParameters(kLoopback, kLoopback, {0x00, 0x11, 0x22, 0x33, 0x44, 0xFF});
    PtapParameters ptap{};
    client("initialize: registering with 127.0.0.1 (PTAP, then MGCP)");
    const auto registerStart = Clock::now();
    const int init = engine.initialize(&params, &ptap);
    const double registerMs = std::chrono::duration<double, std::milli>(Clock::now() - registerStart).count();
    char text[256];
    std::snprintf(text, sizeof text, "initialize returned %d after %.1f ms; keepalive time-out %d s", init, registerMs,
                  ptap.mKeepaliveTimeout);
    client(text);

    bool dialTone = false, connected = false, stopped = false;
    std::string codec;
    if (init == SP_INIT_OK) {
        client("off hook");
        engine.put_key(SP_KEY_OFF_HOOK);
        dialTone = waitUntil([&] { return progress.dialTone.load(); }, 3000);
        client("dialling 2001#");
        engine.make_call("2001#");
        connected = waitUntil([&] { return progress.connected.load() && progress.voiceStarted.load(); }, 6000);
        codec = handler.codec();
        if (connected) {
            client("talking for " + std::to_string(speech.size() / 8000) + " s, microphone: " + micSource);
            bridge.record(true);
            bridge.speak(speech);
            const int talkMs = static_cast<int>(speech.size() / 8) + 2000;
            waitUntil([&] { return !bridge.speaking(); }, talkMs);
            // The echo of the last frames is still on its way: wait until the
            // server has sent back what it got, then for the jitter buffer.
            waitUntil(
                [&] {
                    const DemoServerCounts c = server.counts();
                    return c.rtpSent + c.rtpDropped >= c.rtpReceived;
                },
                2000);
            std::this_thread::sleep_for(std::chrono::milliseconds(400 + 2 * options.jitterMs));
            bridge.record(false);
        }
        client("on hook");
        engine.put_key(SP_KEY_ON_HOOK);
        stopped = waitUntil([&] { return progress.voiceStopped.load() || !progress.voiceStarted.load(); }, 3000);
    }

    bridge.stop();
    engine.uninitialize();
    engine.AudioModuleShutdown();
    pump.stop();
    server.stop();
    client("uninitialized; sound engine shut down");

    // ---- The figures, all measured.
    const VoiceCounts voice = bridge.counts();
    const DemoServerCounts counts = server.counts();
    const std::vector<std::int16_t> heard = bridge.recording();
    std::vector<std::int16_t> sent = speech;
    sent.resize(std::min<std::size_t>(sent.size(), voice.framesSent * kFrameSamples));
    int shift = 0;
    const double correlation = heard.empty() ? 0.0 : alignedCorrelation(sent, heard, 8000, &shift);
    const FrameMatch match =
        matchFrames(sent, bridge.spokenTicks(), heard, bridge.recordedTicks(), shift % kFrameSamples);
    const bool recorded = writeWav(options.recordFile, heard);

    std::printf("\n---- summary ----\n");
    std::printf("registration             %s, %.1f ms (initialize, PTAP and MGCP)\n",
                init == SP_INIT_OK ? "ok" : "FAILED", registerMs);
    std::printf("dial tone / call         %s / %s, codec %s\n", dialTone ? "heard" : "missing",
                connected ? "connected" : "NOT connected", codec.empty() ? "-" : codec.c_str());
    std::printf("microphone               %s, fed to send_voice at 20 ms pace by the client\n", micSource.c_str());
    std::printf("packets up               client sent %llu, server received %llu\n",
                static_cast<unsigned long long>(voice.framesSent), static_cast<unsigned long long>(counts.rtpReceived));
    std::printf(
        "packets down             server sent %llu (dropped on purpose %llu), client played %d of them intact\n",
        static_cast<unsigned long long>(counts.rtpSent), static_cast<unsigned long long>(counts.rtpDropped),
        match.intact);
    std::printf("frames played            %llu from recv_voice; %d filled in by the engine between intact ones\n",
                static_cast<unsigned long long>(voice.framesPlayed), match.filledIn);
    std::printf("round trip (echo)        median %d ms from send_voice to playout of the echo\n",
                median(match.delayTicks) < 0 ? -1 : median(match.delayTicks) * kFrameMs);
    std::printf("correlation              %.3f after alignment (shift %d samples)\n", correlation, shift);
    std::printf("late playout ticks       %llu\n", static_cast<unsigned long long>(voice.lateTicks));
    std::printf("recording                %s%s\n", absolute(options.recordFile).c_str(),
                recorded ? "" : " (NOT written)");
    std::printf("trace file               %s\n", absolute(options.traceFile).c_str());
    std::printf("call ended cleanly       %s\n", stopped ? "yes" : "no");
    std::printf(
        "(the engine reports neither concealment nor its jitter target through its exports: frames\n"
        " filled in are those the client heard that carried no sent frame; the stream's last frame is\n"
        " blended by concealment as the stream stops, so it never counts as intact)\n");

    if (!options.check) return init == SP_INIT_OK && connected ? 0 : 1;
    const bool clean = options.lossPercent == 0.0 && options.jitterMs == 0 && options.reorderPercent == 0.0;
    std::vector<std::string> failures;
    if (init != SP_INIT_OK) failures.push_back("registration failed");
    if (!connected) failures.push_back("call did not connect");
    if (correlation < 0.9) failures.push_back("correlation below 0.9");
    if (voice.framesSent != counts.rtpReceived) failures.push_back("packets up differ from the server's count");
    // The last frame of a stream meets the buffer's stretch as the stream
    // stops (a concealed tick, then the frame blended in), so it can't
    // count as intact.
    if (clean && static_cast<std::uint64_t>(match.intact) + 1 != counts.rtpSent)
        failures.push_back("packets down differ from the server's count");
    if (clean && match.filledIn != 0) failures.push_back("frames filled in on clean loopback");
    if (!stopped) failures.push_back("voice did not stop at on hook");
    for (const std::string& f : failures) std::printf("CHECK FAILED: %s\n", f.c_str());
    if (failures.empty()) std::printf("CHECK PASSED\n");
    return failures.empty() ? 0 : 1;
}

}  // namespace client
