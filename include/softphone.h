/*
 * softphone.h - the one public interface of the softphone engine.
 *
 * A client fills a ParameterContainer with its network data and four
 * callbacks, calls initialize(), and from then on drives the terminal through
 * the exports below and hears from it through the callbacks.
 *
 * Binary interface of the boundary records
 * ----------------------------------------
 * The records keep the layout the client was built against.
 *
 *   32-bit targets (pointers of 4 bytes), offsets as tabled:
 *     ParameterContainer  132 bytes; callbacks at 0x74, 0x78, 0x7C, 0x80
 *     PtapParameters      176 bytes
 *     DialRule             68 bytes
 *     ModuleVariables      64 bytes; rule count at 0x04, prefix at 0x0E,
 *                          default digits at 0x24, remove-zero flag at 0x3C
 *
 *   64-bit targets: pointer fields widen to 8 bytes with natural C alignment
 *   and everything else follows from that:
 *     ParameterContainer  152 bytes; callbacks at 0x78, 0x80, 0x88, 0x90
 *     ModuleVariables      72 bytes; rule count at 0x08, prefix at 0x12
 *     PtapParameters and DialRule keep their 32-bit layout.
 *
 * Wide text at the boundary is UTF-16 code units, two bytes a character
 * (sp_wchar_t: wchar_t on Windows, char16_t elsewhere).
 */
#ifndef SOFTPHONE_H
#define SOFTPHONE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
typedef wchar_t sp_wchar_t;
#define SP_EXPORT __declspec(dllexport)
#else
#if defined(__cplusplus)
typedef char16_t sp_wchar_t;
#else
#include <uchar.h>
typedef char16_t sp_wchar_t;
#endif
#define SP_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* ---- Client callbacks. Each may be null; data is lent for the call. ---- */
/* The codes of onClientEvent and onLinkEvent. Blocks that carry records
 * reach past the length given; their sizes are noted. */
typedef enum SpClientEvent {
    SP_EVENT_CALL_ENDED = 0x01, /* the call is over */
    SP_EVENT_RING = 0x02,       /* ring; block: "mgcp_tone", its zero, the tone data */
    SP_EVENT_MEDIA_CONNECTED_IN_CALL = 0x07,
    SP_EVENT_PASS_THROUGH_08 = 0x08, /* passed through, raised by nothing */
    SP_EVENT_PASS_THROUGH_09 = 0x09,
    SP_EVENT_SIGNAL = 0x0B, /* never reaches the client as such: key state and display text */
    SP_EVENT_PASS_THROUGH_0D = 0x0D,
    SP_EVENT_MODE_RECV_ONLY = 0x10,
    SP_EVENT_MODE_INACTIVE = 0x11,
    SP_EVENT_MODE_SEND_RECV = 0x12,
    SP_EVENT_PASS_THROUGH_13 = 0x13,
    SP_EVENT_MUTE = 0x14,
    SP_EVENT_UNMUTE = 0x15,
    SP_EVENT_VOICE_OFF = 0x16,
    SP_EVENT_TONE = 0x17,               /* block as for SP_EVENT_RING */
    SP_EVENT_LINK_LOST = 0x18,          /* onLinkEvent */
    SP_EVENT_COMPULSION_RESTART = 0x1A, /* onLinkEvent */
    SP_EVENT_SPEAKER_ON = 0x1B,
    SP_EVENT_SPEAKER_OFF = 0x1C,
    SP_EVENT_SPEAKER_ON_OFF_HOOK = 0x1D,
    SP_EVENT_PBX_SETTING = 0x1E, /* block: "pbx_setting", its zero, the two modes */
    SP_EVENT_BGM_MUTE = 0x1F,
    SP_EVENT_TONE_COMMAND = 0x20, /* block of 16 bytes */
    SP_EVENT_KEY_LABELS = 0x21,   /* block of 975 bytes */
    SP_EVENT_CARD_VALUE = 0x22,
    SP_EVENT_VOICE_STARTED = 0x23,
    SP_EVENT_VOICE_STOPPED = 0x24,
    SP_EVENT_HEADSET_ON = 0x25,
    SP_EVENT_HEADSET_OFF = 0x26,
} SpClientEvent;

typedef void (*OnClientEventFn)(int code, int length, const char* data);
typedef void (*OnKeyStateFn)(uint32_t first, uint32_t second);
typedef void (*OnDisplayTextFn)(int zero1, int zero2, const char* text, int zero3);
typedef void (*OnLinkEventFn)(int code, int zero1, int zero2);

typedef struct ClientCallbacks {
    OnClientEventFn onClientEvent;
    OnKeyStateFn onKeyState;
    OnDisplayTextFn onDisplayText;
    OnLinkEventFn onLinkEvent;
} ClientCallbacks;

/* The client's network data. Bytes named mReservedN are the client's own:
 * they are carried but never read. Addresses are 32-bit numbers whose most
 * significant byte is the first dotted part. */
