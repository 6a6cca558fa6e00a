#include "demo.h"

#include <algorithm>
#include <chrono>
#include <climits>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <functional>
#include <mutex>
#include <system_error>
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

// The full path of a file that is there; the path as given otherwise.
std::string absolute(const std::string& path) {
    std::error_code error;
    const std::filesystem::path resolved = std::filesystem::canonical(path, error);
    return error ? path : resolved.string();
}

constexpr int kNoFigure = INT_MIN;

std::string milliseconds(int value) {
    return value == kNoFigure ? std::string("- (no frame matched)") : std::to_string(value) + " ms";
}

int percentile(std::vector<int> values, int percent) {
    if (values.empty()) return kNoFigure;
    std::sort(values.begin(), values.end());
    return values[(values.size() - 1) * static_cast<std::size_t>(percent) / 100];
}

int median(std::vector<int> values) {
    return percentile(std::move(values), 50);
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
    VoiceBridge bridge(engine, progress.mayTalk);
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
    std::uint64_t spokenFrames = 0;
    std::string codec;
    if (init == SP_INIT_OK) {
        client("off hook");
        handler.setOffHook(true);
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
            // The echo of the last spoken frame is still on its way: wait
            // until the server has sent it back, then for the jitter buffer.
            const std::vector<std::uint64_t> sendIndex = bridge.spokenSendIndex();
            spokenFrames = sendIndex.size();
            const std::uint64_t lastSpoken = sendIndex.empty() ? 0 : sendIndex.back() + 1;
            waitUntil(
                [&] {
                    const DemoServerCounts c = server.counts();
                    return c.rtpSent + c.rtpDropped >= lastSpoken;
                },
                2000);
            std::this_thread::sleep_for(std::chrono::milliseconds(400 + 2 * options.jitterMs));
            bridge.record(false);
        }
        client("on hook");
        handler.setOffHook(false);
        engine.put_key(SP_KEY_ON_HOOK);
        stopped = waitUntil([&] { return progress.voiceStopped.load() || !progress.voiceStarted.load(); }, 3000);
        // Whatever the terminal still sent would reach the server within a
        // few frames.
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
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
    sent.resize(std::min<std::size_t>(sent.size(), spokenFrames * kFrameSamples));
    int shift = 0;
    const double correlation = heard.empty() ? 0.0 : alignedCorrelation(sent, heard, 8000, &shift);
    const FrameMatch match =
        matchFrames(sent, bridge.spokenTicks(), heard, bridge.recordedTicks(), shift % kFrameSamples);
    const bool recorded = writeWav(options.recordFile, heard);

    // From the far end's send to recv_voice and to the device's output: each
    // intact frame heard, by the echo party's send time of that frame's
    // packet (the party echoes the terminal's packets in order).
    const std::vector<std::uint64_t> sendIndex = bridge.spokenSendIndex();
    const std::vector<PlayedFrame> playedFrames = bridge.recordedFrames();
    std::vector<int> toRecvMs, toEarMs;
    for (const auto& [k, j] : match.pairs) {
        const std::size_t packet = static_cast<std::size_t>(sendIndex[static_cast<std::size_t>(k)]);
        if (packet >= counts.farEndSentUs.size()) continue;
        const PlayedFrame& f = playedFrames[static_cast<std::size_t>(j)];
        const std::uint64_t farUs = counts.farEndSentUs[packet];
        toRecvMs.push_back(
            static_cast<int>((static_cast<std::int64_t>(f.recvUs) - static_cast<std::int64_t>(farUs)) / 1000));
        toEarMs.push_back(
            static_cast<int>((static_cast<std::int64_t>(f.outputUs) - static_cast<std::int64_t>(farUs)) / 1000));
    }

    // What failed, in the order a client developer should look at it.
    std::vector<std::string> problems;
    if (audio != 0) problems.push_back("the sound engine did not start (AudioModuleStart)");
    if (init != SP_INIT_OK) problems.push_back("registration failed: initialize gave " + std::to_string(init));
    if (init == SP_INIT_OK && !dialTone) problems.push_back("no dial tone came after off hook");
    if (init == SP_INIT_OK && !connected) problems.push_back("the call did not connect");
    if (connected && counts.rtpReceived == 0)
        problems.push_back("no voice reached the server: the client sent " + std::to_string(voice.framesSent) +
                           " frames (is RTP port 8000 held by another program? see the trace file)");
    if (connected && counts.rtpSent > 0 && voice.framesPlayed == 0)
        problems.push_back("no voice came back: the server sent " + std::to_string(counts.rtpSent) +
                           " packets and recv_voice gave none (is RTP port 8000 held by another program?)");
    if (connected && counts.rtpReceived > 0 && match.intact == 0)
        problems.push_back("none of what was heard matched what was sent");
    if (counts.rtpStray != 0)
        problems.push_back(std::to_string(counts.rtpStray) +
                           " packets went up while the connection did not let the terminal send");
    if (init == SP_INIT_OK && !stopped) problems.push_back("voice did not stop at on hook");

    std::printf("\n---- summary ----\n");
    std::printf("registration             %s, %.1f ms (initialize, PTAP and MGCP)\n",
                init == SP_INIT_OK ? "ok" : "FAILED", registerMs);
    std::printf("dial tone / call         %s / %s, codec %s\n", dialTone ? "heard" : "missing",
                connected ? "connected" : "NOT connected", codec.empty() ? "-" : codec.c_str());
    std::printf("microphone               %s, fed to send_voice at 20 ms pace by the client\n", micSource.c_str());
    std::printf("packets up               client sent %llu, server received %llu; %llu while it was not to send\n",
                static_cast<unsigned long long>(voice.framesSent), static_cast<unsigned long long>(counts.rtpReceived),
                static_cast<unsigned long long>(counts.rtpStray));
    std::printf(
        "packets down             server sent %llu (dropped on purpose %llu), client played %d of the %llu spoken "
        "intact\n",
        static_cast<unsigned long long>(counts.rtpSent), static_cast<unsigned long long>(counts.rtpDropped),
        match.intact, static_cast<unsigned long long>(spokenFrames));
    std::printf(
        "frames played            %llu from recv_voice; %d filled in by the engine between intact ones; %llu oldest\n"
        "                         of catch-up bursts dropped to keep the device at most %d frames behind\n",
        static_cast<unsigned long long>(voice.framesPlayed), match.filledIn,
        static_cast<unsigned long long>(voice.framesDropped), kMaxBacklogFrames);
    std::vector<int> roundTripMs;
    for (int ticks : match.delayTicks) roundTripMs.push_back(ticks * kFrameMs);
    std::printf("round trip (echo)        median %s from send_voice to playout of the echo\n",
                milliseconds(median(roundTripMs)).c_str());
    std::printf("far end to recv_voice    median %s, 95th percentile %s\n", milliseconds(median(toRecvMs)).c_str(),
                milliseconds(percentile(toRecvMs, 95)).c_str());
    std::printf("far end to the ear       median %s, 95th percentile %s (device output, by what was queued)\n",
                milliseconds(median(toEarMs)).c_str(), milliseconds(percentile(toEarMs, 95)).c_str());
    std::printf("correlation              %.3f after alignment (shift %d samples)\n", correlation, shift);
    std::printf("late playout ticks       %llu\n", static_cast<unsigned long long>(voice.lateTicks));
    std::printf("recording                %s%s\n", absolute(options.recordFile).c_str(),
                recorded ? "" : " (NOT written)");
    std::printf("trace file               %s\n", absolute(options.traceFile).c_str());
    std::printf("outcome                  %s\n", problems.empty() ? "all went well" : "FAILED, as follows");
    for (const std::string& p : problems) std::printf("FAILED                   %s\n", p.c_str());
    std::printf(
        "(the engine reports neither concealment nor its jitter target through its exports: frames\n"
        " filled in are those the client heard that carried no sent frame)\n");
#ifdef _WIN32
    // pbxsim is built for Linux only: the phone at the keyboard calls one
    // running there.
    constexpr const char* kServerStep = "pbxsim on a Linux machine and softphone.exe --server ITS-ADDRESS here";
#else
    constexpr const char* kServerStep = "./pbxsim in one terminal and ./softphone --server 127.0.0.1 in another";
#endif
    std::printf(
        "next steps               %s for the\n"
        "                         phone at the keyboard; apps/softphone/ is the client to copy%s\n",
        kServerStep, problems.empty() ? "" : "; the trace file tells what the library saw");

    if (!options.check) return problems.empty() ? 0 : 1;
    const bool clean = options.lossPercent == 0.0 && options.jitterMs == 0 && options.reorderPercent == 0.0;
    std::vector<std::string> failures = problems;
    if (correlation < 0.9) failures.push_back("correlation below 0.9");
    if (voice.framesSent != counts.rtpReceived) failures.push_back("packets up differ from the server's count");
    // The last spoken frame may meet the buffer's stretch as silence follows.
    if (clean && static_cast<std::uint64_t>(match.intact) + 1 < spokenFrames)
        failures.push_back("spoken frames did not all come back intact on clean loopback");
    if (clean && match.filledIn != 0) failures.push_back("frames filled in on clean loopback");
    for (const std::string& f : failures) std::printf("CHECK FAILED: %s\n", f.c_str());
    if (failures.empty()) std::printf("CHECK PASSED\n");
    return failures.empty() ? 0 : 1;
}

}  // namespace client
