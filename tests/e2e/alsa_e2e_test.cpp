// The sound engine through the loaded library on ALSA, with a clocked test
// device standing in for a sound card: an ALSA plugin that plays by the
// monotonic clock, writes what it played to a file and logs when it
// started, stopped and ran dry. Each test writes its own ALSA configuration
// and points ALSA_CONFIG_PATH at it; the machine's is never read.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <mutex>
#include <optional>
#include <sstream>
#include <thread>

#include "e2e_fixture.h"
#include "tests/support_files/wait_for.h"
#include "tests/support_files/wave_file.h"

namespace {

using Clock = std::chrono::steady_clock;
namespace fs = std::filesystem;

constexpr std::uint64_t kPeriodNs = 20'000'000;  // 160 frames at 8000 Hz
constexpr int kPeriodFrames = 160;

std::uint64_t nowNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000000u + static_cast<std::uint64_t>(ts.tv_nsec);
}

// One line of the device's log: "<ns> <stream> <event> <frames>".
struct DeviceEvent {
    std::uint64_t ns = 0;
    int stream = 0;
    std::string what;
    std::uint64_t frames = 0;
};

std::vector<DeviceEvent> readLog(const fs::path& path) {
    std::vector<DeviceEvent> events;
    std::ifstream in(path);
    for (DeviceEvent e; in >> e.ns >> e.stream >> e.what >> e.frames;) events.push_back(e);
    return events;
}

std::vector<char> readBytes(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

std::u16string wide(const std::string& text) {
    return {text.begin(), text.end()};
}

std::string narrow(const char16_t* text) {
    std::string out;
    for (; *text != u'\0'; ++text) out.push_back(static_cast<char>(*text));
    return out;
}

// A voice frame whose samples tell its number and place, none of them 0.
std::vector<std::int16_t> voiceFrame(int n) {
    std::vector<std::int16_t> frame(160);
    for (int i = 0; i < 160; ++i)
        frame[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(1 + (n * 160 + i) % 30000);
    return frame;
}

class AlsaE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        mRoot = fs::path(::testing::TempDir()) / ("alsa_e2e_" + std::to_string(std::random_device{}()));
        fs::create_directories(mRoot);
        for (const char* name : {"ALSA_CONFIG_PATH", "XDG_CONFIG_HOME"}) {
            const char* before = std::getenv(name);
            mSaved.emplace_back(name, before != nullptr ? std::optional<std::string>(before) : std::nullopt);
        }
        // The device choices start as "System Default": ALSA's default.
        ::setenv("XDG_CONFIG_HOME", mRoot.c_str(), 1);
        ::setenv("ALSA_CONFIG_PATH", (mRoot / "asound.conf").c_str(), 1);
        startTrace();
    }
    void TearDown() override {
        api().AudioModuleShutdown();
        SoftphoneE2E::TearDown();
        for (const auto& [name, value] : mSaved) {
            if (value) {
                ::setenv(name.c_str(), value->c_str(), 1);
            } else {
                ::unsetenv(name.c_str());
            }
        }
        fs::remove_all(mRoot);
    }

    // The ALSA configuration: the clocked plugin's type and the test's
    // devices.
    void writeAlsaConfig(const std::string& devices) {
        std::ofstream(mRoot / "asound.conf")
            << "pcm_type.clocked { lib \"" CLOCKED_PCM_PLUGIN "\" }\n"
            << "func.clocked_note { lib \"" CLOCKED_PCM_PLUGIN "\" func \"snd_func_clocked_note\" }\n"
            << devices;
    }
    // A clocked device `name` that plays to <name>.raw and logs to <name>.log.
    std::string clockedDevice(const std::string& name, const std::string& extra = "") const {
        return "pcm." + name + " { type clocked out \"" + (mRoot / (name + ".raw")).string() + "\" log \"" +
               (mRoot / (name + ".log")).string() + "\" " + extra + " }\n";
    }
    fs::path played(const std::string& device) const { return mRoot / (device + ".raw"); }
    std::vector<DeviceEvent> events(const std::string& device) const { return readLog(mRoot / (device + ".log")); }

    std::u16string soundFile(const std::string& name, const std::vector<std::int16_t>& samples) const {
        const std::string path = (mRoot / name).string();
        EXPECT_TRUE(wav::writeFile(path, wav::pcmFile(samples)));
        return wide(path);
    }
    std::size_t traceCount(const std::string& text) const {
        const std::vector<std::string> lines = traceMessages();
        return static_cast<std::size_t>(std::count_if(
            lines.begin(), lines.end(), [&](const std::string& l) { return l.find(text) != std::string::npos; }));
    }
    // Plays `frames` voice frames at the pace of a client, 20 ms apart,
    // with a stall of `stallMs` after frame `stallAt`; how late the client
    // came at worst, the stall aside.
    std::chrono::milliseconds playVoice(int frames, int stallAt = -1, int stallMs = 0) {
        auto next = Clock::now();
        auto worst = Clock::duration::zero();
        for (int n = 0; n < frames; ++n) {
            if (n != stallAt + 1) worst = std::max(worst, Clock::now() - next);
            std::vector<std::int16_t> frame = voiceFrame(n);
            api().AudioModulePlayVoice(frame.data(), 320);
            next += std::chrono::milliseconds(20 + (n == stallAt ? stallMs : 0));
            std::this_thread::sleep_until(next);
        }
        return std::chrono::duration_cast<std::chrono::milliseconds>(worst);
    }
    // A client later than this is a stall of its own: the device has a
    // 60 ms cushion.
    static constexpr std::chrono::milliseconds kClientSlack{40};

    fs::path mRoot;
    std::vector<std::pair<std::string, std::optional<std::string>>> mSaved;
};

}  // namespace

