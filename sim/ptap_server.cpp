#include "sim/ptap_server.h"

#include <algorithm>
#include <chrono>

#include "platform/clock.h"

namespace sim {

namespace {

constexpr std::uint8_t kEnd = 0xFF;
constexpr std::size_t kHeader = 9;

void appendU32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    out.push_back(static_cast<std::uint8_t>(v >> 24));
    out.push_back(static_cast<std::uint8_t>(v >> 16));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
    out.push_back(static_cast<std::uint8_t>(v));
}

std::vector<std::uint8_t> closed(std::vector<std::uint8_t> items) {
    items.push_back(kEnd);
    return items;
}

std::vector<std::uint8_t> concat(const std::vector<std::uint8_t>& a, const std::vector<std::uint8_t>& b) {
    std::vector<std::uint8_t> out = a;
    out.insert(out.end(), b.begin(), b.end());
    return out;
}

}  // namespace

PtapServer::PtapServer() {
    acceptRegistration(0);
}

PtapServer::~PtapServer() {
    stop();
}

bool PtapServer::start(std::uint16_t port) {
    if (mTimerStarted) return false;
    mPeer.setResponder([this](UdpPeer& peer, const Datagram& d) { onDatagram(peer, d); });
    if (!mPeer.start(port, kLoopbackAddress)) return false;
    if (!mTimer.createSuspended([this] { timerThread(); })) {
        mPeer.stop();
        return false;
    }
    mTimerStarted = true;
    mTimer.resume();
    return true;
}

void PtapServer::stop() {
    {
        std::lock_guard<std::mutex> lock(mMutex);
        mTimerStop = true;
    }
    mChanged.notify_all();
    mTimer.join();
    mPeer.stop();
}

// ---- Script ----

void PtapServer::acceptRegistration(int mode) {
    std::lock_guard<std::mutex> lock(mMutex);
    mStartAnswer = mode == 1 ? item(0x22, cardRecord(0x0009, 0x0005)) : item(0x20, {0x00});
    if (mParameterItems.empty()) mParameterItems = defaultParameterItems();
}

void PtapServer::refuse(std::uint8_t value) {
    std::lock_guard<std::mutex> lock(mMutex);
    mStartAnswer = item(0x20, {value});
}

void PtapServer::stayBusy(std::uint8_t value) {
    refuse(value);
}

void PtapServer::rejectCard() {
    std::vector<std::uint8_t> card = cardRecord(0, 0);
    card[17] = 0x01;  // id 6 no longer carries 0x0042
    std::lock_guard<std::mutex> lock(mMutex);
    mStartAnswer = item(0x22, card);
}

void PtapServer::answerStartWith(std::vector<std::uint8_t> items) {
    std::lock_guard<std::mutex> lock(mMutex);
    mStartAnswer = std::move(items);
}

void PtapServer::setParameterItems(std::vector<std::uint8_t> items) {
    std::lock_guard<std::mutex> lock(mMutex);
    mParameterItems = std::move(items);
}

void PtapServer::answerInSeparatePacket(std::uint8_t type) {
    std::lock_guard<std::mutex> lock(mMutex);
    mSeparateType = type;
}

void PtapServer::staySilent(bool silent) {
    std::lock_guard<std::mutex> lock(mMutex);
    mSilent = silent;
}

void PtapServer::setTerminalPort(std::uint16_t port) {
    std::lock_guard<std::mutex> lock(mMutex);
    mTerminalPort = port;
}

void PtapServer::dropAnswers(int count) {
    std::lock_guard<std::mutex> lock(mMutex);
    mDropCount = count;
}

void PtapServer::delayAnswers(int ms) {
    std::lock_guard<std::mutex> lock(mMutex);
    mDelayMs = ms;
}

// ---- Answers ----

void PtapServer::onDatagram(UdpPeer&, const Datagram& datagram) {
    std::optional<PtapDatagram> packet = parse(datagram);
    std::lock_guard<std::mutex> lock(mMutex);
    mTerminalAddress = datagram.fromAddress;
    mTerminalPort = datagram.fromPort;
    if (!packet || packet->type == kAck || mSilent) return;
    if (mDropCount > 0) {
        --mDropCount;
        return;
    }
    const std::uint64_t due = platform::monotonicMs() + static_cast<std::uint64_t>(mDelayMs);
    if (packet->type == kStart && mSeparateType) {
        enqueue(PtapServer::packet(packet->tid, kAck, closed({})), due);
        enqueue(PtapServer::packet(takeTid(), *mSeparateType, closed(concat(mStartAnswer, mParameterItems))), due);
        return;
    }
    enqueue(answerFor(*packet), due);
}

std::vector<std::uint8_t> PtapServer::answerFor(const PtapDatagram& p) {
    switch (p.type) {
        case kStart:
            return packet(p.tid, kAck, closed(concat(mStartAnswer, mParameterItems)));
        case kOpBegin:
            return packet(p.tid, kAck, closed(item(0x20, {0x00})));
        default:
            return packet(p.tid, kAck, closed({}));
    }
}

