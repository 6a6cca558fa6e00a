/*
 * guide_client.c - the worked example of the client developer's guide.
 *
 * A whole client in one file, written against softphone.h alone: it
 * registers with a call server, places a call (dial tone, ringback, two-way
 * voice), answers an incoming call, and registers again on its own after the
 * server was lost. The library plays no sound by itself: every ring and tone
 * event is answered here with a ToneModule call.
 *
 *   cc guide_client.c $(pkg-config --cflags --libs softphone) -lpthread -lm
 *   ./a.out [server-address]           (run where the media/ folder is)
 *
 * It prints one line for each step; the build runs it against pbxsim.
 */
#define _POSIX_C_SOURCE 200809L
#include <arpa/inet.h>
#include <math.h>
#include <pthread.h>
#include <stdarg.h>
#include <stdatomic.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

#include <softphone.h>

/* ---- Events: the callbacks copy, one client thread acts ----------------
 * Callbacks run on the library's threads with its locks held: they copy the
 * lent data into this queue and return. The main thread takes the events
 * and makes every ToneModule call, so the tone player has one caller. */

enum { QUEUE_SIZE = 64 };

typedef struct Event {
    enum { CLIENT, KEY_STATE, DISPLAY, LINK } kind;
    int code;
    uint32_t key, lamp;
    char data[SP_KEY_LABELS_BYTES + 1];
} Event;

static struct {
    pthread_mutex_t lock;
    pthread_cond_t ready;
    Event items[QUEUE_SIZE];
    int head, count;
} queue = {.lock = PTHREAD_MUTEX_INITIALIZER, .ready = PTHREAD_COND_INITIALIZER};

static void push(const Event* e) {
    pthread_mutex_lock(&queue.lock);
    if (queue.count < QUEUE_SIZE) {
        queue.items[(queue.head + queue.count++) % QUEUE_SIZE] = *e;
        pthread_cond_signal(&queue.ready);
    }
    pthread_mutex_unlock(&queue.lock);
}

/* Takes the next event, waiting up to `ms`; 0 when none came. */
static int pop(Event* e, int ms) {
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_sec += ms / 1000;
    until.tv_nsec += (long)(ms % 1000) * 1000000L;
    if (until.tv_nsec >= 1000000000L) until.tv_sec++, until.tv_nsec -= 1000000000L;
    pthread_mutex_lock(&queue.lock);
    while (queue.count == 0)
        if (pthread_cond_timedwait(&queue.ready, &queue.lock, &until) != 0) break;
    int got = queue.count > 0;
    if (got) {
        *e = queue.items[queue.head];
        queue.head = (queue.head + 1) % QUEUE_SIZE;
        queue.count--;
    }
    pthread_mutex_unlock(&queue.lock);
    return got;
}

/* Blocks that carry a record reach past the length the library gives. */
static size_t block_bytes(int code, int length) {
    switch (code) {
        case SP_EVENT_RING:
        case SP_EVENT_TONE: return SP_TONE_DATA_BYTES;
        case SP_EVENT_PBX_SETTING: return SP_PBX_SETTING_BYTES;
        case SP_EVENT_TONE_COMMAND: return SP_TONE_COMMAND_BYTES;
        case SP_EVENT_KEY_LABELS: return SP_KEY_LABELS_BYTES;
        default: return length > 0 ? (size_t)length : 0;
    }
}

static void on_client_event(int code, int length, const char* data) {
    Event e = {.kind = CLIENT, .code = code};
    if (data != NULL) memcpy(e.data, data, block_bytes(code, length));
    push(&e);
}

static void on_key_state(uint32_t key, uint32_t lamp) {
    Event e = {.kind = KEY_STATE, .key = key, .lamp = lamp};
    push(&e);
}

static void on_display_text(int zero1, int zero2, const char* text, int zero3) {
    (void)zero1, (void)zero2, (void)zero3;
    Event e = {.kind = DISPLAY};
    strncpy(e.data, text, sizeof e.data - 1);
    push(&e);
}

static void on_link_event(int code, int zero1, int zero2) {
    (void)zero1, (void)zero2;
    Event e = {.kind = LINK, .code = code};
    push(&e);
}

