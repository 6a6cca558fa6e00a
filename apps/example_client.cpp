// A small client: loads the library as a desktop client does, starts the
// trace, registers against the call-server simulator on loopback and prints
// where start-up stands.
#include <cstdio>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/softphone_library.h"

int main(int argc, char** argv) {
    const std::string library = argc > 1 ? argv[1] : SOFTPHONE_LIBRARY_PATH;
    const char* traceFile = argc > 2 ? argv[2] : "trace.log";

    sim::SoftphoneLibrary lib;
    if (!lib.load(library)) {
        std::fprintf(stderr, "cannot load %s: %s\n", library.c_str(), lib.error().c_str());
        return 2;
    }
    const sim::SoftphoneApi& api = lib.api();
    api.tracer_startup(traceFile);

    // The call server, simulated on loopback: it accepts the registration
    // on both links and answers every message.
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    if (!ptap.start() || !mgcp.start()) {
        std::fprintf(stderr, "cannot open the simulator's ports 9300 and 2727\n");
        return 2;
    }

    ParameterContainer params = sim::loopbackParameters();
    PtapParameters record;
    std::memset(&record, 0, sizeof record);
    std::printf("initialize against 127.0.0.1 ...\n");
    const int result = api.initialize(&params, &record);
    std::printf("initialize returned %d (0x%X)\n", result, static_cast<unsigned>(result));
    if (result == SP_INIT_OK) {
        std::printf("terminal registered; keepalive time-out %d s\n", record.mKeepaliveTimeout);
        api.put_key(SP_KEY_OFF_HOOK);
        api.make_call("0123");
        const bool sent = mgcp.waitFor([](const std::vector<sim::Datagram>& d) { return d.size() >= 6; },
                                       3000);  // RSIP, off hook, 4 digits
        std::printf("keys on the wire: %s\n", sent ? "off hook and 4 digits as NTFY" : "not all");
        for (const auto& d : mgcp.received()) {
            const std::string_view text = d.text();
            std::printf("  %.*s\n", static_cast<int>(text.find('\r')), text.data());
        }
    } else {
        std::printf("start-up did not complete; the trace file %s tells the step\n", traceFile);
    }
    api.uninitialize();

    // The last start-up lines of the trace, for the reader.
    if (FILE* f = std::fopen(traceFile, "rb")) {
        char line[600];
        std::printf("--- %s ---\n", traceFile);
        while (std::fgets(line, sizeof line, f) != nullptr) {
            std::size_t n = std::strlen(line);
            while (n > 0 && (line[n - 1] == '\n' || line[n - 1] == '\r')) line[--n] = '\0';
            std::printf("%s\n", line);
        }
        std::fclose(f);
    }
    return 0;
}
