#include "sounds.h"

#include <cmath>

#include "synth.h"

namespace {

// Key feedback: 100 ms of the pair, then a 50 ms pause, the shortest times
// a receiver must accept. The high group sits 2 dB above the low one, the
// twist that makes up for a line's loss at high frequencies.
constexpr int kDtmfOnMs = 100;
constexpr int kDtmfPauseMs = 50;
constexpr double kDtmfLowLevel = 0.22;
const double kDtmfHighLevel = kDtmfLowLevel * std::pow(10.0, 2.0 / 20.0);

// Musical notes for the ring melodies, in Hz.
constexpr double kA5 = 880.0, kC6 = 1046.5, kD6 = 1174.7, kE6 = 1318.5, kFs6 = 1480.0, kG6 = 1568.0;
constexpr double kA6 = 1760.0, kC7 = 2093.0;

// The special information tone: three rising tones, the same everywhere.
Synth& specialInformation(Synth& s) {
    return s.tone(950, 330).silence(30).tone(1400, 330).silence(30).tone(1800, 330).silence(1000);
}

// The progress tones of one area: its frequencies and cadences. A second
// frequency of 0 means a single one.
struct Area {
    int code;
    double dial1, dial2;  // continuous
    double ring1, ring2;
    std::vector<int> ringCadence;
    double busy1, busy2;
    std::vector<int> busyCadence;
    std::vector<int> congestionCadence;
    double main;  // the area's single frequency for the other tones
};

const std::vector<Area>& areas() {
    static const std::vector<Area> kAreas = {
        // 425 Hz everywhere, ringing 1 s in 5, busy at 1 Hz, congestion twice as fast.
        {1, 425, 0, 425, 0, {1000, 4000}, 425, 0, {500, 500}, {250, 250}, 425},
        // 400 Hz family with a double ring.
        {2, 350, 450, 400, 450, {400, 200, 400, 2000}, 400, 0, {375, 375}, {400, 350, 225, 525}, 400},
        // Pairs of frequencies: dial 350 + 440, ringing 440 + 480, busy 480 + 620.
        {3, 350, 440, 440, 480, {2000, 4000}, 480, 620, {500, 500}, {250, 250}, 440},
        // 400 Hz, ringing 1 s in 3.
        {4, 400, 0, 400, 0, {1000, 2000}, 400, 0, {500, 500}, {250, 250}, 400},
        // 425 Hz with a longer ring and quicker busy.
        {8, 425, 0, 425, 0, {1500, 3500}, 425, 0, {300, 300}, {200, 200}, 425},
    };
    return kAreas;
}

// The further progress tones 0xA0 to 0xAE: one cadence each on the area's
// frequency, every one different, every one ending in silence so it loops.
const std::vector<std::vector<int>>& furtherCadences() {
    static const std::vector<std::vector<int>> kCadences = {
        {1000, 1000},
        {100, 100, 100, 700},
        {600, 400},
        {150, 150, 150, 150, 150, 1250},
        {300, 300},
        {800, 200},
        {200, 200, 200, 2400},
        {1500, 1500},
        {50, 50, 50, 850},
        {400, 100},
        {1200, 2800},
        {150, 350},
        {100, 100, 700, 1100},
        {2000, 1000},
        {250, 250, 250, 1250},
    };
    return kCadences;
}

}  // namespace

bool dtmfPair(ToneFile file, DtmfPair* pair) {
    static constexpr double kLow[] = {697, 770, 852, 941};
    static constexpr double kHigh[] = {1209, 1336, 1477, 1633};
    // Keypad positions: row and column of each key.
    int row = 0, column = 0;
    switch (file) {
        case ToneFile::Dtmf1:
            row = 0, column = 0;
            break;
        case ToneFile::Dtmf2:
            row = 0, column = 1;
            break;
        case ToneFile::Dtmf3:
            row = 0, column = 2;
            break;
        case ToneFile::Dtmf4:
            row = 1, column = 0;
            break;
        case ToneFile::Dtmf5:
            row = 1, column = 1;
            break;
        case ToneFile::Dtmf6:
            row = 1, column = 2;
            break;
        case ToneFile::Dtmf7:
            row = 2, column = 0;
            break;
        case ToneFile::Dtmf8:
            row = 2, column = 1;
            break;
        case ToneFile::Dtmf9:
            row = 2, column = 2;
            break;
        case ToneFile::DtmfStar:
            row = 3, column = 0;
            break;
        case ToneFile::Dtmf0:
            row = 3, column = 1;
            break;
        case ToneFile::DtmfHash:
            row = 3, column = 2;
            break;
        default:
            return false;
    }
    if (pair != nullptr) *pair = {kLow[row], kHigh[column]};
    return true;
}