// A key click shorter than a period is heard: the device starts as soon
// as its last frames are in. A long tone stops at once: what the device
// still held is dropped, not played out.
TEST_F(AlsaE2E, AShortSoundStartsTheDeviceAndAStopSilencesALongOneAtOnce) {
    writeAlsaConfig(clockedDevice("default"));
    ASSERT_EQ(api().AudioModuleStart(), 0);

    std::vector<std::int16_t> click(120, 9000);
    ASSERT_EQ(api().AudioModulePlayTone(soundFile("click.wav", click).c_str(), 0), 0);
    // The click reached the file: the device ran.
    ASSERT_TRUE(waitFor([&] { return readBytes(played("default")).size() >= 240; }));
    std::vector<DeviceEvent> log = events("default");
    auto write =
        std::find_if(log.begin(), log.end(), [](const DeviceEvent& e) { return e.what == "write" && e.frames == 120; });
    ASSERT_NE(write, log.end());
    auto start = std::find_if(write, log.end(),
                              [&](const DeviceEvent& e) { return e.what == "start" && e.stream == write->stream; });
    ASSERT_NE(start, log.end()) << "the click waited in the device";
    EXPECT_LE(start->ns - write->ns, kPeriodNs);
    std::vector<char> clickBytes(240);
    std::memcpy(clickBytes.data(), click.data(), 240);
    EXPECT_EQ(readBytes(played("default")), clickBytes);

    // Two seconds of tone; stopped once a quarter of a second has played.
    ASSERT_EQ(api().AudioModulePlayTone(soundFile("long.wav", std::vector<std::int16_t>(16000, 7000)).c_str(), 0), 0);
    ASSERT_TRUE(waitFor([&] { return readBytes(played("default")).size() >= 240 + 2 * 2000; }));
    const std::uint64_t stopAt = nowNs();
    EXPECT_EQ(api().AudioModuleStopPlayTone(), 0);
    const std::uint64_t stopped = nowNs();
    log = events("default");
    auto toneStart = std::find_if(log.rbegin(), log.rend(), [](const DeviceEvent& e) { return e.what == "start"; });
    ASSERT_NE(toneStart, log.rend());
    auto stop = std::find_if(log.begin(), log.end(), [&](const DeviceEvent& e) {
        return e.what == "stop" && e.stream == toneStart->stream && e.ns >= stopAt;
    });
    ASSERT_NE(stop, log.end()) << "the stop returned before the device stopped";
    EXPECT_LE(stop->ns, stopped);
    // What had played by the stop, and within one period after it; no more
    // came out afterwards.
    const std::uint64_t playedAtStop = (stopAt - toneStart->ns) * 8000 / 1000000000u;
    EXPECT_LE(stop->frames, playedAtStop + kPeriodFrames);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    EXPECT_EQ(readBytes(played("default")).size(), 240 + 2 * stop->frames);
}

