/**
 * @file softphone.h
 * @brief The one public interface of the softphone engine, `libsoftphone.so`.
 *
 * The library makes the process a terminal of a call server. The client fills
 * a ParameterContainer with its network data and four callbacks and calls
 * initialize(), which registers the terminal over PTAP (UDP 9301 to the
 * server's 9300) and MGCP (2427 to 2727). From then on the server drives the
 * terminal: display text, lamps, ring and tone orders and voice connections
 * reach the client through the callbacks, and the client reports the user's
 * keys with put_key() and make_call(). The library plays no sound by itself:
 * the client answers the ring and tone events with the ToneModule exports,
 * and moves voice frames between the sound engine (AudioModule exports) and
 * the voice path (send_voice(), recv_voice()) at its own 20 ms pace.
 *
 * Calling order: tracer_startup() (optional); AudioModuleStart(), then
 * AudioModuleRegisterCallback() and AudioModuleRecordStart(); initialize();
 * keys, voice and tones while registered; uninitialize(); AudioModuleShutdown().
 * After ::SP_EVENT_LINK_LOST the client calls uninitialize() and then
 * initialize() again, with a back-off, until it gives ::SP_INIT_OK.
 *
 * Threads: the callbacks run on the library's own threads, never on a client
 * thread; each gets data that is lent for the call only, and must copy what
 * it keeps and return at once. No callback may call initialize() or
 * uninitialize(). put_key(), make_call() and send_error() only write the
 * key queue and may be called from anywhere, callbacks included; the tone
 * exports want one caller at a time. The client developer's guide
 * (`docs/client-guide.md`) gives the whole picture.
 *
 * Binary interface of the records: they keep the layout the client was built
 * against. On 32-bit targets ParameterContainer is 132 bytes with the
 * callbacks at 0x74, 0x78, 0x7C and 0x80, PtapParameters 176 bytes, DialRule
 * 68 bytes and ModuleVariables 64 bytes. On 64-bit targets pointer fields
 * widen to 8 bytes with natural C alignment: ParameterContainer is 152 bytes
 * (callbacks at 0x78, 0x80, 0x88, 0x90) and ModuleVariables 72 bytes;
 * PtapParameters and DialRule keep their 32-bit layout. The checks at the end
 * of this header hold both.
 *
 * Wide text at the boundary is UTF-16 code units, two bytes a character
 * (::sp_wchar_t). Multi-byte numbers in records and event blocks are in the
 * machine's own (little-endian) order.
 */
#ifndef SOFTPHONE_H
#define SOFTPHONE_H

#include <stddef.h>
#include <stdint.h>

#if defined(_WIN32)
/** One UTF-16 code unit of wide text: wchar_t on Windows, char16_t elsewhere. */
typedef wchar_t sp_wchar_t;
/** Marks the library's exports. */
#define SP_EXPORT __declspec(dllexport)
#else
#if defined(__cplusplus)
/** One UTF-16 code unit of wide text. */
typedef char16_t sp_wchar_t;
#else
#include <uchar.h>
/** One UTF-16 code unit of wide text. */
typedef char16_t sp_wchar_t;
#endif
/** Marks the library's exports. */
#define SP_EXPORT __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** @name Numbers a client passes and receives
 * @{ */

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
    SP_KEYPAD_MODE_QUIET = 1, /**< keypad mode 1 (and any other): keys are silent but the record beep */
    SP_PROGRAM_MODE_OFF = 0,  /**< program mode off */
    SP_PROGRAM_MODE_ON = 1    /**< program mode: keys 12 to 27 click too (keypad mode 0), all silent (mode 1) */
} SpToneMode;

