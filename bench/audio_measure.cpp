// Real-time measurements of the sound engine, through the exports:
//   audio_measure capture [seconds]       default devices, capture frame rate
//   audio_measure alsa-null [seconds]     ALSA's null device, capture and playout, xruns
//   audio_measure playfile <wav>          repeat 2 on the virtual output, status and capture
//   audio_measure settings <root> first|write|read   the stored device choices
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/settings_store.h"
#include "common/tracer.h"
#include "platform/settings_file.h"
#include "platform/virtual_wave.h"
#include "softphone.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace vw = platform::virtual_wave;

std::atomic<long> gFrames{0};
std::atomic<long> gOddFrames{0};
std::atomic<long long> gFirstNs{0};
std::atomic<long long> gLastNs{0};

long long nowNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(Clock::now().time_since_epoch()).count();
}

void onFrame(const void*, int bytes) {
    if (bytes != 320) gOddFrames.fetch_add(1);
    long long t = nowNs();
    long long zero = 0;
    gFirstNs.compare_exchange_strong(zero, t);
    gLastNs = t;
    gFrames.fetch_add(1);
}

std::string narrow(const sp_wchar_t* w) {
    std::string s;
    while (*w != 0) s += static_cast<char>(*w++ & 0x7F);
    return s;
}

void printLists() {
    sp_wchar_t** list = nullptr;
    int n = AudioModuleGetOutDevice(&list);
    std::printf("output devices (%d):", n);
    for (int i = 0; i < n; ++i) std::printf(" [%s]", narrow(list[i]).c_str());
    std::free(list);
    n = AudioModuleGetInDevice(&list);
    std::printf("\ninput devices (%d):", n);
    for (int i = 0; i < n; ++i) std::printf(" [%s]", narrow(list[i]).c_str());
    std::free(list);
    std::printf("\n");
}

// Counts frames for `seconds` after the first one, then reports the rate.
int measureCapture(int seconds) {
    AudioModuleRegisterCallback(onFrame);
    AudioModuleRecordStart(1);
    const auto deadline = Clock::now() + std::chrono::seconds(2);
    while (gFrames.load() == 0 && Clock::now() < deadline) std::this_thread::sleep_for(std::chrono::milliseconds(1));
    if (gFrames.load() == 0) {
        std::printf("no capture frame within 2 s\n");
        return 1;
    }
    const long startFrames = gFrames.load();
    const long long startNs = gLastNs.load();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    const long frames = gFrames.load() - startFrames;
    const double elapsed = static_cast<double>(gLastNs.load() - startNs) / 1e9;
    const double rate = frames / elapsed;
    std::printf("capture: %ld frames of 320 bytes in %.3f s = %.2f frames/s (%.2f%% off 50), odd-sized frames %ld\n",
                frames, elapsed, rate, std::fabs(rate - 50.0) * 2.0, gOddFrames.load());
    return std::fabs(rate - 50.0) <= 1.0 && gOddFrames.load() == 0 ? 0 : 1;
}

int capture(int seconds) {
    int started = AudioModuleStart();
    std::printf("AudioModuleStart = %d\n", started);
    if (started != 0) return 1;
    printLists();
    int result = measureCapture(seconds);
    AudioModuleShutdown();
    return result;
}

int alsaNull(int seconds) {
    platform::selectWaveBackend(platform::WaveBackendChoice::Alsa);
    platform::setAlsaDefaultDevice("null");
    const std::string trace = "/tmp/audio_measure_trace.log";
    Tracer::instance()->startup(trace.c_str(), -1);
    if (AudioModuleStart() != 0) {
        std::printf("AudioModuleStart failed on ALSA null\n");
        return 1;
    }
    printLists();
    std::atomic<bool> playing{true};
    std::atomic<long> played{0};
    std::thread player([&] {
        std::vector<std::int16_t> frame(160);
        auto next = Clock::now();
        for (long n = 0; playing.load(); ++n) {
            for (int i = 0; i < 160; ++i) frame[i] = static_cast<std::int16_t>(3000 * std::sin((n * 160 + i) * 0.3));
            AudioModulePlayVoice(frame.data(), 320);
            played.fetch_add(1);
            next += std::chrono::milliseconds(20);
            std::this_thread::sleep_until(next);
        }
    });
    int result = measureCapture(seconds);
    playing = false;
    player.join();
    AudioModuleShutdown();
    Tracer::instance()->close();
    std::ifstream in(trace);
    std::stringstream text;
    text << in.rdbuf();
    const bool xruns = text.str().find("runs [") != std::string::npos;
    std::printf("playout: %ld frames written; engine reported %s\n", played.load(),
                xruns ? "underruns/overruns (see trace)" : "no underrun and no overrun");
    return result == 0 && !xruns ? 0 : 1;
}

