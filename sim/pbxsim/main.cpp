// pbxsim: the call server on loopback for a client developer. It registers
// a terminal, plays dial tone, echoes the digits, rings back and connects
// to an echo or test-tone party; the operator rings the terminal or ends the
// call from standard input.
#include <poll.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <ctime>
#include <iostream>
#include <mutex>
#include <string>

#include "sim/pbxsim/options.h"
#include "sim/pbxsim/pbx.h"

namespace {

volatile std::sig_atomic_t gStop = 0;

void onSignal(int) {
    gStop = 1;
}

void printCounts(const sim::Pbx& pbx) {
    const sim::PbxCounts c = pbx.counts();
    std::printf(
        "[pbxsim] terminal %s, calls connected %d; RTP packets received %llu, sent %llu, dropped %llu; "
        "received while the terminal was not to send %llu\n",
        c.registered ? c.endpoint.c_str() : "(none)", c.calls, static_cast<unsigned long long>(c.rtp.received),
        static_cast<unsigned long long>(c.rtp.sent), static_cast<unsigned long long>(c.rtp.dropped),
        static_cast<unsigned long long>(c.rtp.stray));
    std::fflush(stdout);
}

}  // namespace

int main(int argc, char** argv) {
    sim::PbxOptions options;
    std::string error;
    bool help = false;
    if (!sim::parsePbxOptions(argc, argv, options, error, help)) {
        std::fprintf(stderr, "pbxsim: %s\n%s", error.c_str(), sim::pbxUsage());
        return 2;
    }
    if (help) {
        std::printf("pbxsim: a call server on loopback for one terminal on this machine.\n%s", sim::pbxUsage());
        return 0;
    }
    std::signal(SIGINT, onSignal);
    std::signal(SIGTERM, onSignal);

    sim::Pbx pbx(options, [](const std::string& text) {
        // Several threads report; one at a time, so lines stay whole and the
        // C library's time zone state is read by one thread only.
        static std::mutex printing;
        const std::lock_guard<std::mutex> lock(printing);
        const std::time_t now = std::time(nullptr);
        std::tm local{};
        localtime_r(&now, &local);
        char stamp[16];
        std::strftime(stamp, sizeof stamp, "%H:%M:%S", &local);
        std::printf("[pbxsim %s] %s\n", stamp, text.c_str());
        std::fflush(stdout);
    });
    if (!pbx.start()) return 1;

    std::string line;
    bool input = true;
    while (gStop == 0) {
        pollfd fd{STDIN_FILENO, POLLIN, 0};
        if (!input || ::poll(&fd, 1, 200) <= 0) {
            if (!input) ::poll(nullptr, 0, 200);
            continue;
        }
        if (!std::getline(std::cin, line)) {
            input = false;  // standard input closed: run until a signal
            continue;
        }
        if (line.empty()) continue;
        switch (line[0]) {
            case 'r':
                pbx.ringTerminal(line.size() > 2 ? line.substr(2) : "5551234");
                break;
            case 'h':
                pbx.endCall();
                break;
            case 'c':
                printCounts(pbx);
                break;
            case 'q':
                gStop = 1;
                break;
            default:
                std::printf("%s", sim::pbxUsage());
                break;
        }
    }
    pbx.stop();
    printCounts(pbx);
    return 0;
}