/** Trace levels: filter bits of tracer_set_filter() and friends. */
typedef enum SpTraceLevel {
    SP_TRACE_STATUS = 1,    /**< module life and status, as "[CP] Module starting" */
    SP_TRACE_DETAIL = 2,    /**< detail: keys, packets, thread starts */
    SP_TRACE_WARNING = 4,   /**< warnings and refused operations */
    SP_TRACE_ERROR = 8,     /**< errors the engine survives */
    SP_TRACE_CRITICAL = 16, /**< a start-up or a device failed */
    SP_TRACE_ALL = -1       /**< every bit: the filter tracer_startup() sets */
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
    SP_KEY_LABELS_PRESENT = 7,     /**< two words: bit n % 32 of word n / 32 is set when label n was given */
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

/** @} */

/** @name Client callbacks and events
 * @{ */

/**
 * Codes of onClientEvent() and onLinkEvent().
 *
 * Unless said otherwise an event comes to onClientEvent() on the library's
 * MGCP socket thread, while it holds its signalling locks, with `length` the
 * count of bytes of `data` up to its first zero byte. Blocks that carry a
 * record behind their tag reach past that length: their size is given, and
 * their layout stands in ::SpBlockLayout. A block is lent for the call.
 */
typedef enum SpClientEvent {
    /** The call is over: media went inactive after the phone had been rung
     * (::SP_EVENT_RING). Data "end". An outgoing call ends with
     * ::SP_EVENT_MODE_INACTIVE and ::SP_EVENT_VOICE_STOPPED only. */
    SP_EVENT_CALL_ENDED = 0x01,
    /** An incoming call rings (ring pattern 1, 2 or 3). Data: "mgcp_tone", a
     * zero byte, the tone data (::SP_TONE_DATA_BYTES bytes in all); length 9.
     * Answer with ToneModulePlayTone(pattern, ::SP_TONE_KEEP, melody), and
     * stop the ring at ::SP_EVENT_VOICE_OFF. */
    SP_EVENT_RING = 0x02,
    /** Media connected in an answered call; raised by nothing today, as the
     * engine keeps no answered state of its own. */
    SP_EVENT_MEDIA_CONNECTED_IN_CALL = 0x07,
    SP_EVENT_PASS_THROUGH_08 = 0x08, /**< passed on if raised; nothing raises it */
    SP_EVENT_PASS_THROUGH_09 = 0x09, /**< passed on if raised; nothing raises it */
    /** Used inside the engine only: key states and display text reach the
     * client through onKeyState() and onDisplayText() instead. */
    SP_EVENT_SIGNAL = 0x0B,
    SP_EVENT_PASS_THROUGH_0D = 0x0D, /**< passed on if raised; nothing raises it */
    /** The connection is receive only (ringback from the far end). No data.
     * Followed by ::SP_EVENT_VOICE_STARTED: frames arrive, none should be
     * sent. */
    SP_EVENT_MODE_RECV_ONLY = 0x10,
    /** The connection is inactive (MDCX inactive or DLCX). No data. Followed
     * by ::SP_EVENT_VOICE_STOPPED. */
    SP_EVENT_MODE_INACTIVE = 0x11,
    /** The connection sends and receives (sendrecv or sendonly). No data.
     * Followed by ::SP_EVENT_VOICE_STARTED. */
    SP_EVENT_MODE_SEND_RECV = 0x12,
    SP_EVENT_PASS_THROUGH_13 = 0x13, /**< passed on if raised; nothing raises it */
    /** Mute the microphone. Data "mute". */
    SP_EVENT_MUTE = 0x14,
    /** Unmute the microphone. Data "unmute". */
    SP_EVENT_UNMUTE = 0x15,
    /** Stop the ring: the server sent ring(000000) or a ringer volume of 0.
     * Data begins "voff". Answer with ToneModulePlayTone(::SP_TONE_STOP,
     * ::SP_TONE_KEEP, ::SP_TONE_KEEP). */
    SP_EVENT_VOICE_OFF = 0x16,
    /** A ring order that is no incoming call (pattern outside 1 to 3), or a
     * volume order. Block as for ::SP_EVENT_RING; ::SP_TONE_DATA_KIND tells
     * which. A ring order is played like ::SP_EVENT_RING; a volume order
     * gives the ringer volume (for ToneModulePlayTone's `iVolume`) and the
     * volumes of types 0 to 2, each -1 when not given. */
    SP_EVENT_TONE = 0x17,
    /** To onLinkEvent(), on PTAP's supervision thread: the server's
     * keepalives stopped for longer than its keepalive time-out. The
     * terminal is no longer registered: call uninitialize(), then
     * initialize() again with a back-off. */
    SP_EVENT_LINK_LOST = 0x18,
    /** To onLinkEvent(), on PTAP's socket thread: the server orders a
     * restart (PTAP packet 0x03). */
    SP_EVENT_COMPULSION_RESTART = 0x1A,
    /** Hands-free on. Data "sp_on". */
    SP_EVENT_SPEAKER_ON = 0x1B,
    /** Hands-free off. Data "sp_off". */
    SP_EVENT_SPEAKER_OFF = 0x1C,
    /** Hands-free on while off hook. Data "sp_on_offhook". */
    SP_EVENT_SPEAKER_ON_OFF_HOOK = 0x1D,
    /** Program or keypad mode. Data: "pbx_setting", a zero byte, the two
     * modes (::SP_PBX_SETTING_BYTES bytes); length 11. Pass a mode that is not
     * -1 to ToneModuleSetProgramMode() or ToneModuleSetKeyPadMode(). */
    SP_EVENT_PBX_SETTING = 0x1E,
    /** Mute the background music. Data "bgm_mute". */
    SP_EVENT_BGM_MUTE = 0x1F,
    /** A tone command: "tone", then code, value and flags; length
     * ::SP_TONE_COMMAND_BYTES (16). Answer with
     * ToneModulePlayServiceTone(code), or with ::SP_SERVICE_TONE_STOP when
     * the code is 0. */
    SP_EVENT_TONE_COMMAND = 0x20,
    /** Soft-key labels: "slc", then the labels; length ::SP_KEY_LABELS_BYTES
     * (975). */
    SP_EVENT_KEY_LABELS = 0x21,
    /** A value of the server's card record (registration mode 1), on PTAP's
     * socket thread: a 1024-byte block whose first byte is the value;
     * length 1. */
    SP_EVENT_CARD_VALUE = 0x22,
    /** Voice runs: recv_voice() gives what arrives, and send_voice() sends
     * with this codec (it sends whatever the mode: send nothing during
     * ::SP_EVENT_MODE_RECV_ONLY). Data: the codec's name,
     * "G.711", "G.722" or "G.729", or empty for a payload type the engine
     * does not know. */
    SP_EVENT_VOICE_STARTED = 0x23,
    /** Voice stopped. No data, length 0. */
    SP_EVENT_VOICE_STOPPED = 0x24,
    /** Headset on. Data "hset_on". */
    SP_EVENT_HEADSET_ON = 0x25,
    /** Headset off. Data "hset_off". */
    SP_EVENT_HEADSET_OFF = 0x26,
} SpClientEvent;

/**
 * Takes a client event (::SpClientEvent).
 * @param code   the event's code
 * @param length bytes of `data` up to its first zero byte, or the fixed
 *               length of the event (16 for ::SP_EVENT_TONE_COMMAND, 975 for
 *               ::SP_EVENT_KEY_LABELS, 1 for ::SP_EVENT_CARD_VALUE); 0 when
 *               there is no data
 * @param data   the event's block, lent for the call; null when there is none
 */
typedef void (*OnClientEventFn)(int code, int length, const char* data);

/**
 * Takes a lamp order of the server, on the MGCP socket thread.
 * @param first  the key whose lamp it is, in the numbering of put_key()
 *               (0x0C00 is soft key 0); any 16-bit value the server sends
 * @param second the lamp state, ::SpLampState (0 to 14)
 */
typedef void (*OnKeyStateFn)(uint32_t first, uint32_t second);

/**
 * Takes a display order of the server, on the MGCP socket thread.
 *
 * `text` is a zero-terminated record, lent for the call. Byte values inside
 * records are stored plus 1 so that no zero byte cuts them. Its forms, by
 * their first bytes:
 * - a byte below 0x20: a text record. Byte ::SP_DISPLAY_COLUMN is the column
 *   plus 1, byte ::SP_DISPLAY_ROW the row plus 1, then six bytes that the
 *   engine sets to blanks, then the text from ::SP_DISPLAY_TEXT to the zero
 *   byte (blanks expanded; a byte 0xFF shows as a blank). Draw the text from
 *   that place to the end of the row.
 * - "cls": clear the display. "cll" and a byte: clear the row (byte - 1).
 * - "navend", "rkey", "lcdb0": no further bytes. "key", 1, a byte: the byte
 *   is not biased.
 * - "lcdb1", "clp": three bytes at indexes 5, 6, 7, each plus 1.
 *   "lcdb2", "lcdb3": one byte at index 5, plus 1.
 * - a header of the same eight bytes with no text: type "32" (byte 2 is 1,
 *   bytes 3, 4 as sent, bytes 5, 6 plus 1) and type "33" (byte 7 is one of
 *   '~', '>', '*', '#', or a blank).
 * - "dtmx", "dtmp", "dtmr": no further bytes. "dtms": bytes 4 to 8 five
 *   fields plus 1; byte 9 a mask; bytes 10 to 13 four fields; byte 14 a
 *   mask; bytes 15 to 18 four fields; from byte 19 the bytes the server
 *   counted, as sent (the count is not stored). A mask is 0xF0 with bit
 *   3, 2, 1 or 0 set when the first, second, third or fourth field of its
 *   group was 0, which is then stored as 1.
 * - "key", a count byte and that many bytes as sent.
 *
 * @param zero1 always 0
 * @param zero2 always 0
 * @param text  the record
 * @param zero3 always 0
 */
typedef void (*OnDisplayTextFn)(int zero1, int zero2, const char* text, int zero3);

/**
 * Takes the state of the control link: ::SP_EVENT_LINK_LOST,
 * ::SP_EVENT_COMPULSION_RESTART, or a byte the server sent in a PTAP event
 * (as a signed byte widened: 0x80 and above give a negative code). Runs on
 * PTAP's threads with no lock of the library held.
 * @param code  the code
 * @param zero1 always 0
 * @param zero2 always 0
 */
typedef void (*OnLinkEventFn)(int code, int zero1, int zero2);

/** The four callbacks; each may be null, and is then skipped. */
typedef struct ClientCallbacks {
    OnClientEventFn onClientEvent; /**< client events ::SpClientEvent */
    OnKeyStateFn onKeyState;       /**< lamp orders */
    OnDisplayTextFn onDisplayText; /**< display orders */
    OnLinkEventFn onLinkEvent;     /**< the control link's state */
} ClientCallbacks;

/** @} */

/** @name Records
 * @{ */

/**
 * The client's network data, handed to initialize(), which copies it: the
 * client's block is not read after initialize() returns. Bytes named
 * mReservedN are the client's own: carried, never read. Addresses are 32-bit
 * numbers whose most significant byte is the first dotted part (127.0.0.1 is
 * 0x7F000001).
 */
typedef struct ParameterContainer {
    uint8_t mStartCode;          /**< 0x00: sent to the server as tag 0x20 of PTAP START */
    uint8_t mReserved1[0x33];    /**< 0x01: the client's own */
    uint8_t mConnectionInfo[12]; /**< 0x34: the user's connection data, sent as tag 5 of START */
    uint8_t mReserved2[0x14];    /**< 0x40: the client's own */
    uint32_t mLocalAddress;      /**< 0x54: this machine's IPv4 address, sent in START and MGCP */
    uint8_t mHardwareAddress[6]; /**< 0x58: MAC address; names the MGCP endpoint "d1@<12 hex digits>" */
    uint8_t mReserved3[2];       /**< 0x5E: the client's own */
    uint32_t mServerAddress;     /**< 0x60: the call server's IPv4 address (PTAP, MGCP, first RTP peer) */
    uint8_t mReserved4[8];       /**< 0x64: the client's own */
    uint8_t mRegistrationMode;   /**< 0x6C: ::SpRegistrationMode; 1 selects mode 1, any other value mode 0 */
    uint8_t mReserved5[7];       /**< 0x6D: the client's own */
    ClientCallbacks mCallbacks;  /**< 0x74 (32-bit) or 0x78 (64-bit): the four callbacks */
} ParameterContainer;

/**
 * What the server told the terminal in its answers to START, copied out by
 * initialize(). Integers are the values of the server's items, by tag; the
 * engine reads only the keepalive time-out, the others are the client's to
 * interpret. A later change on the server does not reach this copy.
 */
typedef struct PtapParameters {
    int32_t mTag20;            /**< 0x00: tag 0x20, the server's result */
    int32_t mKeepaliveTimeout; /**< 0x04: tag 0x1A, seconds of server silence before ::SP_EVENT_LINK_LOST */
    int32_t mTags1B1E[4];      /**< 0x08: tags 0x1B, 0x1C, 0x1D, 0x1E */
    int32_t mTags1819[2];      /**< 0x18: tags 0x18, 0x19 */
    int32_t mTags2426[3];      /**< 0x20: tags 0x24, 0x25, 0x26 */
    int32_t mTag0F;            /**< 0x2C: tag 0x0F, a 16-bit value */
    int32_t mTag21[32];        /**< 0x30: tag 0x21, one entry for each value byte */
} PtapParameters;

/**
 * One dialling rule of the number formatter: a number that begins with
 * mLeading has that beginning replaced by mAdded. Texts end at their zero;
 * the length fields are what check_leading() and check_added() stored.
 */
typedef struct DialRule {
    sp_wchar_t mLeading[17]; /**< 0x00: "+" and digits, or digits; up to 17 units with the zero */
    int32_t mLeadingLength;  /**< 0x24: units in mLeading */
    sp_wchar_t mAdded[9];    /**< 0x28: digits put in place of mLeading; up to 9 units */
    int32_t mAddedLength;    /**< 0x3C: units in mAdded; 0 for a text of one unit */
    uint8_t mEnabled;        /**< 0x40: the rule is in use when not 0 */
} DialRule;

/**
 * The number formatter's variables, read and written by get_module_variable()
 * and set_module_variable(); each field group has its bit in
 * ::SpModuleVariable.
 */
typedef struct ModuleVariables {
    DialRule* mRules;             /**< 0x00: the rule table (caller-owned), or null to read the count only */
    int32_t mRuleCount;           /**< 0x04 (0x08 on 64-bit): entries in mRules */
    int32_t mShortLength;         /**< 0x08 (0x0C): numbers of at most this many characters are dialled as they are */
    uint8_t mStoredFlag;          /**< 0x0C (0x10): stored and read back; no other effect */
    uint8_t mReserved;            /**< 0x0D (0x11): padding */
    sp_wchar_t mPrefix[8];        /**< 0x0E (0x12): put in front of every long number (an outside line) */
    int32_t mPrefixLength;        /**< 0x20 (0x24): 0 to 8 units; 0 for no prefix */
    sp_wchar_t mDefaultDigits[9]; /**< 0x24 (0x28): put in front of a long number no rule matched; digits */
    int32_t mDefaultDigitsLength; /**< 0x38 (0x3C): 0 to 9 units; 0 for none */
    uint8_t mRemoveZero;          /**< 0x3C (0x40): not 0: remove "(0)" from long numbers */
} ModuleVariables;

/**
 * Takes one captured voice frame, on the sound engine's capture thread, after
 * the microphone gain. Copy or consume the frame before returning.
 * @param pcm   ::SP_VOICE_FRAME_BYTES bytes of 16-bit mono PCM at 8000 Hz
 * @param bytes bytes in the frame: ::SP_VOICE_FRAME_BYTES
 */
typedef void (*AudioRecordCallback)(const void* pcm, int bytes);

/** @} */

/** @name Lifecycle
 * @{ */

/**
 * Registers the terminal with the call server and starts the engine.
 *
 * Sends PTAP START to the server and waits up to 19 s for its answer, then
 * sends MGCP RSIP and waits up to 19 s more for its acknowledgment, then
 * opens the voice path on UDP port 8000. Blocks its caller for all of it:
 * about 1.1 s against an answering server on loopback, 19.5 to 20 s when the
 * server is silent, and 19 s after PTAP's answer when MGCP does not answer
 * (about 20 s; 39 s at the most).
 * Callbacks may fire from the library's threads before it returns.
 *
 * A second call while registered changes nothing and returns ::SP_INIT_OK
 * without writing `out`; one made while another thread is inside
 * initialize() waits for it first. Never call from a callback. An
 * uninitialize() from another thread ends the wait for the server within
 * 100 ms, and initialize() then returns ::SP_INIT_FAILED.
 *
 * @param params the network data and callbacks; copied, the caller keeps it
 * @param out    receives the server's parameters (176 bytes, caller-owned);
 *               checked only after registration
 * @return ::SP_INIT_OK registered;
 *         ::SP_INIT_ERROR for a null `params` (the engine then stays in
 *         place unstarted, and a later initialize() returns ::SP_INIT_OK at
 *         once: call uninitialize() first), for a null `out` (the terminal
 *         is registered all the same), or an object that could not be made;
 *         ::SP_INIT_FAILED no answer to START or RSIP in time, a busy answer,
 *         the PTAP or MGCP port already taken, or an uninitialize() from
 *         another thread;
 *         ::SP_INIT_REFUSED, ::SP_INIT_WRONG_CONNECTION_INFO,
 *         ::SP_INIT_INCORRECT_CARD the server's refusals.
 *         On any result but ::SP_INIT_OK the trace file names the step.
 */
SP_EXPORT int initialize(const ParameterContainer* params, PtapParameters* out);

/**
 * Stops the engine: the tone player, then the signalling and voice threads,
 * which are joined, then closes the trace file (when an engine was running).
 * Sends nothing to the server. Blocks until the threads have ended, normally
 * well under a second. Safe to call when not initialized. Never call from a
 * callback. Called from another thread while initialize() waits for the
 * server, it ends that wait, waits for initialize() to return (within
 * 100 ms), then stops what is left. The sound engine
 * is not touched: AudioModuleShutdown() stops it.
 * @return 0 always
 */
SP_EXPORT int uninitialize(void);

/** @} */

/** @name Call control
 * @{ */

/**
 * Presses a key: queues it for the server, which gets it as an MGCP NTFY
 * within 50 ms per key queued ahead of it. Does not block; may be called
 * from any thread, callbacks included.
 * @param keyNumber a key of ::SpKey (92 keys in all: the listed ones and the
 *                  numbers of the ranges they bound, but not 0x0B02)
 * @return 0 queued, and also when not initialized (nothing done);
 *         -1 unknown key number, or the queue of 100 keys is full
 */
SP_EXPORT int put_key(uint32_t keyNumber);

/**
 * Dials a string: presses its keys one by one with put_key(), in order, one
 * every 50 ms on the wire (40 digits take about 2 s). Checks the whole string
 * before the first key goes. Does not place a call by itself: press
 * ::SP_KEY_OFF_HOOK or a line key first. Does not block.
 * @param digits zero-terminated, 1 to ::SP_MAKE_CALL_MAX_DIGITS characters
 *               of '0'-'9', '*', '#', 'P' and 'W' (both a pause,
 *               ::SP_KEY_PAUSE)
 * @return 0 queued, and also when not initialized (nothing done); -1 for a
 *         null, empty or too long string, or another character (traced
 *         with its index)
 */
SP_EXPORT int make_call(const char* digits);

/**
 * Sends an error code to the server as PTAP packet 0x14. Queued like a key;
 * does not block.
 * @param code    the error; only its low byte is sent
 * @param unused1 ignored
 * @param unused2 ignored
 * @return 0 queued, also when not initialized (nothing done); -1 queue full
 */
SP_EXPORT int send_error(uint32_t code, uint32_t unused1, uint32_t unused2);

/** @} */

/** @name Voice
 * The library has no playout clock: the client is it. Every 20 ms it hands a
 * captured frame to send_voice() and calls recv_voice(), passing what that
 * gives to AudioModulePlayVoice().
 * @{ */

/**
 * Does nothing: the voice path needs no opening.
 * @return 0 always
 */
SP_EXPORT int open_voice(void);

/**
 * Does nothing: the voice path needs no closing.
 * @return 0 always
 */
SP_EXPORT int close_voice(void);

/**
 * Sends voice: each whole frame of ::SP_VOICE_FRAME_BYTES in `pcm` is coded
 * (G.711 or G.729, as the server chose) and sent as one RTP packet; a rest
 * of less than a frame is dropped. Every frame is sent while initialized,
 * whatever the connection's mode, to the last address and port the server
 * gave (at first the server's port 8000): the client sends only between
 * ::SP_EVENT_MODE_SEND_RECV and ::SP_EVENT_MODE_INACTIVE or
 * ::SP_EVENT_VOICE_STOPPED. Call from one thread at a time (the capture
 * callback, or the client's pacing thread); does not block.
 * @param bytes bytes in `pcm`, normally 320
 * @param pcm   16-bit mono PCM at 8000 Hz, caller-owned, not changed
 * @return a byte count, not a status: `bytes` (also when not initialized,
 *         nothing sent), or 0 when `bytes` is below 320
 */
SP_EXPORT int send_voice(uint32_t bytes, const void* pcm);

/**
 * Takes the voice due for this 20 ms tick from the jitter buffer, with lost
 * frames concealed. Call once every 20 ms from one thread. Does not block.
 * @param size   in: the room at `pcm`, which must be at least
 *               ::SP_RECV_VOICE_BYTES (3200) whatever this says; not written
 * @param pcm    receives whole frames of 16-bit mono PCM (caller-owned,
 *               ::SP_RECV_VOICE_BYTES bytes)
 * @param status may be null; receives 0
 * @return a byte count, not a status: 0 (nothing due, voice not started, or
 *         not initialized), 320, or a burst of up to 8 frames (2560)
 */
SP_EXPORT int recv_voice(int* size, void* pcm, int* status);

/**
 * Chooses how received A-law is expanded. By default the engine expands
 * A-law with a shift of 3, which gives the signal 6 dB below the standard's
 * expansion; a client that wants the standard G.711 A-law calls
 * set_alaw(0). Sending and mu-law are not affected. Lasts until
 * uninitialize(); call after each successful initialize(). Does nothing when
 * not initialized.
 * @param flag 0 the standard expansion; any other value the default, 6 dB
 *             lower
 */
SP_EXPORT void set_alaw(int flag);

/** @} */

/** @name Sound devices
 * The sound engine stands apart from initialize(): the client starts and
 * stops it. Each export does nothing (with the result noted) when the engine
 * is not started. Any client thread may call them, the tone player included;
 * AudioModuleShutdown() waits for the exports still running inside the
 * engine before it frees it.
 * @{ */

/**
 * Starts the sound engine: reads the three device choices from the settings
 * file, opens the voice output and the microphone and starts the capture
 * thread. Devices are ALSA's, then three virtual devices that need no sound
 * card. A device that fails to open, or gives no answer within 0.45 s, is
 * replaced by the default (ALSA's default by a virtual one), with a trace
 * line naming both; so the call returns within about two seconds whatever
 * the devices do, and starts on a machine with no sound card. Call from one
 * client thread.
 * @return 0 started, or already started; -1 the engine could not start (no
 *         input device opened), traced
 */
SP_EXPORT int AudioModuleStart(void);

/**
 * Stops the sound engine: stops capture and every playback, joins the
 * engine's threads and closes the devices. Call after uninitialize(), never
 * from a callback.
 * @return 0 always
 */
SP_EXPORT int AudioModuleShutdown(void);

/**
 * Plays voice frames on the voice output at the speaker gain. The gain works
 * on the engine's own copy: the caller's buffer is not changed. Up to five
 * writes queue at once; a sixth blocks until the device hands back a buffer
 * (20 ms a frame), at most 2 s for a hung device, after which the frames are
 * dropped. Call from one thread.
 * @param pcm    16-bit mono PCM at 8000 Hz, caller-owned
 * @param length bytes, up to ::SP_RECV_VOICE_BYTES; more is cut, with a trace
 * @return 0 always
 */
SP_EXPORT int AudioModulePlayVoice(const void* pcm, int length);

/**
 * Starts or stops handing captured frames to the capture callback.
 * @param on not 0 (low byte) to capture, 0 to stop
 * @return 0 always
 */
SP_EXPORT int AudioModuleRecordStart(int on);

/**
 * Sets the capture callback, which then gets every captured frame on the
 * engine's capture thread while capture is on.
 * @param callback the callback, or null for none
 * @return 0 always
 */
SP_EXPORT int AudioModuleRegisterCallback(AudioRecordCallback callback);

/**
 * Lists the input devices.
 * @param list receives one malloc() block: the entry pointers, then the
 *             names (UTF-16, zero-terminated, at most 31 units). Entry 0 is
 *             "System Default". The caller frees the block with free().
 *             May be null to get the count only.
 * @return the entry count; -1 when the engine is not started
 */
SP_EXPORT int AudioModuleGetInDevice(sp_wchar_t*** list);

/**
 * Lists the output devices, as AudioModuleGetInDevice() does.
 * @param list as for AudioModuleGetInDevice()
 * @return the entry count; -1 when the engine is not started
 */
SP_EXPORT int AudioModuleGetOutDevice(sp_wchar_t*** list);

/**
 * Chooses devices by their index in the lists (0 "System Default"), and
 * reopens what changes. A name stored in the settings file outranks the
 * number: write the device's name there first. Blocks while devices reopen.
 * @param output voice and tone output; negative keeps it
 * @param file   file output (ring); negative keeps it
 * @param input  microphone; negative keeps it
 * @return 0 always
 */
SP_EXPORT int AudioModuleSetDevice(int output, int file, int input);

/**
 * Plays a sound file on the file channel (the ring device) at the ring
 * gain, stopping what that channel played. Loads the file on the first play,
 * or when its name or the ring level changed. Blocks while it loads and
 * opens the device. A name that is no file is looked up in the engine's
 * in-memory sound table, which no export fills.
 * @param path   UTF-16 path of a 16-bit PCM RIFF WAVE file, relative to the
 *               working directory or absolute
 * @param repeat ::SP_PLAY_ONCE, n above 0 for n + 1 plays, or
 *               ::SP_PLAY_UNTIL_STOPPED (any negative value)
 * @return 0 always, also when the file can't be played
 */
SP_EXPORT int AudioModulePlayFile(const sp_wchar_t* path, int repeat);

/**
 * Stops the file channel.
 * @return 0 always
 */
SP_EXPORT int AudioModuleStopPlayFile(void);

/**
 * Sets the speaker gain: voice playout and the tone channel. The samples are
 * multiplied by (level + 1) x step + 1; level 0 is 1.0, and a level above 12
 * gives 1.25. Reaches the next frame or the next play.
 * @param level 0 to 12; a negative level keeps the present one
 * @param step  above 0 is stored; 0 restores the default 0.6; negative keeps
 *              the present one
 */
SP_EXPORT void AudioModuleSetSpeakerVolume(int level, float step);

/**
 * Sets the ring gain: the file channel. As AudioModuleSetSpeakerVolume().
 * @param level 0 to 12; negative keeps the present one
 * @param step  above 0 stored; 0 restores the default 0.6; negative keeps it
 */
SP_EXPORT void AudioModuleSetRingVolume(int level, float step);

/**
 * Sets the microphone gain, applied to each captured frame. As
 * AudioModuleSetSpeakerVolume(), with a default step of 0.25.
 * @param level 0 to 12; negative keeps the present one
 * @param step  above 0 stored; 0 restores the default 0.25; negative keeps it
 */
SP_EXPORT void AudioModuleSetMicVolume(int level, float step);

/**
 * Tells whether a file or a tone plays.
 * @return ::SP_AUDIO_PLAYING, ::SP_AUDIO_IDLE, or ::SP_AUDIO_NOT_STARTED
 */
SP_EXPORT int AudioModuleGetEngineStatus(void);

/**
 * Gives the devices in use, as list indexes (0 "System Default").
 * @param output receives the voice and tone output; may be null
 * @param file   receives the file output; may be null
 * @param input  receives the microphone; may be null
 */
SP_EXPORT void AudioModuleGetDeviceID(int* output, int* file, int* input);

/**
 * Stores a window handle; nothing in the engine reads it.
 * @param window any value
 */
SP_EXPORT void AudioModuleSetWindowHandle(void* window);

/**
 * Plays a sound file on the tone channel (the output device) at the speaker
 * gain, as AudioModulePlayFile() does on the file channel.
 * @param path   as for AudioModulePlayFile()
 * @param repeat as for AudioModulePlayFile()
 * @return 0 always, also when the file can't be played
 */
SP_EXPORT int AudioModulePlayTone(const sp_wchar_t* path, int repeat);

/**
 * Stops the tone channel.
 * @return 0 always
 */
SP_EXPORT int AudioModuleStopPlayTone(void);

/** @} */

/** @name Tones
 * The tone player turns tone ids, key tones and service tones into files
 * under `media/` (relative to the working directory) and plays them through
 * AudioModulePlayFile() and AudioModulePlayTone(). It exists from
 * initialize() to uninitialize(): before and after, every export here gives
 * -1. It takes no lock: make every call from one thread at a time. None
 * blocks beyond the sound engine's play.
 * @{ */

/**
 * Plays the key tone of a key on the tone channel, once.
 * @param key    a key tone index, ::SpKeyTone, 0 to 30
 * @param silent not 0 (low byte): play nothing
 * @return 0 played; 1 this key is silent in the present modes (see
 *         ::SpToneMode); -1 not initialized
 */
SP_EXPORT int ToneModulePlayDTMF(int key, int silent);

/**
 * Gives the keypad mode.
 * @return the mode last set (0 at start); -1 not initialized
 */
SP_EXPORT int ToneModuleGetKeyPadMode(void);

/**
 * Gives the program mode.
 * @return the mode last set (0 at start); -1 not initialized
 */
SP_EXPORT int ToneModuleGetProgramMode(void);

/**
 * Sets the keypad mode, as ::SP_EVENT_PBX_SETTING gives it.
 * @param mode ::SP_KEYPAD_MODE_DTMF, ::SP_KEYPAD_MODE_QUIET, or another
 *             value (as quiet)
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleSetKeyPadMode(int mode);

/**
 * Sets the program mode, as ::SP_EVENT_PBX_SETTING gives it.
 * @param mode ::SP_PROGRAM_MODE_ON (1), or any other value for off
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleSetProgramMode(int mode);

/**
 * Plays a ring or call progress tone, or stops the ring. Ring tones (ids 1
 * to 4, 9 to 11, 17) go to the file channel at a ring level taken from
 * `iVolume` (1 gives level 0, 2 level 1, 3 level 3, 4 level 5, anything
 * else level 0); the others to the tone channel. Ids 1, 2, 3 and 17 may be
 * replaced by a custom tone of the melody's slot (ToneModuleSaveCustomTone()).
 * The player remembers the last id, volume and melody; ::SP_TONE_KEEP in an
 * argument takes the remembered one, so (::SP_TONE_KEEP, volume,
 * ::SP_TONE_KEEP) changes the volume of the ringing tone. After a tone that
 * takes no volume (ids 5 to 8, 12 to 16) a call with a volume other than
 * ::SP_TONE_KEEP does nothing at all.
 * @param iToneID ::SpToneId, 1 to 17 plays; 0 (or any other value outside
 *                1 to 17) stops the file channel; ::SP_TONE_KEEP
 * @param iVolume 1 to 4, or ::SP_TONE_KEEP
 * @param iMelody a melody number (0 to 7, 0x40 to 0x4A, 0x60 to 0x62, 0x64
 *                to 0x67, 0x80 to 0x83; its place in this list is its slot,
 *                0 to 29), or ::SP_TONE_KEEP; another number plays the
 *                tone's own file
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModulePlayTone(int iToneID, int iVolume, int iMelody);

/**
 * Saves a custom ring tone for a melody slot: ring ids 1, 2, 3 and 17 played
 * with a melody of that slot play this file instead. In slot 6 the built-in
 * tones of ids 1 to 3 come first, so a saved tone there serves id 17 only.
 * Kept in memory until uninitialize(); the file is not checked.
 * @param slot 0 to 29 (::SP_MELODY_SLOTS); another slot stores nothing
 * @param path UTF-16 path, up to 255 units; copied
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleSaveCustomTone(int slot, const sp_wchar_t* path);

/**
 * Removes the custom tone of a slot; the slot's ring tones play their own
 * files again (in slot 6, the built-in replacements stop too).
 * @param slot 0 to 29
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleRemoveCustomTone(int slot);

/**
 * Gives the path of a slot's custom tone.
 * @param slot 0 to 29
 * @param path points to the caller's buffer of ::SP_TONE_PATH_CHARS units,
 *             which receives the zero-terminated path; left as it is when
 *             the slot has none
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleGetCustomTone(int slot, sp_wchar_t** path);

/**
 * Chooses the area whose service tones play.
 * @param area ::SpArea; an unknown area is area 1
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModuleSetServiceTonePath(int area);

/**
 * Plays a service tone of the present area on the tone channel, or stops
 * it. Codes 0x80 to 0x86 play once, the others until stopped. The tone
 * 0x80 is not cut off by the first of 0x90 to 0x93, 0x96 or 0x97 after it:
 * that one is passed over. An unknown code stops the tone channel.
 * @param code ::SpServiceTone, or ::SP_SERVICE_TONE_STOP
 * @return 0; -1 not initialized
 */
SP_EXPORT int ToneModulePlayServiceTone(int code);

/** @} */

/** @name Trace file
 * One text file, lines "day/month/year  hour:minute  seconds  message",
 * ended CR LF, each written through at once. The four exports work with or
 * without initialize() and may be called from any thread.
 * @{ */

/**
 * Opens the trace file anew (emptied) and sets the filter to every level.
 * A second call while the file is open turns writing off until
 * uninitialize(). uninitialize() closes the file; a new initialize() traces
 * nothing until tracer_startup() is called again.
 * @param fileName path of the file, or null for "trace.log" in the working
 *                 directory
 * @return 0 always, also when the file can't be made (tracing stays off)
 */
SP_EXPORT int tracer_startup(const char* fileName);

/**
 * Lets more levels through.
 * @param mask ::SpTraceLevel bits to add; 0 clears the whole filter
 * @return 0 always
 */
SP_EXPORT int tracer_add_filter(uint32_t mask);

/**
 * Stops levels.
 * @param mask ::SpTraceLevel bits to remove
 * @return 0 always
 */
SP_EXPORT int tracer_remove_filter(uint32_t mask);

/**
 * Sets the filter.
 * @param mask ::SpTraceLevel bits that pass
 * @return 0 always
 */
SP_EXPORT int tracer_set_filter(uint32_t mask);

/** @} */

/** @name Number formatter
 * Turns a number as a user sees it ("+44 (0)20 7946-0000") into the digits
 * to dial: dialling rules replace its beginning, default digits stand in
 * when no rule matches, and a prefix goes in front. It stands apart from
 * initialize(): the first set_module_variable() creates it and it lives
 * until the library is unloaded. No lock: call from one thread at a time.
 * Nothing blocks.
 * @{ */

/**
 * Writes variables of the formatter; creates it at the first call. Writing
 * the rules drops staged changes.
 * @param record the values (caller-owned; the rule table is copied)
 * @param mask   ::SpModuleVariable bits, or ::SP_MODULE_ALL
 * @return ::SP_FORMAT_OK; ::SP_FORMAT_ERROR null `record` or no formatter;
 *         ::SP_FORMAT_DEFAULT_DIGITS_REFUSED default digits that are not 0 to
 *         9 digits (the other variables are written)
 */
SP_EXPORT int set_module_variable(const ModuleVariables* record, int mask);

/**
 * Reads variables of the formatter. For the rules, call once with a null
 * `mRules` to get the count, then with a table of that many entries.
 * @param record receives the values (caller-owned)
 * @param mask   ::SpModuleVariable bits, or ::SP_MODULE_ALL
 * @return ::SP_FORMAT_OK; ::SP_FORMAT_ERROR before the first
 *         set_module_variable() or for a null `record`
 */
SP_EXPORT int get_module_variable(ModuleVariables* record, int mask);

/**
 * Checks a leading text for a rule and stages it in the working copy of the
 * rules (see discard_changes()). A length of 0 empties the rule and takes it
 * out of use.
 * @param text   zero-terminated UTF-16 text: "+" and digits, or digits
 * @param length units of `text`, 0 to 17
 * @param rule   index in the rule table
 * @return ::SP_FORMAT_OK staged; ::SP_FORMAT_LEADING_NOT_MATCHED not such a
 *         text; ::SP_FORMAT_ERROR null text, length or rule out of range, or
 *         no formatter
 */
SP_EXPORT int check_leading(const sp_wchar_t* text, int length, int rule);

/**
 * Checks added digits for a rule and stages them, or checks default digits.
 * @param text   zero-terminated UTF-16 digits, possibly none
 * @param length units of `text`, 0 to 9
 * @param rule   index in the rule table, or ::SP_FORMAT_NO_RULE to check
 *               default digits (nothing staged)
 * @return ::SP_FORMAT_OK; ::SP_FORMAT_ADDED_NOT_MATCHED not digits;
 *         ::SP_FORMAT_RULE_NOT_IN_USE the rule has no leading text;
 *         ::SP_FORMAT_ERROR bad argument or no formatter
 */
SP_EXPORT int check_added(const sp_wchar_t* text, int length, int rule);

/**
 * Formats a number. A number longer than mShortLength is long: "(0)" removed
 * (when mRemoveZero), characters other than digits, '+', '*', '#', 'P', 'W'
 * dropped, 'W' made 'P', the first enabled rule whose leading text begins it
 * applied (or the default digits put in front), the prefix put in front,
 * '+' removed and leading 'P's stripped. A short number only loses '+',
 * other characters and leading 'P's.
 * @param text   zero-terminated UTF-16 number
 * @param length the number's length as the client counts it; chooses short
 *               or long only
 * @param out    receives the formatted text, owned by the library and valid
 *               until the next call; do not free it
 * @return units of the result plus 1 (for its zero); ::SP_FORMAT_ERROR null
 *         text, negative length, or no formatter
 */
SP_EXPORT int get_formatted_number(const sp_wchar_t* text, int length, sp_wchar_t** out);

/**
 * Throws the staged changes away: the working copy of the rules becomes the
 * written table again. To commit staged rules, write the whole table with
 * set_module_variable().
 */
SP_EXPORT void discard_changes(void);

/** @} */

#ifdef __cplusplus
} /* extern "C" */
#endif

/**
 * @example guide_client.c
 * The worked example of the client developer's guide: a whole client in C
 * that registers with a back-off, places a call, answers one, and registers
 * again after the server was lost. Every ring and tone event is answered with
 * a ToneModule call on the client's own thread.
 */

/* ---- Layout checks ---- */
/** @cond LAYOUT_CHECKS */
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

/** @endcond */

#endif /* SOFTPHONE_H */
