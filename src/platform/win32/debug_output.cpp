#include "platform/debug_output.h"

#include <windows.h>

namespace platform {

void systemDebugOutput(const char* text) {
    ::OutputDebugStringA(text);
}

}  // namespace platform
