// The system's wave devices: waveOut for playing, waveIn for recording.
// Each open device keeps a small ring of buffers with the system; the
// stream's own thread fills (or empties) them one period at a time and
// waits on the device's event for the next free one.
// clang-format off
#include <windows.h>
#include <mmsystem.h>
// clang-format on

#include <algorithm>
#include <array>
#include <cstring>
#include <mutex>
#include <string>
#include <vector>

#include "platform/wave_stream.h"

namespace platform {

namespace {

// One period is 20 ms of sound; the system holds at most this many.
constexpr std::uint32_t kPeriodMs = 20;
constexpr std::size_t kSlots = 4;
// Voice: the silence ahead of the first frame, in periods; a client's frame
// may come this late without a gap.
constexpr unsigned kVoiceCushionPeriods = 3;
// How long a wait for a free buffer lasts at a time before it looks for a
// stop.
constexpr DWORD kSlotWaitMs = 5;
// A voice stream fed again within this time after it ran dry has underrun;
// after a longer pause the client had simply stopped.
constexpr std::uint64_t kVoicePauseUs = 1000000;

WAVEFORMATEX systemFormat(const WaveFormat& f) {
    WAVEFORMATEX w{};
    w.wFormatTag = WAVE_FORMAT_PCM;
    w.nChannels = f.channels;
    w.nSamplesPerSec = f.samplesPerSec;
    w.nAvgBytesPerSec = f.avgBytesPerSec;
    w.nBlockAlign = f.blockAlign;
    w.wBitsPerSample = f.bitsPerSample;
    w.cbSize = 0;
    return w;
}

std::string resultText(MMRESULT result, bool output) {
    wchar_t text[MAXERRORLENGTH] = {};
    const MMRESULT got = output ? ::waveOutGetErrorTextW(result, text, MAXERRORLENGTH)
                                : ::waveInGetErrorTextW(result, text, MAXERRORLENGTH);
    std::string out;
    if (got == MMSYSERR_NOERROR) {
        for (const wchar_t* c = text; *c != L'\0'; ++c) out.push_back(*c < 0x80 ? static_cast<char>(*c) : '?');
    }
    return out.empty() ? "error " + std::to_string(result) : out;
}

class SystemStream final : public WaveStream {
public:
    SystemStream(WaveDirection direction, const WaveFormat& format, WaveUse use, WaveCallback callback, void* user,
                 std::uint32_t periodBytes)
        : WaveStream(direction, format, callback, user, systemWaveClock(), periodBytes,
                     direction == WaveDirection::Output ? std::uint64_t{kSlots} * kPeriodMs * 1000u : 0),
          mUse(use),
          mPeriodBytes(periodBytes) {}

    ~SystemStream() override {
        close();
        release();
    }

    // Opens the device (WAVE_MAPPER for the default) and prepares the ring.
    MMRESULT openDevice(UINT deviceId, const WaveFormat& format) {
        mEvent = ::CreateEventW(nullptr, FALSE, FALSE, nullptr);
        if (mEvent == nullptr) return MMSYSERR_NOMEM;
        WAVEFORMATEX w = systemFormat(format);
        const DWORD_PTR event = reinterpret_cast<DWORD_PTR>(mEvent);
        MMRESULT result = output() ? ::waveOutOpen(&mOut, deviceId, &w, event, 0, CALLBACK_EVENT)
                                   : ::waveInOpen(&mIn, deviceId, &w, event, 0, CALLBACK_EVENT);
        if (result != MMSYSERR_NOERROR) return result;
        for (Slot& slot : mSlots) {
            slot.data.assign(mPeriodBytes, 0);
            slot.header.lpData = slot.data.data();
            slot.header.dwBufferLength = mPeriodBytes;
            result = output() ? ::waveOutPrepareHeader(mOut, &slot.header, sizeof slot.header)
                              : ::waveInPrepareHeader(mIn, &slot.header, sizeof slot.header);
            if (result != MMSYSERR_NOERROR) return result;
            slot.prepared = true;
        }
        return MMSYSERR_NOERROR;
    }

protected:
    Transfer transfer(char* data, std::uint32_t bytes) override {
        return output() ? play(data, bytes) : record(data, bytes);
    }

    void halted(bool discard) override {
        if (output()) {
            // A ring that ran dry plays what it holds to the end by itself.
            if (discard && mOut != nullptr) ::waveOutReset(mOut);
            if (discard) mPlaying = false;
            return;
        }
        if (mIn != nullptr) ::waveInReset(mIn);
        mRecording = false;
        mReadSlot = 0;
        mReadOffset = 0;
    }