int playFile(const std::string& path) {
    platform::selectWaveBackend(platform::WaveBackendChoice::Virtual);
    vw::captureOutput(true);
    if (AudioModuleStart() != 0) return 1;
    std::u16string wide(path.begin(), path.end());
    const auto start = Clock::now();
    AudioModulePlayFile(wide.c_str(), 2);
    int busySamples = 0;
    int idleWhilePlaying = 0;
    while (AudioModuleGetEngineStatus() == 0 && Clock::now() - start < std::chrono::seconds(10)) {
        ++busySamples;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    const double took = std::chrono::duration<double>(Clock::now() - start).count();
    const std::size_t bytes = vw::capturedOutput(vw::kOutput).size();
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (AudioModuleGetEngineStatus() != 1) ++idleWhilePlaying;
    std::printf(
        "status busy for %.2f s (%d samples), then %d; virtual output captured %zu bytes; after 300 ms more: %zu\n",
        took, busySamples, AudioModuleGetEngineStatus(), bytes, vw::capturedOutput(vw::kOutput).size());
    AudioModuleShutdown();
    return idleWhilePlaying == 0 ? 0 : 1;
}

int settings(const std::string& root, const std::string& step) {
    platform::setSettingsRoot(root);
    platform::selectWaveBackend(platform::WaveBackendChoice::Virtual);
    auto ids = [](const char* when) {
        int out = -1, file = -1, in = -1;
        AudioModuleGetDeviceID(&out, &file, &in);
        std::printf("%s: AudioModuleGetDeviceID output %d, file %d, input %d\n", when, out, file, in);
    };
    if (AudioModuleStart() != 0) return 1;
    if (step == "write") {
        writeSettingW(u"Software\\Quillmere\\Softphone\\Settings", u"Output Device", u"Virtual Headset");
        writeSettingW(u"Software\\Quillmere\\Softphone\\Settings", u"PlayFile Device", u"Virtual Output");
        writeSettingW(u"Software\\Quillmere\\Softphone\\Settings", u"Input Device", u"Virtual Headset");
        AudioModuleShutdown();
        AudioModuleStart();
        ids("after a restart of the engine");
        AudioModuleSetDevice(1, -1, 1);  // numbers that disagree with the stored names
        ids("after AudioModuleSetDevice(1, -1, 1)");
    } else {
        ids(step == "first" ? "first start" : "fresh process");
    }
    AudioModuleShutdown();
    std::ifstream in(platform::settingsFilePath());
    std::stringstream text;
    text << in.rdbuf();
    std::printf("%s:\n%s", platform::settingsFilePath().c_str(), text.str().c_str());
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const std::string mode = argc > 1 ? argv[1] : "capture";
    // The machine's own settings stay as they are.
    platform::setSettingsRoot("/tmp/audio_measure_settings");
    if (mode == "capture") return capture(argc > 2 ? std::atoi(argv[2]) : 10);
    if (mode == "alsa-null") return alsaNull(argc > 2 ? std::atoi(argv[2]) : 10);
    if (mode == "playfile" && argc > 2) return playFile(argv[2]);
    if (mode == "settings" && argc > 3) return settings(argv[2], argv[3]);
    std::fprintf(
        stderr,
        "usage: audio_measure capture|alsa-null [seconds] | playfile <wav> | settings <root> first|write|read\n");
    return 2;
}
