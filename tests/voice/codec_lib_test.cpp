#include "voice/codec_lib.h"

// The coder library's headers declare C functions without saying so.
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}
#include <gtest/gtest.h>

#include <cstdint>
#include <cstring>
#include <vector>

#include "sim/reference_codec.h"

namespace {

// A handle opened for one test and closed with it.
class OpenHandle {
public:
    explicit OpenHandle(int direction) { result = codecLibOpen(&handle, kCodecIdG729, direction, 0); }
    ~OpenHandle() { codecLibClose(handle, 0); }
    OpenHandle(const OpenHandle&) = delete;
    OpenHandle& operator=(const OpenHandle&) = delete;

    CodecHandle* handle = nullptr;
    int result = -1;
};

std::vector<std::uint8_t> directEncode(const std::vector<std::int16_t>& pcm) {
    bcg729EncoderChannelContextStruct* encoder = initBcg729EncoderChannel(0);
    std::vector<std::uint8_t> out;
    for (std::size_t i = 0; i + 80 <= pcm.size(); i += 80) {
        std::uint8_t frame[10];
        std::uint8_t length = 0;
        bcg729Encoder(encoder, pcm.data() + i, frame, &length);
        out.insert(out.end(), frame, frame + length);
    }
    closeBcg729EncoderChannel(encoder);
    return out;
}

std::vector<std::int16_t> directDecode(const std::vector<std::uint8_t>& code) {
    bcg729DecoderChannelContextStruct* decoder = initBcg729DecoderChannel();
    std::vector<std::int16_t> out;
    for (std::size_t i = 0; i + 10 <= code.size(); i += 10) {
        std::int16_t frame[80];
        bcg729Decoder(decoder, code.data() + i, 10, 0, 0, 0, frame);
        out.insert(out.end(), frame, frame + 80);
    }
    closeBcg729DecoderChannel(decoder);
    return out;
}

}  // namespace

TEST(CodecLib, OpenOfAnEmptyTableEntryGivesMinus100AndNoHandle) {
    CodecHandle* handle = reinterpret_cast<CodecHandle*>(0x1);
    EXPECT_EQ(codecLibOpen(&handle, 3, kCodecDirectionEncode, 0), kCodecLibNoSuchCodec);
    EXPECT_EQ(handle, nullptr);
    EXPECT_EQ(codecLibOpen(&handle, kCodecTableSize, kCodecDirectionEncode, 0), kCodecLibNoSuchCodec);
    EXPECT_EQ(codecLibOpen(&handle, -1, kCodecDirectionEncode, 0), kCodecLibNoSuchCodec);
    EXPECT_EQ(codecLibOpen(nullptr, kCodecIdG729, kCodecDirectionEncode, 0), kCodecLibNullParameters);
}

TEST(CodecLib, TableHoldsOnlyG729AtSixteen) {
    CodecMngInit(0);
    for (int id = 0; id < kCodecTableSize; ++id) {
        const CodecEntry* entry = codecLibEntry(id);
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(entry->open != nullptr, id == kCodecIdG729) << id;
    }
    const CodecEntry* g729 = codecLibEntry(kCodecIdG729);
    EXPECT_NE(g729->close, nullptr);
    EXPECT_NE(g729->reset, nullptr);
    EXPECT_NE(g729->encode, nullptr);
    EXPECT_NE(g729->decode, nullptr);
    EXPECT_EQ(g729->unused, nullptr);
    EXPECT_NE(g729->describe, nullptr);
}

TEST(CodecLib, OpenRefusesADirectionOtherThanEncodeOrDecode) {
    CodecHandle* handle = nullptr;
    EXPECT_EQ(codecLibOpen(&handle, kCodecIdG729, 2, 0), 1);
    EXPECT_EQ(handle, nullptr);
}

