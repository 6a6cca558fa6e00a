// A ToneAudioTable that records each call as a line of text, such as
// "PlayFile media/Tone_9.wav -1" or "SetRingVolume 3 -1".
#pragma once

#include <string>
#include <vector>

#include "tones/tone_audio_table.h"

class FakeAudio {
public:
    static std::vector<std::string>& calls() {
        static std::vector<std::string> sCalls;
        return sCalls;
    }
    static std::vector<std::string> take() {
        std::vector<std::string> out;
        out.swap(calls());
        return out;
    }
    static ToneAudioTable table() {
        ToneAudioTable t;
        t.AudioModulePlayFile = [](const sp_wchar_t* path, int repeat) {
            return record("PlayFile " + narrow(path) + " " + std::to_string(repeat));
        };
        t.AudioModuleStopPlayFile = [] { return record("StopPlayFile"); };
        t.AudioModuleSetRingVolume = [](int level, float step) {
            record("SetRingVolume " + std::to_string(level) + " " + std::to_string(static_cast<int>(step)));
        };
        t.AudioModulePlayTone = [](const sp_wchar_t* path, int repeat) {
            return record("PlayTone " + narrow(path) + " " + std::to_string(repeat));
        };
        t.AudioModuleStopPlayTone = [] { return record("StopPlayTone"); };
        return t;
    }
    static std::string narrow(const sp_wchar_t* text) {
        std::string out;
        for (; text != nullptr && *text != 0; ++text) out += static_cast<char>(*text);
        return out;
    }

private:
    static int record(std::string line) {
        calls().push_back(std::move(line));
        return 0;
    }
};
