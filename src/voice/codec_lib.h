// codecLib: the codec manager between Wave and the speech coders. It takes
// byte streams of any length, cuts them into whole codec frames, keeps what
// is left over for the next call and reaches the coder through a table.
#pragma once

#include <cstdint>
#include <memory>

// Results of the four calls besides 0.
constexpr int kCodecLibNoSuchCodec = -100;
constexpr int kCodecLibNullParameters = -105;
constexpr int kCodecLibEncodeNoRoom = -110;
constexpr int kCodecLibDecodeNoRoom = -210;
constexpr int kCodecLibInputTooLarge = -211;
constexpr int kCodecLibOutputFull = -10;
// The coder gave a frame whose type the adaptor doesn't know: a coder fault,
// reported instead of ending the process.
constexpr int kCodecLibUnrecognizedFrameType = -1;

constexpr int kCodecTableSize = 30;
constexpr int kCodecIdG729 = 16;
constexpr int kCodecDirectionEncode = 0;
constexpr int kCodecDirectionDecode = 1;
constexpr std::uint32_t kCodecTableReady = 0xDEF100;
// Input a handle keeps between calls, and the most one decode call takes.
constexpr int kCodecLeftOverCapacity = 16384;
// The most PCM one encode call takes, left-over included.
constexpr int kCodecEncodeInputCapacity = 32768;

struct CodecHandle {
    void* mCoder = nullptr;  // the coder's object, owned by the table entry
    std::int32_t mCodecId = 0;
    std::int32_t mDirection = 0;
    std::unique_ptr<std::uint8_t[]> mLeftOver;  // kCodecLeftOverCapacity bytes
    std::int32_t mLeftOverBytes = 0;
    // Where each call joins the left-over and its input: 32 KiB, of which
    // decoding uses the first 16 KiB. Kept here, off the caller's stack.
    std::unique_ptr<std::int16_t[]> mScratch;  // kCodecEncodeInputCapacity bytes
};

struct CodecStreamFormat {
    std::int32_t mChannels = 0;
    std::int32_t mBytesPerSecond = 0;
    std::int32_t mBytesPerFrame = 0;
    std::int32_t mSampleRate = 0;
    std::int32_t mBitsPerSample = 0;
    std::int32_t mSamplesPerFrame = 0;
    std::int32_t mFrameTimeMs = 0;
};

struct CodecFormat {
    char mName[16] = {};
    char mBitRateName[16] = {};
    char mTransportName[16] = {};
    char mMimeType[32] = {};
    std::int32_t mNumericTags[2] = {};
    CodecStreamFormat mInput;
    CodecStreamFormat mOutput;
};

// One codec of the table. The slots' order is fixed; slot 5 has no use.
struct CodecEntry {
    int (*open)(CodecHandle* handle, int debugLevel) = nullptr;
    int (*close)(CodecHandle* handle, int debugLevel) = nullptr;
    int (*reset)(CodecHandle* handle) = nullptr;
    // One frame: `*bytesOut` holds the room on entry and the bytes written on
    // return. 0, or non-zero for a handle of the wrong direction or a fault.
    int (*encode)(CodecHandle* handle, const std::int16_t* samples, std::uint8_t* output, int* bytesOut,
                  void* parameterBlock, int debugLevel) = nullptr;
    // One frame out of `bytesAvailable` bytes; fewer than a frame's worth are
    // left alone (`*bytesUsed` 0). 0, or non-zero as for encode.
    int (*decode)(CodecHandle* handle, const std::uint8_t* input, int bytesAvailable, int* bytesUsed,
                  std::int16_t* output, int* samplesOut, void* parameterBlock, int debugLevel) = nullptr;
    void* unused = nullptr;
    int (*describe)(int codecId, int direction, CodecFormat* format, void* parameterBlock, int debugLevel) = nullptr;
};

// Sets up the table; runs by itself at the first open. Result 0.
int CodecMngInit(int debugLevel);
// The table's entry for `codecId`, null outside 0 to 29 or before set-up.
const CodecEntry* codecLibEntry(int codecId);

// 0 opened; -100 no such codec; -105 no `handleOut`; 1 the coder can't be
// made or the direction is neither 0 nor 1. `*handleOut` is null on failure.
int codecLibOpen(CodecHandle** handleOut, int codecId, int direction, int debugLevel);
// Destroys the coder and the handle. Result 0. The caller clears its pointer.
int codecLibClose(CodecHandle* handle, int debugLevel);
// `*samplesIn` 16-bit samples from `input`; `*bytesOut` is the room in
// `output` on entry and the bytes produced on return.
int codecLibEncode(CodecHandle** handle, const void* input, int* samplesIn, void* output, int* bytesOut,
                   void* parameterBlock, int debugLevel);
// `*bytesIn` bytes from `input`; `*samplesOut` is the room in `output`, in
// samples, on entry and the samples produced on return.
int codecLibDecode(CodecHandle** handle, const void* input, int* bytesIn, void* output, int* samplesOut,
                   void* parameterBlock, int debugLevel);
