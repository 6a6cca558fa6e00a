// Sounds the client keeps in memory rather than in files: named WAV blobs,
// found by a play whose name is no file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace wave_resources {

void add(const std::u16string& name, std::vector<std::uint8_t> blob);
bool remove(const std::u16string& name);
void clear();
// Copies the blob of `name` into `out`, or else the sound of that name
// built into the client's program; false when there is neither.
bool copy(const std::u16string& name, std::vector<std::uint8_t>& out);

}  // namespace wave_resources
