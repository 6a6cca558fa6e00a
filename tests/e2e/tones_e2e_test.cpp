// Tones through the loaded library: the player that initialize makes, and
// a key tone that plays once, as heard on the virtual output.
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <random>
#include <climits>
#include <string>
#include <thread>

#include "e2e_fixture.h"
#include "tests/support_files/goertzel.h"
#include "tests/support_files/wave_file.h"

namespace {

// Media paths are relative to the working directory: run from the build
// folder, where the build writes media/.
class InBuildFolder {
public:
    InBuildFolder() {
        if (::getcwd(mPrevious, sizeof mPrevious) == nullptr) mPrevious[0] = 0;
        mOk = ::chdir(SOFTPHONE_BUILD_DIR) == 0;
    }
    ~InBuildFolder() {
        if (mPrevious[0] != 0 && ::chdir(mPrevious) != 0) ADD_FAILURE() << "can't go back to " << mPrevious;
    }
    bool ok() const { return mOk; }

private:
    char mPrevious[PATH_MAX] = {};
    bool mOk = false;
};

std::string narrow(const sp_wchar_t* text) {
    std::string out;
    for (; *text != 0; ++text) out += static_cast<char>(*text);
    return out;
}

}  // namespace

class TonesE2E : public SoftphoneE2E {
protected:
    void SetUp() override {
        SoftphoneE2E::SetUp();
        ASSERT_TRUE(mFolder.ok());
        // Without parameters initialize fails after making the TonePlayer,
        // and no socket is opened.
        PtapParameters out{};
        ASSERT_EQ(api().initialize(nullptr, &out), -1);
    }

    InBuildFolder mFolder;
};

TEST_F(TonesE2E, KeyFiveSoundsSevenSeventyAndThirteenThirtySix) {
    // The virtual output leaves what it plays in a folder of the test's own;
    // the devices are chosen by name, so a sound card changes nothing.
    const std::filesystem::path root =
        std::filesystem::path(::testing::TempDir()) / ("tones_e2e_" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(root / "softphone");
    std::filesystem::create_directories(root / "played");
    std::ofstream(root / "softphone" / "settings.ini") << "[Software\\Quillmere\\Softphone\\Settings]\n"
                                                           "Output Device=Virtual Output\n"
                                                           "PlayFile Device=Virtual Output\n"
                                                           "Input Device=Virtual Input\n";
    ::setenv("XDG_CONFIG_HOME", root.c_str(), 1);
    ::setenv("SOFTPHONE_VIRTUAL_OUTPUT", (root / "played").c_str(), 1);

    EXPECT_EQ(api().ToneModulePlayDTMF(5, 1), 1);  // silent: nothing plays
    EXPECT_EQ(api().ToneModulePlayDTMF(31, 0), 1);
    ASSERT_EQ(api().AudioModuleStart(), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().ToneModulePlayDTMF(5, 0), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 0);
    // Played once, the tone ends by itself.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (api().AudioModuleGetEngineStatus() != 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    ::unsetenv("SOFTPHONE_VIRTUAL_OUTPUT");
    ::unsetenv("XDG_CONFIG_HOME");

    // Of the streams the engine opened, one carried sound: the key's file, once.
    const WaveFile file = readWaveFile("media/DTMF/Tone_DTMF5.wav");
    ASSERT_TRUE(file.ok);
    const auto audible = [](const std::vector<std::int16_t>& samples) {
        return std::count_if(samples.begin(), samples.end(), [](std::int16_t v) { return v != 0; });
    };
    int sounding = 0;
    for (const auto& entry : std::filesystem::directory_iterator(root / "played")) {
        const WaveFile played = readWaveFile(entry.path().string());
        ASSERT_TRUE(played.ok) << entry.path();
        if (audible(played.samples) == 0) continue;
        ++sounding;
        EXPECT_EQ(audible(played.samples), audible(file.samples)) << "played once";
        const DtmfDetection d = detectDtmf(played.samples);
        EXPECT_EQ(d.low, 770);
        EXPECT_EQ(d.high, 1336);
        EXPECT_GE(d.marginDb, 20.0);
    }
    EXPECT_EQ(sounding, 1);
    std::filesystem::remove_all(root);
}

TEST_F(TonesE2E, CustomToneRoundTripAndPlayerGoneAfterUninitialize) {
    EXPECT_EQ(api().ToneModuleSaveCustomTone(3, u"x.wav"), 0);
    sp_wchar_t buffer[256] = {u'?', 0};
    sp_wchar_t* out = buffer;
    EXPECT_EQ(api().ToneModuleGetCustomTone(3, &out), 0);
    EXPECT_EQ(narrow(buffer), "x.wav");
    EXPECT_EQ(api().ToneModulePlayTone(2, 3, 3), 0);
    EXPECT_EQ(api().ToneModulePlayTone(0, -1, -1), 0);
    EXPECT_EQ(api().ToneModuleRemoveCustomTone(3), 0);
    buffer[0] = u'?';
    buffer[1] = 0;
    EXPECT_EQ(api().ToneModuleGetCustomTone(3, &out), 0);
    EXPECT_EQ(narrow(buffer), "?");

    EXPECT_EQ(api().uninitialize(), 0);
    EXPECT_EQ(api().ToneModuleGetKeyPadMode(), -1);
    EXPECT_EQ(api().ToneModuleSaveCustomTone(3, u"x.wav"), -1);
}
