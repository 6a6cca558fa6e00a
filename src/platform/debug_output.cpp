#include "platform/debug_output.h"

#include <deque>
#include <mutex>

namespace platform {

namespace {
constexpr std::size_t kKeptLines = 256;

std::mutex& sinkMutex() {
    static std::mutex m;
    return m;
}
std::deque<std::string>& sinkLines() {
    static std::deque<std::string> lines;
    return lines;
}
}  // namespace

void debugOutput(const char* text) {
    if (text == nullptr) return;
    systemDebugOutput(text);
    std::lock_guard<std::mutex> lock(sinkMutex());
    auto& lines = sinkLines();
    if (lines.size() == kKeptLines) lines.pop_front();
    lines.emplace_back(text);
}

std::vector<std::string> debugOutputLines() {
    std::lock_guard<std::mutex> lock(sinkMutex());
    return {sinkLines().begin(), sinkLines().end()};
}

void clearDebugOutput() {
    std::lock_guard<std::mutex> lock(sinkMutex());
    sinkLines().clear();
}

}  // namespace platform