// Called with mMutex held.
void PtapServer::enqueue(std::vector<std::uint8_t> bytes, std::uint64_t dueMs) {
    if (dueMs <= platform::monotonicMs()) {
        transmitNow(bytes);
        return;
    }
    mPending.push_back(Pending{dueMs, std::move(bytes)});
    mChanged.notify_all();
}

// Called with mMutex held, so that a stop of the keepalives is final.
void PtapServer::transmitNow(const std::vector<std::uint8_t>& bytes) {
    Datagram d;
    d.bytes = bytes;
    d.atMs = platform::monotonicMs();
    if (std::optional<PtapDatagram> p = parse(d)) mSent.push_back(*p);
    mPeer.sendTo(mTerminalAddress, mTerminalPort, bytes.data(), bytes.size());
}

std::uint32_t PtapServer::takeTid() {
    const std::uint32_t tid = mNextTid;
    mNextTid = mNextTid + 1 >= 0x01000000u ? 1 : mNextTid + 1;
    return tid;
}

void PtapServer::timerThread() {
    std::unique_lock<std::mutex> lock(mMutex);
    while (!mTimerStop) {
        const std::uint64_t now = platform::monotonicMs();
        std::uint64_t next = now + 1000;
        for (auto it = mPending.begin(); it != mPending.end();) {
            if (it->dueMs <= now) {
                transmitNow(it->bytes);
                it = mPending.erase(it);
            } else {
                next = std::min(next, it->dueMs);
                ++it;
            }
        }
        if (mKeepaliveIntervalMs > 0) {
            if (mNextKeepaliveMs <= now) {
                transmitNow(packet(takeTid(), kKeepaliveRequest, closed({})));
                mNextKeepaliveMs += static_cast<std::uint64_t>(mKeepaliveIntervalMs);
                if (mNextKeepaliveMs <= now) mNextKeepaliveMs = now + static_cast<std::uint64_t>(mKeepaliveIntervalMs);
            }
            next = std::min(next, mNextKeepaliveMs);
        }
        mChanged.wait_for(lock, std::chrono::milliseconds(next > now ? next - now : 0));
    }
}

// ---- Packets to the terminal ----

std::uint32_t PtapServer::send(std::uint8_t type, const std::vector<std::uint8_t>& payload) {
    std::lock_guard<std::mutex> lock(mMutex);
    const std::uint32_t tid = takeTid();
    transmitNow(packet(tid, type, payload));
    return tid;
}

void PtapServer::sendRaw(const std::vector<std::uint8_t>& bytes) {
    std::lock_guard<std::mutex> lock(mMutex);
    mPeer.sendTo(mTerminalAddress, mTerminalPort, bytes.data(), bytes.size());
}

std::uint32_t PtapServer::sendEvent(std::uint8_t value) {
    return send(kEvent, closed(item(0x20, {value})));
}
std::uint32_t PtapServer::sendCardQuery() {
    return send(kCardQuery, closed({}));
}
std::uint32_t PtapServer::sendKeepalive() {
    return send(kKeepaliveRequest, closed({}));
}
std::uint32_t PtapServer::sendCompulsionRestart() {
    return send(kCompulsionRestart, closed({}));
}

void PtapServer::acknowledge(std::uint32_t tid) {
    std::lock_guard<std::mutex> lock(mMutex);
    transmitNow(packet(tid, kAck, closed({})));
}

void PtapServer::startKeepalives(int intervalMs) {
    std::lock_guard<std::mutex> lock(mMutex);
    mKeepaliveIntervalMs = intervalMs;
    mNextKeepaliveMs = platform::monotonicMs();
    mChanged.notify_all();
}

void PtapServer::stopKeepalives() {
    std::lock_guard<std::mutex> lock(mMutex);
    mKeepaliveIntervalMs = 0;
}

// ---- Records ----

std::vector<PtapDatagram> PtapServer::received() const {
    std::vector<PtapDatagram> out;
    for (const Datagram& d : mPeer.received()) {
        if (std::optional<PtapDatagram> p = parse(d)) out.push_back(*p);
    }
    return out;
}

std::vector<PtapDatagram> PtapServer::receivedOfType(std::uint8_t type) const {
    std::vector<PtapDatagram> out;
    for (const PtapDatagram& p : received()) {
        if (p.type == type) out.push_back(p);
    }
    return out;
}

std::vector<PtapDatagram> PtapServer::sent() const {
    std::lock_guard<std::mutex> lock(mMutex);
    return mSent;
}

std::optional<PtapDatagram> PtapServer::lastSentOfType(std::uint8_t type) const {
    std::lock_guard<std::mutex> lock(mMutex);
    for (auto it = mSent.rbegin(); it != mSent.rend(); ++it) {
        if (it->type == type) return *it;
    }
    return std::nullopt;
}