TEST(CodecLib, DescribeGivesTheFrameSizesOfBothDirections) {
    CodecMngInit(0);
    const CodecEntry* entry = codecLibEntry(kCodecIdG729);
    CodecFormat encode;
    ASSERT_EQ(entry->describe(kCodecIdG729, kCodecDirectionEncode, &encode, nullptr, 0), 0);
    EXPECT_STREQ(encode.mName, "G729");
    EXPECT_STREQ(encode.mBitRateName, "8KBPS");
    EXPECT_STREQ(encode.mTransportName, "RTP");
    EXPECT_STREQ(encode.mMimeType, "audio/G729");
    EXPECT_EQ(encode.mInput.mBytesPerFrame, 160);
    EXPECT_EQ(encode.mInput.mSamplesPerFrame, 80);
    EXPECT_EQ(encode.mOutput.mBytesPerFrame, 10);
    EXPECT_EQ(encode.mOutput.mBytesPerSecond, 1000);
    CodecFormat decode;
    ASSERT_EQ(entry->describe(kCodecIdG729, kCodecDirectionDecode, &decode, nullptr, 0), 0);
    EXPECT_EQ(decode.mInput.mBytesPerFrame, 10);
    EXPECT_EQ(decode.mOutput.mBytesPerFrame, 160);
    EXPECT_EQ(decode.mOutput.mSampleRate, 8000);
    EXPECT_EQ(entry->describe(kCodecIdG729, 2, &decode, nullptr, 0), 1);
}

TEST(CodecLib, EncodeKeepsSeventyNineSamplesAndCodesOnTheEightieth) {
    OpenHandle encoder(kCodecDirectionEncode);
    ASSERT_EQ(encoder.result, 0);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(80);
    std::uint8_t out[20] = {};
    int samples = 79;
    int bytes = sizeof out;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), 0);
    EXPECT_EQ(bytes, 0);
    EXPECT_EQ(encoder.handle->mLeftOverBytes, 158);

    samples = 1;
    bytes = sizeof out;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data() + 79, &samples, out, &bytes, nullptr, 0), 0);
    EXPECT_EQ(bytes, 10);
    EXPECT_EQ(encoder.handle->mLeftOverBytes, 0);
    // The frame joined across the two calls is the frame of all 80 at once.
    const std::vector<std::uint8_t> direct = directEncode(pcm);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 10), direct);
}

TEST(CodecLib, EncodeWithRoomForLessThanAFrameConsumesNothing) {
    OpenHandle encoder(kCodecDirectionEncode);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(160);
    std::uint8_t out[20] = {};
    int samples = 160;
    int bytes = 5;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), kCodecLibEncodeNoRoom);
    EXPECT_EQ(encoder.handle->mLeftOverBytes, 0);
    // The coder's state hasn't moved: the next call gives the first frames.
    bytes = sizeof out;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), 0);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + bytes), directEncode(pcm));
}

TEST(CodecLib, EncodeOfTwentyMillisecondsGivesTwentyBytesAsTheCoderDoes) {
    OpenHandle encoder(kCodecDirectionEncode);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(160 * 50);
    std::vector<std::uint8_t> code;
    for (std::size_t i = 0; i < pcm.size(); i += 160) {
        std::uint8_t out[20];
        int samples = 160;
        int bytes = sizeof out;
        ASSERT_EQ(codecLibEncode(&encoder.handle, pcm.data() + i, &samples, out, &bytes, nullptr, 0), 0);
        ASSERT_EQ(bytes, 20);
        code.insert(code.end(), out, out + bytes);
    }
    EXPECT_EQ(code, directEncode(pcm));
}

TEST(CodecLib, EncodeWithLessRoomThanInputKeepsTheRestForTheNextCall) {
    OpenHandle encoder(kCodecDirectionEncode);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(240);
    std::uint8_t out[30] = {};
    int samples = 240;
    int bytes = 10;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), 0);
    EXPECT_EQ(bytes, 10);
    EXPECT_EQ(encoder.handle->mLeftOverBytes, 320);
    samples = 0;
    bytes = 20;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out + 10, &bytes, nullptr, 0), 0);
    EXPECT_EQ(bytes, 20);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 30), directEncode(pcm));
}

TEST(CodecLib, EncodeRefusesInputBeyondItsBlocksWithMinus211) {
    OpenHandle encoder(kCodecDirectionEncode);
    std::vector<std::int16_t> pcm(20000, 100);
    std::vector<std::uint8_t> out(4000);
    // More than the scratch block holds.
    int samples = 16385;
    int bytes = static_cast<int>(out.size());
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out.data(), &bytes, nullptr, 0),
              kCodecLibInputTooLarge);
    // Fits the scratch block, but the remainder wouldn't fit the left-over
    // block: room for one frame leaves 16000 samples.
    samples = 16080;
    bytes = 10;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out.data(), &bytes, nullptr, 0),
              kCodecLibInputTooLarge);
    EXPECT_EQ(encoder.handle->mLeftOverBytes, 0);
}