/* ---- What the phone knows -------------------------------------------- */

static struct {
    int tone;          /* the service tone playing, 0 for none */
    int tones_heard;   /* tone commands that made the sound engine play */
    int ringing;       /* ring pattern playing, 0 for none */
    int rings;         /* incoming calls rung */
    int voice;         /* between voice started and stopped */
    int link_lost;
    atomic_int sending; /* the connection sends: send_voice allowed */
} phone;

static void say(const char* format, ...) {
    va_list args;
    va_start(args, format);
    printf("guide: ");
    vprintf(format, args);
    printf("\n");
    fflush(stdout);
    va_end(args);
}

static int32_t int_at(const char* block, int offset) {
    int32_t value;
    memcpy(&value, block + offset, sizeof value);
    return value;
}

/* The library plays nothing by itself: each tone and ring event is answered
 * here. The engine's status tells that the tone player reached the sound
 * engine. */
static void handle(const Event* e) {
    if (e->kind == KEY_STATE) {
        say("lamp 0x%04X: state %u", (unsigned)e->key, (unsigned)e->lamp);
        return;
    }
    if (e->kind == DISPLAY) {
        if ((unsigned char)e->data[0] < 0x20 && e->data[0] != 0)
            say("display row %d: \"%s\"", e->data[SP_DISPLAY_ROW] - 1, e->data + SP_DISPLAY_TEXT);
        return;
    }
    if (e->kind == LINK) {
        /* The server is gone, or orders a restart: register again. */
        if (e->code == SP_EVENT_LINK_LOST || e->code == SP_EVENT_COMPULSION_RESTART) phone.link_lost = 1;
        say("link event 0x%X", (unsigned)e->code);
        return;
    }
    const char* block = e->data;
    switch (e->code) {
        case SP_EVENT_TONE_COMMAND: {
            int code = int_at(block, SP_TONE_COMMAND_CODE);
            ToneModulePlayServiceTone(code != 0 ? code : SP_SERVICE_TONE_STOP);
            phone.tone = code;
            if (code != 0 && AudioModuleGetEngineStatus() == SP_AUDIO_PLAYING) phone.tones_heard++;
            say("tone 0x%02X%s", (unsigned)code, code == 0 ? " off" : "");
            break;
        }
        case SP_EVENT_RING:
        case SP_EVENT_TONE:
            if (int_at(block, SP_TONE_DATA_KIND) == SP_TONE_KIND_RING) {
                int pattern = int_at(block, SP_TONE_DATA_RING_PATTERN);
                int melody = int_at(block, SP_TONE_DATA_RING_MELODY);
                ToneModulePlayTone(pattern, SP_TONE_KEEP, melody < 0 ? SP_TONE_KEEP : melody);
                phone.ringing = AudioModuleGetEngineStatus() == SP_AUDIO_PLAYING ? pattern : 0;
                if (e->code == SP_EVENT_RING) phone.rings++;
                say("ring pattern %d, melody %d%s", pattern, melody, phone.ringing ? ", ringing" : ", SILENT");
            } else {
                int ringer = int_at(block, SP_TONE_DATA_VOLUME_RINGER);
                if (ringer >= 0 && phone.ringing) ToneModulePlayTone(SP_TONE_KEEP, ringer, SP_TONE_KEEP);
            }
            break;
        case SP_EVENT_VOICE_OFF:
            ToneModulePlayTone(SP_TONE_STOP, SP_TONE_KEEP, SP_TONE_KEEP);
            phone.ringing = 0;
            say("ring off");
            break;
        case SP_EVENT_PBX_SETTING:
            if (int_at(block, SP_PBX_SETTING_PROGRAM_MODE) >= 0)
                ToneModuleSetProgramMode(int_at(block, SP_PBX_SETTING_PROGRAM_MODE));
            if (int_at(block, SP_PBX_SETTING_KEYPAD_MODE) >= 0)
                ToneModuleSetKeyPadMode(int_at(block, SP_PBX_SETTING_KEYPAD_MODE));
            break;
        case SP_EVENT_MUTE: AudioModuleRecordStart(0); break;
        case SP_EVENT_UNMUTE: AudioModuleRecordStart(1); break;
        case SP_EVENT_SPEAKER_ON:
        case SP_EVENT_SPEAKER_ON_OFF_HOOK: AudioModuleSetSpeakerVolume(4, 0.0f); break;
        case SP_EVENT_SPEAKER_OFF: AudioModuleSetSpeakerVolume(0, 0.0f); break;
        case SP_EVENT_MODE_SEND_RECV: phone.sending = 1; say("media: send and receive"); break;
        case SP_EVENT_MODE_RECV_ONLY: phone.sending = 0; say("media: receive only"); break;
        case SP_EVENT_MODE_INACTIVE: phone.sending = 0; say("media: inactive"); break;
        case SP_EVENT_VOICE_STARTED: phone.voice = 1; say("voice started, %s", block); break;
        case SP_EVENT_VOICE_STOPPED: phone.voice = 0, phone.sending = 0; say("voice stopped"); break;
        case SP_EVENT_CALL_ENDED: say("call ended"); break;
        default: break;
    }
}