bool PtapServer::waitFor(const std::function<bool(const std::vector<PtapDatagram>&)>& done, int timeoutMs) const {
    return mPeer.waitFor(
        [&done](const std::vector<Datagram>& raw) {
            std::vector<PtapDatagram> packets;
            for (const Datagram& d : raw) {
                if (std::optional<PtapDatagram> p = parse(d)) packets.push_back(*p);
            }
            return done(packets);
        },
        timeoutMs);
}

bool PtapServer::waitForType(std::uint8_t type, std::size_t count, int timeoutMs) const {
    return waitFor(
        [type, count](const std::vector<PtapDatagram>& packets) {
            return static_cast<std::size_t>(std::count_if(packets.begin(), packets.end(),
                                                          [type](const PtapDatagram& p) { return p.type == type; })) >=
                   count;
        },
        timeoutMs);
}

bool PtapServer::waitForAck(std::uint32_t tid, int timeoutMs) const {
    return waitFor(
        [tid](const std::vector<PtapDatagram>& packets) {
            return std::any_of(packets.begin(), packets.end(),
                               [tid](const PtapDatagram& p) { return p.type == kAck && p.tid == tid; });
        },
        timeoutMs);
}

void PtapServer::clear() {
    mPeer.clear();
    std::lock_guard<std::mutex> lock(mMutex);
    mSent.clear();
}

// ---- Building blocks ----

std::vector<std::uint8_t> PtapServer::item(std::uint8_t tag, std::initializer_list<std::uint8_t> value) {
    return item(tag, std::vector<std::uint8_t>(value));
}

std::vector<std::uint8_t> PtapServer::item(std::uint8_t tag, const std::vector<std::uint8_t>& value) {
    std::vector<std::uint8_t> out;
    out.push_back(tag);
    out.push_back(static_cast<std::uint8_t>(value.size() >> 8));
    out.push_back(static_cast<std::uint8_t>(value.size()));
    out.insert(out.end(), value.begin(), value.end());
    return out;
}

std::vector<std::uint8_t> PtapServer::cardRecord(std::uint16_t value9, std::uint16_t value10) {
    std::vector<std::uint8_t> card(32, 0);
    // Ten triples of an id and a 16-bit value behind a leading byte.
    for (std::uint8_t id = 1; id <= 10; ++id) card[1 + (id - 1) * 3] = id;
    card[17] = 0x00;
    card[18] = 0x42;
    card[26] = static_cast<std::uint8_t>(value9 >> 8);
    card[27] = static_cast<std::uint8_t>(value9);
    card[29] = static_cast<std::uint8_t>(value10 >> 8);
    card[30] = static_cast<std::uint8_t>(value10);
    return card;
}

std::vector<std::uint8_t> PtapServer::defaultParameterItems(std::uint8_t keepaliveSeconds) {
    std::vector<std::uint8_t> out;
    auto add = [&out](const std::vector<std::uint8_t>& it) { out.insert(out.end(), it.begin(), it.end()); };
    add(item(0x1A, {keepaliveSeconds}));
    add(item(0x1B, {0x01}));
    add(item(0x1C, {0x02}));
    add(item(0x1D, {0x03}));
    add(item(0x1E, {0x04}));
    add(item(0x18, {0x05}));
    add(item(0x19, {0x06}));
    add(item(0x24, {0x07}));
    add(item(0x25, {0x08}));
    add(item(0x26, {0xF0}));
    add(item(0x0F, {0x12, 0x34}));
    add(item(0x21, {0x01, 0x02, 0x03, 0xFE}));
    add(item(0x10, {0x00, 0x50}));
    add(item(0x11, {0x01, 0x00}));
    add(item(0x23, {0x09}));
    return out;
}

std::vector<std::uint8_t> PtapServer::packet(std::uint32_t tid, std::uint8_t type,
                                             const std::vector<std::uint8_t>& payload) {
    std::vector<std::uint8_t> out = {'P', 'T', 'A', 'P'};
    appendU32(out, tid);
    out.push_back(type);
    out.insert(out.end(), payload.begin(), payload.end());
    return out;
}

std::optional<PtapDatagram> PtapServer::parse(const Datagram& datagram) {
    const std::vector<std::uint8_t>& b = datagram.bytes;
    if (b.size() < kHeader || b[0] != 'P' || b[1] != 'T' || b[2] != 'A' || b[3] != 'P') return std::nullopt;
    PtapDatagram p;
    p.tid = (static_cast<std::uint32_t>(b[4]) << 24) | (static_cast<std::uint32_t>(b[5]) << 16) |
            (static_cast<std::uint32_t>(b[6]) << 8) | b[7];
    p.type = b[8];
    p.payload.assign(b.begin() + kHeader, b.end());
    p.bytes = b;
    p.atMs = datagram.atMs;
    return p;
}

}  // namespace sim
