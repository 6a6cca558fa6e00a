#include "voice/codec_lib_g729.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "g729/g729_coder.h"

namespace {

// The coder's object behind a handle: one coder state for its direction.
struct G729Object {
    std::unique_ptr<g729::Encoder> encoder;
    std::unique_ptr<g729::Decoder> decoder;
};

G729Object* objectOf(CodecHandle* handle) {
    return static_cast<G729Object*>(handle->mCoder);
}

void fillStream(CodecStreamFormat& stream, int bytesPerSecond, int bytesPerFrame, int sampleRate, int bitsPerSample,
                int samplesPerFrame) {
    stream.mChannels = 1;
    stream.mBytesPerSecond = bytesPerSecond;
    stream.mBytesPerFrame = bytesPerFrame;
    stream.mSampleRate = sampleRate;
    stream.mBitsPerSample = bitsPerSample;
    stream.mSamplesPerFrame = samplesPerFrame;
    stream.mFrameTimeMs = 10;
}

int g729Describe(int, int direction, CodecFormat* format, void*, int) {
    if (format == nullptr || (direction != kCodecDirectionEncode && direction != kCodecDirectionDecode)) return 1;
    *format = CodecFormat{};
    std::strcpy(format->mName, "G729");
    std::strcpy(format->mBitRateName, "8KBPS");
    std::strcpy(format->mTransportName, "RTP");
    std::strcpy(format->mMimeType, "audio/G729");
    format->mNumericTags[0] = 307;
    format->mNumericTags[1] = 4;
    const int pcmFrameBytes = g729::kFrameSamples * 2;
    if (direction == kCodecDirectionEncode) {
        fillStream(format->mInput, 16000, pcmFrameBytes, 8000, 16, g729::kFrameSamples);
        fillStream(format->mOutput, 1000, g729::kFrameBytes, 0, 0, 0);
    } else {
        fillStream(format->mInput, 1000, g729::kFrameBytes, 8000, 0, 10);
        fillStream(format->mOutput, 16000, pcmFrameBytes, 8000, 16, g729::kFrameSamples);
    }
    return 0;
}

int g729Open(CodecHandle* handle, int) {
    if (handle == nullptr) return 1;
    if (handle->mDirection != kCodecDirectionEncode && handle->mDirection != kCodecDirectionDecode) return 1;
    std::unique_ptr<G729Object> object(new (std::nothrow) G729Object());
    if (!object) return 1;
    if (handle->mDirection == kCodecDirectionEncode) {
        object->encoder = g729::Encoder::create();
        if (!object->encoder) return 1;
    } else {
        object->decoder = g729::Decoder::create();
        if (!object->decoder) return 1;
    }
    handle->mCoder = object.release();
    return 0;
}

int g729Close(CodecHandle* handle, int) {
    if (handle == nullptr) return 1;
    delete objectOf(handle);
    handle->mCoder = nullptr;
    return 0;
}

int g729Reset(CodecHandle* handle) {
    g729Close(handle, 0);
    return g729Open(handle, 0);
}

int g729Encode(CodecHandle* handle, const std::int16_t* samples, std::uint8_t* output, int* bytesOut, void*, int) {
    if (bytesOut == nullptr) return 1;
    const int room = *bytesOut;
    *bytesOut = 0;
    if (handle == nullptr || handle->mDirection != kCodecDirectionEncode) return 1;
    G729Object* object = objectOf(handle);
    if (object == nullptr || !object->encoder) return 1;
    if (samples == nullptr) return 0;

    std::uint8_t frame[g729::kLargestFrameBytes];
    const int length = object->encoder->encode(samples, frame);
    if (g729::frameTypeForBytes(length) < 0) {
        // Only a fault in the coder gets here; the call fails, the process
        // goes on.
        std::fputs("Unrecognized frame type\n", stdout);
        return kCodecLibUnrecognizedFrameType;
    }
    if (length > room) return kCodecLibEncodeNoRoom;
    std::memcpy(output, frame, static_cast<std::size_t>(length));
    *bytesOut = length;
    return 0;
}

int g729Decode(CodecHandle* handle, const std::uint8_t* input, int bytesAvailable, int* bytesUsed, std::int16_t* output,
               int* samplesOut, void*, int) {
    if (bytesUsed == nullptr || samplesOut == nullptr) return 1;
    *bytesUsed = 0;
    *samplesOut = 0;
    if (handle == nullptr || handle->mDirection != kCodecDirectionDecode) return 1;
    G729Object* object = objectOf(handle);
    if (object == nullptr || !object->decoder) return 1;
    // Fewer bytes than a frame wait in the left-over block for the next call.
    if (input == nullptr || output == nullptr || bytesAvailable < g729::kFrameBytes) return 0;
    object->decoder->decode(input, output);
    *bytesUsed = g729::kFrameBytes;
    *samplesOut = g729::kFrameSamples;
    return 0;
}

}  // namespace

CodecEntry makeG729CodecEntry() {
    CodecEntry entry;
    entry.open = g729Open;
    entry.close = g729Close;
    entry.reset = g729Reset;
    entry.encode = g729Encode;
    entry.decode = g729Decode;
    entry.describe = g729Describe;
    return entry;
}