// Voice written at a client's pace comes out byte for byte with no
// underrun; a client that stalls 150 ms is heard as one underrun, traced
// once. SOFTPHONE_VOICE_SECONDS lengthens the first part (bench/).
TEST_F(AlsaE2E, VoicePlaysOutExactlyAndAStalledClientGivesOneUnderrun) {
    writeAlsaConfig(clockedDevice("default"));
    ASSERT_EQ(api().AudioModuleStart(), 0);
    const char* seconds = std::getenv("SOFTPHONE_VOICE_SECONDS");
    const int frames = 50 * (seconds != nullptr ? std::max(1, std::atoi(seconds)) : 4);
    const std::chrono::milliseconds late = playVoice(frames);
    if (late > kClientSlack) GTEST_SKIP() << "the machine kept this client " << late.count() << " ms late";
    std::vector<char> sent;
    for (int n = 0; n < frames; ++n) {
        std::vector<std::int16_t> frame = voiceFrame(n);
        sent.insert(sent.end(), reinterpret_cast<char*>(frame.data()), reinterpret_cast<char*>(frame.data()) + 320);
    }
    // Silence ahead of the first frame, then every frame as written.
    std::size_t lead = 0;
    ASSERT_TRUE(waitFor([&] {
        std::vector<char> out = readBytes(played("default"));
        auto at = std::search(out.begin(), out.end(), sent.begin(), sent.begin() + 320);
        lead = static_cast<std::size_t>(at - out.begin());
        return at != out.end() && out.size() >= lead + sent.size();
    }));
    std::vector<char> out = readBytes(played("default"));
    EXPECT_TRUE(
        std::all_of(out.begin(), out.begin() + static_cast<std::ptrdiff_t>(lead), [](char c) { return c == 0; }));
    EXPECT_TRUE(std::equal(sent.begin(), sent.end(), out.begin() + static_cast<std::ptrdiff_t>(lead)));
    EXPECT_EQ(traceCount("underruns"), 0u);

    // Afresh, so that the pause above is not heard as a stall.
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    ASSERT_EQ(api().AudioModuleStart(), 0);
    const std::chrono::milliseconds lateAgain = playVoice(100, 50, 150);
    if (lateAgain > kClientSlack) GTEST_SKIP() << "the machine kept this client " << lateAgain.count() << " ms late";
    ASSERT_TRUE(waitFor([&] { return traceCount("[AUDIO :: Warning] Output underruns [1]") == 1; }));
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    EXPECT_EQ(traceCount("underruns"), 1u);
}

// Captured frames, and a client callback that stalls once when asked.
std::mutex gCapturedMutex;
std::vector<char> gCaptured;
std::atomic<bool> gStallOnce{false};

void onCapture(const void* pcm, int bytes) {
    {
        std::lock_guard<std::mutex> lock(gCapturedMutex);
        gCaptured.insert(gCaptured.end(), static_cast<const char*>(pcm), static_cast<const char*>(pcm) + bytes);
    }
    if (gStallOnce.exchange(false)) std::this_thread::sleep_for(std::chrono::milliseconds(150));
}

std::size_t capturedBytes() {
    std::lock_guard<std::mutex> lock(gCapturedMutex);
    return gCaptured.size();
}

