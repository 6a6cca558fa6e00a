// How quiet the registered, idle library is, and how fast a key leaves.
// Loads libsoftphone.so as a client does, registers against the simulated
// call server on loopback (fixed ports: run it alone; --library PATH loads
// another build, to compare), then:
//   1. idles for --idle seconds and counts the wake-ups (context switches)
//      and CPU time of the library's own threads;
//   2. presses a key after each of --keys quiet spells and times put_key to
//      the NTFY's arrival at the server;
//   3. dials 10 digits and prints the gaps between their NTFY;
//   4. leaves one NTFY and one PTAP error response unanswered and prints how
//      far each resend lands from its schedule.
// Goals: at most 20 wake-ups a second and under 0.1% of a core idle; key
// latency median under 2 ms and worst under 5 ms; digit gaps 50 +/- 5 ms;
// resends within 10 ms of their schedule.
#include <dirent.h>
#include <unistd.h>

#include <algorithm>
#include <cmath>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <map>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "common/resend_schedule.h"
#include "platform/clock.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/softphone_library.h"

namespace {

std::set<int> threadIds() {
    std::set<int> ids;
    if (DIR* d = ::opendir("/proc/self/task")) {
        while (dirent* e = ::readdir(d))
            if (e->d_name[0] != '.') ids.insert(std::atoi(e->d_name));
        ::closedir(d);
    }
    return ids;
}

struct ThreadUse {
    long switches = 0;    // voluntary and involuntary context switches
    double cpuSeconds = 0;  // user and system time
};

ThreadUse threadUse(int tid) {
    ThreadUse use;
    std::ifstream status("/proc/self/task/" + std::to_string(tid) + "/status");
    std::string line;
    while (std::getline(status, line)) {
        if (line.rfind("voluntary_ctxt_switches:", 0) == 0 || line.rfind("nonvoluntary_ctxt_switches:", 0) == 0) {
            use.switches += std::atol(line.c_str() + line.find(':') + 1);
        }
    }
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    std::string text((std::istreambuf_iterator<char>(stat)), std::istreambuf_iterator<char>());
    const std::size_t close = text.rfind(')');
    if (close != std::string::npos) {
        std::istringstream fields(text.substr(close + 2));
        std::string field;
        std::vector<std::string> all;
        while (fields >> field) all.push_back(field);
        // Fields 14 and 15 of the whole line (utime, stime) are 12 and 13 here.
        if (all.size() > 12) {
            use.cpuSeconds = (std::atof(all[11].c_str()) + std::atof(all[12].c_str())) / ::sysconf(_SC_CLK_TCK);
        }
    }
    return use;
}

ThreadUse sum(const std::set<int>& tids) {
    ThreadUse total;
    for (int tid : tids) {
        const ThreadUse use = threadUse(tid);
        total.switches += use.switches;
        total.cpuSeconds += use.cpuSeconds;
    }
    return total;
}

std::size_t countNtfy(const std::vector<sim::Datagram>& datagrams) {
    return static_cast<std::size_t>(std::count_if(datagrams.begin(), datagrams.end(), [](const sim::Datagram& d) {
        return sim::mgcpVerb(d.text()) == "NTFY";
    }));
}

std::uint64_t nowUs() {
    return platform::monotonicTicks() / (platform::ticksPerSecond() / 1000000u);
}

// Prints the sends of one unanswered packet against the resend schedule:
// count, and the largest distance of a resend from its due time.
void printResends(const char* what, const std::vector<std::uint64_t>& atUs) {
    double worstMs = 0;
    std::uint64_t dueMs = 0;
    for (std::size_t i = 1; i < atUs.size(); ++i) {
        dueMs += resendWaitMs(static_cast<int>(i - 1));
        const double offsetMs = static_cast<double>(atUs[i] - atUs[0]) / 1000.0;
        worstMs = std::max(worstMs, std::abs(offsetMs - static_cast<double>(dueMs)));
    }
    const double lastMs = atUs.size() > 1 ? static_cast<double>(atUs.back() - atUs.front()) / 1000.0 : 0.0;
    std::printf("%s unanswered: %zu sends, the last at %.1f ms, worst resend %.1f ms from its schedule (goal <= 10)\n",
                what, atUs.size(), lastMs, worstMs);
}

}  // namespace

