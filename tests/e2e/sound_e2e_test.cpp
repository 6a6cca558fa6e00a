// The sound engine and the tone player through the loaded library: capture,
// a file played with repeats, a key tone that plays once, and a shutdown
// that leaves no thread behind. The devices are chosen by name in a settings
// file of the test's own, so a sound card on the machine changes nothing.
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>

#include "e2e_fixture.h"
#include "tests/support_files/goertzel.h"
#include "tests/support_files/wait_for.h"
#include "tests/support_files/wave_file.h"

namespace {

std::atomic<int> gFrames{0};
std::atomic<int> gBadFrames{0};

void onFrame(const void* pcm, int bytes) {
    if (pcm == nullptr || bytes != 320) gBadFrames.fetch_add(1);
    gFrames.fetch_add(1);
}

// The samples of a WAV file as the virtual output writes it (a 44-byte
// canonical header), up to the last audible one, at most `count` of them.
std::vector<std::int16_t> lastSoundOf(const std::filesystem::path& path, std::size_t count) {
    std::ifstream in(path, std::ios::binary);
    std::vector<char> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    std::vector<std::int16_t> samples;
    for (std::size_t at = 44; at + 1 < bytes.size(); at += 2)
        samples.push_back(static_cast<std::int16_t>((bytes[at] & 0xFF) | (bytes[at + 1] << 8)));
    while (!samples.empty() && samples.back() == 0) samples.pop_back();
    if (samples.size() > count) samples.erase(samples.begin(), samples.end() - static_cast<std::ptrdiff_t>(count));
    return samples;
}

class SoundE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        // The thread sanitizer adds a thread of its own with the process's
        // first; have it before threads are counted.
        std::thread([] {}).join();
        mRoot = std::filesystem::path(::testing::TempDir()) / ("sound_e2e_" + std::to_string(std::random_device{}()));
        std::filesystem::create_directories(mRoot / "softphone");
        std::ofstream(mRoot / "softphone" / "settings.ini")
            << "[Software\\Quillmere\\Softphone\\Settings]\n"
               "Output Device=Virtual Output\nPlayFile Device=Virtual Output\nInput Device=Virtual Input\n";
        if (const char* before = std::getenv("XDG_CONFIG_HOME")) mSavedConfig = before;
        ::setenv("XDG_CONFIG_HOME", mRoot.c_str(), 1);
        // What the virtual output plays is left in files there.
        std::filesystem::create_directories(mRoot / "played");
        ::setenv("SOFTPHONE_VIRTUAL_OUTPUT", (mRoot / "played").c_str(), 1);
        // Tone paths are relative: the build writes media/ into its folder.
        mSavedFolder = std::filesystem::current_path();
        std::filesystem::current_path(SOFTPHONE_BUILD_DIR);
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        std::filesystem::current_path(mSavedFolder);
        ::unsetenv("SOFTPHONE_VIRTUAL_OUTPUT");
        if (mSavedConfig.empty()) {
            ::unsetenv("XDG_CONFIG_HOME");
        } else {
            ::setenv("XDG_CONFIG_HOME", mSavedConfig.c_str(), 1);
        }
        std::filesystem::remove_all(mRoot);
    }
    std::filesystem::path mRoot;
    std::filesystem::path mSavedFolder;
    std::string mSavedConfig;
};

}  // namespace