// The microphone gives the device's samples in order; a client whose
// callback stalls 150 ms holds up the capture, and the overrun that
// follows is traced once.
TEST_F(AlsaE2E, CaptureGivesTheInputInOrderAndAStalledCallbackGivesOneOverrun) {
    std::vector<char> input;
    for (int n = 0; n < 50; ++n) {
        std::vector<std::int16_t> frame = voiceFrame(n);
        input.insert(input.end(), reinterpret_cast<char*>(frame.data()), reinterpret_cast<char*>(frame.data()) + 320);
    }
    std::ofstream(mRoot / "mic.raw", std::ios::binary).write(input.data(), static_cast<std::streamsize>(input.size()));
    writeAlsaConfig(clockedDevice("default", "in \"" + (mRoot / "mic.raw").string() + "\""));
    {
        std::lock_guard<std::mutex> lock(gCapturedMutex);
        gCaptured.clear();
    }
    ASSERT_EQ(api().AudioModuleStart(), 0);
    api().AudioModuleRegisterCallback(onCapture);
    api().AudioModuleRecordStart(1);
    ASSERT_TRUE(waitFor([] { return capturedBytes() >= 60 * 320; }));
    {
        // Frames from somewhere in the looped input, then on without a gap.
        std::lock_guard<std::mutex> lock(gCapturedMutex);
        auto at = std::search(input.begin(), input.end(), gCaptured.begin(), gCaptured.begin() + 320);
        ASSERT_NE(at, input.end());
        std::size_t offset = static_cast<std::size_t>(at - input.begin());
        for (std::size_t i = 0; i < 60 * 320; ++i) ASSERT_EQ(gCaptured[i], input[(offset + i) % input.size()]) << i;
    }
    EXPECT_EQ(traceCount("overruns"), 0u);
    gStallOnce = true;
    ASSERT_TRUE(waitFor([&] { return traceCount("[AUDIO :: Warning] Input overruns [1]") == 1; }));
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    EXPECT_EQ(traceCount("overruns"), 1u);
    api().AudioModuleRegisterCallback(nullptr);
}

// ALSA's default can't be opened (its plugin is missing): the engine says
// which device failed and which one it uses, and starts on that one.
TEST_F(AlsaE2E, ABrokenDefaultIsTracedWithTheDeviceInUse) {
    writeAlsaConfig(
        "pcm_type.gone { lib \"/nonexistent/libasound_module_pcm_gone.so\" }\n"
        "pcm.default { type gone }\n");
    const auto begin = Clock::now();
    EXPECT_EQ(api().AudioModuleStart(), 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(1));
    EXPECT_EQ(traceCount("[AUDIO :: CRITICAL ERROR] Startup failed - Wave_out_open_device"), 1u);
    EXPECT_EQ(traceCount("[AUDIO :: CRITICAL ERROR] Startup failed - Wave_in_open_device"), 1u);
    EXPECT_EQ(traceCount("[AUDIO] Output device \"default\" failed to open"), 1u);
    EXPECT_EQ(traceCount("- using \"Virtual Output\""), 1u);
    EXPECT_EQ(traceCount("[AUDIO] Input device \"default\" failed to open"), 1u);
    EXPECT_EQ(traceCount("- using \"Virtual Input\""), 1u);
}

// A device whose open blocks (ALSA's file plugin writing to a pipe that
// nobody reads): start gives up on it in bounded time, says so, and runs on
// the fallback; the abandoned open ends once the device answers.
TEST_F(AlsaE2E, ADeviceWhoseOpenBlocksDoesNotHoldStart) {
    const fs::path fifo = mRoot / "fifo";
    ASSERT_EQ(::mkfifo(fifo.c_str(), 0600), 0);
    writeAlsaConfig("pcm.sink { type null }\npcm.default { type file slave.pcm \"sink\" file \"" + fifo.string() +
                    "\" format raw }\n");
    // A sanitizer's own helper thread starts with the process's first
    // thread: have it before counting.
    std::thread([] {}).join();
    const std::size_t threadsBefore = threadCount();
    const auto begin = Clock::now();
    EXPECT_EQ(api().AudioModuleStart(), 0);
    EXPECT_LT(Clock::now() - begin, std::chrono::seconds(2));
    EXPECT_EQ(traceCount("[AUDIO] Output device \"default\" failed to open (no answer within"), 1u);
    EXPECT_EQ(traceCount("[AUDIO] Input device \"default\" failed to open"), 1u);
    EXPECT_EQ(traceCount("- using \"Virtual Output\""), 1u);

    // The pipe gets a reader: the open ends and closes what it opened.
    const int reader = ::open(fifo.c_str(), O_RDONLY | O_NONBLOCK);
    ASSERT_GE(reader, 0);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    ::close(reader);
    EXPECT_EQ(traceCount("Shutdown - a device is still opening"), 0u);
    EXPECT_EQ(threadCount(), threadsBefore);
}

