// The delay of voice down through the loaded library under network traces.
// Loads libsoftphone.so as a client does (--library PATH loads another
// build, to compare), registers against the simulated call server on
// loopback, opens a PCMU connection and replays seeded traces of the far
// end's packets to port 8000, while a client calls recv_voice every 20 ms.
// It takes the fixed ports: run it alone, or in a network namespace of its
// own (tests/scripts/own_loopback.sh, as root). Each trace runs in a
// process of its own, so that no delay history carries from one to the
// next; --trace NAME runs one.
//
// Traces (20 ms packets, network delay in ms):
//   clean       40, no jitter, 20 s
//   jitter      40 +- 20 (normal), 60 s
//   spike       40 +- 20 for 20 s, then the network stalls for 300 ms (what
//               was sent meanwhile arrives at once), then 60 s at 40
//   loss        40, 3 % of the packets lost, 30 s
//   stray       40, 30 s; after 10 s one packet of the call's source 1000
//               sequence numbers ahead
//   new-source  40; after 10 s another source takes over, with lower
//               sequence numbers and timestamps, for 20 s
//
// Per trace it prints, over the frames it knows (each packet carries its
// own noise, so each frame out is known by its samples):
//   recv    delay from a packet's send to its frame leaving recv_voice
//   ear     delay to the start of its playing on a device that drains one
//           frame per 20 ms, fed by the client rule: of what one recv_voice
//           gives, only as many of the newest frames as keep the device's
//           queued audio at most one tick's frames plus two (three frames);
//           the older ones are dropped
//   all     the same device fed every frame (the queue is not bounded)
//   (median and 95th percentile each; "last" is the median recv delay of
//   the last 10 s)
//   conc    frames recv_voice gave that carry no packet (concealment)
//   late    packets that arrived but never came out of recv_voice
//   drop    frames the client rule dropped
//   oracle  the smallest fixed delay that leaves 0.5 % of the arrived
//           packets late
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "sim/call_agent.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/reference_codec.h"
#include "sim/rtp_peer.h"
#include "sim/softphone_library.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr int kFrameMs = 20;
constexpr int kSamples = 160;
constexpr int kDelayLine = 75;    // the engine's frames leave this many samples late
constexpr int kKnownFrom = 45;    // the samples of a packet that tell its frame out
constexpr int kKnownLength = 40;  // from 45 to 84: past the delay line, and past a short blend
constexpr double kKnownCorrelation = 0.9;
constexpr int kEarQueueFrames = 3;  // one tick's frame plus two
constexpr std::uint16_t kTerminalRtpPort = 8000;

struct Packet {
    int index = 0;       // order of sending; the stray stands apart
    double sendMs = 0;   // from the trace's start
    double delayMs = 0;  // network delay
    bool lost = false;
    bool stray = false;
    std::vector<std::uint8_t> datagram;
    std::vector<std::int16_t> pcm;  // what the reference decoder makes of it
};

struct Trace {
    const char* name;
    int seconds;
};
constexpr Trace kTraces[] = {{"clean", 20}, {"jitter", 60}, {"spike", 80},
                             {"loss", 30},  {"stray", 30},  {"new-source", 30}};

std::vector<std::uint8_t> datagram(std::uint16_t sequence, std::uint32_t timestamp, std::uint32_t ssrc,
                                   const std::vector<std::uint8_t>& payload) {
    std::vector<std::uint8_t> bytes(12 + payload.size());
    bytes[0] = 0x80;  // version 2; payload type 0
    for (int i = 0; i < 2; ++i) bytes[2 + i] = static_cast<std::uint8_t>(sequence >> (8 - 8 * i));
    for (int i = 0; i < 4; ++i) {
        bytes[4 + i] = static_cast<std::uint8_t>(timestamp >> (24 - 8 * i));
        bytes[8 + i] = static_cast<std::uint8_t>(ssrc >> (24 - 8 * i));
    }
    std::copy(payload.begin(), payload.end(), bytes.begin() + 12);
    return bytes;
}

