// A call agent on top of the simulated MGCP server: it plays whole calls the
// way a PBX does, by the server's commands and the X-P signals, and reads
// the terminal's keys back out of its NTFYs. Each step is one call a test
// makes in the order of its script; every command waits for its answer.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "sim/mgcp_server.h"

namespace sim {

// What the agent offers in a CRCX or MDCX.
struct MediaOffer {
    int payloadType = 0;  // 0, 8 or 18
    std::uint16_t rtpPort = 0;
    std::string address = "127.0.0.1";
    std::string mode = "sendrecv";
};

// Lamp states of the key-state signal.
inline constexpr std::string_view kLampOff = "off";
inline constexpr std::string_view kLampGreen = "gon";
inline constexpr std::string_view kLampRedFlash = "r3i";

class CallAgent {
public:
    static constexpr int kAnswerWaitMs = 2000;

    // `server` must be started, and outlive the agent.
    explicit CallAgent(MgcpServer& server, std::string endpoint = "d1@0011223344ff");

    // ---- Single commands. Each gives true once the terminal's final answer
    // ("200", or "250" for DLCX) to it has arrived.
    bool signal(std::string_view signals);  // RQNT with "S: <signals>"
    bool createConnection(const MediaOffer& offer);
    bool modifyConnection(const MediaOffer& offer);
    bool deleteConnection();

    // ---- The terminal's face.
    bool display(std::string_view text, int column = 0, int row = 0);
    bool clearDisplay();
    bool lamp(std::uint16_t key, std::string_view state);
    bool mute(bool on);
    bool speaker(bool on);
    // Labels of the programmable keys, by index.
    bool keyLabels(const std::vector<std::pair<int, std::string>>& labels);

    // ---- Whole call steps.
    // Rings the terminal with pattern 1 and shows who calls.
    bool ringIncoming(std::string_view caller);
    // Waits for the terminal's off-hook, stops the ring and connects.
    bool answerWhenOffHook(const MediaOffer& offer, int timeoutMs);
    // Waits for the off-hook and gives the dial tone.
    bool dialToneWhenOffHook(int timeoutMs);
    // Collects `count` digits, echoing the number so far on the display as
    // each arrives; gives the number.
    std::string collectDigits(std::size_t count, int timeoutMs);
    // The far end rings: ringback tone and a connection that only receives.
    bool ringback(const MediaOffer& offer);
    // The far end answers: the tone stops and the connection sends too.
    bool farEndAnswers(const MediaOffer& offer);
    // The server ends the call: the connection goes and the display clears.
    bool hangUp();
    // Waits for the terminal's on-hook, then ends the call.
    bool releaseWhenOnHook(int timeoutMs);

    // ---- What the terminal said.
    // The observed events of its NTFYs in order: "fk0200", "fk0731", ...
    std::vector<std::string> observedEvents() const;
    // Waits until `event` is among the observed events from index `from` on.
    bool waitForObserved(std::string_view event, int timeoutMs, std::size_t from = 0) const;

    // Hex text of an lcdp text record of type "22".
    static std::string displayRecord(std::string_view text, int column, int row);
    // The digit a key text stands for ("fk0731" gives '1'), or 0.
    static char digitOf(std::string_view observed);

    // The connection id the terminal gave in its answer to the last CRCX;
    // MDCX and DLCX name it. Empty before any.
    std::string connectionId() const { return mConnectionId; }

private:
    // `answer` (if given) gets the text of the terminal's final answer.
    bool command(std::string_view verb, const std::string& parameters, std::string* answer = nullptr);
    static std::string description(const MediaOffer& offer);
    // "\r\nI: <id>" of the connection the terminal named.
    std::string connectionLine() const;
    static std::vector<std::string> observedIn(const std::vector<Datagram>& received);

    MgcpServer& mServer;
    std::string mEndpoint;
    std::uint32_t mNextTid = 1000;
    std::string mCallId = "A1B2C3";
    std::string mConnectionId;
};

}  // namespace sim
