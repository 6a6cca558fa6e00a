// softphone: the reference client of the engine library. It loads
// libsoftphone.so with dlopen (softphone.dll with LoadLibrary on Windows) and
// speaks to it only through softphone.h.
//   softphone demo [--mic FILE.wav] [--record OUT.wav] [--loss PCT] [--jitter MS] [--reorder PCT] [--check]
//   softphone --server ADDRESS [--mac HEX12] [--local ADDRESS]
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "demo.h"
#include "interactive.h"

namespace {

constexpr char kUsage[] =
    "usage: softphone demo [--mic FILE.wav] [--record OUT.wav] [--loss PCT] [--jitter MS] [--reorder PCT]\n"
    "                      [--trace FILE] [--library PATH] [--check]\n"
    "       softphone --server ADDRESS [--mac HEX12] [--local ADDRESS] [--trace FILE] [--library PATH]\n"
    "Run it in the folder that holds media/ (the build folder): tone files are found from there.\n";

bool number(const char* text, double low, double high, double& out) {
    if (text == nullptr) return false;
    char* end = nullptr;
    out = std::strtod(text, &end);
    return end != text && *end == '\0' && out >= low && out <= high;
}

int usage(const std::string& problem) {
    std::fprintf(stderr, "softphone: %s\n%s", problem.c_str(), kUsage);
    return 2;
}

}  // namespace

int main(int argc, char** argv) {
    const bool demo = argc > 1 && std::string_view(argv[1]) == "demo";
    client::DemoOptions d;
    client::InteractiveOptions live;
    for (int i = demo ? 2 : 1; i < argc; ++i) {
        const std::string_view name = argv[i];
        const char* value = i + 1 < argc ? argv[i + 1] : nullptr;
        double n = 0;
        if (name == "--check" && demo) {
            d.check = true;
            continue;
        }
        if (name == "--help" || name == "-h") return std::printf("%s", kUsage), 0;
        if (value == nullptr) return usage(std::string(name) + " needs a value");
        ++i;
        if (name == "--library") {
            d.library = live.library = value;
        } else if (name == "--trace") {
            d.traceFile = live.traceFile = value;
        } else if (demo && name == "--mic") {
            d.micFile = value;
        } else if (demo && name == "--record") {
            d.recordFile = value;
        } else if (demo && name == "--loss") {
            if (!number(value, 0, 100, n)) return usage("--loss takes a percentage");
            d.lossPercent = n;
        } else if (demo && name == "--jitter") {
            if (!number(value, 0, 1000, n)) return usage("--jitter takes milliseconds up to 1000");
            d.jitterMs = static_cast<int>(n);
        } else if (demo && name == "--reorder") {
            if (!number(value, 0, 100, n)) return usage("--reorder takes a percentage");
            d.reorderPercent = n;
        } else if (!demo && name == "--server") {
            live.server = value;
        } else if (!demo && name == "--mac") {
            live.mac = value;
        } else if (!demo && name == "--local") {
            live.local = value;
        } else {
            return usage("unknown option " + std::string(name));
        }
    }
    if (demo) return client::runDemo(d);
    if (live.server.empty()) return usage("give demo or --server ADDRESS");
    return client::runInteractive(live);
}
