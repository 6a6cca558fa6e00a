// Reading a whole file into memory, with a ceiling on its size.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace platform {

// False when the file can't be opened or read, or is larger than maxBytes.
bool readWholeFile(const std::string& path, std::size_t maxBytes, std::vector<std::uint8_t>& out);

}  // namespace platform
