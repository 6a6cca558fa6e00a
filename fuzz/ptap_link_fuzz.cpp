// The PTAP engine acting on what the server sends: a started engine on a
// free port, its server played by the fuzzer on loopback, on a clock that
// moves only when the script moves it. The input is a script of steps:
// datagrams from the server, packets the terminal sends, and time passing.
// A shadow of the link runs the same receive steps, resend list and
// keepalive watch beside the engine; after each step the engine must have
// done what the shadow's actions say, no more and no less: the
// acknowledgments and card answers on the wire, the statuses to the
// listener, the events to the parent, the answer and parameters it keeps,
// the resends when they fall due and the lost link when the server falls
// silent. Each datagram is followed by a packet of a type the engine
// doesn't know, whose acknowledgment tells that the datagram was handled.
#include <algorithm>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <span>
#include <string>
#include <utility>
#include <vector>

#include "fuzz/fuzz_support.h"
#include "ptap/ptap.h"
#include "ptap/ptap_codes.h"
#include "ptap/ptap_receive.h"
#include "ptap/ptap_resend_list.h"
#include "ptap/ptap_supervision.h"
#include "ptap/ptap_wire.h"
#include "sim/ptap_server.h"
#include "sim/virtual_clock.h"

namespace {

using Bytes = std::vector<std::uint8_t>;

using fuzz::kLoopback;
constexpr int kMaxSteps = 24;
constexpr int kWaitMs = 5000;  // only a missing datagram or event waits this long
constexpr std::uint8_t kMarkerType = 0x7E;
constexpr std::uint32_t kMarkerTids = 0x00F00000;

using fuzz::check;

// What an event block holds: five bytes of a 0x20 record, else a text.
Bytes eventBytes(const char* data) {
    const std::size_t n = static_cast<std::uint8_t>(data[0]) == 0x20 ? 5 : std::strlen(data);
    return Bytes(data, data + n);
}

class Recorder : public PtapParent, public PtapListener {
public:
    void onPtapStatus(const int* code) override {
        std::lock_guard<std::mutex> lock(mMutex);
        statuses.push_back(*code);
    }
    int onPtapEvent(const CoreEvent* event, const char* data) override {
        check(event->code == ptap::kTypeEvent, "event code");
        std::lock_guard<std::mutex> lock(mMutex);
        events.push_back(eventBytes(data));
        mChanged.notify_all();
        return 0;
    }
    bool waitForEvents(std::size_t count) {
        std::unique_lock<std::mutex> lock(mMutex);
        return mChanged.wait_for(lock, std::chrono::milliseconds(kWaitMs), [&] { return events.size() >= count; });
    }
    std::vector<int> takeStatuses() {
        std::lock_guard<std::mutex> lock(mMutex);
        return std::exchange(statuses, {});
    }
    std::vector<Bytes> takeEvents() {
        std::lock_guard<std::mutex> lock(mMutex);
        return std::exchange(events, {});
    }

private:
    std::mutex mMutex;
    std::condition_variable mChanged;
    std::vector<int> statuses;
    std::vector<Bytes> events;
};

Bytes receiveOne(int timeoutMs) {
    return fuzz::receiveOne<Bytes>(timeoutMs);
}

class Link {
public:
    Link() {
        while (!receiveOne(0).empty()) {
        }
        init.mStartCode = 0x11;
        std::memcpy(init.mConnectionInfo, "abcdefghijkl", 12);
        std::memcpy(init.mHardwareAddress, "\x00\x11\x22\x33\x44\x55", 6);
        init.mLocalAddress = init.mServerAddress = kLoopback;
    }
    ~Link() {
        if (ptap) {
            ptap->shutdown();
            // Every thread is joined: whatever else it sent is here now.
            check(receiveOne(0).empty(), "datagram after the last step");
        }
    }

    void start(int mode) {
        init.mRegistrationMode = static_cast<std::uint8_t>(mode);
        ptap = std::make_unique<PTAP>(clock, 0, fuzz::serverSocket().localPort());
        check(ptap->setNetworkInitData(&init) == 0, "init data");
        ptap->setParent(&recorder);
        check(ptap->addListener(&recorder) == 0, "listener");
        check(ptap->start() == 0, "start");
        ptap::resetLinkState(shadow, mode == 1 ? 1 : 0);
        supervisor.reset();
    }

