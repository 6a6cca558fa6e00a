// Every sound file the tone tables name, in one list. The tables and the
// media generator of the build both read it, so each file a table names is
// one the build writes. Paths are relative to the process's working
// directory. This header holds data only: the generator includes it too.
#pragma once

// X(id, path): a file named directly by the key tone or tone table.
#define SP_TONE_FILES(X)                     \
    X(Dtmf0, "media/DTMF/Tone_DTMF0.wav")    \
    X(Dtmf1, "media/DTMF/Tone_DTMF1.wav")    \
    X(Dtmf2, "media/DTMF/Tone_DTMF2.wav")    \
    X(Dtmf3, "media/DTMF/Tone_DTMF3.wav")    \
    X(Dtmf4, "media/DTMF/Tone_DTMF4.wav")    \
    X(Dtmf5, "media/DTMF/Tone_DTMF5.wav")    \
    X(Dtmf6, "media/DTMF/Tone_DTMF6.wav")    \
    X(Dtmf7, "media/DTMF/Tone_DTMF7.wav")    \
    X(Dtmf8, "media/DTMF/Tone_DTMF8.wav")    \
    X(Dtmf9, "media/DTMF/Tone_DTMF9.wav")    \
    X(DtmfStar, "media/DTMF/Tone_DTMFx.wav") \
    X(DtmfHash, "media/DTMF/Tone_DTMF#.wav") \
    X(KeyClick, "media/Tone_Key.wav")        \
    X(RecordBeep, "media/Tone_Rec.wav")      \
    X(Tone1, "media/Tone_1.wav")             \
    X(Tone2, "media/Tone_2.wav")             \
    X(Tone3, "media/Tone_3.wav")             \
    X(Tone4, "media/Tone_4.wav")             \
    X(Tone5, "media/Tone_5.wav")             \
    X(Tone6, "media/Tone_6.wav")             \
    X(Tone7, "media/Tone_7.wav")             \
    X(Tone8, "media/Tone_8.wav")             \
    X(Tone9, "media/Tone_9.wav")             \
    X(ToneA, "media/Tone_A.wav")             \
    X(ToneB, "media/Tone_B.wav")             \
    X(ToneC, "media/Tone_C.wav")             \
    X(ToneD, "media/Tone_D.wav")             \
    X(ToneE, "media/Tone_E.wav")             \
    X(ToneF, "media/Tone_F.wav")

// X(code, folder): the area folders of the service tones.
#define SP_TONE_AREAS(X) \
    X(1, "media/Area1")  \
    X(2, "media/Area2")  \
    X(3, "media/Area3")  \
    X(4, "media/Area4")  \
    X(8, "media/Area8")

// X(code, file, repeat): the service tones, each a file in every area folder.
// repeat 0 plays once, -1 until stopped.
#define SP_SERVICE_TONES(X)        \
    X(0x80, "Progress_80.wav", 0)  \
    X(0x81, "Progress_81.wav", 0)  \
    X(0x82, "Progress_82.wav", 0)  \
    X(0x83, "Progress_83.wav", 0)  \
    X(0x84, "Progress_84.wav", 0)  \
    X(0x85, "Progress_85.wav", 0)  \
    X(0x86, "Progress_86.wav", 0)  \
    X(0x90, "Progress_90.wav", -1) \
    X(0x91, "Progress_91.wav", -1) \
    X(0x92, "Progress_92.wav", -1) \
    X(0x93, "Progress_93.wav", -1) \
    X(0x94, "Progress_94.wav", -1) \
    X(0x95, "Progress_95.wav", -1) \
    X(0x96, "Progress_96.wav", -1) \
    X(0x97, "Progress_97.wav", -1) \
    X(0xA0, "Progress_A0.wav", -1) \
    X(0xA1, "Progress_A1.wav", -1) \
    X(0xA2, "Progress_A2.wav", -1) \
    X(0xA3, "Progress_A3.wav", -1) \
    X(0xA4, "Progress_A4.wav", -1) \
    X(0xA5, "Progress_A5.wav", -1) \
    X(0xA6, "Progress_A6.wav", -1) \
    X(0xA7, "Progress_A7.wav", -1) \
    X(0xA8, "Progress_A8.wav", -1) \
    X(0xA9, "Progress_A9.wav", -1) \
    X(0xAA, "Progress_AA.wav", -1) \
    X(0xAB, "Progress_AB.wav", -1) \
    X(0xAC, "Progress_AC.wav", -1) \
    X(0xAD, "Progress_AD.wav", -1) \
    X(0xAE, "Progress_AE.wav", -1)

enum class ToneFile : int {
#define SP_TONE_FILE_ID(id, path) id,
    SP_TONE_FILES(SP_TONE_FILE_ID)
#undef SP_TONE_FILE_ID
        Count
};

inline constexpr int kToneFileCount = static_cast<int>(ToneFile::Count);

// The narrow spelling of each file, for tools that write or check them.
inline constexpr const char* kToneFileNames[] = {
#define SP_TONE_FILE_NAME(id, path) path,
    SP_TONE_FILES(SP_TONE_FILE_NAME)
#undef SP_TONE_FILE_NAME
};

struct ToneAreaName {
    int code;
    const char* folder;
};
inline constexpr ToneAreaName kToneAreaNames[] = {
#define SP_TONE_AREA_NAME(code, folder) {code, folder},
    SP_TONE_AREAS(SP_TONE_AREA_NAME)
#undef SP_TONE_AREA_NAME
};

struct ServiceToneName {
    int code;
    const char* file;
    int repeat;
};
inline constexpr ServiceToneName kServiceToneNames[] = {
#define SP_SERVICE_TONE_NAME(code, file, repeat) {code, file, repeat},
    SP_SERVICE_TONES(SP_SERVICE_TONE_NAME)
#undef SP_SERVICE_TONE_NAME
};