TEST_F(SoundE2E, CapturesPlaysAFileWithRepeatsAndAKeyToneOnceAndShutsDownClean) {
    const std::string wavPath = (mRoot / "ring.wav").string();
    ASSERT_TRUE(wav::writeFile(wavPath, wav::pcmFile(wav::ramp(800))));  // 0.1 s
    const std::u16string widePath(wavPath.begin(), wavPath.end());
    // Without parameters initialize fails after making the TonePlayer, and
    // no socket is opened.
    PtapParameters params{};
    ASSERT_EQ(api().initialize(nullptr, &params), -1);

    const std::size_t threadsBefore = threadCount();
    ASSERT_EQ(api().AudioModuleStart(), 0);
    EXPECT_EQ(api().AudioModuleStart(), 0);  // a second start changes nothing
    int out = -1, file = -1, in = -1;
    api().AudioModuleGetDeviceID(&out, &file, &in);
    EXPECT_GT(out, 0);
    EXPECT_EQ(out, file);
    EXPECT_GT(in, 0);

    EXPECT_EQ(api().AudioModuleRegisterCallback(onFrame), 0);
    EXPECT_EQ(api().AudioModuleRecordStart(1), 0);
    EXPECT_TRUE(waitFor([] { return gFrames.load() >= 5; }));
    EXPECT_EQ(gBadFrames.load(), 0);

    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().AudioModulePlayFile(widePath.c_str(), 2), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 0);
    EXPECT_TRUE(waitFor([&] { return api().AudioModuleGetEngineStatus() == 1; }));

    EXPECT_EQ(api().ToneModulePlayDTMF(5, 1), 1);  // silent: nothing plays
    EXPECT_EQ(api().ToneModulePlayDTMF(5, 0), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 0);
    // Played once, the 150 ms tone ends by itself.
    EXPECT_TRUE(waitFor([&] { return api().AudioModuleGetEngineStatus() == 1; }, 3000));

    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), -1);
    EXPECT_EQ(threadCount(), threadsBefore);

    // The key tone was heard: 770 and 1336 Hz, each 20 dB above every other
    // DTMF frequency, in the last sound one output stream played.
    int heard = 0;
    for (const auto& entry : std::filesystem::directory_iterator(mRoot / "played")) {
        const std::vector<std::int16_t> tone = lastSoundOf(entry.path(), 800);
        if (tone.size() < 400) continue;
        double others = 0;
        for (double hz : {697.0, 852.0, 941.0, 1209.0, 1477.0, 1633.0})
            others = std::max(others, goertzelPower(tone, hz));
        const double weaker = std::min(goertzelPower(tone, 770.0), goertzelPower(tone, 1336.0));
        if (10.0 * std::log10(weaker / (others + 1e-9)) >= 20.0) ++heard;
    }
    EXPECT_EQ(heard, 1);
    EXPECT_EQ(api().uninitialize(), 0);
    EXPECT_EQ(api().ToneModuleGetKeyPadMode(), -1) << "the player went with uninitialize";
}

// Files that can't be used say so in the trace, and never hang the caller:
// a FIFO in the settings file's place, a sound file that isn't there.
TEST_F(SoundE2E, AFifoAsSettingsFileAndAMissingSoundFileAreTracedNotHung) {
    const std::filesystem::path settings = mRoot / "softphone" / "settings.ini";
    std::filesystem::remove(settings);
    ASSERT_EQ(::mkfifo(settings.c_str(), 0600), 0);
    startTrace();

    std::atomic<bool> started{false};
    std::thread start([&] { started = api().AudioModuleStart() == 0; });
    const bool inTime = waitFor([&] { return started.load(); }, 1000);
    // A reader blocked on the FIFO is let go by a writer that closes at once;
    // so a failing run still ends.
    for (int i = 0; !inTime && !started.load() && i < 1000; ++i) {
        const int writer = ::open(settings.c_str(), O_WRONLY | O_NONBLOCK);
        if (writer >= 0) ::close(writer);
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
    start.join();
    EXPECT_TRUE(inTime) << "AudioModuleStart did not return within a second";
    EXPECT_TRUE(started.load());

    const std::string missing = (mRoot / "no-such-ring.wav").string();
    const std::u16string wideMissing(missing.begin(), missing.end());
    EXPECT_EQ(api().AudioModulePlayFile(wideMissing.c_str(), 0), 0);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);

    const std::string trace = traceText();
    EXPECT_NE(trace.find("[SETTINGS] Settings file ignored - " + settings.string() +
                         " is not a regular file; the defaults stand"),
              std::string::npos)
        << trace;
    EXPECT_NE(trace.find("[AUDIO :: CRITICAL ERROR] File open failed - " + missing), std::string::npos) << trace;
}