/* Handles events until `done` holds, at most `ms`; gives whether it held. */
static int wait_until(int (*done)(void), int ms) {
    Event e;
    for (int waited = 0; !done() && waited < ms; waited += 20)
        while (pop(&e, 20)) handle(&e);
    return done();
}

static int dial_tone(void) { return phone.tone == SP_SERVICE_TONE_DIAL; }
static int ringback(void) { return phone.tone == SP_SERVICE_TONE_RINGBACK && phone.voice; }
static int talking(void) { return phone.sending && phone.voice; }
static int silent(void) { return !phone.voice && phone.tone == 0; }
static int rung(void) { return phone.ringing != 0; }
static int link_lost(void) { return phone.link_lost; }

/* ---- Voice: the client is the clock ------------------------------------
 * Every 20 ms: one frame to send_voice (only while the connection sends),
 * and recv_voice with room for ten frames, whose frames go to the speaker.
 * Both return byte counts. A client with a microphone sends the frames of
 * its capture callback (AudioModuleRegisterCallback) instead of this tone. */
static int talk(int ms, long* sent, long* received) {
    static int16_t playout[SP_RECV_VOICE_BYTES / 2];
    int16_t frame[SP_VOICE_FRAME_SAMPLES];
    struct timespec next;
    clock_gettime(CLOCK_MONOTONIC, &next);
    for (int tick = 0; tick * SP_VOICE_FRAME_MS < ms; ++tick) {
        for (int i = 0; i < SP_VOICE_FRAME_SAMPLES; ++i)
            frame[i] = (int16_t)(8000.0 * sin(2.0 * 3.14159265358979 * 440.0 * (tick * SP_VOICE_FRAME_SAMPLES + i) / 8000.0));
        if (phone.sending) *sent += send_voice(SP_VOICE_FRAME_BYTES, frame);
        int size = sizeof playout;
        int got = recv_voice(&size, playout, NULL);
        if (got > 0) {
            *received += got;
            AudioModulePlayVoice(playout, got);
        }
        Event e;
        while (pop(&e, 0)) handle(&e);
        /* An absolute schedule: a late tick does not shift the later ones. */
        next.tv_nsec += SP_VOICE_FRAME_MS * 1000000L;
        if (next.tv_nsec >= 1000000000L) next.tv_sec++, next.tv_nsec -= 1000000000L;
        clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &next, NULL);
    }
    return *sent > 0 && *received > 0;
}

/* ---- Registration, with a back-off ------------------------------------
 * initialize blocks through the registration: about a second with a server
 * that answers, 19.5 to 20 s with a silent one. After a failure, or after
 * SP_EVENT_LINK_LOST and uninitialize, try again later, waiting longer each
 * time. */
