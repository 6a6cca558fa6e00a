// Which packets the receive path takes, as scripts of packets and verdicts.
#include "voice/receive_probation.h"

#include <gtest/gtest.h>

#include <sstream>
#include <string>

namespace {

// A step is "<source><sequence><verdict>": source a capital letter,
// verdict a (accept), h (hold), n (hold, a new run), r (restart) or d
// (drop); "forget" is a reset for a new call.
std::string run(const std::string& script) {
    ReceiveProbation probation;
    std::istringstream steps(script);
    std::string got;
    for (std::string step; steps >> step;) {
        if (step == "forget") {
            probation.forget();
            got += "forget ";
            continue;
        }
        const auto ssrc = static_cast<std::uint32_t>(0x51DE0000u + static_cast<std::uint32_t>(step.front()));
        const auto sequence = static_cast<std::uint16_t>(std::stoul(step.substr(1, step.size() - 2)));
        const char verdicts[] = {'a', 'h', 'n', 'r', 'd'};
        got += step.substr(0, step.size() - 1) + verdicts[static_cast<int>(probation.check(ssrc, sequence))] + " ";
    }
    return got.substr(0, got.size() - 1);
}

}  // namespace

TEST(ReceiveProbation, FollowsTheStreamAndReplacesItOnlyForARunInARow) {
    const struct {
        const char* name;
        const char* script;
    } cases[] = {
        {"reordering, duplicates and losses within the window",
         "A100a A101a A103a A102a A102a A135a A104a A103a A167a"},
        {"the sequence wraps", "A65534a A65535a A0a A1a A65535a A31a"},
        {"past the window, ahead or behind", "A100a A133n A67n A132a A100a A99n"},
        {"a stray ahead changes nothing", "A100a A101a A1101n A102a A103a"},
        {"a stray behind changes nothing", "A1000a A500n A1001a"},
        {"another source starting lower", "A5000a B100n B101h B102r B103a A5001n"},
        {"the same source restarting ahead", "A100a A1100n A1101h A1102r A1103a A101n"},
        {"a run counts only in a row", "A100a B10n A101a B11n B12h A102a B13n B14h B15r"},
        {"duplicates on probation count once", "A100a B10n B10d B11h B11d B12r"},
        {"a reordered run", "A100a B12n B10h B11r B9a"},
        {"a second run replaces the first", "A100a B10n B11h C50n C51h C52r C53a"},
        {"a run of another source at the same numbers", "A100a B101n B102h B103r A104n"},
        {"after a reset the first packet starts the stream", "A100a B5n forget B5a B6a A101n"},
        {"the first packet ever starts the stream", "B40000a B40001a"},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(run(c.script), c.script) << c.name;
    }
}
