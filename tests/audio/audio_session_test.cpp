// The sound engine on the virtual devices: capture, playout, files, device
// choices and device loss, with the settings store in a folder of its own.
#include <gtest/gtest.h>

#include <chrono>
#include <condition_variable>
#include <cstring>
#include <filesystem>
#include <future>
#include <mutex>
#include <random>
#include <thread>

#include "audio/audio.h"
#include "audio/wave_resources.h"
#include "common/settings_store.h"
#include "platform/settings_file.h"
#include "platform/virtual_wave.h"
#include "support_files/wave_file.h"
#include "tests/support_files/wait_for.h"

namespace {

namespace vw = platform::virtual_wave;

// Frames the capture callback received.
struct Frames {
    std::mutex mutex;
    std::vector<std::vector<std::uint8_t>> list;
    std::size_t count() {
        std::lock_guard<std::mutex> lock(mutex);
        return list.size();
    }
    std::vector<std::uint8_t> at(std::size_t i) {
        std::lock_guard<std::mutex> lock(mutex);
        return list.at(i);
    }
} gFrames;

void onFrame(const void* pcm, int bytes) {
    const auto* p = static_cast<const std::uint8_t*>(pcm);
    std::lock_guard<std::mutex> lock(gFrames.mutex);
    gFrames.list.emplace_back(p, p + bytes);
}

std::u16string storedName(const char16_t* value) {
    char16_t buffer[64] = {};
    if (!readSettingW(Audio::kSettingsKey, value, buffer, 64)) return u"<absent>";
    return buffer;
}

class AudioSession : public ::testing::Test {
protected:
    void SetUp() override {
        mRoot = std::filesystem::path(::testing::TempDir()) / ("audio_" + std::to_string(std::random_device{}()));
        platform::setSettingsRoot(mRoot.string());
        platform::selectWaveBackend(platform::WaveBackendChoice::Virtual);
        vw::restoreDefaults();
        vw::captureOutput(true);
        std::lock_guard<std::mutex> lock(gFrames.mutex);
        gFrames.list.clear();
    }
    void TearDown() override {
        mAudio.reset();
        vw::restoreDefaults();
        platform::selectWaveBackend(platform::WaveBackendChoice::Automatic);
        platform::setSettingsRoot("");
        wave_resources::clear();
        std::filesystem::remove_all(mRoot);
    }
    void startAudio() {
        mAudio = std::make_unique<Audio>();
        ASSERT_EQ(mAudio->start(), 0);
    }
    std::string writeWav(const std::string& name, const std::vector<std::int16_t>& samples) {
        std::filesystem::create_directories(mRoot);
        const std::string path = (mRoot / name).string();
        EXPECT_TRUE(wav::writeFile(path, wav::pcmFile(samples)));
        return path;
    }
    static std::u16string wide(const std::string& s) { return std::u16string(s.begin(), s.end()); }
    static std::vector<std::uint8_t> bytesOf(const std::vector<std::int16_t>& samples) {
        std::vector<std::uint8_t> b(samples.size() * 2);
        std::memcpy(b.data(), samples.data(), b.size());
        return b;
    }

