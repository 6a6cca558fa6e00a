// The process-wide objects behind the exports. Each is null while its object
// does not exist; they are atomics since client threads, the library's own
// threads and the unload handler read them without a lock.
#pragma once

#include <atomic>

class Audio;
class CallProcessor;
class NumberFormatter;
class TonePlayer;
class Wave;

extern std::atomic<CallProcessor*> gCallProcessor;
extern std::atomic<Wave*> gWave;  // borrowed: the CallProcessor owns it
extern std::atomic<Audio*> gAudio;
extern std::atomic<TonePlayer*> gTonePlayer;
// Tone exports inside the player, counted so that uninitialize frees it only
// after them.
extern std::atomic<int> gTonePlayerUsers;
extern std::atomic<NumberFormatter*> gNumberFormatter;  // lives until the library unloads
