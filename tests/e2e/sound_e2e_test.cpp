// The sound engine and the tone player through the loaded library: capture,
// a file played with repeats, a key tone that plays once, and a shutdown
// that leaves no thread behind. The devices are chosen by name where the
// library reads them, in a settings file of the test's own (the registry on
// Windows), so a sound card on the machine changes nothing.
#ifdef _WIN32
// clang-format off
#include <windows.h>
#include <mmsystem.h>
// clang-format on
#else
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>
#endif

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cmath>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <thread>
#include <utility>

#include "e2e_fixture.h"
#include "tests/support_files/goertzel.h"
#include "tests/support_files/wait_for.h"
#include "tests/support_files/wave_file.h"
#include "tests/support_files/wide_text.h"

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

#ifdef _WIN32
void setEnvironment(const char* name, const std::string& value) {
    ::_putenv_s(name, value.c_str());
}
void clearEnvironment(const char* name) {
    ::_putenv_s(name, "");
}

// The three device values in the registry, where the library reads them;
// what was there before the test is put back after it.
class DeviceChoice {
public:
    // False with `why` when the values can't be written here.
    bool choose(const std::filesystem::path&, std::string& why) {
        for (const wchar_t* name : kNames) {
            Saved saved{name, REG_NONE, {}, false};
            DWORD bytes = 0;
            saved.present = ::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_ANY | RRF_NOEXPAND, &saved.type,
                                           nullptr, &bytes) == ERROR_SUCCESS;
            saved.data.resize(bytes);
            if (saved.present && bytes > 0 &&
                ::RegGetValueW(HKEY_LOCAL_MACHINE, kKey, name, RRF_RT_ANY | RRF_NOEXPAND, &saved.type,
                               saved.data.data(), &bytes) != ERROR_SUCCESS)
                saved.present = false;
            mSaved.push_back(std::move(saved));
            const std::wstring device = name == kNames[2] ? L"Virtual Input" : L"Virtual Output";
            const LSTATUS status = set(name, REG_SZ, device.c_str(), (device.size() + 1) * sizeof(wchar_t));
            if (status != ERROR_SUCCESS) {
                why = "HKEY_LOCAL_MACHINE can't be written here (error " + std::to_string(status) + ")";
                return false;
            }
        }
        return true;
    }
    // A device value that is not text, as another program may leave it.
    bool spoil() {
        const DWORD number = 3;
        return set(kNames[0], REG_DWORD, &number, sizeof number) == ERROR_SUCCESS;
    }
    void restore() {
        for (const Saved& saved : mSaved) {
            if (saved.present) {
                set(saved.name, saved.type, saved.data.data(), saved.data.size());
            } else {
                ::RegDeleteKeyValueW(HKEY_LOCAL_MACHINE, kKey, saved.name);
            }
        }
        mSaved.clear();
    }
    static std::string where() { return "HKEY_LOCAL_MACHINE"; }

private:
    static constexpr const wchar_t* kKey = L"Software\\Quillmere\\Softphone\\Settings";
    static constexpr const wchar_t* kNames[] = {L"Output Device", L"PlayFile Device", L"Input Device"};
    struct Saved {
        const wchar_t* name;
        DWORD type = REG_NONE;
        std::vector<BYTE> data;
        bool present = false;
    };
    static LSTATUS set(const wchar_t* name, DWORD type, const void* data, std::size_t bytes) {
        return ::RegSetKeyValueW(HKEY_LOCAL_MACHINE, kKey, name, type, data, static_cast<DWORD>(bytes));
    }
    std::vector<Saved> mSaved;
};
#else
void setEnvironment(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
}
void clearEnvironment(const char* name) {
    ::unsetenv(name);
}