static int register_with_backoff(ParameterContainer* params, int attempts) {
    PtapParameters answer;
    int delay = 1;
    for (int attempt = 1; attempt <= attempts; ++attempt) {
        int result = initialize(params, &answer);
        if (result == SP_INIT_OK) {
            say("registered; keepalive time-out %d s", answer.mKeepaliveTimeout);
            return 1;
        }
        uninitialize();
        if (result == SP_INIT_REFUSED || result == SP_INIT_WRONG_CONNECTION_INFO || result == SP_INIT_INCORRECT_CARD) {
            say("initialize gave 0x%X: the server refuses this terminal", (unsigned)result);
            return 0;
        }
        say("initialize gave %d; next attempt in %d s", result, delay);
        struct timespec pause = {delay, 0};
        nanosleep(&pause, NULL);
        if (delay < 30) delay *= 2;
    }
    return 0;
}

static int fail(const char* what) {
    say("FAILED: %s", what);
    uninitialize();
    AudioModuleShutdown();
    return 1;
}

int main(int argc, char** argv) {
    const char* server = argc > 1 ? argv[1] : "127.0.0.1";
    ParameterContainer params;
    memset(&params, 0, sizeof params);
    params.mStartCode = 1;
    memcpy(params.mConnectionInfo, "GUIDE-CLIENT", 12);
    params.mLocalAddress = ntohl(inet_addr("127.0.0.1"));
    params.mServerAddress = ntohl(inet_addr(server));
    const uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x66};
    memcpy(params.mHardwareAddress, mac, sizeof mac);
    params.mRegistrationMode = SP_REGISTRATION_MODE_0;
    params.mCallbacks.onClientEvent = on_client_event;
    params.mCallbacks.onKeyState = on_key_state;
    params.mCallbacks.onDisplayText = on_display_text;
    params.mCallbacks.onLinkEvent = on_link_event;

    /* The trace file first: it then covers the registration. */
    tracer_startup("guide_client.log");
    /* Sound next: the tone player plays through it. */
    if (AudioModuleStart() != 0) say("no sound engine: tones and voice stay silent");
    if (!register_with_backoff(&params, 5)) return fail("registration");

    /* An outgoing call: off hook, dial tone, digits, ringback, answer. */
    put_key(SP_KEY_OFF_HOOK);
    if (!wait_until(dial_tone, 3000)) return fail("no dial tone");
    make_call("2001#");
    if (!wait_until(ringback, 5000)) return fail("no ringback");
    if (!wait_until(talking, 5000)) return fail("the far end did not answer");
    long sent = 0, received = 0;
    if (!talk(1000, &sent, &received)) return fail("no voice both ways");
    say("talked: send_voice took %ld bytes, recv_voice gave %ld bytes", sent, received);
    put_key(SP_KEY_ON_HOOK);
    if (!wait_until(silent, 3000)) return fail("the call did not end");

    /* An incoming call: ring, answer with off hook, talk, hang up. */
    say("waiting for a call");
    if (!wait_until(rung, 20000)) return fail("no ring");
    put_key(SP_KEY_OFF_HOOK);
    if (!wait_until(talking, 5000)) return fail("the answered call has no voice");
    sent = received = 0;
    if (!talk(1000, &sent, &received)) return fail("no voice both ways in the answered call");
    say("answered call: send_voice took %ld bytes, recv_voice gave %ld bytes", sent, received);
    put_key(SP_KEY_ON_HOOK);
    if (!wait_until(silent, 3000)) return fail("the answered call did not end");
    say("tones heard through the tone player: %d", phone.tones_heard);

    /* A lost server: the link times out after the server's keepalive
     * time-out. Start again from scratch, with a back-off. */
    phone.link_lost = 0; /* an order that came while registering is done with */
    say("ready for a server restart");
    if (!wait_until(link_lost, 90000)) return fail("no link loss reported");
    uninitialize(); /* this also closed the trace file: open it again */
    phone.link_lost = 0;
    tracer_startup("guide_client.log");
    if (!register_with_backoff(&params, 8)) return fail("registration after the link loss");
    put_key(SP_KEY_OFF_HOOK);
    if (!wait_until(dial_tone, 3000)) return fail("no dial tone after registering again");
    put_key(SP_KEY_ON_HOOK);
    say("registered again and working");

    uninitialize();
    AudioModuleShutdown();
    return 0;
}
