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

/* ---- Numbers a client passes and receives ---- */

/** Results of initialize(). */
typedef enum SpInitResult {
    SP_INIT_OK = 0,         /**< registered, or already initialized */
    SP_INIT_ERROR = -1,     /**< null params or out, or an object could not be made */
    SP_INIT_FAILED = 1,     /**< registration failed: no answer in time, a busy answer, a port taken, ... */
    SP_INIT_REFUSED = 0xC9, /**< the server refused the registration (its result 200) */
    SP_INIT_WRONG_CONNECTION_INFO = 0xD2, /**< wrong connection data; no answer of the server gives it today */
    SP_INIT_INCORRECT_CARD = 0xD3         /**< card record malformed (mode 1), or a card query in mode 0 */
} SpInitResult;

/** Values of ParameterContainer::mRegistrationMode. */
typedef enum SpRegistrationMode {
    SP_REGISTRATION_MODE_0 = 0, /**< START answered with a result item */
    SP_REGISTRATION_MODE_1 = 1  /**< START answered with a card record */
} SpRegistrationMode;

/** The fixed UDP ports of the engine and of the call server. */
typedef enum SpPort {
    SP_PORT_PTAP = 9301,        /**< local PTAP port */
    SP_PORT_PTAP_SERVER = 9300, /**< the server's PTAP port */
    SP_PORT_MGCP = 2427,        /**< local MGCP port */
    SP_PORT_MGCP_SERVER = 2727, /**< the server's MGCP port */
    SP_PORT_RTP = 8000          /**< local RTP port, and the server's first RTP port */
} SpPort;

/** Key numbers of put_key(). */
typedef enum SpKey {
    SP_KEY_ON_HOOK = 0x0100,    /**< going on hook */
    SP_KEY_OFF_HOOK = 0x0200,   /**< going off hook */
    SP_KEY_0300 = 0x0300,       /**< first of the 0x03 group (0x0300, 0x0301) */
    SP_KEY_0301 = 0x0301,       /**< last of the 0x03 group */
    SP_KEY_DIGIT_0 = 0x0730,    /**< dial key 0; digit n is SP_KEY_DIGIT_0 + n */
    SP_KEY_DIGIT_1 = 0x0731,    /**< dial key 1 */
    SP_KEY_DIGIT_2 = 0x0732,    /**< dial key 2 */
    SP_KEY_DIGIT_3 = 0x0733,    /**< dial key 3 */
    SP_KEY_DIGIT_4 = 0x0734,    /**< dial key 4 */
    SP_KEY_DIGIT_5 = 0x0735,    /**< dial key 5 */
    SP_KEY_DIGIT_6 = 0x0736,    /**< dial key 6 */
    SP_KEY_DIGIT_7 = 0x0737,    /**< dial key 7 */
    SP_KEY_DIGIT_8 = 0x0738,    /**< dial key 8 */
    SP_KEY_DIGIT_9 = 0x0739,    /**< dial key 9 */
    SP_KEY_STAR = 0x072A,       /**< dial key * */
    SP_KEY_HASH = 0x0723,       /**< dial key # */
    SP_KEY_0A_FIRST = 0x0A00,   /**< first of the 0x0A group, 0x0A00 to 0x0A06 */
    SP_KEY_0A03 = 0x0A03,       /**< the key of the 0x0A group whose NTFY carries a second K: line */
    SP_KEY_0A_LAST = 0x0A06,    /**< last of the 0x0A group */
    SP_KEY_0B_FIRST = 0x0B00,   /**< first of the 0x0B group, 0x0B00 to 0x0B0A without 0x0B02 */
    SP_KEY_PAUSE = 0x0B08,      /**< pause: what the dial characters 'P' and 'W' press */
    SP_KEY_0B_LAST = 0x0B0A,    /**< last of the 0x0B group */
    SP_KEY_SOFT_FIRST = 0x0C00, /**< soft key 0; soft key n is SP_KEY_SOFT_FIRST + n */
    SP_KEY_SOFT_LAST = 0x0C2F,  /**< soft key 47 */
    SP_KEY_0D_FIRST = 0x0D00,   /**< first of the 0x0D group, 0x0D00 to 0x0D03 */
    SP_KEY_0D_LAST = 0x0D03,    /**< last of the 0x0D group */
    SP_KEY_0E00 = 0x0E00,       /**< a key whose NTFY carries no O: line */
    SP_KEY_LINE_1 = 0x1000,     /**< line key 1; line key n is SP_KEY_LINE_1 + n - 1 */
    SP_KEY_LINE_2 = 0x1001,     /**< line key 2 */
    SP_KEY_LINE_3 = 0x1002,     /**< line key 3 */
    SP_KEY_LINE_4 = 0x1003,     /**< line key 4 */
    SP_KEY_LINE_5 = 0x1004,     /**< line key 5 */
    SP_KEY_SPEAKER = 0x1100     /**< the speaker key; its NTFY carries no O: line */
} SpKey;