std::vector<Packet> makeTrace(const std::string& name, int seconds) {
    std::mt19937 random(20);
    std::normal_distribution<double> jitter(40.0, 20.0);
    std::uniform_real_distribution<double> draw(0.0, 1.0);
    std::uniform_int_distribution<int> byte(0, 255);
    const int count = seconds * 1000 / kFrameMs;
    std::vector<Packet> packets;
    const auto payload = [&] {
        std::vector<std::uint8_t> bytes(kSamples);
        for (std::uint8_t& b : bytes) b = static_cast<std::uint8_t>(byte(random));
        return bytes;
    };
    for (int i = 0; i < count; ++i) {
        Packet p;
        p.index = i;
        p.sendMs = kFrameMs * i;
        p.delayMs = 40.0;
        if (name == "jitter" || (name == "spike" && i < 1000)) p.delayMs = std::max(0.0, jitter(random));
        // The stall: everything sent in its 300 ms arrives at its end.
        if (name == "spike" && i >= 1000 && i < 1015) p.delayMs = 40.0 + 300.0 - (p.sendMs - 20000.0);
        if (name == "loss") p.lost = draw(random) < 0.03;
        const bool second = name == "new-source" && i >= 500;
        const std::uint16_t sequence =
            second ? static_cast<std::uint16_t>(1000 + i - 500) : static_cast<std::uint16_t>(30000 + i);
        const std::uint32_t timestamp = second ? 8000u + 160u * static_cast<std::uint32_t>(i - 500)
                                               : 2000000u + 160u * static_cast<std::uint32_t>(i);
        const std::vector<std::uint8_t> bytes = payload();
        p.datagram = datagram(sequence, timestamp, second ? 0x0B0B0B0Bu : 0x0A0A0A0Au, bytes);
        p.pcm = sim::decodeStream(sim::kPayloadPcmu, {bytes});
        packets.push_back(std::move(p));
    }
    if (name == "stray") {
        Packet p;
        p.index = -1;
        p.stray = true;
        p.sendMs = 10010.0;
        p.delayMs = 40.0;
        const std::vector<std::uint8_t> bytes = payload();
        p.datagram =
            datagram(static_cast<std::uint16_t>(30000 + 500 + 1000), 2000000u + 160u * 1500u, 0x0A0A0A0Au, bytes);
        p.pcm = sim::decodeStream(sim::kPayloadPcmu, {bytes});
        packets.push_back(std::move(p));
    }
    return packets;
}

double correlation(const std::int16_t* a, const std::int16_t* b, int n) {
    double xy = 0.0, xx = 0.0, yy = 0.0;
    for (int i = 0; i < n; ++i) {
        xy += static_cast<double>(a[i]) * b[i];
        xx += static_cast<double>(a[i]) * a[i];
        yy += static_cast<double>(b[i]) * b[i];
    }
    return xx > 0.0 && yy > 0.0 ? xy / std::sqrt(xx * yy) : 0.0;
}

double percentile(std::vector<double> values, double p) {
    if (values.empty()) return NAN;
    std::sort(values.begin(), values.end());
    const auto at = static_cast<std::size_t>(std::ceil(p * static_cast<double>(values.size()))) - 1;
    return values[std::min(at, values.size() - 1)];
}

double sinceMs(Clock::time_point from, Clock::time_point to) {
    return std::chrono::duration<double, std::milli>(to - from).count();
}

