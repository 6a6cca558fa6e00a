// A sound device for the tests: an ALSA I/O plugin ("type clocked") that
// plays and records by the monotonic clock, as a sound card does, with no
// hardware. Playback appends what the clock has played to a file and drops
// what a stop or close leaves unplayed; capture feeds frames from a file, in
// a loop (silence without one). It reports an underrun when the clock has
// played everything written and an overrun when a reader falls a whole
// buffer behind, as ALSA does for a card. Each event goes to a log, one line
// "<monotonic ns> <stream> <event> <frames>" (streams numbered from 1 in
// the process), so a test can see when the device started, stopped and ran
// dry.
//
//   pcm.speaker { type clocked  out "/tmp/played.raw"  log "/tmp/speaker.log" }
//   pcm.mic     { type clocked  in "/tmp/voice.raw"  log "/tmp/mic.log" }
// The plugin is a shared object: ALSA's headers then give the versioned
// entry symbol that its loader looks for.
#define PIC 1
#include <alsa/asoundlib.h>
#include <alsa/pcm_external.h>
#include <poll.h>
#include <sys/timerfd.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <deque>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

std::uint64_t nowNs() {
    timespec ts{};
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<std::uint64_t>(ts.tv_sec) * 1000000000u + static_cast<std::uint64_t>(ts.tv_nsec);
}

struct Clocked {
    snd_pcm_ioplug_t io{};
    std::FILE* out = nullptr;
    std::FILE* log = nullptr;
    std::vector<char> input;
    std::size_t inputAt = 0;
    int timer = -1;
    int id = 0;
    unsigned frameBytes = 2;
    std::deque<char> pending;   // written and not yet played
    std::uint64_t moved = 0;    // frames written (playback) or read (capture) since prepare
    std::uint64_t clocked = 0;  // frames the clock has played or recorded since prepare
    std::uint64_t startNs = 0;
    bool running = false;
    bool xrun = false;
    // The device plays on its own: a thread moves the clock on every
    // millisecond, so what was played reaches the file, and an underrun
    // the log, when it happens.
    std::mutex mutex;
    std::thread ticker;
    bool closing = false;

    bool playback() const { return io.stream == SND_PCM_STREAM_PLAYBACK; }

    void note(const char* event, std::uint64_t frames) {
        if (log == nullptr) return;
        std::fprintf(log, "%llu %d %s %llu\n", static_cast<unsigned long long>(nowNs()), id, event,
                     static_cast<unsigned long long>(frames));
        std::fflush(log);
    }

    // Plays out (or records) what the clock has reached since the start.
    void advance() {
        if (!running || xrun) return;
        const std::uint64_t due = (nowNs() - startNs) * io.rate / 1000000000u;
        if (playback()) {
            const std::uint64_t target = due < moved ? due : moved;
            play(target - clocked);
            clocked = target;
            if (due >= moved) {
                xrun = true;
                note("underrun", clocked);
            }
        } else {
            clocked = due;
            if (clocked - moved >= io.buffer_size) {
                xrun = true;
                note("overrun", clocked);
            }
        }
    }

    void play(std::uint64_t frames) {
        const std::size_t bytes = static_cast<std::size_t>(frames) * frameBytes;
        if (bytes == 0) return;
        std::vector<char> chunk(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(bytes));
        pending.erase(pending.begin(), pending.begin() + static_cast<std::ptrdiff_t>(bytes));
        if (out != nullptr) {
            std::fwrite(chunk.data(), 1, chunk.size(), out);
            std::fflush(out);
        }
    }
};

Clocked* self(snd_pcm_ioplug_t* io) {
    return static_cast<Clocked*>(io->private_data);
}

int clockedStart(snd_pcm_ioplug_t* io) {
    Clocked* c = self(io);
    std::lock_guard<std::mutex> lock(c->mutex);
    c->running = true;
    c->xrun = false;
    c->startNs = nowNs();
    c->note("start", c->moved);
    return 0;
}

int clockedStop(snd_pcm_ioplug_t* io) {
    Clocked* c = self(io);
    std::lock_guard<std::mutex> lock(c->mutex);
    c->advance();
    c->running = false;
    c->pending.clear();  // a stop drops what is queued
    c->note("stop", c->clocked);
    return 0;
}

snd_pcm_sframes_t clockedPointer(snd_pcm_ioplug_t* io) {
    Clocked* c = self(io);
    std::lock_guard<std::mutex> lock(c->mutex);
    c->advance();
    if (c->xrun) return -EPIPE;
    return static_cast<snd_pcm_sframes_t>(c->clocked % io->buffer_size);
}

