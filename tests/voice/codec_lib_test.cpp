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
class OpenHandle {
public:
    explicit OpenHandle(int direction) { result = codecLibOpen(&handle, kCodecIdG729, direction, 0); }
    ~OpenHandle() { codecLibClose(handle, 0); }
    OpenHandle(const OpenHandle&) = delete;
    OpenHandle& operator=(const OpenHandle&) = delete;

    // One call; `room` is the room in, the bytes or samples made out.
    int encode(const std::int16_t* pcm, int samples, std::uint8_t* out, int& room) {
        return codecLibEncode(&handle, pcm, &samples, out, &room, nullptr, 0);
    }
    int decode(const std::uint8_t* code, int bytes, std::int16_t* out, int& room) {
        return codecLibDecode(&handle, code, &bytes, out, &room, nullptr, 0);
    }
    int leftOver() const { return handle->mLeftOverBytes; }

    CodecHandle* handle = nullptr;
    int result = -1;
};

// The reference coder's bytes for the signal, 10 per 80 samples, the first
// `bytes` of them.
Code reference(const Pcm& pcm, std::size_t bytes = SIZE_MAX) {
    Code out;
    for (const Code& packet : sim::encodeStream(sim::kPayloadG729, pcm))
        out.insert(out.end(), packet.begin(), packet.end());
    out.resize(std::min(bytes, out.size()));
    return out;
}

}  // namespace

TEST(CodecLib, OpenResults) {
    CodecHandle* handle = reinterpret_cast<CodecHandle*>(0x1);
    for (int emptyEntry : {3, kCodecTableSize, -1}) {
        EXPECT_EQ(codecLibOpen(&handle, emptyEntry, kCodecDirectionEncode, 0), kCodecLibNoSuchCodec) << emptyEntry;
        EXPECT_EQ(handle, nullptr);
    }
    EXPECT_EQ(codecLibOpen(nullptr, kCodecIdG729, kCodecDirectionEncode, 0), kCodecLibNullParameters);
    EXPECT_EQ(codecLibOpen(&handle, kCodecIdG729, 2, 0), 1);
    EXPECT_EQ(handle, nullptr);
}

TEST(CodecLib, EncodeKeepsWhatItCannotCodeYet) {
    OpenHandle encoder(kCodecDirectionEncode);
    ASSERT_EQ(encoder.result, 0);
    const Pcm pcm = sim::voicedSignal(400);
    std::uint8_t out[40] = {};
    int bytes = sizeof out;
    EXPECT_EQ(encoder.encode(pcm.data(), 79, out, bytes), 0);
    EXPECT_EQ(bytes, 0);
    EXPECT_EQ(encoder.leftOver(), 158);
    bytes = sizeof out;
    EXPECT_EQ(encoder.encode(pcm.data() + 79, 1, out, bytes), 0);
    EXPECT_EQ(bytes, 10);
    EXPECT_EQ(encoder.leftOver(), 0);
    // Room for less than a frame consumes nothing.
    bytes = 5;
    EXPECT_EQ(encoder.encode(pcm.data() + 80, 160, out + 10, bytes), kCodecLibEncodeNoRoom);
    EXPECT_EQ(encoder.leftOver(), 0);
    // Room for one frame of three: the other two wait for the next call.
    bytes = 10;
    EXPECT_EQ(encoder.encode(pcm.data() + 80, 240, out + 10, bytes), 0);
    EXPECT_EQ(bytes, 10);
    EXPECT_EQ(encoder.leftOver(), 320);
    bytes = 20;
    EXPECT_EQ(encoder.encode(pcm.data(), 0, out + 20, bytes), 0);
    EXPECT_EQ(bytes, 20);
    // Joined across the calls, the frames are those of the coder run on the
    // whole signal: nothing was lost, repeated, or coded by a refused call.
    EXPECT_EQ(Code(out, out + 40), reference(pcm, 40));
}

