#include "ptap/ptap_resend_list.h"

#include <algorithm>
#include <limits>

#include "common/tracer.h"

namespace ptap {

bool ResendList::add(std::span<const std::uint8_t> datagram, std::uint64_t nowMs) {
    if (mItems.size() >= kResendListCapacity) {
        Tracer::instance()->trace(kTraceError, "[PTAP :: ERROR] Copy to buffer operation - Buffer is full");
        return false;
    }
    if (datagram.size() < kHeaderLength) return false;
    Item item;
    item.datagram.assign(datagram.begin(), datagram.end());
    item.tid = {datagram[4], datagram[5], datagram[6], datagram[7]};
    item.createdMs = nowMs;
    mItems.push_back(std::move(item));
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Copy to buffer operation - tID[%d], items[%d]",
                              static_cast<int>(tidValue(mItems.back().tid)), static_cast<int>(mItems.size()));
    return true;
}

bool ResendList::remove(const TidBytes& tid) {
    for (auto it = mItems.begin(); it != mItems.end(); ++it) {
        if (it->tid == tid) {
            erase(it);
            return true;
        }
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Free buffer operation - tID[%d]", static_cast<int>(tidValue(tid)));
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Free buffer operation - Buffer item count: %d",
                              static_cast<int>(mItems.size()));
    return false;
}

void ResendList::erase(std::list<Item>::iterator it) {
    const int tid = static_cast<int>(tidValue(it->tid));
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Free buffer operation - tID[%d]", tid);
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Delete item operation - Target tID[%d]", tid);
    mItems.erase(it);
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Free buffer operation - Buffer item count: %d",
                              static_cast<int>(mItems.size()));
}

ResendList::ScanResult ResendList::scan(std::uint64_t nowMs) {
    ScanResult result;
    for (auto it = mItems.begin(); it != mItems.end(); ++it) {
        Item& item = *it;
        // A clock that stood still (or a caller's `now` behind the creation
        // time) gives a step of zero, never a huge one.
        const std::uint64_t age = nowMs > item.createdMs ? nowMs - item.createdMs : 0;
        const std::uint64_t step = age > item.elapsedMs ? age - item.elapsedMs : 0;
        item.elapsedMs += step;
        item.sinceLastSendMs += step;
        if (item.sinceLastSendMs < resendWaitMs(item.attempts)) continue;
        if (item.attempts >= kMaxResends) {
            result.dropped = true;
            result.droppedTid = item.tid;
            const int attempts = item.attempts + 1;
            erase(it);
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Free buffer - Attempted #%d times", attempts);
            break;
        }
        result.resends.push_back(Resend{item.datagram, item.attempts + 1});
        item.sinceLastSendMs = 0;
        Tracer::instance()->trace(kTraceDetail, "[PTAP] Resend packet - Attempt #%d", item.attempts + 1);
        ++item.attempts;
    }
    return result;
}

std::uint64_t ResendList::nextDueMs() const {
    std::uint64_t next = std::numeric_limits<std::uint64_t>::max();
    for (const Item& item : mItems) {
        // The last scan left the item at createdMs + elapsedMs, with
        // sinceLastSendMs of its wait already spent.
        const std::uint64_t wait = resendWaitMs(item.attempts);
        const std::uint64_t left = item.sinceLastSendMs < wait ? wait - item.sinceLastSendMs : 0;
        next = std::min(next, item.createdMs + item.elapsedMs + left);
    }
    return next;
}

}  // namespace ptap