// The three device values in a settings file of the test's own, found
// through XDG_CONFIG_HOME, which is put back after the test.
class DeviceChoice {
public:
    bool choose(const std::filesystem::path& root, std::string&) {
        mRoot = root;
        std::filesystem::create_directories(mRoot / "softphone");
        std::ofstream(file()) << "[Software\\Quillmere\\Softphone\\Settings]\n"
                                 "Output Device=Virtual Output\nPlayFile Device=Virtual Output\n"
                                 "Input Device=Virtual Input\n";
        mChosen = true;
        if (const char* before = std::getenv("XDG_CONFIG_HOME")) mSavedConfig = before;
        setEnvironment("XDG_CONFIG_HOME", mRoot.string());
        return true;
    }
    // A FIFO in the settings file's place: a reader that opens it blocks.
    bool spoil() {
        std::filesystem::remove(file());
        return ::mkfifo(file().c_str(), 0600) == 0;
    }
    // A reader blocked on the FIFO is let go by a writer that closes at once.
    void releaseReader() {
        const int writer = ::open(file().c_str(), O_WRONLY | O_NONBLOCK);
        if (writer >= 0) ::close(writer);
    }
    void restore() {
        if (!std::exchange(mChosen, false)) return;
        if (mSavedConfig.empty()) {
            clearEnvironment("XDG_CONFIG_HOME");
        } else {
            setEnvironment("XDG_CONFIG_HOME", mSavedConfig);
        }
    }
    std::string where() const { return file().string(); }

private:
    std::filesystem::path file() const { return mRoot / "softphone" / "settings.ini"; }
    std::filesystem::path mRoot;
    std::string mSavedConfig;
    bool mChosen = false;
};
#endif

class SoundE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        // The thread sanitizer adds a thread of its own with the process's
        // first, and Windows' sound layer one with its first use, kept for
        // the process's life; have them before threads are counted.
        std::thread([] {}).join();
#ifdef _WIN32
        ::waveOutGetNumDevs();
#endif
        mRoot = std::filesystem::path(::testing::TempDir()) / ("sound_e2e_" + std::to_string(std::random_device{}()));
        std::string why;
        if (!mDevices.choose(mRoot, why)) GTEST_SKIP() << "the devices can't be chosen: " << why;
        // What the virtual output plays is left in files there.
        std::filesystem::create_directories(mRoot / "played");
        setEnvironment("SOFTPHONE_VIRTUAL_OUTPUT", (mRoot / "played").string());
        // Tone paths are relative: the build writes media/ into its folder.
        mSavedFolder = std::filesystem::current_path();
        std::filesystem::current_path(SOFTPHONE_BUILD_DIR);
    }
    void TearDown() override {
        SoftphoneE2E::TearDown();
        if (!mSavedFolder.empty()) std::filesystem::current_path(mSavedFolder);
        clearEnvironment("SOFTPHONE_VIRTUAL_OUTPUT");
        mDevices.restore();
        std::filesystem::remove_all(mRoot);
    }
    std::filesystem::path mRoot;
    std::filesystem::path mSavedFolder;
    DeviceChoice mDevices;
};

}  // namespace

TEST_F(SoundE2E, CapturesPlaysAFileWithRepeatsAndAKeyToneOnceAndShutsDownClean) {
    const std::string wavPath = (mRoot / "ring.wav").string();
    ASSERT_TRUE(wav::writeFile(wavPath, wav::pcmFile(wav::ramp(800))));  // 0.1 s
    const WideText widePath(wavPath.begin(), wavPath.end());
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

// Settings and files that can't be used say so in the trace, and never hang
// the caller: a FIFO in the settings file's place (on Windows a device value
// that is not text), a sound file that isn't there.
TEST_F(SoundE2E, UnusableSettingsAndAMissingSoundFileAreTracedNotHung) {
    ASSERT_TRUE(mDevices.spoil());
    startTrace();

    std::atomic<bool> started{false};
    std::thread start([&] { started = api().AudioModuleStart() == 0; });
    const bool inTime = waitFor([&] { return started.load(); }, 1000);
#ifndef _WIN32
    // So a failing run still ends.
    for (int i = 0; !inTime && !started.load() && i < 1000; ++i) {
        mDevices.releaseReader();
        std::this_thread::sleep_for(std::chrono::milliseconds(10));
    }
#endif
    start.join();
    EXPECT_TRUE(inTime) << "AudioModuleStart did not return within a second";
    EXPECT_TRUE(started.load());

    const std::string missing = (mRoot / "no-such-ring.wav").generic_string();
    const WideText wideMissing(missing.begin(), missing.end());
    EXPECT_EQ(api().AudioModulePlayFile(wideMissing.c_str(), 0), 0);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);

    const std::string trace = traceText();
#ifdef _WIN32
    const char* const problem = " holds a device value that is not text";
#else
    const char* const problem = " is not a regular file";
#endif
    EXPECT_NE(trace.find("[SETTINGS] Settings file ignored - " + mDevices.where() + problem + "; the defaults stand"),
              std::string::npos)
        << trace;
    EXPECT_NE(trace.find("[AUDIO :: CRITICAL ERROR] File open failed - " + missing), std::string::npos) << trace;
}