    std::filesystem::path mRoot;
    std::unique_ptr<Audio> mAudio;
};

TEST_F(AudioSession, DevicesStartAtTheSystemDefaultAndAStoredNameOutranksTheNumber) {
    startAudio();
    EXPECT_EQ(storedName(Audio::kOutputDevice), u"System Default");
    EXPECT_EQ(storedName(Audio::kPlayFileDevice), u"System Default");
    EXPECT_EQ(storedName(Audio::kInputDevice), u"System Default");
    char16_t** list = nullptr;
    ASSERT_EQ(mAudio->outDeviceList(&list), 3);
    EXPECT_EQ(std::u16string(list[0]), u"System Default");
    EXPECT_EQ(std::u16string(list[1]), vw::kOutput);
    EXPECT_EQ(std::u16string(list[2]), vw::kHeadset);
    std::free(list);
    int out = -9, file = -9, in = -9;
    mAudio->deviceIds(&out, &file, &in);
    EXPECT_EQ(out, 0);
    // The store still says "System Default": the number gives way to it.
    mAudio->setDevice(2, 2, 2);
    mAudio->deviceIds(&out, &file, &in);
    EXPECT_EQ(out, 0);
    EXPECT_EQ(in, 0);
    // With the name stored first, the number stands.
    ASSERT_TRUE(writeSettingW(Audio::kSettingsKey, Audio::kOutputDevice, vw::kHeadset.c_str()));
    ASSERT_TRUE(writeSettingW(Audio::kSettingsKey, Audio::kInputDevice, vw::kHeadset.c_str()));
    mAudio->setDevice(2, -1, 2);
    mAudio->deviceIds(&out, &file, &in);
    EXPECT_EQ(out, 2);
    EXPECT_EQ(in, 2);
    // A new engine takes the stored names, by name, wherever they stand.
    ASSERT_TRUE(writeSettingW(Audio::kSettingsKey, Audio::kPlayFileDevice, vw::kOutput.c_str()));
    mAudio.reset();
    startAudio();
    mAudio->deviceIds(&out, &file, &in);
    EXPECT_EQ(out, 2);
    EXPECT_EQ(file, 1);
    EXPECT_EQ(in, 2);
}

TEST_F(AudioSession, TheSixthVoiceWriteWaitsForABufferToComplete) {
    vw::SteppedClock clock;
    vw::useClock(&clock);
    startAudio();
    std::vector<std::uint8_t> frame(3200, 0);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(mAudio->playVoice(frame.data(), 3200), 0);
    auto sixth = std::async(std::launch::async, [&] { return mAudio->playVoice(frame.data(), 3200); });
    // The clock stands still, so nothing completes and the write must wait.
    EXPECT_EQ(sixth.wait_for(std::chrono::milliseconds(100)), std::future_status::timeout);
    clock.advanceMs(200);  // one buffer of 3200 bytes
    ASSERT_EQ(sixth.wait_for(std::chrono::seconds(5)), std::future_status::ready);
    EXPECT_EQ(sixth.get(), 0);
    EXPECT_GE(vw::capturedOutput(vw::kOutput).size(), 3200u);
    mAudio.reset();  // shut down while buffers wait on the stopped clock
}

TEST_F(AudioSession, VoiceWritesAreCutToTheBufferAndCarryTheSpeakerGain) {
    startAudio();
    mAudio->setSpeakerVolume(1, 0.0f);  // 2.2
    std::vector<std::int16_t> samples(1601, 100);
    EXPECT_EQ(mAudio->playVoice(samples.data(), 3202), 0);
    ASSERT_TRUE(waitFor([] { return vw::capturedOutput(vw::kOutput).size() >= 3200; }));
    const std::vector<std::uint8_t> played = vw::capturedOutput(vw::kOutput);
    EXPECT_EQ(played.size(), 3200u);
    std::int16_t first = 0;
    std::memcpy(&first, played.data(), 2);
    EXPECT_EQ(first, 220);
    EXPECT_EQ(samples[0], 100);  // the caller's frame stays as it was
}

TEST_F(AudioSession, FilesAndResourcesPlayWithRepeatsTheRingGainOnceAndStopAtOnce) {
    const std::vector<std::int16_t> samples = wav::ramp(1600);  // 0.2 s
    const std::string path = writeWav("ring.wav", samples);
    startAudio();
    EXPECT_EQ(mAudio->engineStatus(), 1);
    ASSERT_EQ(mAudio->playFile(wide(path).c_str(), 2), 0);
    EXPECT_EQ(mAudio->engineStatus(), 0);
    // Busy through the repeats: idle comes only with all three plays done.
    ASSERT_TRUE(waitFor([&] { return mAudio->engineStatus() == 1; }));
    std::vector<std::uint8_t> expected;
    for (int i = 0; i < 3; ++i) wav::append(expected, bytesOf(samples));
    EXPECT_EQ(vw::capturedOutput(vw::kOutput), expected);

    // A ring level change reloads, so the gain never stacks.
    const std::string flat = writeWav("flat.wav", std::vector<std::int16_t>(800, 100));
    std::vector<std::int16_t> heard;
    for (int level : {1, 1, 0}) {
        vw::clearCapture();
        mAudio->setRingVolume(level, 0.0f);
        ASSERT_EQ(mAudio->playFile(wide(flat).c_str(), 0), 0);
        ASSERT_TRUE(waitFor([&] { return mAudio->engineStatus() == 1; }));
        const std::vector<std::uint8_t> played = vw::capturedOutput(vw::kOutput);
        ASSERT_EQ(played.size(), 1600u);
        std::int16_t s = 0;
        std::memcpy(&s, played.data(), 2);
        heard.push_back(s);
    }
    EXPECT_EQ(heard, (std::vector<std::int16_t>{220, 220, 100}));

    // Sounds come from the resource table too; a file without samples, an
    // unknown name or none plays nothing.
    vw::clearCapture();
    wave_resources::add(u"busy", wav::pcmFile(wav::ramp(400)));
    EXPECT_EQ(mAudio->playTone(u"busy", 0), 0);
    ASSERT_TRUE(waitFor([&] { return mAudio->engineStatus() == 1; }));
    EXPECT_EQ(vw::capturedOutput(vw::kOutput), bytesOf(wav::ramp(400)));

    const std::string noData = (mRoot / "nodata.wav").string();
    ASSERT_TRUE(wav::writeFile(noData, wav::riff({wav::fmtChunk()})));
    EXPECT_EQ(mAudio->playFile(wide(noData).c_str(), 0), 1);
    EXPECT_EQ(mAudio->playFile(u"no such sound", 0), 1);
    EXPECT_EQ(mAudio->playFile(nullptr, 0), 1);

    // Stop ends a play at once and keeps the samples.
    vw::clearCapture();
    const std::string longPath = writeWav("long.wav", wav::ramp(16000));  // 2 s
    ASSERT_EQ(mAudio->playFile(wide(longPath).c_str(), -1), 0);
    ASSERT_TRUE(waitFor([] { return !vw::capturedOutput(vw::kOutput).empty(); }));
    EXPECT_EQ(mAudio->stopPlayFile(), 0);
    EXPECT_EQ(mAudio->engineStatus(), 1);
    const std::size_t atStop = vw::capturedOutput(vw::kOutput).size();
    EXPECT_LT(atStop, 32000u);
    std::this_thread::sleep_for(std::chrono::milliseconds(60));
    EXPECT_EQ(vw::capturedOutput(vw::kOutput).size(), atStop);
    // The file is gone from disk: the next play runs from the samples kept.
    std::filesystem::remove(longPath);
    EXPECT_EQ(mAudio->playFile(wide(longPath).c_str(), 0), 0);
    EXPECT_EQ(mAudio->engineStatus(), 0);
}

TEST_F(AudioSession, CapturedFramesCarryTheMicGainAndAPulledHeadsetFallsBackToTheDefaults) {
    vw::setInputSource([](std::int16_t* s, std::size_t n, std::uint64_t) { std::fill(s, s + n, 1000); });
    ASSERT_TRUE(writeSettingW(Audio::kSettingsKey, Audio::kOutputDevice, vw::kHeadset.c_str()));
    ASSERT_TRUE(writeSettingW(Audio::kSettingsKey, Audio::kInputDevice, vw::kHeadset.c_str()));
    startAudio();
    mAudio->registerCallback(onFrame);
    mAudio->setMicVolume(1, 0.0f);  // step 0 restores 0.25: factor 1.5
    mAudio->recordStart(true);
    ASSERT_TRUE(waitFor([] { return gFrames.count() >= 8; }));
    for (std::size_t i = 0; i < 8; ++i) {
        const std::vector<std::uint8_t> frame = gFrames.at(i);
        ASSERT_EQ(frame.size(), 320u);
        std::vector<std::int16_t> samples(160);
        std::memcpy(samples.data(), frame.data(), 320);
        EXPECT_EQ(samples, std::vector<std::int16_t>(160, 1500)) << i;
    }
    std::vector<std::uint8_t> frame(320, 1);
    EXPECT_EQ(mAudio->playVoice(frame.data(), 320), 0);
    ASSERT_TRUE(waitFor([] { return !vw::capturedOutput(vw::kHeadset).empty(); }));

    vw::unplug(vw::kHeadset);
    int out = -9, file = -9, in = -9;
    // Input: the recording thread meets the loss and reopens the default.
    ASSERT_TRUE(waitFor([&] {
        mAudio->deviceIds(&out, &file, &in);
        return in == 0;
    }));
    const std::size_t before = gFrames.count();
    ASSERT_TRUE(waitFor([&] { return gFrames.count() >= before + 3; }));
    // Output: a write or two are lost, then voice goes to the default.
    ASSERT_TRUE(waitFor([&] {
        mAudio->playVoice(frame.data(), 320);
        mAudio->deviceIds(&out, &file, &in);
        return out == 0;
    }));
    EXPECT_EQ(mAudio->playVoice(frame.data(), 320), 0);
    ASSERT_TRUE(waitFor([] { return !vw::capturedOutput(vw::kOutput).empty(); }));

    // Recording off: the queue drains and no more frames come.
    mAudio->recordStart(false);
    std::this_thread::sleep_for(std::chrono::milliseconds(150));
    const std::size_t drained = gFrames.count();
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    EXPECT_EQ(gFrames.count(), drained);
}

}  // namespace