TEST(CodecLib, DecodeOfTwentyBytesIntoEightySamplesGivesMinus10) {
    OpenHandle decoder(kCodecDirectionDecode);
    const std::vector<std::uint8_t> code = directEncode(sim::voicedSignal(160));
    std::int16_t out[80];
    int bytes = 20;
    int samples = 80;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code.data(), &bytes, out, &samples, nullptr, 0), kCodecLibOutputFull);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(decoder.handle->mLeftOverBytes, 10);
}

TEST(CodecLib, DecodeOfFifteenBytesGivesEightySamplesAndKeepsFive) {
    OpenHandle decoder(kCodecDirectionDecode);
    const std::vector<std::uint8_t> code = directEncode(sim::voicedSignal(160));
    std::int16_t out[160];
    int bytes = 15;
    int samples = 160;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code.data(), &bytes, out, &samples, nullptr, 0), 0);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(decoder.handle->mLeftOverBytes, 5);
    // The kept bytes join the next call's to form the second frame.
    bytes = 5;
    samples = 160;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code.data() + 15, &bytes, out + 80, &samples, nullptr, 0), 0);
    EXPECT_EQ(samples, 80);
    EXPECT_EQ(std::vector<std::int16_t>(out, out + 160), directDecode(code));
}

TEST(CodecLib, DecodeRefusesMoreThanSixteenKilobytesWithMinus211) {
    OpenHandle decoder(kCodecDirectionDecode);
    std::vector<std::uint8_t> code(16385, 0x55);
    std::vector<std::int16_t> out(16385 / 10 * 80);
    int bytes = 16385;
    int samples = static_cast<int>(out.size());
    EXPECT_EQ(codecLibDecode(&decoder.handle, code.data(), &bytes, out.data(), &samples, nullptr, 0),
              kCodecLibInputTooLarge);
    // With bytes already kept, the limit counts them too.
    bytes = 15;
    samples = 80;
    ASSERT_EQ(codecLibDecode(&decoder.handle, code.data(), &bytes, out.data(), &samples, nullptr, 0),
              kCodecLibOutputFull);
    bytes = 16384 - 4;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code.data(), &bytes, out.data(), &samples, nullptr, 0),
              kCodecLibInputTooLarge);
}

TEST(CodecLib, DecodeWithRoomForLessThanAFrameGivesMinus210) {
    OpenHandle decoder(kCodecDirectionDecode);
    std::uint8_t code[20] = {};
    std::int16_t out[80];
    int bytes = 20;
    int samples = 79;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code, &bytes, out, &samples, nullptr, 0), kCodecLibDecodeNoRoom);
    EXPECT_EQ(decoder.handle->mLeftOverBytes, 0);
}