std::vector<std::int16_t> toneFileSound(ToneFile file) {
    Synth s;
    if (DtmfPair pair{}; dtmfPair(file, &pair)) {
        s.tone(pair.low, pair.high, kDtmfOnMs, kDtmfLowLevel, kDtmfHighLevel).silence(kDtmfPauseMs);
        return s.samples();
    }
    const Area& area1 = areas().front();
    switch (file) {
        case ToneFile::KeyClick:
            s.strike(2400, 15, 3);
            break;
        case ToneFile::RecordBeep:
            s.tone(1400, 400);
            break;
        // Ring tones of the file channel, repeated until stopped: a warbling
        // double ring, a long ring, a triple ring and four melodies.
        case ToneFile::Tone1:
            s.warble(kC6, kE6, 400, 25).silence(200).warble(kC6, kE6, 400, 25).silence(2000);
            break;
        case ToneFile::Tone2:
            s.warble(kA5, kD6, 1000, 30).silence(2000);
            break;
        case ToneFile::Tone3:
            for (int i = 0; i < 3; ++i) s.warble(kD6, kFs6, 250, 25).silence(150);
            s.silence(1800);
            break;
        case ToneFile::Tone4:
            s.notes({kC6, kE6, kG6, kC7}, 150, 30).silence(1500);
            break;
        case ToneFile::Tone9:
            s.strike(kG6, 500, 120).strike(kE6, 500, 120).strike(kC6, 800, 200).silence(1500);
            break;
        case ToneFile::ToneA:
            s.notes({kA5, kE6, kA6, kE6}, 120, 30).notes({kA5, kE6, kA6, kE6}, 120, 30).silence(1600);
            break;
        case ToneFile::ToneB:
            s.strike(kD6, 600, 150).strike(kD6, 600, 150).silence(2000);
            break;
        // Tones of the tone channel, in the 425 Hz family.
        case ToneFile::Tone5:  // dial tone: whole seconds loop without a seam
            s.tone(area1.dial1, 0.0, 1000, kToneLevel, 0.0, false);
            break;
        case ToneFile::Tone6:  // ringing tone
            s.cadence(area1.ring1, 0.0, area1.ringCadence);
            break;
        case ToneFile::Tone7:  // busy
            s.cadence(area1.busy1, 0.0, area1.busyCadence, 3);
            break;
        case ToneFile::Tone8:  // congestion
            s.cadence(area1.busy1, 0.0, area1.congestionCadence, 6);
            break;
        case ToneFile::ToneC:  // confirmation
            s.cadence(area1.main, 0.0, {100, 100}, 3);
            break;
        case ToneFile::ToneD:
            specialInformation(s);
            break;
        case ToneFile::ToneE:  // call waiting
            s.cadence(area1.main, 0.0, {200, 200, 200, 200});
            break;
        case ToneFile::ToneF:  // notice
            s.strike(kA6, 300, 80);
            break;
        default:
            break;
    }
    return s.samples();
}

std::vector<std::int16_t> serviceToneSound(int areaCode, int code) {
    const Area* area = nullptr;
    for (const Area& a : areas())
        if (a.code == areaCode) area = &a;
    if (area == nullptr) return {};
    const double f = area->main;
    Synth s;
    switch (code) {
        // Played once.
        case 0x80:  // confirmation
            s.cadence(f, 0.0, {200, 100});
            break;
        case 0x81:
            specialInformation(s);
            break;
        case 0x82:  // negative indication
            s.cadence(f, 0.0, {100, 100}, 4);
            break;
        case 0x83:  // recording warning
            s.tone(1400, 400).silence(100);
            break;
        case 0x84:  // intrusion
            s.cadence(1400, 0.0, {100, 100}, 3);
            break;
        case 0x85:  // pay tone
            s.cadence(800, 0.0, {100, 100}, 2);
            break;
        case 0x86:  // end of call
            s.notes({880, 660, 440}, 150, 50);
            break;
        // Repeated until stopped.
        case 0x90:  // dial tone
            s.tone(area->dial1, area->dial2, 1000, area->dial2 > 0.0 ? kPairLevel : kToneLevel, kPairLevel, false);
            break;
        case 0x91:  // special dial tone: short breaks
            s.cadence(f, 0.0, {400, 40}, 5);
            break;
        case 0x92:
            s.cadence(area->ring1, area->ring2, area->ringCadence);
            break;
        case 0x93:
            s.cadence(area->busy1, area->busy2, area->busyCadence);
            break;
        case 0x94:
            s.cadence(area->busy1, area->busy2, area->congestionCadence);
            break;
        case 0x95:  // call waiting
            s.cadence(f, 0.0, {200, 200, 200, 4400});
            break;
        case 0x96:  // on hold
            s.cadence(f, 0.0, {250, 3750});
            break;
        case 0x97:  // second dial tone
            s.cadence(area->dial1, area->dial2, {750, 750});
            break;
        default:
            if (code >= 0xA0 && code <= 0xAE) s.cadence(f, 0.0, furtherCadences()[code - 0xA0]);
            break;
    }
    return s.samples();
}
