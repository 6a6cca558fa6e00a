#include "sim/pbxsim/options.h"

#include <cstdlib>
#include <string_view>

namespace sim {

namespace {

bool number(const char* text, double low, double high, double& out) {
    if (text == nullptr) return false;
    char* end = nullptr;
    out = std::strtod(text, &end);
    return end != text && *end == '\0' && out >= low && out <= high;
}

}  // namespace

const char* pbxUsage() {
    return "usage: pbxsim [--party echo|tone] [--codec pcmu|pcma] [--loss PCT] [--jitter MS] [--reorder PCT]\n"
           "              [--seed N] [--inter-digit MS] [--keepalive S] [--help]\n"
           "  --loss PCT      drop this share of the RTP packets sent to the terminal\n"
           "  --jitter MS     delay each packet by MS +/- MS/2 (40 gives 20 to 60 ms)\n"
           "  --reorder PCT   hold this share of packets back 40 ms more, behind the next\n"
           "  --keepalive S   the keepalive time-out given to the terminal (default 30 s);\n"
           "                  keepalive requests go every third of it\n"
           "Commands on standard input: r [NAME] rings the terminal, h ends the call,\n"
           "c prints the counts, q quits.\n";
}

bool parsePbxOptions(int argc, char** argv, PbxOptions& options, std::string& error, bool& help) {
    help = false;
    for (int i = 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        if (name == "--help" || name == "-h") {
            help = true;
            return true;
        }
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        double n = 0;
        if (name == "--party" && value != nullptr) {
            const std::string_view v = value;
            if (v != "echo" && v != "tone") return error = "--party takes echo or tone", false;
            options.party = v == "echo" ? PartyKind::Echo : PartyKind::TestTone;
        } else if (name == "--codec" && value != nullptr) {
            const std::string_view v = value;
            if (v != "pcmu" && v != "pcma") return error = "--codec takes pcmu or pcma", false;
            options.payloadType = v == "pcmu" ? 0 : 8;
        } else if (name == "--loss") {
            if (!number(value, 0, 100, n)) return error = "--loss takes a percentage", false;
            options.impairment.lossPercent = n;
        } else if (name == "--jitter") {
            if (!number(value, 0, 1000, n)) return error = "--jitter takes milliseconds up to 1000", false;
            options.impairment.jitterMs = static_cast<int>(n);
        } else if (name == "--reorder") {
            if (!number(value, 0, 100, n)) return error = "--reorder takes a percentage", false;
            options.impairment.reorderPercent = n;
        } else if (name == "--seed") {
            if (!number(value, 0, 4294967295.0, n)) return error = "--seed takes a number", false;
            options.impairment.seed = static_cast<std::uint32_t>(n);
        } else if (name == "--keepalive") {
            if (!number(value, 3, 255, n)) return error = "--keepalive takes seconds from 3 to 255", false;
            options.keepaliveSeconds = static_cast<int>(n);
        } else if (name == "--inter-digit") {
            if (!number(value, 100, 60000, n)) return error = "--inter-digit takes milliseconds", false;
            options.interDigitMs = static_cast<int>(n);
        } else {
            return error = "unknown option " + std::string(name), false;
        }
        ++i;
    }
    return true;
}

}  // namespace sim
