// Sounds built into the client's program: on Windows the resources of the
// process's main module, of type "WAVE" or else "WAV", found by name. Other
// systems keep no sounds in their programs and find none.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// Copies the sound named `name` into `out`; false when there is none.
bool readModuleSound(const std::u16string& name, std::vector<std::uint8_t>& out);

}  // namespace platform