typedef struct ParameterContainer {
    uint8_t mStartCode;           /* 0x00: value of tag 0x20 in PTAP START */
    uint8_t mReserved1[0x33];     /* 0x01 */
    uint8_t mConnectionInfo[12];  /* 0x34: tag 5 of PTAP START */
    uint8_t mReserved2[0x14];     /* 0x40 */
    uint32_t mLocalAddress;       /* 0x54 */
    uint8_t mHardwareAddress[6];  /* 0x58: MAC address */
    uint8_t mReserved3[2];        /* 0x5E */
    uint32_t mServerAddress;      /* 0x60 */
    uint8_t mReserved4[8];        /* 0x64 */
    uint8_t mRegistrationMode;    /* 0x6C: 1 selects registration mode 1 */
    uint8_t mReserved5[7];        /* 0x6D */
    ClientCallbacks mCallbacks;   /* 0x74 (32-bit) or 0x78 (64-bit) */
} ParameterContainer;

/* What the server told the terminal in its answers to START. */
typedef struct PtapParameters {
    int32_t mTag20;              /* 0x00 */
    int32_t mKeepaliveTimeout;   /* 0x04: tag 0x1A */
    int32_t mTags1B1E[4];        /* 0x08: tags 0x1B, 0x1C, 0x1D, 0x1E */
    int32_t mTags1819[2];        /* 0x18: tags 0x18, 0x19 */
    int32_t mTags2426[3];        /* 0x20: tags 0x24, 0x25, 0x26 */
    int32_t mTag0F;              /* 0x2C: 16-bit value */
    int32_t mTag21[32];          /* 0x30: one entry for each value byte */
} PtapParameters;

/* One dialling rule of the number formatter. */
typedef struct DialRule {
    sp_wchar_t mLeading[17];  /* 0x00 */
    int32_t mLeadingLength;   /* 0x24 */
    sp_wchar_t mAdded[9];     /* 0x28 */
    int32_t mAddedLength;     /* 0x3C */
    uint8_t mEnabled;         /* 0x40 */
} DialRule;

/* Record of set_module_variable / get_module_variable. */
typedef struct ModuleVariables {
    DialRule* mRules;
    int32_t mRuleCount;
    int32_t mShortLength;
    uint8_t mStoredFlag;
    uint8_t mReserved;
    sp_wchar_t mPrefix[8];
    int32_t mPrefixLength;
    sp_wchar_t mDefaultDigits[9];
    int32_t mDefaultDigitsLength;
    uint8_t mRemoveZero;
} ModuleVariables;

/* Capture callback of the sound engine: one voice frame at a time. */
typedef void (*AudioRecordCallback)(const void* pcm, int bytes);

/* ---- Lifecycle ---- */
SP_EXPORT int initialize(const ParameterContainer* params, PtapParameters* out);
SP_EXPORT int uninitialize(void);

/* ---- Call control ---- */
SP_EXPORT int put_key(uint32_t keyNumber);
SP_EXPORT int make_call(const char* digits);
SP_EXPORT int send_error(uint32_t code, uint32_t unused1, uint32_t unused2);

/* ---- Voice ---- */
SP_EXPORT int open_voice(void);
SP_EXPORT int close_voice(void);
SP_EXPORT int send_voice(uint32_t bytes, const void* pcm);
SP_EXPORT int recv_voice(int* size, void* pcm, int* status);
SP_EXPORT void set_alaw(int flag);

/* ---- Sound devices ---- */
SP_EXPORT int AudioModuleStart(void);
SP_EXPORT int AudioModuleShutdown(void);
SP_EXPORT int AudioModulePlayVoice(const void* pcm, int length);
SP_EXPORT int AudioModuleRecordStart(int on);
SP_EXPORT int AudioModuleRegisterCallback(AudioRecordCallback callback);
SP_EXPORT int AudioModuleGetInDevice(sp_wchar_t*** list);
SP_EXPORT int AudioModuleGetOutDevice(sp_wchar_t*** list);
SP_EXPORT int AudioModuleSetDevice(int output, int file, int input);
SP_EXPORT int AudioModulePlayFile(const sp_wchar_t* path, int repeat);
SP_EXPORT int AudioModuleStopPlayFile(void);
SP_EXPORT void AudioModuleSetSpeakerVolume(int level, float step);
SP_EXPORT void AudioModuleSetRingVolume(int level, float step);
SP_EXPORT void AudioModuleSetMicVolume(int level, float step);
SP_EXPORT int AudioModuleGetEngineStatus(void);
SP_EXPORT void AudioModuleGetDeviceID(int* output, int* file, int* input);
SP_EXPORT void AudioModuleSetWindowHandle(void* window);
SP_EXPORT int AudioModulePlayTone(const sp_wchar_t* path, int repeat);
SP_EXPORT int AudioModuleStopPlayTone(void);

