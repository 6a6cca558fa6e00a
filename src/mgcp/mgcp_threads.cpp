// MGCP's two threads: the receive loop on the socket and the walk of the
// retransmission buffer whenever something in it is due.
#include "common/tracer.h"
#include "mgcp/mgcp.h"
#include "mgcp/mgcp_classify.h"
#include "mgcp/retransmit_buffer.h"

namespace {

// Without memory for a packet the loop pauses before it tries again.
constexpr unsigned kNoMemoryPauseMs = 5;

}  // namespace

void MGCP::pollSocket() {
    if (instance() == nullptr || mSocketThreadId == 0) {
        Tracer::instance()->trace(kTraceStatus, "[MGCP :: Thread] Thread terminated - MGCP socket polling");
        return;
    }
    const std::uint32_t id = platform::currentThreadId();
    Tracer::instance()->trace(kTraceDetail, "[MGCP :: Thread] Thread started - ID [%04d]", static_cast<int>(id));
    for (;;) {
        if (instance() == nullptr || mSocketThreadId != id) {
            Tracer::instance()->trace(kTraceDetail, "[MGCP :: Thread] Thread terminated - ID [%04d]",
                                      static_cast<int>(id));
            return;
        }
        MgcpPacketPtr packet = createPacket();
        if (!packet) {
            platform::sleepMs(kNoMemoryPauseMs);
            continue;
        }
        const platform::ReceiveResult r = mSocket.receive(packet->payload.data(), packet->payload.size());
        if (r.status != platform::ReceiveStatus::Data || r.length < 1) {
            // Without a socket nothing can arrive: sleep until shutdown.
            if (r.status == platform::ReceiveStatus::Closed) mNoSocketWakeup.waitUntil(platform::Wakeup::kNever);
            continue;
        }
        // Only the call server speaks for the call server: anything else
        // could order the terminal about.
        if (r.fromAddress != mServerAddress.load()) {
            mForeignSenders.dropped(r.fromAddress, mClock.monotonicMs());
            continue;
        }
        packet->length = static_cast<std::uint32_t>(r.length);
        const MgcpOperation kind = classifyReceived(packet->bytes());
        if (kind == MgcpOperation::kResponse) {
            acknowledge(*packet);
        } else if (mRsipAcknowledged) {
            process(kind, mSessionRef, nullptr, packet.get());
        }
        // Until the RSIP's answer has come, commands are dropped unanswered.
        freePacket(std::move(packet));
    }
}

void MGCP::acknowledge(const MgcpPacket& response) {
    // The answer is known by its number alone, whatever its code says.
    const std::uint32_t tid = readTransactionId(response.bytes());
    if (!mRsipAcknowledged && tid == mRsipTid) {
        Tracer::instance()->trace(kTraceStatus, "[MGCP] RSIP acknowledgement received");
        mRsipAcknowledged = true;
    }
    platform::LockGuard buffer(mBufferLock);
    Tracer::instance()->trace(kTraceDetail, "[MGCP] ACK %d received. Buffer size = %d", static_cast<int>(tid),
                              mBufferTable ? mBufferTable->count() : 0);
    if (mBufferTable) mBufferTable->remove(static_cast<std::int32_t>(tid));
}

void MGCP::retransmit() {
    if (instance() == nullptr || mRetransmitThreadId == 0) {
        Tracer::instance()->trace(kTraceStatus, "[MGCP :: Thread] Thread terminated - MGCP retransmission");
        return;
    }
    const std::uint32_t id = platform::currentThreadId();
    Tracer::instance()->trace(kTraceDetail, "[MGCP :: Thread] Thread started - ID [%04d]",
                              static_cast<int>(mRetransmitThreadId.load()));
    for (;;) {
        // With nothing buffered the thread sleeps until a command is added
        // or the module stops; else until the next resend or drop is due.
        std::uint64_t next = platform::Wakeup::kNever;
        {
            platform::LockGuard buffer(mBufferLock);
            if (mBufferTable && mBufferTable->count() != 0) {
                next = mClock.monotonicMs() + mBufferTable->msUntilNextDue(mClock.utcTimeOfDay());
            }
        }
        mRetransmitWakeup.waitUntil(next);
        // The lock is held through the whole walk, sends included.
        platform::LockGuard buffer(mBufferLock);
        if (instance() == nullptr || mRetransmitThreadId != id || !mBufferTable) {
            Tracer::instance()->trace(kTraceDetail, "[MGCP :: Thread] Thread terminated - ID [%04d]",
                                      static_cast<int>(id));
            return;
        }
        mBufferTable->walk(mClock.utcTimeOfDay(),
                           [this](const RetransmitNode& node) { transmit(node.payload, node.length, true); });
    }
}
