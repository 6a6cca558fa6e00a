// The ids of the library's threads, shared by each system's Thread.
#pragma once

#include <cstdint>

namespace platform {

// A new process-unique, non-zero id.
std::uint32_t allocateThreadId();
// Gives the calling thread `id`, made for it by its creator.
void adoptThreadId(std::uint32_t id);

}  // namespace platform
