// The keepalive thread: measures the silence since the server's last
// keepalive request and reports a lost link once.
#include "common/tracer.h"
#include "ptap/ptap.h"

void PTAP::keepaliveThread() {
    const std::uint32_t myId = mKeepaliveThreadId.load();
    if (myId == 0) {
        Tracer::instance()->trace(kTraceStatus,
                                  "[PTAP :: Thread] Keepalive Thread terminated - Connection timeout polling");
        return;
    }
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Keepalive Thread started - ID [%04d]",
                              static_cast<int>(myId));
    for (;;) {
        if (mKeepaliveThreadId.load() != myId) {
            Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] Keepalive Thread terminated - ID [%04d]",
                                      static_cast<int>(myId));
            break;
        }
        if (!mSupervisor.armed() && mStopping.load()) break;
        const std::uint64_t now = mClock.monotonicMs();
        const ptap::KeepaliveSupervisor::Poll poll = mSupervisor.poll(now);
        if (poll.timedOut) {
            // The watch ends at the first time-out, reported or not.
            onSilence(poll.runningSeconds);
            break;
        }
        // Asleep until the silence can pass the threshold; a keepalive or a
        // new time-out moves that moment and wakes the watch.
        mKeepaliveWakeup.waitUntil(mSupervisor.nextPollMs());
    }
    Tracer::instance()->trace(kTraceStatus, "[PTAP :: Thread] Keepalive Thread terminated");
}

void PTAP::onSilence(std::uint32_t runningSeconds) {
    {
        // Only a link that was up once, and only once.
        platform::LockGuard state(mStateLock);
        if (!mLink.parametersComplete || mConnectionLost.load()) return;
        mLink.parametersComplete = false;
        mConnectionLost = true;
    }
    mSupervisor.disarm();
    Tracer::instance()->trace(kTraceDetail, "[PTAP :: Thread] TIMEOUT -- Threshold: %u, Current running time: %u",
                              mSupervisor.threshold(), runningSeconds);
    deliverEvent("PTAP_NOCONN");
    mSupervisor.forgetContact();
}