TEST(CodecLib, NullParametersGiveMinus105AndZeroTheCounters) {
    OpenHandle encoder(kCodecDirectionEncode);
    OpenHandle decoder(kCodecDirectionDecode);
    std::int16_t pcm[160] = {};
    std::uint8_t code[20] = {};
    int samples = 160;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm, &samples, nullptr, nullptr, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(samples, 0);
    int bytes = 20;
    EXPECT_EQ(codecLibEncode(&encoder.handle, pcm, nullptr, code, &bytes, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(bytes, 0);
    CodecHandle* none = nullptr;
    samples = 160;
    bytes = 20;
    EXPECT_EQ(codecLibEncode(&none, pcm, &samples, code, &bytes, nullptr, 0), kCodecLibNullParameters);

    bytes = 20;
    EXPECT_EQ(codecLibDecode(&decoder.handle, code, &bytes, pcm, nullptr, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(bytes, 0);
    bytes = 20;
    samples = 160;
    EXPECT_EQ(codecLibDecode(&decoder.handle, nullptr, &bytes, pcm, &samples, nullptr, 0), kCodecLibNullParameters);
    EXPECT_EQ(samples, 0);
}

TEST(CodecLib, AHandleOfTheWrongDirectionFails) {
    OpenHandle decoder(kCodecDirectionDecode);
    OpenHandle encoder(kCodecDirectionEncode);
    std::int16_t pcm[160] = {};
    std::uint8_t code[320] = {};
    int samples = 160;
    // Seen through the decoding side's format, a coded frame is 160 bytes.
    int bytes = 320;
    EXPECT_EQ(codecLibEncode(&decoder.handle, pcm, &samples, code, &bytes, nullptr, 0), 1);
    bytes = 20;
    samples = 160;
    EXPECT_EQ(codecLibDecode(&encoder.handle, code, &bytes, pcm, &samples, nullptr, 0), 1);
    EXPECT_EQ(samples, 0);
}

TEST(CodecLib, ResetStartsTheCoderAfresh) {
    OpenHandle encoder(kCodecDirectionEncode);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(160);
    std::uint8_t out[20];
    int samples = 160;
    int bytes = sizeof out;
    ASSERT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), 0);
    ASSERT_EQ(codecLibEntry(kCodecIdG729)->reset(encoder.handle), 0);
    samples = 160;
    bytes = sizeof out;
    ASSERT_EQ(codecLibEncode(&encoder.handle, pcm.data(), &samples, out, &bytes, nullptr, 0), 0);
    EXPECT_EQ(std::vector<std::uint8_t>(out, out + 20), directEncode(pcm));
}

TEST(CodecLib, DebugLevelAboveThreePrintsProgress) {
    testing::internal::CaptureStdout();
    CodecHandle* handle = nullptr;
    ASSERT_EQ(codecLibOpen(&handle, kCodecIdG729, kCodecDirectionEncode, 4), 0);
    std::int16_t pcm[40] = {};
    std::uint8_t out[10];
    int samples = 40;
    int bytes = sizeof out;
    codecLibEncode(&handle, pcm, &samples, out, &bytes, nullptr, 4);
    codecLibClose(handle, 4);
    const std::string printed = testing::internal::GetCapturedStdout();
    EXPECT_NE(printed.find("In codecLibOpen\n"), std::string::npos);
    EXPECT_NE(printed.find("In codecLibEncode:not enough data\n"), std::string::npos);
    EXPECT_NE(printed.find("In codecLibClose\n"), std::string::npos);

    testing::internal::CaptureStdout();
    ASSERT_EQ(codecLibOpen(&handle, kCodecIdG729, kCodecDirectionEncode, 3), 0);
    codecLibClose(handle, 3);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "");
}

TEST(G729RoundTrip, VoicedSignalComesBackAtASaneSignalToNoiseRatio) {
    OpenHandle encoder(kCodecDirectionEncode);
    OpenHandle decoder(kCodecDirectionDecode);
    const std::vector<std::int16_t> pcm = sim::voicedSignal(8000);
    std::vector<std::int16_t> decoded;
    for (std::size_t i = 0; i < pcm.size(); i += 160) {
        std::uint8_t code[20];
        int samples = 160;
        int bytes = sizeof code;
        ASSERT_EQ(codecLibEncode(&encoder.handle, pcm.data() + i, &samples, code, &bytes, nullptr, 0), 0);
        std::int16_t frame[160];
        samples = 160;
        ASSERT_EQ(codecLibDecode(&decoder.handle, code, &bytes, frame, &samples, nullptr, 0), 0);
        ASSERT_EQ(samples, 160);
        decoded.insert(decoded.end(), frame, frame + 160);
    }
    // The first 100 ms settle. The coder is 40 samples late; a waveform
    // coder it isn't, so some 5 to 7 dB is what a sound path gives on this
    // signal, and a broken one gives below 0.
    const std::vector<std::int16_t> settled(pcm.begin() + 800, pcm.end());
    const std::vector<std::int16_t> out(decoded.begin() + 800, decoded.end());
    EXPECT_EQ(sim::bestDelay(settled, out, 160), 40);
    const double snr = sim::snrDb(settled, out, 40);
    RecordProperty("snr_db", std::to_string(snr));
    EXPECT_GT(snr, 4.5);
}
