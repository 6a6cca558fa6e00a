// The sound engine through the loaded library: start, capture, a file
// played with repeats, the engine status, and a shutdown that leaves no
// thread behind. The devices are chosen by name in a settings file of the
// test's own, so a sound card on the machine changes nothing.
#include <atomic>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "../audio/wav_builder.h"
#include "e2e_fixture.h"

namespace {

std::atomic<int> gFrames{0};
std::atomic<int> gBadFrames{0};

void onFrame(const void* pcm, int bytes) {
    if (pcm == nullptr || bytes != 320) gBadFrames.fetch_add(1);
    gFrames.fetch_add(1);
}

template <typename Pred>
bool waitFor(Pred pred, int timeoutMs) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeoutMs);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > end) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

TEST_F(SoftphoneE2E, AudioCapturesPlaysAFileWithRepeatsAndShutsDownClean) {
    const std::filesystem::path root =
        std::filesystem::path(::testing::TempDir()) / ("audio_e2e_" + std::to_string(std::random_device{}()));
    std::filesystem::create_directories(root / "softphone");
    {
        std::ofstream ini(root / "softphone" / "settings.ini");
        ini << "[Software\\Quillmere\\Softphone\\Settings]\n"
               "Output Device=Virtual Output\nPlayFile Device=Virtual Output\nInput Device=Virtual Input\n";
    }
    const char* before = std::getenv("XDG_CONFIG_HOME");
    const std::string saved = before != nullptr ? before : "";
    ::setenv("XDG_CONFIG_HOME", root.c_str(), 1);
    const std::string wavPath = (root / "ring.wav").string();
    ASSERT_TRUE(wav::writeFile(wavPath, wav::pcmFile(wav::ramp(800))));  // 0.1 s
    const std::u16string widePath(wavPath.begin(), wavPath.end());

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
    EXPECT_TRUE(waitFor([] { return gFrames.load() >= 5; }, 5000));
    EXPECT_EQ(gBadFrames.load(), 0);

    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 1);
    EXPECT_EQ(api().AudioModulePlayFile(widePath.c_str(), 2), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), 0);
    EXPECT_TRUE(waitFor([&] { return api().AudioModuleGetEngineStatus() == 1; }, 5000));

    EXPECT_EQ(api().AudioModuleShutdown(), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), -1);
    EXPECT_EQ(threadCount(), threadsBefore);

    if (before != nullptr) {
        ::setenv("XDG_CONFIG_HOME", saved.c_str(), 1);
    } else {
        ::unsetenv("XDG_CONFIG_HOME");
    }
    std::filesystem::remove_all(root);
}

}  // namespace
