#include "platform/thread_id.h"

#include <atomic>

#include "platform/thread.h"

namespace platform {

namespace {
std::atomic<std::uint32_t> gNextThreadId{1};
thread_local std::uint32_t tThreadId = 0;
}  // namespace

std::uint32_t allocateThreadId() {
    std::uint32_t id = gNextThreadId.fetch_add(1);
    if (id == 0) id = gNextThreadId.fetch_add(1);  // zero means "no thread"
    return id;
}

void adoptThreadId(std::uint32_t id) {
    tThreadId = id;
}

std::uint32_t currentThreadId() {
    if (tThreadId == 0) tThreadId = allocateThreadId();
    return tThreadId;
}

}  // namespace platform