    void release() override {
        if (mOut != nullptr) {
            ::waveOutReset(mOut);
            for (Slot& slot : mSlots) {
                if (slot.prepared) ::waveOutUnprepareHeader(mOut, &slot.header, sizeof slot.header);
                slot.prepared = false;
            }
            ::waveOutClose(mOut);
            mOut = nullptr;
        }
        if (mIn != nullptr) {
            ::waveInReset(mIn);
            for (Slot& slot : mSlots) {
                if (slot.prepared) ::waveInUnprepareHeader(mIn, &slot.header, sizeof slot.header);
                slot.prepared = false;
            }
            ::waveInClose(mIn);
            mIn = nullptr;
        }
        if (mEvent != nullptr) {
            ::CloseHandle(mEvent);
            mEvent = nullptr;
        }
    }

private:
    struct Slot {
        WAVEHDR header{};
        std::vector<char> data;
        bool prepared = false;
    };

    bool output() const { return direction() == WaveDirection::Output; }

    // A slot the system is not working on; prepared slots that were never
    // written carry no done mark but are free too.
    bool slotFree(const Slot& slot) const { return (slot.header.dwFlags & WHDR_INQUEUE) == 0; }

    bool ringEmpty() const {
        return std::all_of(mSlots.begin(), mSlots.end(), [this](const Slot& s) { return slotFree(s); });
    }

    // Waits for a free slot; null when interrupted.
    Slot* freeSlot() {
        for (;;) {
            for (Slot& slot : mSlots) {
                if (slotFree(slot)) return &slot;
            }
            if (interrupted()) return nullptr;
            ::WaitForSingleObject(mEvent, kSlotWaitMs);
        }
    }

    MMRESULT queue(Slot& slot, const char* data, std::uint32_t bytes) {
        std::memcpy(slot.data.data(), data, bytes);
        slot.header.dwBufferLength = bytes;
        slot.header.dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
        return ::waveOutWrite(mOut, &slot.header, sizeof slot.header);
    }

    Transfer play(const char* data, std::uint32_t bytes) {
        const std::uint64_t now = systemWaveClock().nowUs();
        if (mPlaying && ringEmpty()) {
            // The device ran dry while the stream went on.
            const bool fault = mUse == WaveUse::Voice ? now - mLastMovedUs < kVoicePauseUs : !mWasIdle;
            if (fault) countXrun();
            mPlaying = false;
        }
        if (!mPlaying && mUse == WaveUse::Voice) {
            if (mSilence.empty()) {
                mSilence.assign(mPeriodBytes, format().bitsPerSample == 8 ? char(0x80) : char(0));
            }
            for (unsigned i = 0; i < kVoiceCushionPeriods && i + 1 < kSlots; ++i) {
                Slot* slot = freeSlot();
                if (slot == nullptr) return Transfer::Interrupted;
                const MMRESULT result = queue(*slot, mSilence.data(), mPeriodBytes);
                if (result != MMSYSERR_NOERROR) return Transfer::Lost;
            }
        }
        Slot* slot = freeSlot();
        if (slot == nullptr) return Transfer::Interrupted;
        const MMRESULT result = queue(*slot, data, std::min(bytes, mPeriodBytes));
        if (result != MMSYSERR_NOERROR) return Transfer::Lost;
        mPlaying = true;
        mWasIdle = false;
        mLastMovedUs = now;
        return Transfer::Ok;
    }

    Transfer record(char* data, std::uint32_t bytes) {
        if (!mRecording) {
            for (Slot& slot : mSlots) {
                slot.header.dwBufferLength = mPeriodBytes;
                slot.header.dwBytesRecorded = 0;
                slot.header.dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
                const MMRESULT result = ::waveInAddBuffer(mIn, &slot.header, sizeof slot.header);
                if (result != MMSYSERR_NOERROR) return Transfer::Lost;
            }
            const MMRESULT result = ::waveInStart(mIn);
            if (result != MMSYSERR_NOERROR) return Transfer::Lost;
            mRecording = true;
            mReadSlot = 0;
            mReadOffset = 0;
        }
        std::uint32_t moved = 0;
        while (moved < bytes) {
            Slot& slot = mSlots[mReadSlot];
            while ((slot.header.dwFlags & WHDR_DONE) == 0) {
                if (interrupted()) return Transfer::Interrupted;
                ::WaitForSingleObject(mEvent, kSlotWaitMs);
            }
            // Every buffer filled before this one was taken: the device had
            // nowhere to put what came next.
            if (mReadOffset == 0 && ringEmpty() && std::all_of(mSlots.begin(), mSlots.end(), [](const Slot& s) {
                    return (s.header.dwFlags & WHDR_DONE) != 0;
                })) {
                countXrun();
            }
            const std::uint32_t recorded = slot.header.dwBytesRecorded;
            const std::uint32_t take = std::min(bytes - moved, recorded - std::min(recorded, mReadOffset));
            std::memcpy(data + moved, slot.data.data() + mReadOffset, take);
            moved += take;
            mReadOffset += take;
            if (mReadOffset >= recorded) {
                slot.header.dwBytesRecorded = 0;
                slot.header.dwFlags &= ~static_cast<DWORD>(WHDR_DONE);
                const MMRESULT result = ::waveInAddBuffer(mIn, &slot.header, sizeof slot.header);
                if (result != MMSYSERR_NOERROR) return Transfer::Lost;
                mReadSlot = (mReadSlot + 1) % kSlots;
                mReadOffset = 0;
            }
        }
        return Transfer::Ok;
    }

