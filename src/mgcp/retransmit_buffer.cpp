#include "mgcp/retransmit_buffer.h"

#include <algorithm>
#include <new>

#include "common/tracer.h"

std::uint32_t msOfDay(const platform::TimeOfDay& t) {
    return static_cast<std::uint32_t>(t.hour) * 3600000u + static_cast<std::uint32_t>(t.minute) * 60000u +
           static_cast<std::uint32_t>(t.second) * 1000u + static_cast<std::uint32_t>(t.millisecond);
}

bool MgcpBufferTable::add(const std::array<std::uint8_t, kMgcpPayloadSize>& payload, std::uint32_t length,
                          std::int32_t tid, const platform::TimeOfDay& created) {
    try {
        mNodes.emplace_back();
    } catch (const std::bad_alloc&) {
        Tracer::instance()->trace(kTraceCritical,
                                  "[MGCP :: CRITICAL ERROR] Object creation failed - Retransmission buffer item");
        return false;
    }
    RetransmitNode& node = mNodes.back();
    node.length = std::min<std::uint32_t>(length, kMgcpPayloadSize);
    node.payload = payload;
    node.created = created;
    node.tid = tid;
    if (mNodes.size() == 1) {
        Tracer::instance()->trace(kTraceStatus, "[MGCP] Created FIRST node in retransmission buffer");
    } else {
        Tracer::instance()->trace(kTraceStatus, "[MGCP] Added node to END of retransmission buffer");
    }
    if (mOnAdd) mOnAdd();
    return true;
}

int MgcpBufferTable::remove(std::int32_t tid) {
    if (mNodes.empty()) return 1;
    auto it = std::find_if(mNodes.begin(), mNodes.end(), [tid](const RetransmitNode& n) { return n.tid == tid; });
    if (it != mNodes.end()) free(it);
    return 0;
}

std::list<RetransmitNode>::iterator MgcpBufferTable::free(std::list<RetransmitNode>::iterator node) {
    const std::int32_t tid = node->tid;
    auto next = mNodes.erase(node);
    Tracer::instance()->trace(kTraceDetail, "[MGCP] Free buffer operation - Packet tid = %d deleted. Buffer size = %d",
                              tid, count());
    return next;
}

int MgcpBufferTable::clear() {
    if (mNodes.empty()) return 1;
    mNodes.clear();
    return 0;
}

void MgcpBufferTable::walk(const platform::TimeOfDay& now, const Sender& send) {
    const std::uint32_t nowMs = msOfDay(now);
    for (auto it = mNodes.begin(); it != mNodes.end();) {
        RetransmitNode& node = *it;
        // Unsigned on purpose: across midnight the period wraps to a huge
        // value, the node goes out once at once, and `elapsed` takes up the
        // difference so that the next pass is normal again.
        node.period = nowMs - msOfDay(node.created) - static_cast<std::uint32_t>(node.elapsed);
        if (node.period < resendWaitMs(node.sendCount)) {
            ++it;
            continue;
        }
        if (node.sendCount < kMaxResends) {
            node.isResend = 1;
            if (send) send(node);
            node.isResend = 0;
            node.elapsed = static_cast<std::int32_t>(static_cast<std::uint32_t>(node.elapsed) + node.period);
            ++node.sendCount;
            Tracer::instance()->trace(kTraceDetail, "[MGCP] Resend tid = %d. Count = %d. Test period exceeded = %d",
                                      node.tid, node.sendCount, static_cast<int>(node.period));
            node.period = 0;
            ++it;
        } else {
            Tracer::instance()->trace(kTraceDetail, "[MGCP] MAX %d exceeded. Buffer size = %d. Freed buffer tid = %d",
                                      node.sendCount, count(), node.tid);
            // Through the free operation like an answered one; this very node
            // goes, not merely the first with its number.
            it = free(it);
        }
    }
}

std::uint32_t MgcpBufferTable::msUntilNextDue(const platform::TimeOfDay& now) const {
    const std::uint32_t nowMs = msOfDay(now);
    std::uint32_t next = UINT32_MAX;
    for (const RetransmitNode& node : mNodes) {
        // The walk's own arithmetic, so that the two agree past midnight.
        const std::uint32_t period = nowMs - msOfDay(node.created) - static_cast<std::uint32_t>(node.elapsed);
        const std::uint32_t wait = resendWaitMs(node.sendCount);
        next = std::min(next, period >= wait ? 0u : wait - period);
    }
    return next;
}
