// The X-P signals of an RQNT, each decoded from its hex arguments into a
// SignalBlock for the CallProcessor. Pure: text in, block out; the one piece
// of state a signal touches, the tone flag, is given back to the caller.
#pragma once

#include "mgcp/datagram_view.h"
#include "mgcp/signal_block.h"

enum class ToneSignalChange { kNone, kSet, kCleared };

struct SignalResult {
    // True after hset, pctl, ks, a known dtm code and lcdp: the pass then
    // looks no further for signals in the message.
    bool complete = false;
    ToneSignalChange toneSignal = ToneSignalChange::kNone;
};

// `signal` starts at the signal's name ("ring(010203)..."); the arguments
// follow the name and one character that is counted, not tested. An unknown
// name leaves the block as it is.
SignalResult decodeSignal(const DatagramView& signal, SignalBlock& block);

// The display record of lcdp; `args` is the text after its "(".
void decodeDisplay(const DatagramView& args, SignalBlock& block);
// The dtm forms; `args` starts at the two-character code. False for a code
// that has no form.
bool decodeDtm(const DatagramView& args, SignalBlock& block);
