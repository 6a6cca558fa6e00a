// A small client: loads the library as a desktop client does, starts the
// trace, registers against the call-server simulator on loopback and prints
// where start-up stands.
#include <cstdio>
#include <cstring>
#include <string>

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

    ParameterContainer params = sim::loopbackParameters();
    PtapParameters record;
    std::memset(&record, 0, sizeof record);
    std::printf("initialize against 127.0.0.1 ...\n");
    const int result = api.initialize(&params, &record);
    std::printf("initialize returned %d (0x%X)\n", result, static_cast<unsigned>(result));
    if (result == 0) {
        std::printf("terminal registered; keepalive time-out %d\n", record.mKeepaliveTimeout);
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
