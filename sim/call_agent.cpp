#include "sim/call_agent.h"

#include <cstdio>

#include "platform/clock.h"

namespace sim {

namespace {

std::string hexByte(int value) {
    char text[3];
    std::snprintf(text, sizeof text, "%02X", value & 0xFF);
    return text;
}

const char* codecName(int payloadType) {
    switch (payloadType) {
        case 8:
            return "PCMA";
        case 18:
            return "G729";
        default:
            return "PCMU";
    }
}

// Tones of the tone signal: dial tone and ringback, as the agent numbers them.
constexpr int kDialTone = 0x01;
constexpr int kRingbackTone = 0x02;

std::string toneSignal(int code) {
    return "X-P/tone(" + hexByte(code) + " 1 0 0  00)";
}

}  // namespace

CallAgent::CallAgent(MgcpServer& server, std::string endpoint) : mServer(server), mEndpoint(std::move(endpoint)) {}

bool CallAgent::command(std::string_view verb, const std::string& parameters, std::string* answer) {
    const std::uint32_t tid = mNextTid++;
    const std::string text =
        std::string(verb) + " " + std::to_string(tid) + " " + mEndpoint + " MGCP 1.0\r\n" + parameters;
    if (!mServer.sendCommand(text)) return false;
    const std::string final = (verb == "DLCX" ? "250 " : "200 ") + std::to_string(tid);
    auto isFinal = [&final](std::string_view t) {
        return t.rfind(final, 0) == 0 &&
               (t.size() == final.size() || t[final.size()] == ' ' || t[final.size()] == '\r');
    };
    return mServer.waitFor(
        [&](const std::vector<Datagram>& received) {
            for (const Datagram& d : received) {
                if (!isFinal(d.text())) continue;
                if (answer != nullptr) *answer = std::string(d.text());
                return true;
            }
            return false;
        },
        kAnswerWaitMs);
}

std::string CallAgent::description(const MediaOffer& offer) {
    return "\r\nv=0\r\no=- 25678 753849 IN IP4 " + offer.address + "\r\ns=-\r\nc=IN IP4 " + offer.address +
           "\r\nt=0 0\r\nm=audio " + std::to_string(offer.rtpPort) + " RTP/AVP " + std::to_string(offer.payloadType) +
           "\r\na=rtpmap:" + std::to_string(offer.payloadType) + " " + codecName(offer.payloadType) + "/8000\r\n";
}

bool CallAgent::signal(std::string_view signals) {
    return command("RQNT", "X: 1\r\nR: X-P/fk(N)\r\nS: " + std::string(signals) + "\r\n");
}

bool CallAgent::createConnection(const MediaOffer& offer) {
    std::string answer;
    if (!command("CRCX",
                 "C: " + mCallId + "\r\nL: p:20, a:" + codecName(offer.payloadType) + "\r\nM: " + offer.mode + "\r\n" +
                     description(offer),
                 &answer)) {
        return false;
    }
    // The terminal names its connection in the answer; later commands name
    // it back.
    mConnectionId.clear();
    for (const std::string& line : mgcpLines(answer)) {
        if (line.rfind("I: ", 0) == 0) mConnectionId = line.substr(3);
    }
    return true;
}

bool CallAgent::modifyConnection(const MediaOffer& offer) {
    return command("MDCX", "C: " + mCallId + connectionLine() + "\r\nM: " + offer.mode + "\r\n" + description(offer));
}

bool CallAgent::deleteConnection() {
    return command("DLCX", "C: " + mCallId + connectionLine() + "\r\n");
}

std::string CallAgent::connectionLine() const {
    // Before any CRCX answer, the terminal's first connection id.
    return "\r\nI: " + (mConnectionId.empty() ? std::string("1") : mConnectionId);
}

std::string CallAgent::displayRecord(std::string_view text, int column, int row) {
    std::string record = "22" + hexByte(column) + hexByte(row) + hexByte(static_cast<int>(text.size()));
    for (char c : text) record += hexByte(static_cast<unsigned char>(c));
    return record;
}

bool CallAgent::display(std::string_view text, int column, int row) {
    return signal("X-P/lcdp(" + displayRecord(text, column, row) + ")");
}

bool CallAgent::clearDisplay() {
    return signal("X-P/lcdp(300100000000)");
}

bool CallAgent::lamp(std::uint16_t key, std::string_view state) {
    return signal("X-P/ks(" + hexByte(key >> 8) + hexByte(key) + "," + std::string(state) + ")");
}

bool CallAgent::mute(bool on) {
    return signal(on ? "X-P/pctl(20)" : "X-P/pctl(05)");
}

bool CallAgent::speaker(bool on) {
    return signal(on ? "X-P/pctl(03)" : "X-P/pctl(00)");
}

bool CallAgent::keyLabels(const std::vector<std::pair<int, std::string>>& labels) {
    std::string args = "01" + hexByte(static_cast<int>(labels.size()));
    for (const auto& [index, text] : labels) {
        args += hexByte(index) + hexByte(static_cast<int>(text.size()));
        for (char c : text) args += hexByte(static_cast<unsigned char>(c));
    }
    return signal("X-P/slc(" + args + ")");
}

bool CallAgent::ringIncoming(std::string_view caller) {
    return signal("X-P/ring(000100),X-P/lcdp(" + displayRecord(caller, 0, 0) + ")");
}

bool CallAgent::answerWhenOffHook(const MediaOffer& offer, int timeoutMs) {
    if (!waitForObserved("fk0200", timeoutMs)) return false;
    return signal("X-P/ring(000000)") && createConnection(offer);
}

bool CallAgent::dialToneWhenOffHook(int timeoutMs) {
    if (!waitForObserved("fk0200", timeoutMs)) return false;
    return signal("X-P/lcdp(300100000000)," + toneSignal(kDialTone));
}

std::string CallAgent::collectDigits(std::size_t count, int timeoutMs) {
    std::string number;
    const std::uint64_t end = platform::monotonicMs() + static_cast<std::uint64_t>(timeoutMs);
    std::size_t seen = 0;
    while (number.size() < count && platform::monotonicMs() < end) {
        const std::vector<std::string> events = observedEvents();
        for (; seen < events.size(); ++seen) {
            const char digit = digitOf(events[seen]);
            if (digit == 0) continue;
            number += digit;
            if (!display(number)) return number;
        }
        platform::sleepMs(5);
    }
    return number;
}

bool CallAgent::ringback(const MediaOffer& offer) {
    MediaOffer receiving = offer;
    receiving.mode = "recvonly";
    return signal(toneSignal(kRingbackTone)) && createConnection(receiving);
}

bool CallAgent::farEndAnswers(const MediaOffer& offer) {
    MediaOffer both = offer;
    both.mode = "sendrecv";
    return signal(toneSignal(0)) && modifyConnection(both);
}

bool CallAgent::hangUp() {
    return deleteConnection() && clearDisplay();
}

bool CallAgent::releaseWhenOnHook(int timeoutMs) {
    return waitForObserved("fk0100", timeoutMs) && hangUp();
}

std::vector<std::string> CallAgent::observedIn(const std::vector<Datagram>& received) {
    std::vector<std::string> events;
    for (const Datagram& d : received) {
        if (mgcpVerb(d.text()) != "NTFY") continue;
        for (const std::string& line : mgcpLines(d.text())) {
            if (line.rfind("O: X-P/", 0) == 0) events.push_back(line.substr(7));
        }
    }
    return events;
}

std::vector<std::string> CallAgent::observedEvents() const {
    return observedIn(mServer.received());
}

bool CallAgent::waitForObserved(std::string_view event, int timeoutMs, std::size_t from) const {
    return mServer.waitFor(
        [event, from](const std::vector<Datagram>& received) {
            const std::vector<std::string> events = observedIn(received);
            for (std::size_t i = from; i < events.size(); ++i) {
                if (events[i] == event) return true;
            }
            return false;
        },
        timeoutMs);
}

char CallAgent::digitOf(std::string_view observed) {
    if (observed.size() != 6 || observed.substr(0, 5) != "fk073") {
        if (observed == "fk072a") return '*';
        if (observed == "fk0723") return '#';
        return 0;
    }
    return observed[5];
}

}  // namespace sim
