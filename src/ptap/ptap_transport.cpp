// The PTAP object's traffic: what goes out, the socket thread that takes in
// and acts, and the thread that resends what is not acknowledged.
#include <cstring>

#include "common/tracer.h"
#include "ptap/ptap.h"

namespace {

// Both peers keep tids below 0x01000000, whose high byte the receiver tests
// with the magic; the counter wraps before it gets there.
std::uint32_t nextAfter(std::uint32_t tid) {
    return tid + 1 >= ptap::kTidLimit ? 1 : tid + 1;
}

}  // namespace

std::uint32_t PTAP::takeTid() {
    std::uint32_t current = mNextTid.load();
    while (!mNextTid.compare_exchange_weak(current, nextAfter(current))) {
    }
    return current;
}

int PTAP::transmit(const int* type, const std::uint8_t* data, const int* dataLength) {
    if (type == nullptr) return 1;
    const int kind = *type;
    switch (kind) {
        case ptap::kTypeAck:
        case ptap::kTypeStart:
        case ptap::kTypeOpBegin:
        case ptap::kTypeCardAnswer:
            break;
        case ptap::kTypeErrorResponse:
            if (data == nullptr || dataLength == nullptr || *dataLength <= 0) return 1;
            break;
        default:
            return 1;  // the terminal sends no other type
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP] Packet transmission request: type[%d]", kind);

    if (kind == ptap::kTypeAck) {
        ptap::TidBytes tid;
        {
            platform::LockGuard state(mStateLock);
            tid = mLink.lastReceivedTid;
        }
        sendAck(tid);
        return 0;
    }

    std::vector<std::uint8_t> datagram;
    switch (kind) {
        case ptap::kTypeStart:
            datagram = ptap::buildStart(takeTid(), mStartData);
            break;
        case ptap::kTypeOpBegin:
            datagram = ptap::buildOpBegin(takeTid());
            break;
        case ptap::kTypeCardAnswer:
            datagram = ptap::buildCardAnswer(takeTid());
            break;
        default:
            datagram = ptap::buildErrorResponse(takeTid(), data[0]);
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Error response code sent via PTAP: [%u]",
                                      static_cast<unsigned>(data[0]));
            break;
    }
    {
        // Set before the packet leaves, so that its answer meets it.
        platform::LockGuard state(mStateLock);
        mLink.lastSentType = kind;
    }
    return sendNew(datagram, kind);
}

int PTAP::sendNew(const std::vector<std::uint8_t>& datagram, int type) {
    bool listed = false;
    if (type != ptap::kTypeAck) {
        // Listed before it leaves: an answer that comes back at once must
        // find it, or it would be resent after being acknowledged.
        platform::LockGuard buffers(mBufferLock);
        listed = mBufferList.add(datagram, mClock.monotonicMs());
    }
    if (listed) mRetransmitWakeup.wake();
    const int sent = mSocket.sendTo(mServerAddress.load(), mServerPort, datagram.data(), datagram.size());
    // A failed send that could be listed is made up by retransmission.
    return sent > 0 || listed ? 0 : 1;
}

void PTAP::sendAck(const ptap::TidBytes& tid) {
    const std::vector<std::uint8_t> datagram = ptap::buildAck(tid);
    Tracer::instance()->trace(kTraceStatus, "[PTAP] Implicit acknowledgment sent");
    mSocket.sendTo(mServerAddress.load(), mServerPort, datagram.data(), datagram.size());
}

