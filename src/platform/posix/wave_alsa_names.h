// The names ALSA's devices go by in the engine's device lists, which hold
// 31 UTF-16 units: short enough, unique, and still readable.
#pragma once

#include <string>
#include <vector>

namespace platform {

// One list name for each ALSA name, in order. A name that fits is kept; a
// longer one loses ALSA's "CARD=" and "DEV=" keys ("plughw:CARD=Foo,DEV=1"
// becomes "plughw:Foo,1"), and if it still doesn't fit keeps its start and
// its end around a "~". A name already given is numbered instead: its start
// and "~2", "~3".
std::vector<std::u16string> alsaListNames(const std::vector<std::string>& alsaNames);

}  // namespace platform