    // A datagram from the server, then the marker; the engine's answers
    // must be the shadow's. False when the script must stop here: a
    // keepalive time-out of 0 reached a watch that was armed, and the
    // engine's watch then times out at the next whole second, or was never
    // armed, by whether its thread had run since the first time-out came.
    bool fromServer(const Bytes& datagram) {
        Bytes expected;
        std::vector<int> statuses;
        std::vector<Bytes> events;
        std::vector<Bytes> sent;
        runShadow(datagram, sent, statuses, events);
        const ptap::TidBytes markerTid = ptap::tidBytes(kMarkerTids + ++markers);
        const Bytes marker = sim::PtapServer::packet(ptap::tidValue(markerTid), kMarkerType, {0xFF});
        runShadow(marker, sent, statuses, events);
        for (const Bytes& d : {datagram, marker}) {
            check(fuzz::serverSocket().sendTo(kLoopback, ptap->localPort(), d.data(), d.size()) ==
                      static_cast<int>(d.size()),
                  "server send");
        }
        // The marker's own acknowledgment closes the list.
        for (std::size_t i = 0; i < sent.size(); ++i) {
            Bytes got = receiveOne(kWaitMs);
            check(!got.empty(), "an answer never came");
            if (sent[i].empty()) {
                // A card answer: a new packet, listed for resending.
                ptap::PtapPacket p;
                check(ptap::parsePacket(got, p) && p.type == ptap::kTypeCardAnswer, "card answer expected");
                resends.add(got, clock.monotonicMs());
            } else {
                check(got == sent[i], "acknowledgment differs");
            }
        }
        check(recorder.takeStatuses() == statuses, "statuses differ");
        check(recorder.takeEvents() == events, "events differ");
        checkState();
        // A contact or a time-out wakes the engine's watch, which looks at
        // once: it arms as soon as it has both.
        if (woken && watching) {
            woken = false;
            const std::uint64_t now = clock.monotonicMs();
            do {
                check(!supervisor.poll(now).timedOut, "time-out at a contact");
            } while (supervisor.nextPollMs() <= now);
        }
        return !zeroWhileArmed;
    }

    // A packet of the terminal's own, sent at once.
    void transmit(int type, std::uint8_t code) {
        const int length = 1;
        const int result = ptap->transmit(&type, &code, &length);
        const bool known = type == ptap::kTypeAck || type == ptap::kTypeStart || type == ptap::kTypeOpBegin ||
                           type == ptap::kTypeErrorResponse || type == ptap::kTypeCardAnswer;
        check((result == 0) == known, "transmit result");
        if (!known) return;
        const Bytes got = receiveOne(kWaitMs);
        check(!got.empty(), "transmitted packet never left");
        if (type == ptap::kTypeAck) {
            check(got == ptap::buildAck(shadow.lastReceivedTid), "acknowledgment of the last tid");
            return;
        }
        ptap::PtapPacket p;
        check(ptap::parsePacket(got, p) && p.type == type, "packet of another type");
        shadow.lastSentType = type;
        resends.add(got, clock.monotonicMs());
    }

    // Time passes: what falls due is resent, in list order; a silence past
    // the time-out reports the link lost once. False when the watch has
    // ended without a report: the script stops there, since the engine's
    // watch may end a moment later than the shadow's.
    bool advance(std::uint64_t ms) {
        clock.advance(ms);
        const std::uint64_t now = clock.monotonicMs();
        std::vector<Bytes> due;
        while (!resends.empty() && resends.nextDueMs() <= now) {
            for (ptap::ResendList::Resend& r : resends.scan(now).resends) due.push_back(std::move(r.datagram));
        }
        for (const Bytes& d : due) check(receiveOne(kWaitMs) == d, "resend differs or never came");
        if (!watching) return true;
        for (;;) {
            const ptap::KeepaliveSupervisor::Poll poll = supervisor.poll(now);
            if (poll.timedOut) break;
            if (supervisor.nextPollMs() > now) return true;
        }
        watching = false;
        if (!shadow.parametersComplete) return false;
        shadow.parametersComplete = false;
        check(recorder.waitForEvents(1), "lost link never reported");
        check(recorder.takeEvents() == std::vector<Bytes>{Bytes{'P', 'T', 'A', 'P', '_', 'N', 'O', 'C', 'O', 'N', 'N'}},
              "lost link event");
        checkState();
        return true;
    }