int runTrace(const char* libraryPath, const Trace& trace) {
    std::vector<Packet> packets = makeTrace(trace.name, trace.seconds);
    sim::SoftphoneLibrary lib;
    if (!lib.load(libraryPath)) {
        std::fprintf(stderr, "cannot load the library: %s\n", lib.error().c_str());
        return 2;
    }
    const sim::SoftphoneApi& api = lib.api();
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    sim::RtpPeer farEnd;
    if (!ptap.start() || !mgcp.start() || !farEnd.start()) {
        std::fprintf(stderr, "cannot open the simulator's ports (run it alone, or in a namespace of its own)\n");
        return 2;
    }
    ptap.setParameterItems(sim::PtapServer::defaultParameterItems());
    ptap.startKeepalives(10000);
    ParameterContainer params = sim::loopbackParameters();
    PtapParameters record{};
    if (api.initialize(&params, &record) != 0) {
        std::fprintf(stderr, "registration failed\n");
        return 1;
    }
    sim::CallAgent agent(mgcp);
    sim::MediaOffer offer;
    offer.payloadType = sim::kPayloadPcmu;
    offer.rtpPort = farEnd.port();
    if (!agent.createConnection(offer)) {
        std::fprintf(stderr, "no connection\n");
        return 1;
    }

    // The far end sends each packet at its arrival time: loopback adds
    // nothing to the trace's delay.
    std::vector<const Packet*> byArrival;
    for (const Packet& p : packets)
        if (!p.lost) byArrival.push_back(&p);
    std::stable_sort(byArrival.begin(), byArrival.end(),
                     [](const Packet* a, const Packet* b) { return a->sendMs + a->delayMs < b->sendMs + b->delayMs; });
    const Clock::time_point start = Clock::now() + std::chrono::milliseconds(200);
    std::thread sender([&] {
        for (const Packet* p : byArrival) {
            std::this_thread::sleep_until(
                start + std::chrono::microseconds(static_cast<std::int64_t>((p->sendMs + p->delayMs) * 1000)));
            farEnd.sendRaw(p->datagram, sim::kLoopbackAddress, kTerminalRtpPort);
        }
    });

    // The client: a tick every 20 ms, half a tick after the packets' grid.
    struct Out {
        int tick;
        double atMs;
        std::vector<std::int16_t> frame;
    };
    std::vector<Out> out;
    const int ticks = trace.seconds * 1000 / kFrameMs + 50;
    std::vector<std::int16_t> room(3200 / 2);
    for (int k = 0; k < ticks; ++k) {
        std::this_thread::sleep_until(start + std::chrono::microseconds(1000LL * (kFrameMs * k + kFrameMs / 2)));
        int size = 3200;
        int status = 0;
        const int got = api.recv_voice(&size, room.data(), &status);
        const double at = sinceMs(start, Clock::now());
        for (int f = 0; f + 1 <= got / 320; ++f)
            out.push_back(
                {k, at, std::vector<std::int16_t>(room.begin() + f * kSamples, room.begin() + (f + 1) * kSamples)});
    }
    sender.join();
    api.uninitialize();

    // Which packet each frame out carries: the next ones in sending order
    // are tried, so that concealment, which repeats what played before,
    // never passes for a packet.
    std::vector<int> carries(out.size(), -2);  // -2 none, -1 the stray
    const Packet* stray = nullptr;
    for (const Packet& p : packets)
        if (p.stray) stray = &p;
    int last = -1;
    const int total = static_cast<int>(packets.size()) - (stray != nullptr ? 1 : 0);
    for (std::size_t f = 0; f < out.size(); ++f) {
        const std::int16_t* known = out[f].frame.data() + kDelayLine + kKnownFrom;
        if (stray != nullptr && correlation(known, stray->pcm.data() + kKnownFrom, kKnownLength) > kKnownCorrelation) {
            carries[f] = -1;
            continue;
        }
        for (int j = last + 1; j < total; ++j) {
            if (correlation(known, packets[static_cast<std::size_t>(j)].pcm.data() + kKnownFrom, kKnownLength) >
                kKnownCorrelation) {
                carries[f] = j;
                last = j;
                break;
            }
        }
    }

    // The ears: device time runs on the ticks' grid.
    std::vector<double> recv, ear, all, lastRecv;
    int concealed = 0;
    int dropped = 0;
    std::vector<bool> played(packets.size(), false);
    double busyBounded = 0.0;
    double busyAll = 0.0;
    for (std::size_t f = 0; f < out.size();) {
        std::size_t end = f;
        while (end < out.size() && out[end].tick == out[f].tick) ++end;
        const double tickMs = kFrameMs * out[f].tick + kFrameMs / 2.0;
        const int queued = static_cast<int>(std::lround(std::max(0.0, busyBounded - tickMs) / kFrameMs));
        const int given = static_cast<int>(end - f);
        const int kept = std::min(given, std::max(0, kEarQueueFrames - queued));
        for (std::size_t g = f; g < end; ++g) {
            const bool keep = static_cast<int>(end - g) <= kept;
            double startBounded = 0.0;
            if (keep) {
                startBounded = std::max(tickMs, busyBounded);
                busyBounded = startBounded + kFrameMs;
            } else {
                ++dropped;
            }
            const double startAll = std::max(tickMs, busyAll);
            busyAll = startAll + kFrameMs;
            const int j = carries[g];
            if (j == -2) ++concealed;
            if (j < 0) continue;
            played[static_cast<std::size_t>(j)] = true;
            const double sent = packets[static_cast<std::size_t>(j)].sendMs;
            recv.push_back(out[g].atMs - sent);
            if (out[g].atMs > trace.seconds * 1000.0 - 10000.0) lastRecv.push_back(out[g].atMs - sent);
            if (keep) ear.push_back(out[g].atMs + (startBounded - tickMs) - sent);
            all.push_back(out[g].atMs + (startAll - tickMs) - sent);
        }
        f = end;
    }
    int late = 0;
    std::vector<double> delays;
    for (const Packet& p : packets) {
        if (p.lost || p.stray) continue;
        delays.push_back(p.delayMs);
        if (!played[static_cast<std::size_t>(p.index)]) ++late;
    }
    std::printf("%-11s %6zu %6.0f %5.0f %6.0f %5.0f %6.0f %5.0f %6.0f %6d %6d %6d %7.0f\n", trace.name, out.size(),
                percentile(recv, 0.5), percentile(recv, 0.95), percentile(ear, 0.5), percentile(ear, 0.95),
                percentile(all, 0.5), percentile(all, 0.95), percentile(lastRecv, 0.5), concealed, late, dropped,
                percentile(delays, 0.995));
    std::fflush(stdout);
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    const char* libraryPath = SOFTPHONE_LIBRARY_PATH;
    const char* only = nullptr;
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--library") == 0) libraryPath = argv[i + 1];
        if (std::strcmp(argv[i], "--trace") == 0) only = argv[i + 1];
    }
    std::printf("library %s\n", libraryPath);
    std::printf("%-11s %6s %12s %12s %12s %6s %6s %6s %6s %7s\n", "", "frames", "recv", "ear", "all", "last", "conc",
                "late", "drop", "oracle");
    std::printf("%-11s %6s %6s %5s %6s %5s %6s %5s %6s %6s %6s %6s %7s\n", "trace", "out", "median", "p95", "median",
                "p95", "median", "p95", "median", "", "", "", "ms");
    std::fflush(stdout);
    int failures = 0;
    for (const Trace& trace : kTraces) {
        if (only != nullptr && std::strcmp(only, trace.name) != 0) continue;
        // A process of its own: the library keeps its delay history as long
        // as the process lives.
        const pid_t child = ::fork();
        if (child == 0) ::_exit(runTrace(libraryPath, trace));
        int status = 0;
        if (child < 0 || ::waitpid(child, &status, 0) != child || !WIFEXITED(status) || WEXITSTATUS(status) != 0) {
            std::printf("%-11s failed\n", trace.name);
            ++failures;
        }
    }
    return failures == 0 ? 0 : 1;
}