/** The number of soft keys, and of key labels in SP_EVENT_KEY_LABELS. */
#define SP_SOFT_KEY_COUNT 48
/** The longest dial string make_call() takes, in characters. */
#define SP_MAKE_CALL_MAX_DIGITS 40

/** Lamp states of onKeyState()'s second argument: off, then seven green
 * and seven red states in the same order. */
typedef enum SpLampState {
    SP_LAMP_OFF = 0,       /**< "off" */
    SP_LAMP_GREEN = 1,     /**< "gon": steady green */
    SP_LAMP_GREEN_3I = 2,  /**< "g3i" */
    SP_LAMP_GREEN_3SI = 3, /**< "g3si" */
    SP_LAMP_GREEN_6I = 4,  /**< "g6i" */
    SP_LAMP_GREEN_6SI = 5, /**< "g6si" */
    SP_LAMP_GREEN_12I = 6, /**< "g12i" */
    SP_LAMP_GREEN_24I = 7, /**< "g24i" */
    SP_LAMP_RED = 8,       /**< "ron": steady red */
    SP_LAMP_RED_3I = 9,    /**< "r3i" */
    SP_LAMP_RED_3SI = 10,  /**< "r3si" */
    SP_LAMP_RED_6I = 11,   /**< "r6i" */
    SP_LAMP_RED_6SI = 12,  /**< "r6si" */
    SP_LAMP_RED_12I = 13,  /**< "r12i" */
    SP_LAMP_RED_24I = 14   /**< "r24i" */
} SpLampState;

/** Voice frames: the unit of send_voice(), recv_voice(), AudioModulePlayVoice()
 * and the capture callback. */
typedef enum SpVoice {
    SP_VOICE_SAMPLE_RATE = 8000,  /**< samples a second */
    SP_VOICE_FRAME_SAMPLES = 160, /**< signed 16-bit little-endian mono samples in a frame */
    SP_VOICE_FRAME_BYTES = 320,   /**< bytes in a frame */
    SP_VOICE_FRAME_MS = 20,       /**< milliseconds in a frame */
    SP_RECV_VOICE_BYTES = 3200    /**< room recv_voice() needs: ten frames */
} SpVoice;

/** Values of AudioModuleGetEngineStatus(). */
typedef enum SpEngineStatus {
    SP_AUDIO_NOT_STARTED = -1, /**< no sound engine */
    SP_AUDIO_PLAYING = 0,      /**< a file or a tone plays */
    SP_AUDIO_IDLE = 1          /**< nothing plays */
} SpEngineStatus;

/** Repeat arguments of AudioModulePlayFile() and AudioModulePlayTone(). */
typedef enum SpRepeat {
    SP_PLAY_ONCE = 0,          /**< play the sound once */
    SP_PLAY_UNTIL_STOPPED = -1 /**< repeat the sound until it is stopped */
} SpRepeat;

/** Tone ids of ToneModulePlayTone(); the names say what the build's own
 * sound files hold. */
typedef enum SpToneId {
    SP_TONE_KEEP = -1,                /**< any argument: keep the stored value */
    SP_TONE_STOP = 0,                 /**< stop the ring (any id outside 1 to 17 does) */
    SP_TONE_RING_1 = 1,               /**< ring tone, double ring (ring pattern 1) */
    SP_TONE_RING_2 = 2,               /**< ring tone, long ring (ring pattern 2) */
    SP_TONE_RING_3 = 3,               /**< ring tone, triple ring (ring pattern 3) */
    SP_TONE_RING_4 = 4,               /**< ring tone, rising notes */
    SP_TONE_DIAL = 5,                 /**< dial tone */
    SP_TONE_RINGING = 6,              /**< ringing tone */
    SP_TONE_BUSY = 7,                 /**< busy tone, three cadences */
    SP_TONE_CONGESTION = 8,           /**< congestion tone, six cadences */
    SP_TONE_MELODY_9 = 9,             /**< ring melody */
    SP_TONE_MELODY_10 = 10,           /**< ring melody */
    SP_TONE_MELODY_11 = 11,           /**< ring melody */
    SP_TONE_CONFIRMATION = 12,        /**< confirmation tone */
    SP_TONE_SPECIAL_INFORMATION = 13, /**< special information tone */
    SP_TONE_CALL_WAITING = 14,        /**< call waiting tone */
    SP_TONE_NOTICE = 15,              /**< notice tone */
    SP_TONE_NOTICE_16 = 16,           /**< notice tone (the file of 15) */
    SP_TONE_RING_17 = 17              /**< ring tone (the file of 1) */
} SpToneId;