    PTAP& engine() { return *ptap; }

private:
    void runShadow(const Bytes& datagram, std::vector<Bytes>& sent, std::vector<int>& statuses,
                   std::vector<Bytes>& events) {
        const std::uint64_t now = clock.monotonicMs();
        for (const ptap::Action& a : ptap::receiveDatagram(datagram, shadow)) {
            switch (a.kind) {
                case ptap::Action::kRemoveAcknowledged:
                    if (!resends.empty()) resends.remove(a.tid);
                    break;
                case ptap::Action::kStampContact:
                    supervisor.stampContact(now);
                    woken = true;
                    break;
                case ptap::Action::kSendAck:
                    sent.push_back(ptap::buildAck(a.tid));
                    break;
                case ptap::Action::kDeliverEvent:
                    events.push_back(eventBytes(reinterpret_cast<const char*>(a.data.data())));
                    break;
                case ptap::Action::kSendCardAnswer:
                    shadow.lastSentType = ptap::kTypeCardAnswer;
                    sent.emplace_back();  // its tid is the engine's to take
                    break;
                case ptap::Action::kReportStatus:
                    statuses.push_back(a.value);
                    break;
                case ptap::Action::kSetKeepaliveTimeout:
                    // The engine's watch may arm between two actions of one
                    // packet: a 0 that follows a time-out stands on timing.
                    zeroWhileArmed = zeroWhileArmed ||
                                     (a.value == 0 &&
                                      (supervisor.armed() || (supervisor.threshold() != 0 && supervisor.hasContact())));
                    supervisor.setTimeout(static_cast<std::uint8_t>(a.value), now);
                    woken = true;
                    break;
            }
        }
    }

    void checkState() {
        check(ptap->getResult() == shadow.result, "answer to START differs");
        PtapParameters kept{};
        check(ptap->copyPtapParameters(&kept) == 0, "parameters unreadable");
        check(std::memcmp(&kept, &shadow.parameters, sizeof kept) == 0, "parameters differ");
        for (int bit = 0; bit < ptap::kSelectorCount; ++bit) {
            check(ptap->getPtapParameter(1 << bit) == ptap::selectorValue(shadow, 1 << bit), "selector differs");
        }
        // A packet out of resends leaves the engine's list in the walk
        // after its last send, which may come a moment later.
        check(sim::eventually([&] { return ptap->pendingPackets() == resends.size(); }, kWaitMs),
              "listed packets differ");
    }

    sim::VirtualClock clock;
    NetworkInitData init{};
    Recorder recorder;
    ptap::LinkState shadow;
    ptap::ResendList resends;
    ptap::KeepaliveSupervisor supervisor;
    bool watching = true;
    bool woken = false;
    bool zeroWhileArmed = false;
    std::uint32_t markers = 0;
    std::unique_ptr<PTAP> ptap;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    std::size_t at = 0;
    const auto byte = [&]() -> std::uint8_t { return at < size ? data[at++] : 0; };
    Link link;
    link.start(byte() & 1);
    for (int step = 0; step < kMaxSteps && at < size; ++step) {
        const std::uint8_t op = byte();
        switch (op % 4) {
            case 0:
            case 1: {
                // A datagram: a two-byte length, then its bytes. Most are
                // given the protocol's header, so that the mutations work
                // on the packets themselves.
                const std::size_t wanted = (static_cast<std::size_t>(byte()) << 8 | byte()) % 1500;
                const std::size_t n = wanted < size - at ? wanted : size - at;
                Bytes datagram(data + at, data + at + n);
                at += n;
                if (op % 4 == 1) {
                    const std::uint32_t tid =
                        datagram.size() >= 3 ? (datagram[0] << 16 | datagram[1] << 8 | datagram[2]) : 1;
                    const std::uint8_t type = datagram.size() >= 4 ? datagram[3] : 0x15;
                    datagram = sim::PtapServer::packet(
                        tid % kMarkerTids, type,
                        Bytes(datagram.begin() + std::min<std::size_t>(4, datagram.size()), datagram.end()));
                }
                if (!link.fromServer(datagram)) return 0;
                break;
            }
            case 2: {
                static constexpr int kTypes[] = {ptap::kTypeAck,           ptap::kTypeStart,      ptap::kTypeOpBegin,
                                                 ptap::kTypeErrorResponse, ptap::kTypeCardAnswer, ptap::kTypeEvent};
                link.transmit(kTypes[(op >> 2) % std::size(kTypes)], byte());
                break;
            }
            default: {
                // Up to about 65 s at once, in steps of 250 ms at the low end.
                const std::uint64_t ms = static_cast<std::uint64_t>(byte()) * 250 + (op >> 2) * 4;
                if (!link.advance(ms)) return 0;
                break;
            }
        }
    }
    return 0;
}