/* ---- Tones ---- */
SP_EXPORT int ToneModulePlayDTMF(int key, int silent);
SP_EXPORT int ToneModuleGetKeyPadMode(void);
SP_EXPORT int ToneModuleGetProgramMode(void);
SP_EXPORT int ToneModuleSetKeyPadMode(int mode);
SP_EXPORT int ToneModuleSetProgramMode(int mode);
SP_EXPORT int ToneModulePlayTone(int iToneID, int iVolume, int iMelody);
SP_EXPORT int ToneModuleSaveCustomTone(int slot, const sp_wchar_t* path);
SP_EXPORT int ToneModuleRemoveCustomTone(int slot);
SP_EXPORT int ToneModuleGetCustomTone(int slot, sp_wchar_t** path);
SP_EXPORT int ToneModuleSetServiceTonePath(int area);
SP_EXPORT int ToneModulePlayServiceTone(int code);

/* ---- Trace file ---- */
SP_EXPORT int tracer_startup(const char* fileName);
SP_EXPORT int tracer_add_filter(uint32_t mask);
SP_EXPORT int tracer_remove_filter(uint32_t mask);
SP_EXPORT int tracer_set_filter(uint32_t mask);

/* ---- Number formatter ---- */
SP_EXPORT int set_module_variable(const ModuleVariables* record, int mask);
SP_EXPORT int get_module_variable(ModuleVariables* record, int mask);
SP_EXPORT int check_leading(const sp_wchar_t* text, int length, int rule);
SP_EXPORT int check_added(const sp_wchar_t* text, int length, int rule);
SP_EXPORT int get_formatted_number(const sp_wchar_t* text, int length, sp_wchar_t** out);
SP_EXPORT void discard_changes(void);

#ifdef __cplusplus
} /* extern "C" */
#endif

/* ---- Layout checks ---- */
#if defined(__cplusplus)
#define SP_STATIC_ASSERT(c, m) static_assert(c, m)
#else
#define SP_STATIC_ASSERT(c, m) _Static_assert(c, m)
#endif

SP_STATIC_ASSERT(sizeof(sp_wchar_t) == 2, "wide text is UTF-16");
SP_STATIC_ASSERT(sizeof(PtapParameters) == 0xB0, "PtapParameters");
SP_STATIC_ASSERT(offsetof(PtapParameters, mTag0F) == 0x2C, "PtapParameters");
SP_STATIC_ASSERT(offsetof(PtapParameters, mTag21) == 0x30, "PtapParameters");
SP_STATIC_ASSERT(sizeof(DialRule) == 68, "DialRule");
SP_STATIC_ASSERT(offsetof(DialRule, mLeadingLength) == 0x24, "DialRule");
SP_STATIC_ASSERT(offsetof(DialRule, mAdded) == 0x28, "DialRule");
SP_STATIC_ASSERT(offsetof(DialRule, mAddedLength) == 0x3C, "DialRule");
SP_STATIC_ASSERT(offsetof(DialRule, mEnabled) == 0x40, "DialRule");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mConnectionInfo) == 0x34, "ParameterContainer");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mLocalAddress) == 0x54, "ParameterContainer");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mHardwareAddress) == 0x58, "ParameterContainer");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mServerAddress) == 0x60, "ParameterContainer");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mRegistrationMode) == 0x6C, "ParameterContainer");

#if UINTPTR_MAX == 0xFFFFFFFFu
SP_STATIC_ASSERT(sizeof(ParameterContainer) == 0x84, "ParameterContainer, 32-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks) == 0x74, "ParameterContainer, 32-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onKeyState) == 0x78, "32-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onDisplayText) == 0x7C, "32-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onLinkEvent) == 0x80, "32-bit");
SP_STATIC_ASSERT(sizeof(ModuleVariables) == 0x40, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mRuleCount) == 0x04, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mShortLength) == 0x08, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mStoredFlag) == 0x0C, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mPrefix) == 0x0E, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mPrefixLength) == 0x20, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mDefaultDigits) == 0x24, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mDefaultDigitsLength) == 0x38, "ModuleVariables, 32-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mRemoveZero) == 0x3C, "ModuleVariables, 32-bit");
#elif UINTPTR_MAX == 0xFFFFFFFFFFFFFFFFu
SP_STATIC_ASSERT(sizeof(ParameterContainer) == 0x98, "ParameterContainer, 64-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks) == 0x78, "ParameterContainer, 64-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onKeyState) == 0x80, "64-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onDisplayText) == 0x88, "64-bit");
SP_STATIC_ASSERT(offsetof(ParameterContainer, mCallbacks.onLinkEvent) == 0x90, "64-bit");
SP_STATIC_ASSERT(sizeof(ModuleVariables) == 0x48, "ModuleVariables, 64-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mRuleCount) == 0x08, "ModuleVariables, 64-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mPrefix) == 0x12, "ModuleVariables, 64-bit");
SP_STATIC_ASSERT(offsetof(ModuleVariables, mRemoveZero) == 0x40, "ModuleVariables, 64-bit");
#endif

#endif /* SOFTPHONE_H */