/** Bounds of tone ids and melody slots. */
typedef enum SpToneRange {
    SP_TONE_ID_FIRST = 1,    /**< first tone id */
    SP_TONE_ID_LAST = 17,    /**< last tone id */
    SP_MELODY_SLOTS = 30,    /**< melody slots, and custom tone slots 0 to 29 */
    SP_TONE_PATH_CHARS = 256 /**< UTF-16 units of a custom tone path buffer, terminator included */
} SpToneRange;

/** Service tone codes of ToneModulePlayServiceTone(); the call server sends
 * the same codes in the tone command (SP_EVENT_TONE_COMMAND). The names say
 * what the build's own sound files hold. */
typedef enum SpServiceTone {
    SP_SERVICE_TONE_CONFIRMATION = 0x80,        /**< once; the next of 0x90 to 0x93, 0x96, 0x97 is passed over */
    SP_SERVICE_TONE_SPECIAL_INFORMATION = 0x81, /**< once */
    SP_SERVICE_TONE_NEGATIVE = 0x82,            /**< once */
    SP_SERVICE_TONE_RECORDING_WARNING = 0x83,   /**< once */
    SP_SERVICE_TONE_INTRUSION = 0x84,           /**< once */
    SP_SERVICE_TONE_PAY = 0x85,                 /**< once */
    SP_SERVICE_TONE_END_OF_CALL = 0x86,         /**< once */
    SP_SERVICE_TONE_DIAL = 0x90,                /**< until stopped */
    SP_SERVICE_TONE_SPECIAL_DIAL = 0x91,        /**< until stopped */
    SP_SERVICE_TONE_RINGBACK = 0x92,            /**< until stopped */
    SP_SERVICE_TONE_BUSY = 0x93,                /**< until stopped */
    SP_SERVICE_TONE_CONGESTION = 0x94,          /**< until stopped */
    SP_SERVICE_TONE_CALL_WAITING = 0x95,        /**< until stopped */
    SP_SERVICE_TONE_ON_HOLD = 0x96,             /**< until stopped */
    SP_SERVICE_TONE_SECOND_DIAL = 0x97,         /**< until stopped */
    SP_SERVICE_TONE_FURTHER_FIRST = 0xA0,       /**< first of fifteen further cadences, until stopped */
    SP_SERVICE_TONE_FURTHER_LAST = 0xAE,        /**< last of them */
    SP_SERVICE_TONE_STOP = 0xFF                 /**< stop the service tone that plays */
} SpServiceTone;

/** Area codes of ToneModuleSetServiceTonePath(): the folder of the service
 * tones. Any other code is area 1. */
typedef enum SpArea {
    SP_AREA_1 = 1, /**< media/Area1, the start value */
    SP_AREA_2 = 2, /**< media/Area2 */
    SP_AREA_3 = 3, /**< media/Area3 */
    SP_AREA_4 = 4, /**< media/Area4 */
    SP_AREA_8 = 8  /**< media/Area8 */
} SpArea;

/** Key tone indexes of ToneModulePlayDTMF(). */
typedef enum SpKeyTone {
    SP_KEY_TONE_0 = 0,            /**< DTMF 0; digit n is SP_KEY_TONE_0 + n */
    SP_KEY_TONE_9 = 9,            /**< DTMF 9 */
    SP_KEY_TONE_STAR = 10,        /**< DTMF * */
    SP_KEY_TONE_HASH = 11,        /**< DTMF # */
    SP_KEY_TONE_CLICK_FIRST = 12, /**< first key click (12 to 22 in keypad mode 0, 12 to 27 in program mode) */
    SP_KEY_TONE_CLICK_LAST = 27,  /**< last key click */
    SP_KEY_TONE_RECORD = 30,      /**< record beep */
    SP_KEY_TONE_COUNT = 31        /**< indexes 0 to 30; a higher one must not be passed */
} SpKeyTone;

