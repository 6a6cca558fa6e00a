#include "voice/codec_lib.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <vector>

#include "sim/reference_codec.h"

namespace {

using Code = std::vector<std::uint8_t>;
using Pcm = std::vector<std::int16_t>;

// A handle opened for one test and closed with it.
struct OpenHandle {
    explicit OpenHandle(int direction) { EXPECT_EQ(codecLibOpen(&handle, kCodecIdG729, direction, 0), 0); }
    ~OpenHandle() { codecLibClose(handle, 0); }
    OpenHandle(const OpenHandle&) = delete;
    OpenHandle& operator=(const OpenHandle&) = delete;
    CodecHandle* handle = nullptr;
};

// The reference coder's bytes for the signal, 10 per 80 samples.
Code reference(const Pcm& pcm) {
    Code out;
    for (const Code& packet : sim::encodeStream(sim::kPayloadG729, pcm))
        out.insert(out.end(), packet.begin(), packet.end());
    return out;
}

// One call on a handle: `in` samples or bytes taken from where the last
// accepted call stopped, `room` bytes or samples. `made` -1: not looked at.
struct Call {
    int in;
    int room;
    int result;
    int made;
    int leftOver;
};

}  // namespace

TEST(CodecLib, OpenAndParameterResults) {
    CodecHandle* handle = reinterpret_cast<CodecHandle*>(0x1);
    for (int emptyEntry : {3, kCodecTableSize, -1}) {
        EXPECT_EQ(codecLibOpen(&handle, emptyEntry, kCodecDirectionEncode, 0), kCodecLibNoSuchCodec) << emptyEntry;
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_EQ(codecLibOpen(nullptr, kCodecIdG729, kCodecDirectionEncode, 0), kCodecLibNullParameters);
    EXPECT_EQ(codecLibOpen(&handle, kCodecIdG729, 2, 0), 1);
    EXPECT_EQ(handle, nullptr);

    OpenHandle encoder(kCodecDirectionEncode);
    OpenHandle decoder(kCodecDirectionDecode);
    std::int16_t pcm[160] = {};
    std::uint8_t code[320] = {};
    int samples = 160;
    int bytes = 20;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm, &samples, nullptr, &bytes, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(samples + bytes, 0);
    bytes = 20;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code, &bytes, pcm, nullptr, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(bytes, 0);
    // A handle of the other direction; seen through the decoding side's
    // format, a coded frame is 160 bytes.
    samples = 160;
    bytes = 320;
    EXPECT_EQ(codecLibEncode(&decoder.handle, pcm, &samples, code, &bytes, nullptr, 0), 1);
    samples = 160;
    bytes = 20;
    EXPECT_EQ(codecLibDecode(&encoder.handle, code, &bytes, pcm, &samples, nullptr, 0), 1);
    EXPECT_EQ(samples, 0);
}

// Joined across the accepted calls, the bytes are those of the coder run on
// the whole signal: nothing was lost, repeated, or coded by a refused call.
TEST(CodecLib, EncodeCutsFramesAndKeepsTheRest) {
    const Call calls[] = {
        {79, 40, 0, 0, 158},
        {1, 40, 0, 10, 0},
        {160, 5, kCodecLibEncodeNoRoom, -1, 0},
        {240, 10, 0, 10, 320},
        {0, 20, 0, 20, 0},
        // beyond the scratch block; then fits it, but leaves more than the
        // left-over block holds
        {16385, 4000, kCodecLibInputTooLarge, -1, 0},
        {16080, 10, kCodecLibInputTooLarge, -1, 0},
    };
    OpenHandle encoder(kCodecDirectionEncode);
    const Pcm pcm = sim::voicedSignal(20000);
    Code out(4000);
    int taken = 0;
    int made = 0;
    for (const Call& c : calls) {
        int samples = c.in;
        int room = c.room;
        EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data() + taken, &samples, out.data() + made, &room, nullptr, 0),
                  c.result)
            << c.in;
        EXPECT_TRUE(c.made < 0 || room == c.made) << c.in << " made " << room;
        EXPECT_EQ(encoder.handle->mLeftOverBytes, c.leftOver) << c.in;
        if (c.result != 0) continue;
        taken += c.in;
        made += room;
    }
    const Code expected = reference(pcm);
    EXPECT_EQ(made, 40);
    EXPECT_EQ(Code(out.begin(), out.begin() + made), Code(expected.begin(), expected.begin() + made));
}

TEST(CodecLib, DecodeResultsAndLeftOverBytes) {
    const Code code = reference(sim::voicedSignal(160));
    const Code filler(16400, 0x55);
    const struct {
        std::vector<Call> calls;
        const Code& input;
        bool asReference;  // what comes out is the reference's decoding of all the input
    } handles[] = {
        // 15 bytes: one frame out, five kept to join the next call's
        {{{20, 79, kCodecLibDecodeNoRoom, -1, 0}, {15, 160, 0, 80, 5}, {5, 160, 0, 80, 0}}, code, true},
        // the output fills up with input left
        {{{20, 80, kCodecLibOutputFull, 80, 10}}, code, false},
        // beyond the left-over block, counting what is kept
        {{{16385, 16385, kCodecLibInputTooLarge, -1, 0},
          {15, 80, kCodecLibOutputFull, 80, 5},
          {16380, 16385, kCodecLibInputTooLarge, -1, 5}},
         filler,
         false},
    };
    for (const auto& h : handles) {
        OpenHandle decoder(kCodecDirectionDecode);
        Pcm out(16385 / 10 * 80);
        int taken = 0;
        int made = 0;
        for (const Call& c : h.calls) {
            int bytes = c.in;
            int room = c.room;
            EXPECT_EQ(
                codecLibDecode(&decoder.handle, h.input.data() + taken, &bytes, out.data() + made, &room, nullptr, 0),
                c.result)
                << c.in;
            EXPECT_TRUE(c.made < 0 || room == c.made) << c.in << " made " << room;
            EXPECT_EQ(decoder.handle->mLeftOverBytes, c.leftOver) << c.in;
            if (c.result == kCodecLibInputTooLarge || c.result == kCodecLibDecodeNoRoom) continue;
            taken += c.in;
            made += room;
        }
        if (h.asReference) {
            EXPECT_EQ(Pcm(out.begin(), out.begin() + made), sim::decodeStream(sim::kPayloadG729, {h.input}));
        }
    }
}