// Names that differ only after the 31 characters a list entry holds are
// listed apart, and each opens when chosen; a chosen device that fails
// gives way to the default, and says so. A list call reads ALSA's hints
// once (the "scans" device notes each read).
TEST_F(AlsaE2E, DevicesWithLongNamesAreListedApartOnOneScanAndEachOpens) {
    const std::string stem = "clocked_test_device_with_a_long_name_";
    writeAlsaConfig(clockedDevice("default") + clockedDevice(stem + "one", "hint { show on description \"one\" }") +
                    clockedDevice(stem + "two", "hint { show on description \"two\" }") +
                    "pcm_type.gone { lib \"/nonexistent/libasound_module_pcm_gone.so\" }\n"
                    "pcm.broken { type gone hint { show on description \"broken\" } }\n"
                    "pcm.scans { type clocked hint { show { @func clocked_note file \"" +
                    (mRoot / "scans").string() + "\" } description \"scans\" } }\n");
    ASSERT_EQ(api().AudioModuleStart(), 0);
    auto scans = [&] {
        std::ifstream in(mRoot / "scans");
        return std::count(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>(), '\n');
    };
    const auto scansBefore = scans();
    sp_wchar_t** list = nullptr;
    const int count = api().AudioModuleGetOutDevice(&list);
    ASSERT_NE(list, nullptr);
    EXPECT_EQ(scans() - scansBefore, 1);
    std::vector<std::string> names;
    for (int i = 0; i < count; ++i) names.push_back(narrow(list[i]));
    std::free(list);

    // Chosen as a client does: the name stored, then picked by its place in
    // the list; the index in use comes back.
    auto choose = [&](int index) {
        fs::create_directories(mRoot / "softphone");
        std::ofstream(mRoot / "softphone" / "settings.ini")
            << "[Software\\Quillmere\\Softphone\\Settings]\nOutput Device=" << names[static_cast<std::size_t>(index)]
            << "\nPlayFile Device=System Default\nInput Device=System Default\n";
        EXPECT_EQ(api().AudioModuleSetDevice(index, -1, -1), 0);
        int out = -1;
        api().AudioModuleGetDeviceID(&out, nullptr, nullptr);
        return out;
    };
    for (const std::string& device : {stem + "one", stem + "two"}) {
        SCOPED_TRACE(device);
        // Listed under a name of its own that fits.
        std::vector<int> matches;
        for (int i = 0; i < count; ++i) {
            const std::string& n = names[static_cast<std::size_t>(i)];
            if (n.size() <= 31 && n.find('~') != std::string::npos && n.rfind("clocked_test", 0) == 0 &&
                n.substr(n.size() - 3) == device.substr(device.size() - 3)) {
                matches.push_back(i);
            }
        }
        ASSERT_EQ(matches.size(), 1u) << ::testing::PrintToString(names);
        EXPECT_EQ(choose(matches[0]), matches[0]);
        playVoice(5);
        EXPECT_TRUE(waitFor([&] { return readBytes(played(device)).size() >= 5 * 320; }));
    }
    const auto broken = std::find(names.begin(), names.end(), "broken");
    ASSERT_NE(broken, names.end());
    EXPECT_EQ(choose(static_cast<int>(broken - names.begin())), 0);
    EXPECT_EQ(
        traceCount("[AUDIO] Output device \"broken\" failed to open (No such device or address) - using \"default\""),
        1u);
}