/** Keypad modes of ToneModuleSetKeyPadMode() and program modes of
 * ToneModuleSetProgramMode(): together they choose the key tones. */
typedef enum SpToneMode {
    SP_KEYPAD_MODE_DTMF = 0,  /**< keypad mode 0: digits give DTMF, keys 12 to 22 a click */
    SP_KEYPAD_MODE_QUIET = 1, /**< keypad mode 1 (and any other): only the record beep sounds */
    SP_PROGRAM_MODE_OFF = 0,  /**< program mode off */
    SP_PROGRAM_MODE_ON = 1    /**< program mode: in keypad mode 0, digits and keys 12 to 27 sound */
} SpToneMode;

/** Trace levels: filter bits of tracer_set_filter() and friends. */
typedef enum SpTraceLevel {
    SP_TRACE_STATUS = 1,     /**< module status */
    SP_TRACE_DETAIL = 2,     /**< detail */
    SP_TRACE_WARNING = 4,    /**< warning */
    SP_TRACE_ERROR = 8,      /**< error */
    SP_TRACE_CRITICAL = 16,  /**< critical */
    SP_TRACE_EVERYTHING = 31 /**< all five levels */
} SpTraceLevel;

/** Mask bits of set_module_variable() and get_module_variable(): one per
 * variable of ModuleVariables. */
typedef enum SpModuleVariable {
    SP_MODULE_RULES = 0x01,          /**< mRules and mRuleCount */
    SP_MODULE_SHORT_LENGTH = 0x02,   /**< mShortLength */
    SP_MODULE_STORED_FLAG = 0x04,    /**< mStoredFlag */
    SP_MODULE_PREFIX = 0x08,         /**< mPrefix and mPrefixLength */
    SP_MODULE_REMOVE_ZERO = 0x10,    /**< mRemoveZero */
    SP_MODULE_DEFAULT_DIGITS = 0x20, /**< mDefaultDigits and mDefaultDigitsLength */
    SP_MODULE_ALL = -1               /**< every variable */
} SpModuleVariable;

/** Results of the number formatter's exports beside 0. */
typedef enum SpFormatterResult {
    SP_FORMAT_OK = 0,                       /**< done; for the checks: the text is staged */
    SP_FORMAT_ERROR = -1,                   /**< no formatter yet, or a bad argument */
    SP_FORMAT_LEADING_NOT_MATCHED = 2,      /**< check_leading(): the text is no valid leading pattern */
    SP_FORMAT_ADDED_NOT_MATCHED = 4,        /**< check_added(): the text is no valid added text */
    SP_FORMAT_RULE_NOT_IN_USE = 8,          /**< the checks: the rule is not enabled */
    SP_FORMAT_DEFAULT_DIGITS_REFUSED = 0x20 /**< set_module_variable(): the default digits were refused */
} SpFormatterResult;

/** The rule argument of check_added() that checks default digits rather
 * than the added text of a rule. */
#define SP_FORMAT_NO_RULE (-1)

/** Layout of the blocks of the client events. Offsets count from the first
 * byte of the block; integers are 32-bit signed, little-endian, unaligned. */