void PTAP::socketThread() {
    const std::uint32_t myId = mSocketThreadId.load();
    if (myId == 0) {
        Tracer::instance()->trace(kTraceStatus, "[PTAP :: Thread] Thread terminated - PTAP socket polling");
        return;
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Thread started - ID [%04d]", static_cast<int>(myId));
    std::uint8_t buffer[ptap::kMaxDatagram];
    while (mSocketThreadId.load() == myId) {
        const platform::ReceiveResult r = mSocket.receive(buffer, sizeof buffer);
        if (r.status == platform::ReceiveStatus::Closed) break;
        if (r.status == platform::ReceiveStatus::Data) {
            // Only the call server speaks for the call server: anything else
            // could report the link lost or order a restart.
            if (r.fromAddress != mServerAddress.load()) {
                mForeignSenders.dropped(r.fromAddress, mClock.monotonicMs());
                continue;
            }
            handleDatagram(std::span<const std::uint8_t>(buffer, r.length));
        } else if (r.status == platform::ReceiveStatus::Error) {
            platform::sleepMs(1);  // a lasting fault must not spin the thread
        }
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Thread terminated - ID [%04d]", static_cast<int>(myId));
}

void PTAP::handleDatagram(std::span<const std::uint8_t> datagram) {
    std::vector<ptap::Action> actions;
    {
        platform::LockGuard state(mStateLock);
        actions = ptap::receiveDatagram(datagram, mLink);
    }
    // Run outside the state lock: listeners and the parent may call back.
    for (const ptap::Action& action : actions) runAction(action);
}

void PTAP::runAction(const ptap::Action& action) {
    switch (action.kind) {
        case ptap::Action::kRemoveAcknowledged: {
            platform::LockGuard buffers(mBufferLock);
            if (!mBufferList.empty()) {
                Tracer::instance()->trace(kTraceDetail, "[PTAP] Removed tid = %d",
                                          static_cast<int>(ptap::tidValue(action.tid)));
                mBufferList.remove(action.tid);
            }
            break;
        }
        case ptap::Action::kStampContact: {
            const std::uint64_t now = mClock.monotonicMs();
            mSupervisor.stampContact(now);
            mKeepaliveWakeup.wake();  // the deadline moved
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Keepalive request received -- Timestamp = %u\n",
                                      static_cast<unsigned>(now & 0xFFFFFFFFu));
            break;
        }
        case ptap::Action::kSendAck:
            Tracer::instance()->trace(kTraceDetail, "[PTAP] Packet transmission request: type[%d]", 0);
            sendAck(action.tid);
            break;
        case ptap::Action::kDeliverEvent:
            deliverEvent(reinterpret_cast<const char*>(action.data.data()));
            break;
        case ptap::Action::kSendCardAnswer: {
            const int type = ptap::kTypeCardAnswer;
            transmit(&type, nullptr, nullptr);
            break;
        }
        case ptap::Action::kReportStatus:
            reportStatus(action.value);
            break;
        case ptap::Action::kSetKeepaliveTimeout:
            mSupervisor.setTimeout(static_cast<std::uint8_t>(action.value), mClock.monotonicMs());
            mKeepaliveWakeup.wake();
            Tracer::instance()->trace(kTraceDetail, "[PTAP] KeepAlive Timeout data received, Timeout = %u",
                                      static_cast<unsigned>(action.value));
            break;
    }
}

void PTAP::reportStatus(int code) {
    std::vector<PtapListener*> listeners;
    {
        platform::LockGuard state(mStateLock);
        listeners = mListeners;
    }
    for (PtapListener* listener : listeners) listener->onPtapStatus(&code);
}

void PTAP::deliverEvent(const char* data) {
    PtapParent* parent = mParent.load();
    if (parent == nullptr) return;
    const CoreEvent event{ptap::kTypeEvent};
    parent->onPtapEvent(&event, data);
}

void PTAP::retransmitThread() {
    const std::uint32_t myId = mRetransmitThreadId.load();
    if (myId == 0) {
        Tracer::instance()->trace(kTraceStatus, "[PTAP :: Thread] Thread terminated - PTAP retransmission");
        return;
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Thread started - ID [%04d]", static_cast<int>(myId));
    for (;;) {
        // With nothing listed the thread sleeps until a packet is listed or
        // the module stops; else until the next resend or drop is due.
        std::uint64_t next;
        {
            platform::LockGuard buffers(mBufferLock);
            next = mBufferList.empty() ? platform::Wakeup::kNever : mBufferList.nextDueMs();
        }
        mRetransmitWakeup.waitUntil(next);
        if (mRetransmitThreadId.load() != myId) break;
        // Held across the resends, so an acknowledgment for a packet being
        // resent waits for the send to finish.
        platform::LockGuard buffers(mBufferLock);
        if (mBufferList.empty()) continue;
        const ptap::ResendList::ScanResult due = mBufferList.scan(mClock.monotonicMs());
        for (const ptap::ResendList::Resend& resend : due.resends) {
            mSocket.sendTo(mServerAddress.load(), mServerPort, resend.datagram.data(), resend.datagram.size());
        }
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Thread terminated - ID [%04d]", static_cast<int>(myId));
}