    const WaveUse mUse;
    const std::uint32_t mPeriodBytes;
    HWAVEOUT mOut = nullptr;
    HWAVEIN mIn = nullptr;
    HANDLE mEvent = nullptr;
    std::array<Slot, kSlots> mSlots;
    bool mPlaying = false;
    bool mRecording = false;
    bool mWasIdle = true;
    std::uint64_t mLastMovedUs = 0;
    std::size_t mReadSlot = 0;
    std::uint32_t mReadOffset = 0;
    std::vector<char> mSilence;
};

class SystemBackend final : public WaveBackend {
public:
    std::vector<std::u16string> deviceNames(WaveDirection direction) override {
        std::vector<std::u16string> names;
        std::vector<UINT> found;
        const bool out = direction == WaveDirection::Output;
        const UINT count = out ? ::waveOutGetNumDevs() : ::waveInGetNumDevs();
        for (UINT id = 0; id < count; ++id) {
            // The system's names hold 31 units and a terminator, as the
            // lists do.
            std::u16string name;
            if (out) {
                WAVEOUTCAPSW caps{};
                if (::waveOutGetDevCapsW(id, &caps, sizeof caps) != MMSYSERR_NOERROR) continue;
                for (const wchar_t* c = caps.szPname; *c != L'\0'; ++c) name.push_back(static_cast<char16_t>(*c));
            } else {
                WAVEINCAPSW caps{};
                if (::waveInGetDevCapsW(id, &caps, sizeof caps) != MMSYSERR_NOERROR) continue;
                for (const wchar_t* c = caps.szPname; *c != L'\0'; ++c) name.push_back(static_cast<char16_t>(*c));
            }
            names.push_back(uniqueName(names, name));
            found.push_back(id);
        }
        std::lock_guard<std::mutex> lock(mMutex);
        Known& known = direction == WaveDirection::Output ? mOutput : mInput;
        known.names = names;
        known.ids = std::move(found);
        return names;
    }

    bool hasDevice(WaveDirection direction, const std::u16string& name) override {
        UINT id = 0;
        return deviceId(direction, name, id);
    }

    std::string defaultName(WaveDirection) override { return "wave mapper"; }

    int open(WaveDirection direction, const std::u16string& name, const WaveFormat& format, WaveUse use,
             WaveCallback callback, void* user, std::unique_ptr<WaveDevice>& device, std::string& failure) override {
        if (!isPlayablePcm(format)) {
            failure = "format not playable";
            return kWaveBadFormat;
        }
        UINT id = WAVE_MAPPER;
        if (!name.empty() && !deviceId(direction, name, id)) {
            failure = "not among the system's wave devices";
            return kWaveBadDeviceId;
        }
        const std::uint32_t periodBytes = format.samplesPerSec * kPeriodMs / 1000u * format.blockAlign;
        auto opened = std::make_unique<SystemStream>(direction, format, use, callback, user, periodBytes);
        const MMRESULT result = opened->openDevice(id, format);
        if (result != MMSYSERR_NOERROR) {
            failure = resultText(result, direction == WaveDirection::Output);
            return result == WAVERR_BADFORMAT ? kWaveBadFormat : static_cast<int>(result);
        }
        if (!opened->launch()) {
            failure = "no thread for the device";
            return kWaveNoMemory;
        }
        device = std::move(opened);
        return kWaveOk;
    }

private:
    struct Known {
        std::vector<std::u16string> names;
        std::vector<UINT> ids;
    };

    static std::u16string uniqueName(const std::vector<std::u16string>& taken, const std::u16string& name) {
        auto seen = [&](const std::u16string& n) { return std::find(taken.begin(), taken.end(), n) != taken.end(); };
        if (!seen(name)) return name;
        for (int n = 2;; ++n) {
            std::string suffix = "~" + std::to_string(n);
            std::u16string numbered = name.substr(0, kWaveNameUnits - 1 - suffix.size());
            numbered.append(suffix.begin(), suffix.end());
            if (!seen(numbered)) return numbered;
        }
    }

    bool deviceId(WaveDirection direction, const std::u16string& name, UINT& id) {
        std::lock_guard<std::mutex> lock(mMutex);
        const Known& known = direction == WaveDirection::Output ? mOutput : mInput;
        for (std::size_t i = 0; i < known.names.size(); ++i) {
            if (known.names[i] == name) {
                id = known.ids[i];
                return true;
            }
        }
        return false;
    }

    std::mutex mMutex;
    Known mOutput;
    Known mInput;
};

}  // namespace

// Opens of the wave devices return promptly; none is left in the
// background.
bool settleWaveOpens(int) {
    return true;
}

WaveBackend& systemWaveBackend() {
    static SystemBackend backend;
    return backend;
}

}  // namespace platform