typedef enum SpBlockLayout {
    SP_SIGNAL_BLOCK_BYTES = 1024, /**< every block that carries a record is this long */
    /* SP_EVENT_RING and SP_EVENT_TONE: "mgcp_tone", a zero byte, the tone data. */
    SP_TONE_DATA_BYTES = 42,         /**< bytes of the tag, its zero and the tone data */
    SP_TONE_DATA_KIND = 10,          /**< SP_TONE_KIND_RING or SP_TONE_KIND_VOLUME */
    SP_TONE_DATA_VOLUME_0 = 14,      /**< volume type 0; -1 when not set */
    SP_TONE_DATA_VOLUME_1 = 18,      /**< volume type 1; -1 when not set */
    SP_TONE_DATA_VOLUME_2 = 22,      /**< volume type 2; -1 when not set */
    SP_TONE_DATA_VOLUME_RINGER = 26, /**< volume type 3, the ringer; -1 when not set */
    SP_TONE_DATA_RING_BASE = 30,     /**< ring: first argument byte; else -1 */
    SP_TONE_DATA_RING_PATTERN = 34,  /**< ring: the tone id to play; else -1 */
    SP_TONE_DATA_RING_MELODY = 38,   /**< ring: the melody number; else -1 */
    /* SP_EVENT_PBX_SETTING: "pbx_setting", a zero byte, the two modes. */
    SP_PBX_SETTING_BYTES = 20,        /**< bytes of the tag, its zero and the two modes */
    SP_PBX_SETTING_PROGRAM_MODE = 12, /**< program mode; -1 when not set */
    SP_PBX_SETTING_KEYPAD_MODE = 16,  /**< keypad mode; -1 when not set */
    /* SP_EVENT_TONE_COMMAND: "tone", then the command. */
    SP_TONE_COMMAND_BYTES = 16, /**< length of the event */
    SP_TONE_COMMAND_CODE = 4,   /**< service tone code 0 to 255; 0 stops the tone */
    SP_TONE_COMMAND_VALUE = 8,  /**< a byte value 0 to 255 the server gives */
    SP_TONE_COMMAND_FLAGS = 12, /**< three bytes of 0 or 1, then a zero byte */
    /* SP_EVENT_KEY_LABELS: "slc", then the labels. */
    SP_KEY_LABELS_BYTES = 975,     /**< length of the event */
    SP_KEY_LABELS_COUNT = 3,       /**< labels the server sent, up to 48 */
    SP_KEY_LABELS_PRESENT = 7,     /**< two words: bit n of word n / 32 set when label n was given */
    SP_KEY_LABELS_ENTRIES = 15,    /**< 48 entries of SP_KEY_LABEL_ENTRY_BYTES, one per soft key */
    SP_KEY_LABEL_ENTRY_BYTES = 20, /**< an entry: a 32-bit length, then 16 bytes of text */
    SP_KEY_LABEL_TEXT = 4,         /**< the text within an entry, not terminated */
    SP_KEY_LABEL_MAX_LENGTH = 12,  /**< the longest label text */
    /* onDisplayText() text records: header, then the text. */
    SP_DISPLAY_COLUMN = 0, /**< column plus 1 */
    SP_DISPLAY_ROW = 1,    /**< row plus 1 */
    SP_DISPLAY_TEXT = 8    /**< the text, up to its zero byte */
} SpBlockLayout;

/** Kinds of tone data (SP_TONE_DATA_KIND). */
typedef enum SpToneKind {
    SP_TONE_KIND_RING = 1,  /**< a ring order: pattern and melody set */
    SP_TONE_KIND_VOLUME = 2 /**< a volume order: one of the four volumes set */
} SpToneKind;

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
    uint8_t mStartCode;          /* 0x00: value of tag 0x20 in PTAP START */
    uint8_t mReserved1[0x33];    /* 0x01 */
    uint8_t mConnectionInfo[12]; /* 0x34: tag 5 of PTAP START */
    uint8_t mReserved2[0x14];    /* 0x40 */
    uint32_t mLocalAddress;      /* 0x54 */
    uint8_t mHardwareAddress[6]; /* 0x58: MAC address */
    uint8_t mReserved3[2];       /* 0x5E */
    uint32_t mServerAddress;     /* 0x60 */
    uint8_t mReserved4[8];       /* 0x64 */
    uint8_t mRegistrationMode;   /* 0x6C: 1 selects registration mode 1 */
    uint8_t mReserved5[7];       /* 0x6D */
    ClientCallbacks mCallbacks;  /* 0x74 (32-bit) or 0x78 (64-bit) */
} ParameterContainer;

/* What the server told the terminal in its answers to START. */
typedef struct PtapParameters {
    int32_t mTag20;            /* 0x00 */
    int32_t mKeepaliveTimeout; /* 0x04: tag 0x1A */
    int32_t mTags1B1E[4];      /* 0x08: tags 0x1B, 0x1C, 0x1D, 0x1E */
    int32_t mTags1819[2];      /* 0x18: tags 0x18, 0x19 */
    int32_t mTags2426[3];      /* 0x20: tags 0x24, 0x25, 0x26 */
    int32_t mTag0F;            /* 0x2C: 16-bit value */
    int32_t mTag21[32];        /* 0x30: one entry for each value byte */
} PtapParameters;

/* One dialling rule of the number formatter. */
typedef struct DialRule {
    sp_wchar_t mLeading[17]; /* 0x00 */
    int32_t mLeadingLength;  /* 0x24 */
    sp_wchar_t mAdded[9];    /* 0x28 */
    int32_t mAddedLength;    /* 0x3C */
    uint8_t mEnabled;        /* 0x40 */
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