snd_pcm_sframes_t clockedTransfer(snd_pcm_ioplug_t* io, const snd_pcm_channel_area_t* areas, snd_pcm_uframes_t offset,
                                  snd_pcm_uframes_t size) {
    Clocked* c = self(io);
    std::lock_guard<std::mutex> lock(c->mutex);
    char* buffer = static_cast<char*>(areas->addr) + (areas->first + areas->step * offset) / 8;
    const std::size_t bytes = size * c->frameBytes;
    if (c->playback()) {
        if (c->moved == 0 || !c->running) c->note("write", size);
        c->pending.insert(c->pending.end(), buffer, buffer + bytes);
    } else {
        for (std::size_t i = 0; i < bytes; ++i) {
            buffer[i] = c->input.empty() ? 0 : c->input[c->inputAt];
            if (!c->input.empty()) c->inputAt = (c->inputAt + 1) % c->input.size();
        }
    }
    c->moved += size;
    return static_cast<snd_pcm_sframes_t>(size);
}

int clockedPrepare(snd_pcm_ioplug_t* io) {
    Clocked* c = self(io);
    std::lock_guard<std::mutex> lock(c->mutex);
    c->frameBytes = io->channels * static_cast<unsigned>(snd_pcm_format_physical_width(io->format)) / 8;
    c->pending.clear();
    c->moved = 0;
    c->clocked = 0;
    c->running = false;
    c->xrun = false;
    // Wake-ups four times a period, so that a writer waiting for room
    // hears of it soon after the clock makes it.
    const std::uint64_t periodNs = static_cast<std::uint64_t>(io->period_size) * 1000000000u / io->rate / 4;
    itimerspec interval{};
    interval.it_interval.tv_sec = static_cast<time_t>(periodNs / 1000000000u);
    interval.it_interval.tv_nsec = static_cast<long>(periodNs % 1000000000u);
    interval.it_value = interval.it_interval;
    timerfd_settime(c->timer, 0, &interval, nullptr);
    c->note("prepare", 0);
    return 0;
}

int clockedPollRevents(snd_pcm_ioplug_t* io, struct pollfd* pfd, unsigned int nfds, unsigned short* revents) {
    Clocked* c = self(io);
    *revents = 0;
    if (nfds > 0 && (pfd[0].revents & POLLIN)) {
        std::uint64_t ticks = 0;
        if (read(c->timer, &ticks, sizeof ticks) < 0) ticks = 0;
        *revents = c->playback() ? POLLOUT : POLLIN;
    }
    return 0;
}

int clockedClose(snd_pcm_ioplug_t* io) {
    Clocked* c = self(io);
    if (c->ticker.joinable()) {
        {
            std::lock_guard<std::mutex> lock(c->mutex);
            c->closing = true;
        }
        c->ticker.join();
    }
    c->note("close", c->clocked);
    if (c->out != nullptr) std::fclose(c->out);
    if (c->log != nullptr) std::fclose(c->log);
    if (c->timer >= 0) ::close(c->timer);
    delete c;
    return 0;
}

const snd_pcm_ioplug_callback_t kCallbacks = [] {
    snd_pcm_ioplug_callback_t cb{};
    cb.start = clockedStart;
    cb.stop = clockedStop;
    cb.pointer = clockedPointer;
    cb.transfer = clockedTransfer;
    cb.prepare = clockedPrepare;
    cb.poll_revents = clockedPollRevents;
    cb.close = clockedClose;
    return cb;
}();

std::vector<char> readAll(const char* path) {
    std::vector<char> bytes;
    if (std::FILE* f = std::fopen(path, "rb")) {
        char chunk[4096];
        for (std::size_t n; (n = std::fread(chunk, 1, sizeof chunk, f)) > 0;)
            bytes.insert(bytes.end(), chunk, chunk + n);
        std::fclose(f);
    }
    return bytes;
}

}  // namespace

