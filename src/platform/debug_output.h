// The debug-output channel: short status lines for a debugger, apart from
// the trace file. The last lines are kept so that tests can read them.
#pragma once

#include <string>
#include <vector>

namespace platform {

void debugOutput(const char* text);
std::vector<std::string> debugOutputLines();
void clearDebugOutput();
// The system's own debugger channel, for each system's folder.
void systemDebugOutput(const char* text);

}  // namespace platform
