// Tones through the loaded library: the player that initialize makes, the
// key tone files the build writes, and, when the sound engine runs, a key
// tone that plays once.
#include <unistd.h>

#include <chrono>
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
    const WaveFile file = readWaveFile("media/DTMF/Tone_DTMF5.wav");
    ASSERT_TRUE(file.ok);
    const DtmfDetection d = detectDtmf(file.samples);
    EXPECT_EQ(d.low, 770);
    EXPECT_EQ(d.high, 1336);
    EXPECT_GE(d.marginDb, 20.0);

    EXPECT_EQ(api().ToneModulePlayDTMF(5, 1), 1);  // silent: nothing plays
    EXPECT_EQ(api().ToneModulePlayDTMF(31, 0), 1);
    if (api().AudioModuleStart() != 0) {
        EXPECT_EQ(api().ToneModulePlayDTMF(5, 0), 0);
        GTEST_SKIP() << "no sound engine in this build: the key tone went to an absent engine";
    }
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().ToneModulePlayDTMF(5, 0), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 0);
    // Played once, the 150 ms tone ends by itself.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(3);
    while (api().AudioModuleGetEngineStatus() != 1 && std::chrono::steady_clock::now() < deadline)
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().AudioModuleShutdown(), 0);
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
