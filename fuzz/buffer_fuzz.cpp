// Any text run as a script of put, get, clear, shutdown and start steps on
// the jitter buffer (the language and runner of tests/voice/buffer_script.h;
// the scenario tests' scripts are the seeds). Expected results are ignored;
// the runner's checks of what goes in and out are not. Memory errors and
// leaks show through the sanitizers.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "../tests/voice/buffer_script.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // Frames per input: each stored one scans the 2500-entry delay ring.
    // Clears and starts may walk the whole table.
    static BufferRunner runner(1500, 3);
    runner.restart();
    const BufferScript script = parseBufferScript(std::string_view(reinterpret_cast<const char*>(data), size));
    for (const BufferStep& step : script.steps) runner.run(step);
    if (!runner.faults.empty()) std::abort();
    return 0;
}
