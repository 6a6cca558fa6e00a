// The C exports called as a client calls them, with arguments inside their
// contract, on the virtual sound devices paced by a clock that moves only
// when the script moves it: up to 32 calls per input, picked and fed by its
// bytes. Checked besides the sanitizers: the results each export may give,
// a custom tone read back as it was saved, a device list that names the
// devices, a formatted number that is a terminated text of its length.
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "api/globals.h"
#include "audio/audio.h"
#include "core/key_tables.h"
#include "fuzz/fuzz_support.h"
#include "platform/settings_file.h"
#include "platform/virtual_wave.h"
#include "platform/wave_device.h"
#include "softphone.h"
#include "tones/tone_audio_table.h"
#include "tones/tone_player.h"
#include "tones/tone_tables.h"

namespace {

namespace vw = platform::virtual_wave;
using Utf16 = std::basic_string<sp_wchar_t>;

constexpr int kMaxCalls = 32;

using fuzz::check;

struct Setting;
Setting& setting();

struct Setting {
    vw::SteppedClock clock;
    std::string root;
    std::string wavPath;

    Setting() {
        char pattern[] = "/dev/shm/exports-fuzz-XXXXXX";
        check(::mkdtemp(pattern) != nullptr, "temporary folder");
        root = pattern;
        wavPath = root + "/sound.wav";
        platform::setSettingsRoot(root);
        platform::selectWaveBackend(platform::WaveBackendChoice::Virtual);
        vw::useClock(&clock);
        fillKeyTables();
        std::atexit([] { std::filesystem::remove_all(setting().root); });
    }
};

Setting& setting() {
    static Setting* s = new Setting();
    return *s;
}

class Reader {
public:
    Reader(const std::uint8_t* data, std::size_t size) : mData(data), mSize(size) {}
    bool more() const { return mAt < mSize; }
    std::uint8_t byte() { return mAt < mSize ? mData[mAt++] : 0; }
    std::uint32_t word() {
        std::uint32_t w = 0;
        for (int i = 0; i < 4; ++i) w = w << 8 | byte();
        return w;
    }
    int small(int low, int high) { return low + byte() % (high - low + 1); }
    std::string bytes(std::size_t n) {
        std::string out;
        while (out.size() < n && more()) out.push_back(static_cast<char>(byte()));
        return out;
    }
    // A terminated UTF-16 text of up to `n` units, none of them 0.
    Utf16 text(std::size_t n) {
        Utf16 out;
        for (std::size_t i = 0; i < n && more(); ++i) {
            const std::uint8_t b = byte();
            // Mostly dial characters, sometimes any unit.
            const sp_wchar_t u = b < 0xF0 ? static_cast<sp_wchar_t>(u"0123456789*#+PWpw,-() "[b % 22])
                                          : static_cast<sp_wchar_t>(b << 8 | byte());
            if (u != 0) out.push_back(u);
        }
        return out;
    }

private:
    const std::uint8_t* mData;
    std::size_t mSize;
    std::size_t mAt = 0;
};

Utf16 widen(const std::string& s) {
    return Utf16(s.begin(), s.end());
}

void formatterCall(Reader& in) {
    switch (in.small(0, 4)) {
        case 0: {
            std::vector<DialRule> rules(static_cast<std::size_t>(in.small(1, 6)));
            for (DialRule& r : rules) {
                const Utf16 lead = in.text(17);
                const Utf16 added = in.text(9);
                std::memset(&r, 0, sizeof r);
                std::copy(lead.begin(), lead.end(), r.mLeading);
                r.mLeadingLength = static_cast<std::int32_t>(lead.size());
                std::copy(added.begin(), added.end(), r.mAdded);
                r.mAddedLength = static_cast<std::int32_t>(added.size());
                r.mEnabled = in.byte() & 1;
            }
            ModuleVariables v{};
            v.mRules = rules.data();
            v.mRuleCount = static_cast<std::int32_t>(rules.size());
            v.mShortLength = static_cast<std::int8_t>(in.byte());
            v.mRemoveZero = in.byte() & 1;
            const Utf16 prefix = in.text(8);
            std::copy(prefix.begin(), prefix.end(), v.mPrefix);
            v.mPrefixLength = static_cast<std::int32_t>(prefix.size());
            const Utf16 digits = in.text(9);
            std::copy(digits.begin(), digits.end(), v.mDefaultDigits);
            v.mDefaultDigitsLength = static_cast<std::int32_t>(digits.size());
            set_module_variable(&v, in.byte() % 2 ? -1 : in.byte());
            break;
        }
        case 1: {
            std::vector<DialRule> room(64);
            ModuleVariables v{};
            v.mRules = room.data();
            check(get_module_variable(&v, -1) == 0, "get_module_variable");
            check(v.mRuleCount >= 0 && v.mRuleCount <= 64, "rule count");
            break;
        }
        case 2:
        case 3: {
            const Utf16 number = in.text(48);
            const int length = static_cast<int>(number.size());
            const int rule = in.small(-1, 5);
            if (in.byte() & 1) {
                check_leading(number.c_str(), length, rule);
                check_added(number.c_str(), length, rule);
            }
            sp_wchar_t* out = nullptr;
            const int result = get_formatted_number(number.c_str(), length, &out);
            if (result > 0) {
                check(out != nullptr, "formatted number without text");
                check(std::char_traits<sp_wchar_t>::length(out) + 1 == static_cast<std::size_t>(result),
                      "formatted length");
            }
            break;
        }
        default:
            discard_changes();
            break;
    }
}

void keyCall(Reader& in) {
    switch (in.small(0, 2)) {
        case 0: {
            const int r = put_key(in.byte() % 4 ? (in.byte() << 8 | in.byte()) : in.word());
            check(r == 0 || r == -1, "put_key result");
            break;
        }
        case 1: {
            const std::string digits = in.bytes(in.small(0, 44));
            const int r = make_call(digits.c_str());
            check(r == 0 || r == -1, "make_call result");
            break;
        }
        default:
            check(send_error(in.word(), 0, 0) == -1, "send_error without a mailbox");
            break;
    }
}

void toneCall(Reader& in) {
    switch (in.small(0, 6)) {
        case 0:
            ToneModulePlayDTMF(in.small(-2, 20), in.byte() & 1);
            break;
        case 1: {
            const int keyPad = in.small(-1, 3);
            const int program = in.small(-1, 3);
            check(ToneModuleSetKeyPadMode(keyPad) == 0 && ToneModuleSetProgramMode(program) == 0, "tone modes set");
            check(ToneModuleGetKeyPadMode() == keyPad && ToneModuleGetProgramMode() == program, "tone modes read");
            break;
        }
        case 2:
            ToneModulePlayTone(in.byte() | (in.byte() & 1) << 8, in.small(-1, 10), in.small(-1, 20));
            break;
        case 3: {
            const int slot = in.small(-1, 12);
            const Utf16 path = in.byte() & 1 ? widen(setting().wavPath) : in.text(40);
            // The exports give 0 whatever happened; a slot the player has
            // keeps the path, any other slot leaves the caller's room as it
            // was (256 units).
            check(ToneModuleSaveCustomTone(slot, path.c_str()) == 0, "save result");
            sp_wchar_t room[256] = {};
            sp_wchar_t* back = room;
            check(ToneModuleGetCustomTone(slot, &back) == 0, "get result");
            const bool kept = slot >= 0 && slot < tones::kMelodySlots;
            check(Utf16(room) == (kept ? path : Utf16()), "custom tone read back");
            break;
        }
        case 4: {
            const int slot = in.small(-1, 12);
            sp_wchar_t room[256] = {};
            sp_wchar_t* back = room;
            ToneModuleGetCustomTone(slot, &back);
            ToneModuleRemoveCustomTone(slot);
            break;
        }
        case 5:
            ToneModuleSetServiceTonePath(in.small(-1, 8));
            break;
        default:
            ToneModulePlayServiceTone(in.byte());
            break;
    }
}

// Calls that wait for a device to open, per input.
struct Budget {
    int reopens = 2;
    int files = 2;
};

void soundCall(Reader& in, Budget& budget) {
    switch (in.small(0, 9)) {
        case 0: {
            std::vector<std::uint8_t> pcm(static_cast<std::size_t>(in.small(0, 10)) * 320 + in.small(0, 1));
            for (std::uint8_t& b : pcm) b = in.byte();
            // Paced as a client plays: the device takes a frame each 20 ms,
            // so the queue never holds a write back for long.
            setting().clock.advanceMs(20 + pcm.size() / 16);
            check(AudioModulePlayVoice(pcm.data(), static_cast<int>(pcm.size())) == 0, "play voice");
            break;
        }
        case 1:
            AudioModuleRegisterCallback(
                in.byte() & 1 ? [](const void*, int bytes) { check(bytes >= 0, "recorded length"); } : nullptr);
            AudioModuleRecordStart(in.byte() & 1);
            break;
        case 2:
            // Each device that moves is opened again, which waits for it in
            // 10 ms rounds: a few per input.
            if (budget.reopens-- > 0) AudioModuleSetDevice(in.small(-2, 3), in.small(-2, 3), in.small(-2, 3));
            break;
        case 3: {
            if (budget.files-- <= 0) break;
            // A sound file of the input's bytes, played by path.
            const std::string body = in.bytes(in.small(0, 255));
            std::ofstream(setting().wavPath, std::ios::binary | std::ios::trunc) << body;
            const Utf16 path = widen(setting().wavPath);
            if (in.byte() & 1) {
                AudioModulePlayFile(path.c_str(), in.small(0, 3));
            } else {
                AudioModulePlayTone(path.c_str(), in.small(0, 3));
            }
            break;
        }
        case 4:
            AudioModuleStopPlayFile();
            AudioModuleStopPlayTone();
            break;
        case 5: {
            const int level = in.small(-1, 12);
            const float step = static_cast<float>(in.byte()) / 64.0f;
            switch (in.small(0, 2)) {
                case 0:
                    AudioModuleSetSpeakerVolume(level, step);
                    break;
                case 1:
                    AudioModuleSetRingVolume(level, step);
                    break;
                default:
                    AudioModuleSetMicVolume(level, step);
                    break;
            }
            break;
        }
        case 6: {
            const int status = AudioModuleGetEngineStatus();
            check(status == 0 || status == 1, "engine status");
            int output = -9;
            int file = -9;
            int input = -9;
            AudioModuleGetDeviceID(&output, &file, &input);
            check(output != -9 && file != -9 && input != -9, "device ids");
            break;
        }
        case 7: {
            sp_wchar_t** list = nullptr;
            const int n = in.byte() & 1 ? AudioModuleGetInDevice(&list) : AudioModuleGetOutDevice(&list);
            check(n >= 2 && list != nullptr, "virtual device list");
            for (int i = 0; i < n; ++i) check(list[i] != nullptr && list[i][0] != 0, "device name");
            std::free(list);
            break;
        }
        case 8:
            AudioModuleSetWindowHandle(reinterpret_cast<void*>(static_cast<std::uintptr_t>(in.byte())));
            break;
        default:
            // The devices take in and give out this much sound.
            setting().clock.advanceMs(static_cast<std::uint64_t>(in.small(1, 100)) * 10);
            break;
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    setting();
    // What outlives a call of the exports is set back, so each input starts
    // alike: the settings file (devices, custom tones), the formatter's
    // variables, the trace filter.
    std::remove(platform::settingsFilePath().c_str());
    {
        DialRule rule{};
        ModuleVariables v{};
        v.mRules = &rule;
        v.mRuleCount = 1;
        set_module_variable(&v, -1);
        discard_changes();
    }
    tracer_set_filter(0);
    Reader in(data, size);
    // The sound engine and the call processor are made once and taken down
    // at exit, the devices' threads idle on the stepped clock between
    // inputs: a start of the sound engine waits for its devices in 10 ms
    // rounds, and the end of a call processor pauses 10 ms, which would take
    // most of the run. initialize without parameters makes a call processor
    // that never starts, so the keys are looked up and refused at its
    // Mailbox. Each input gets a tone player of its own, made as initialize
    // makes it, and sets back what the calls change in the rest.
    static const bool started = [] {
        check(AudioModuleStart() == 0, "sound engine start");
        PtapParameters params{};
        check(initialize(nullptr, &params) == -1, "initialize without parameters");
        std::atexit([] {
            uninitialize();
            AudioModuleShutdown();
        });
        return true;
    }();
    (void)started;
    static const ToneAudioTable kTable{&AudioModulePlayFile, &AudioModuleStopPlayFile, &AudioModuleSetRingVolume,
                                       &AudioModulePlayTone, &AudioModuleStopPlayTone};
    std::unique_ptr<TonePlayer> player(gTonePlayer.exchange(nullptr));
    if (player) player->shutdown();
    player = std::make_unique<TonePlayer>();
    check(player->start() == 0 && player->setAudioTable(&kTable) == 0, "tone player");
    gTonePlayer = player.get();
    AudioModuleSetDevice(0, 0, 0);
    AudioModuleRecordStart(0);
    AudioModuleRegisterCallback(nullptr);
    AudioModuleSetSpeakerVolume(0, Audio::kSpeakerStep);
    AudioModuleSetRingVolume(0, Audio::kRingStep);
    AudioModuleSetMicVolume(0, Audio::kMicStep);
    Budget budget;
    for (int call = 0; call < kMaxCalls && in.more(); ++call) {
        switch (in.small(0, 7)) {
            case 0:
                formatterCall(in);
                break;
            case 1:
                keyCall(in);
                break;
            case 2:
            case 3:
                toneCall(in);
                break;
            case 4:
                tracer_set_filter(in.word());
                break;
            default:
                soundCall(in, budget);
                break;
        }
    }
    gTonePlayer = nullptr;
    player->shutdown();
    AudioModuleStopPlayFile();
    AudioModuleStopPlayTone();
    AudioModuleSetWindowHandle(nullptr);
    // The output plays out what is queued before the next input.
    setting().clock.advanceMs(1000);
    return 0;
}