extern "C" SND_PCM_PLUGIN_DEFINE_FUNC(clocked) {
    (void)root;
    const char* outPath = nullptr;
    const char* inPath = nullptr;
    const char* logPath = nullptr;
    snd_config_iterator_t i, next;
    snd_config_for_each(i, next, conf) {
        snd_config_t* n = snd_config_iterator_entry(i);
        const char* id = nullptr;
        if (snd_config_get_id(n, &id) < 0) continue;
        if (std::strcmp(id, "comment") == 0 || std::strcmp(id, "type") == 0 || std::strcmp(id, "hint") == 0) continue;
        const char* value = nullptr;
        if (snd_config_get_string(n, &value) < 0) {
            SNDERR("%s must be a string", id);
            return -EINVAL;
        }
        if (std::strcmp(id, "out") == 0) {
            outPath = value;
        } else if (std::strcmp(id, "in") == 0) {
            inPath = value;
        } else if (std::strcmp(id, "log") == 0) {
            logPath = value;
        } else {
            SNDERR("Unknown field %s", id);
            return -EINVAL;
        }
    }

    static std::atomic<int> sStreams{0};
    auto* c = new Clocked;
    c->id = sStreams.fetch_add(1) + 1;
    c->timer = timerfd_create(CLOCK_MONOTONIC, TFD_NONBLOCK | TFD_CLOEXEC);
    if (stream == SND_PCM_STREAM_PLAYBACK && outPath != nullptr) c->out = std::fopen(outPath, "ab");
    if (stream == SND_PCM_STREAM_CAPTURE && inPath != nullptr) c->input = readAll(inPath);
    if (logPath != nullptr) c->log = std::fopen(logPath, "a");
    if (c->timer < 0) {
        delete c;
        return -errno;
    }
    c->note(stream == SND_PCM_STREAM_PLAYBACK ? "open-playback" : "open-capture", 0);
    c->ticker = std::thread([c] {
        for (;;) {
            {
                std::lock_guard<std::mutex> lock(c->mutex);
                if (c->closing) return;
                c->advance();
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
    });

    c->io.version = SND_PCM_IOPLUG_VERSION;
    c->io.name = "Clocked test device";
    c->io.flags = SND_PCM_IOPLUG_FLAG_MONOTONIC;
    c->io.poll_fd = c->timer;
    c->io.poll_events = POLLIN;
    c->io.mmap_rw = 0;
    c->io.callback = &kCallbacks;
    c->io.private_data = c;
    int err = snd_pcm_ioplug_create(&c->io, name, stream, mode);
    if (err < 0) {
        clockedClose(&c->io);
        return err;
    }
    static const unsigned int kAccess[] = {SND_PCM_ACCESS_RW_INTERLEAVED};
    static const unsigned int kFormats[] = {SND_PCM_FORMAT_S16_LE, SND_PCM_FORMAT_U8};
    if ((err = snd_pcm_ioplug_set_param_list(&c->io, SND_PCM_IOPLUG_HW_ACCESS, 1, kAccess)) < 0 ||
        (err = snd_pcm_ioplug_set_param_list(&c->io, SND_PCM_IOPLUG_HW_FORMAT, 2, kFormats)) < 0 ||
        (err = snd_pcm_ioplug_set_param_minmax(&c->io, SND_PCM_IOPLUG_HW_CHANNELS, 1, 2)) < 0 ||
        (err = snd_pcm_ioplug_set_param_minmax(&c->io, SND_PCM_IOPLUG_HW_RATE, 8000, 48000)) < 0 ||
        (err = snd_pcm_ioplug_set_param_minmax(&c->io, SND_PCM_IOPLUG_HW_PERIOD_BYTES, 64, 64 * 1024)) < 0 ||
        (err = snd_pcm_ioplug_set_param_minmax(&c->io, SND_PCM_IOPLUG_HW_PERIODS, 2, 64)) < 0) {
        snd_pcm_ioplug_delete(&c->io);
        return err;
    }
    *pcmp = c->io.pcm;
    return 0;
}

extern "C" {
SND_PCM_PLUGIN_SYMBOL(clocked)
}

// A configuration function that notes each time ALSA evaluates it, so a
// test can count how often a device list was read: ALSA evaluates a
// device's hint once per scan of the hints.
//   pcm.scans { type clocked  hint { show { @func clocked_note file "/tmp/scans" } } }
extern "C" int snd_func_clocked_note(snd_config_t** dst, snd_config_t*, snd_config_t* src, snd_config_t*) {
    snd_config_t* file = nullptr;
    const char* path = nullptr;
    if (snd_config_search(src, "file", &file) >= 0 && snd_config_get_string(file, &path) >= 0) {
        if (std::FILE* f = std::fopen(path, "a")) {
            std::fprintf(f, "%llu\n", static_cast<unsigned long long>(nowNs()));
            std::fclose(f);
        }
    }
    const char* id = nullptr;
    snd_config_get_id(src, &id);
    return snd_config_imake_string(dst, id, "on");
}

extern "C" {
SND_DLSYM_BUILD_VERSION(snd_func_clocked_note, SND_CONFIG_DLSYM_VERSION_EVALUATE)
}
