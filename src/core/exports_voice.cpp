// Exports: voice, forwarded to Wave on the client's own thread.
#include "core/exports_guard.h"
#include "core/globals.h"

extern "C" {

// One function under two names: the voice path needs no opening or closing.
SP_EXPORT int open_voice(void) { return 0; }
SP_EXPORT int close_voice(void) { return 0; }

// The voice engine is not part of this build: gWave is never set, and the
// voice exports give their results for a missing object.
SP_EXPORT int send_voice(uint32_t bytes, const void*) { return static_cast<int>(bytes); }
SP_EXPORT int recv_voice(int*, void*, int*) { return 0; }
SP_EXPORT void set_alaw(int) {}

}  // extern "C"
