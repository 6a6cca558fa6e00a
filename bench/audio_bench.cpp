// Cost of the voice playout path: one 20 ms frame through
// AudioModulePlayVoice with a speaker gain, on a virtual device whose clock
// runs ahead, so that only the engine's own work is timed.
#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdint>
#include <vector>

#include "platform/settings_file.h"
#include "platform/virtual_wave.h"
#include "softphone.h"

namespace {

class RunawayClock final : public platform::WaveClock {
public:
    std::uint64_t nowUs() const override { return mNow.fetch_add(1000000); }

private:
    mutable std::atomic<std::uint64_t> mNow{0};
};

void BM_PlayVoiceFrameWithGain(benchmark::State& state) {
    static RunawayClock clock;
    platform::setSettingsRoot("/tmp/audio_bench_settings");
    platform::selectWaveBackend(platform::WaveBackendChoice::Virtual);
    platform::virtual_wave::useClock(&clock);
    if (AudioModuleStart() != 0) {
        state.SkipWithError("AudioModuleStart failed");
        return;
    }
    AudioModuleSetSpeakerVolume(5, 0.0f);
    std::vector<std::int16_t> frame(160);
    for (int i = 0; i < 160; ++i) frame[i] = static_cast<std::int16_t>(i * 100 - 8000);
    for (auto _ : state) {
        benchmark::DoNotOptimize(AudioModulePlayVoice(frame.data(), 320));
    }
    AudioModuleShutdown();
    platform::virtual_wave::restoreDefaults();
    platform::selectWaveBackend(platform::WaveBackendChoice::Automatic);
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_PlayVoiceFrameWithGain)->UseRealTime();

}  // namespace