TEST(CodecLib, InputBeyondTheBlocksGivesMinus211) {
    OpenHandle encoder(kCodecDirectionEncode);
    OpenHandle decoder(kCodecDirectionDecode);
    const Pcm pcm(20000, 100);
    const Code code(16385, 0x55);
    Code coded(4000);
    Pcm decoded(16385 / 10 * 80);
    int room = static_cast<int>(coded.size());
    // More than the scratch block holds.
    EXPECT_EQ(encoder.encode(pcm.data(), 16385, coded.data(), room), kCodecLibInputTooLarge);
    // Fits the scratch block, but room for one frame leaves 16000 samples,
    // more than the left-over block holds.
    room = 10;
    EXPECT_EQ(encoder.encode(pcm.data(), 16080, coded.data(), room), kCodecLibInputTooLarge);
    EXPECT_EQ(encoder.leftOver(), 0);

    room = static_cast<int>(decoded.size());
    EXPECT_EQ(decoder.decode(code.data(), 16385, decoded.data(), room), kCodecLibInputTooLarge);
    // With bytes already kept, the limit counts them too.
    room = 80;
    ASSERT_EQ(decoder.decode(code.data(), 15, decoded.data(), room), kCodecLibOutputFull);
    EXPECT_EQ(decoder.decode(code.data(), 16384 - 4, decoded.data(), room), kCodecLibInputTooLarge);
}

TEST(CodecLib, DecodeResultsAndLeftOverBytes) {
    OpenHandle decoder(kCodecDirectionDecode);
    const Code code = reference(sim::voicedSignal(160));
    Pcm out(160);
    int samples = 79;
    EXPECT_EQ(decoder.decode(code.data(), 20, out.data(), samples), kCodecLibDecodeNoRoom);
    EXPECT_EQ(decoder.leftOver(), 0);
    // 15 bytes: one frame out, five kept to join the next call's.
    samples = 160;
    EXPECT_EQ(decoder.decode(code.data(), 15, out.data(), samples), 0);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(decoder.leftOver(), 5);
    samples = 160;
    EXPECT_EQ(decoder.decode(code.data() + 15, 5, out.data() + 80, samples), 0);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(out, sim::decodeStream(sim::kPayloadG729, {code}));

    OpenHandle other(kCodecDirectionDecode);
    samples = 80;
    EXPECT_EQ(other.decode(code.data(), 20, out.data(), samples), kCodecLibOutputFull);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(other.leftOver(), 10);
}

TEST(CodecLib, NullParametersOrAWrongHandle) {
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
    bytes = 320;
    EXPECT_EQ(decoder.encode(pcm, 160, code, bytes), 1);
    samples = 160;
    EXPECT_EQ(encoder.decode(code, 20, pcm, samples), 1);
    EXPECT_EQ(samples, 0);
}

TEST(G729RoundTrip, VoicedSignalComesBackAtASaneSignalToNoiseRatio) {
    OpenHandle encoder(kCodecDirectionEncode);
    OpenHandle decoder(kCodecDirectionDecode);
    const Pcm pcm = sim::voicedSignal(8000);
    Code code;
    Pcm decoded;
    for (std::size_t i = 0; i < pcm.size(); i += 160) {
        std::uint8_t packet[20];
        int bytes = sizeof packet;
        ASSERT_EQ(encoder.encode(pcm.data() + i, 160, packet, bytes), 0);
        ASSERT_EQ(bytes, 20);
        code.insert(code.end(), packet, packet + bytes);
        std::int16_t frame[160];
        int samples = 160;
        ASSERT_EQ(decoder.decode(packet, bytes, frame, samples), 0);
        ASSERT_EQ(samples, 160);
        decoded.insert(decoded.end(), frame, frame + 160);
    }
    EXPECT_EQ(code, reference(pcm));
    // The first 100 ms settle. The coder is 40 samples late; a waveform
    // coder it isn't, so some 5 to 7 dB is what a sound path gives on this
    // signal, and a broken one gives below 0.
    const Pcm settled(pcm.begin() + 800, pcm.end());
    const Pcm out(decoded.begin() + 800, decoded.end());
    EXPECT_EQ(sim::bestDelay(settled, out, 160), 40);
    EXPECT_GT(sim::snrDb(settled, out, 40), 4.5);
}
