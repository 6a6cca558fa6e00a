// Test and bench hooks of the virtual sound devices (not exported): their
// clock, what their microphones hear, what their speakers played, and
// pulling a device out as a USB headset is pulled.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "platform/wave_stream.h"

namespace platform::virtual_wave {

// Output devices "Virtual Output", "Virtual Headset"; input devices
// "Virtual Input", "Virtual Headset". The first of each is the default.
inline const std::u16string kOutput = u"Virtual Output";
inline const std::u16string kInput = u"Virtual Input";
inline const std::u16string kHeadset = u"Virtual Headset";

// A clock that moves only when stepped.
class SteppedClock final : public WaveClock {
public:
    std::uint64_t nowUs() const override { return mNowUs.load(); }
    bool stepped() const override { return true; }
    void advanceMs(std::uint64_t ms) { mNowUs.fetch_add(ms * 1000u); }

private:
    std::atomic<std::uint64_t> mNowUs{1000000};
};

// Devices opened after this call are paced by `clock`; null is real time.
// The clock must outlive those devices.
void useClock(const WaveClock* clock);

// Fills `count` interleaved 16-bit samples of a capture, `position` being
// the stream's first sample frame in this call. Null gives silence.
using Source = std::function<void(std::int16_t* samples, std::size_t count, std::uint64_t position)>;
void setInputSource(Source source);

// Keeps what each output device plays, in memory; off by default, so a
// headless machine that runs for days doesn't grow.
void captureOutput(bool on);
void clearCapture();
std::vector<std::uint8_t> capturedOutput(const std::u16string& device);
// The capture as a WAV file of the given format.
bool writeCaptureWav(const std::u16string& device, const std::string& path, const WaveFormat& format);

// A pulled device leaves the lists and its open streams report loss.
void unplug(const std::u16string& device);
void plugIn(const std::u16string& device);

// Real time, silence, no capture, every device present.
void restoreDefaults();

}  // namespace platform::virtual_wave