int main(int argc, char** argv) {
    int idleSeconds = 60;
    int keys = 200;
    const char* libraryPath = SOFTPHONE_LIBRARY_PATH;  // --library: another build, to compare
    for (int i = 1; i + 1 < argc; i += 2) {
        if (std::strcmp(argv[i], "--idle") == 0) idleSeconds = std::atoi(argv[i + 1]);
        if (std::strcmp(argv[i], "--keys") == 0) keys = std::atoi(argv[i + 1]);
        if (std::strcmp(argv[i], "--library") == 0) libraryPath = argv[i + 1];
    }
    sim::SoftphoneLibrary lib;
    if (!lib.load(libraryPath)) {
        std::fprintf(stderr, "cannot load the library: %s\n", lib.error().c_str());
        return 2;
    }
    const sim::SoftphoneApi& api = lib.api();
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    if (!ptap.start() || !mgcp.start()) {
        std::fprintf(stderr, "cannot open the simulator's ports\n");
        return 2;
    }
    // A server that keeps the link alive, as a real one does.
    ptap.startKeepalives(10000);

    const std::set<int> before = threadIds();
    ParameterContainer params = sim::loopbackParameters();
    PtapParameters record{};
    if (api.initialize(&params, &record) != 0) {
        std::fprintf(stderr, "registration failed\n");
        return 1;
    }
    std::set<int> library;
    for (int tid : threadIds())
        if (!before.count(tid)) library.insert(tid);
    std::this_thread::sleep_for(std::chrono::seconds(1));

    // 1. Idle.
    const ThreadUse start = sum(library);
    const auto t0 = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(idleSeconds));
    const ThreadUse end = sum(library);
    const double elapsed = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    const double wakeups = static_cast<double>(end.switches - start.switches) / elapsed;
    const double core = 100.0 * (end.cpuSeconds - start.cpuSeconds) / elapsed;
    std::printf("idle %.0f s, %zu library threads: %.1f wake-ups/s (goal <= 20), %.3f%% of a core (goal < 0.1%%)\n",
                elapsed, library.size(), wakeups, core);

    // 2. A key after each quiet spell.
    std::mt19937 random(7);
    std::vector<double> latenciesMs;
    for (int i = 0; i < keys; ++i) {
        std::this_thread::sleep_for(std::chrono::milliseconds(60 + random() % 140));
        const std::size_t seen = countNtfy(mgcp.received());
        const std::uint64_t pressedUs = nowUs();
        api.put_key(0x0731);
        const bool arrived =
            mgcp.waitFor([&](const std::vector<sim::Datagram>& d) { return countNtfy(d) > seen; }, 2000);
        if (!arrived) {
            std::printf("key %d: no NTFY within 2 s\n", i);
            continue;
        }
        for (const sim::Datagram& d : mgcp.received()) {
            if (sim::mgcpVerb(d.text()) == "NTFY" && d.atUs >= pressedUs) {
                latenciesMs.push_back(static_cast<double>(d.atUs - pressedUs) / 1000.0);
                break;
            }
        }
        mgcp.clear();
    }
    std::sort(latenciesMs.begin(), latenciesMs.end());
    if (!latenciesMs.empty()) {
        std::printf("put_key to NTFY, %zu samples: median %.2f ms (goal < 2), worst %.2f ms (goal < 5)\n",
                    latenciesMs.size(), latenciesMs[latenciesMs.size() / 2], latenciesMs.back());
    }

    // 3. Ten digits.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    mgcp.clear();
    api.make_call("0123456789");
    mgcp.waitFor([](const std::vector<sim::Datagram>& d) { return countNtfy(d) >= 10; }, 5000);
    std::vector<std::uint64_t> at;
    for (const sim::Datagram& d : mgcp.received())
        if (sim::mgcpVerb(d.text()) == "NTFY") at.push_back(d.atUs);
    std::printf("make_call of 10 digits, gaps in ms (goal 50 +/- 5):");
    for (std::size_t i = 1; i < at.size(); ++i) std::printf(" %.1f", static_cast<double>(at[i] - at[i - 1]) / 1000.0);
    std::printf("\n");

    // 4. Resends of what nobody answers.
    mgcp.setAnswer(sim::MgcpAnswer::Never);
    ptap.dropAnswers(100);
    mgcp.clear();
    ptap.clear();
    api.put_key(0x0731);
    api.send_error(0x1234, 0, 0);
    std::this_thread::sleep_for(std::chrono::milliseconds(21000));
    std::vector<std::uint64_t> ntfyAt, errorAt;
    std::string first;
    for (const sim::Datagram& d : mgcp.received())
        if (sim::mgcpVerb(d.text()) == "NTFY" && (first.empty() || d.text() == first)) {
            // Only the copies of the key's own NTFY: one packet's resends.
            first = std::string(d.text());
            ntfyAt.push_back(d.atUs);
        }
    for (const sim::PtapDatagram& d : ptap.receivedOfType(sim::PtapServer::kErrorResponse)) errorAt.push_back(d.atMs * 1000);
    printResends("MGCP NTFY", ntfyAt);
    printResends("PTAP error response", errorAt);

    api.uninitialize();
    return 0;
}
