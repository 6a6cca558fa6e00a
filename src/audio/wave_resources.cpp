#include "audio/wave_resources.h"

#include <map>
#include <mutex>

#include "platform/module_sound.h"

namespace wave_resources {

namespace {
struct Table {
    std::mutex mutex;
    std::map<std::u16string, std::vector<std::uint8_t>> blobs;
};
Table& table() {
    static Table t;
    return t;
}
}  // namespace

void add(const std::u16string& name, std::vector<std::uint8_t> blob) {
    std::lock_guard<std::mutex> lock(table().mutex);
    table().blobs[name] = std::move(blob);
}

bool remove(const std::u16string& name) {
    std::lock_guard<std::mutex> lock(table().mutex);
    return table().blobs.erase(name) > 0;
}

void clear() {
    std::lock_guard<std::mutex> lock(table().mutex);
    table().blobs.clear();
}

bool copy(const std::u16string& name, std::vector<std::uint8_t>& out) {
    std::lock_guard<std::mutex> lock(table().mutex);
    auto it = table().blobs.find(name);
    // Not handed over by the client: perhaps built into its program.
    if (it == table().blobs.end()) return platform::readModuleSound(name, out);
    out = it->second;
    return true;
}

}  // namespace wave_resources
