#include "voice/codec_lib.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <new>

#include "common/voice_frame.h"
#include "voice/codec_lib_g729.h"

namespace {

std::array<CodecEntry, kCodecTableSize> gCodecTable;
std::atomic<std::uint32_t> gCodecTableMarker{0};
std::once_flag gCodecTableOnce;

// Progress lines for debugging the adaptor, only above level 3.
void debugLine(int debugLevel, const char* format, ...) __attribute__((format(printf, 2, 3)));
void debugLine(int debugLevel, const char* format, ...) {
    if (debugLevel <= 3) return;
    va_list args;
    va_start(args, format);
    std::vprintf(format, args);
    va_end(args);
}

// The most samples one coder frame may produce, a voice frame; the decode
// loop takes each frame through a block of this size so the caller's buffer
// needn't be aligned for 16-bit samples.
constexpr int kMaxFrameSamples = kFrameSamples;

// Fetches the handle's format; false when the handle has no usable codec.
bool describeHandle(const CodecHandle& handle, const CodecEntry*& entry, CodecFormat& format, void* parameterBlock,
                    int debugLevel) {
    entry = codecLibEntry(handle.mCodecId);
    if (entry == nullptr || entry->describe == nullptr) return false;
    return entry->describe(handle.mCodecId, handle.mDirection, &format, parameterBlock, debugLevel) == 0;
}

}  // namespace

int CodecMngInit(int debugLevel) {
    debugLine(debugLevel, "In CodecMngInit\n");
    // Written once, before any handle exists; read-only afterwards.
    std::call_once(gCodecTableOnce, [] {
        gCodecTable.fill(CodecEntry{});
        gCodecTable[kCodecIdG729] = makeG729CodecEntry();
        gCodecTableMarker.store(kCodecTableReady, std::memory_order_release);
    });
    return 0;
}

const CodecEntry* codecLibEntry(int codecId) {
    if (codecId < 0 || codecId >= kCodecTableSize) return nullptr;
    if (gCodecTableMarker.load(std::memory_order_acquire) != kCodecTableReady) return nullptr;
    return &gCodecTable[static_cast<std::size_t>(codecId)];
}

int codecLibOpen(CodecHandle** handleOut, int codecId, int direction, int debugLevel) {
    debugLine(debugLevel, "In codecLibOpen\n");
    if (handleOut == nullptr) return kCodecLibNullParameters;
    *handleOut = nullptr;
    if (gCodecTableMarker.load(std::memory_order_acquire) != kCodecTableReady) CodecMngInit(debugLevel);

    const CodecEntry* entry = codecLibEntry(codecId);
    if (entry == nullptr || entry->open == nullptr) return kCodecLibNoSuchCodec;

    auto* handle = new (std::nothrow) CodecHandle();
    if (handle == nullptr) return 1;
    handle->mCodecId = codecId;
    handle->mDirection = direction;
    handle->mLeftOver.reset(new (std::nothrow) std::uint8_t[kCodecLeftOverCapacity]());
    handle->mScratch.reset(new (std::nothrow) std::int16_t[kCodecEncodeInputCapacity / 2]);
    if (!handle->mLeftOver || !handle->mScratch) {
        delete handle;
        return 1;
    }
    const int opened = entry->open(handle, debugLevel);
    if (opened != 0) {
        // A handle without its coder is of no use: it isn't handed out.
        delete handle;
        return opened;
    }
    debugLine(debugLevel, "codecLibOpen:pointer=%p\n", static_cast<void*>(handle));
    *handleOut = handle;
    return 0;
}

int codecLibClose(CodecHandle* handle, int debugLevel) {
    debugLine(debugLevel, "In codecLibClose\n");
    if (handle == nullptr) return 0;
    const CodecEntry* entry = codecLibEntry(handle->mCodecId);
    if (entry != nullptr && entry->close != nullptr) entry->close(handle, debugLevel);
    delete handle;
    return 0;
}

int codecLibEncode(CodecHandle** handlePointer, const void* input, int* samplesIn, void* output, int* bytesOut,
                   void* parameterBlock, int debugLevel) {
    debugLine(debugLevel, "In codecLibEncode\n");
    CodecHandle* handle = handlePointer != nullptr ? *handlePointer : nullptr;
    // A missing handle or input, or a negative count, is as unusable as a
    // missing counter.
    if (samplesIn == nullptr || bytesOut == nullptr || output == nullptr || handle == nullptr || *samplesIn < 0 ||
        *bytesOut < 0 || (input == nullptr && *samplesIn > 0)) {
        if (samplesIn != nullptr) *samplesIn = 0;
        if (bytesOut != nullptr) *bytesOut = 0;
        debugLine(debugLevel, "codecLibEncode: NULL parameters\n");
        return kCodecLibNullParameters;
    }
    const CodecEntry* entry = nullptr;
    CodecFormat format;
    if (!describeHandle(*handle, entry, format, parameterBlock, debugLevel) || entry->encode == nullptr) {
        return kCodecLibNoSuchCodec;
    }
    const int frameSamples = format.mInput.mBytesPerFrame / 2;
    const int frameBytes = format.mOutput.mBytesPerFrame;
    if (frameSamples < 1 || frameBytes < 1) return kCodecLibNoSuchCodec;
    debugLine(debugLevel, "codecLibEncode:InSamplesPerFrame=%d OutBytesPerFrame=%d\n", frameSamples, frameBytes);

    const long long left = handle->mLeftOverBytes / 2;
    const long long total = left + *samplesIn;
    if (total < frameSamples) {
        debugLine(debugLevel, "In codecLibEncode:not enough data\n");
        if (total * 2 > kCodecLeftOverCapacity) return kCodecLibInputTooLarge;
        if (*samplesIn > 0) {
            std::memcpy(handle->mLeftOver.get() + handle->mLeftOverBytes, input,
                        static_cast<std::size_t>(*samplesIn) * 2);
        }
        handle->mLeftOverBytes = static_cast<int>(total * 2);
        *bytesOut = 0;
        return 0;
    }
    if (*bytesOut < frameBytes) return kCodecLibEncodeNoRoom;
    debugLine(debugLevel, "In codecLibEncode:enough data\n");

    // What doesn't fit the scratch block, or would be left over beyond the
    // left-over block, is refused before anything is coded.
    const long long frames = std::min<long long>(total / frameSamples, *bytesOut / frameBytes);
    const long long remainder = total - frames * frameSamples;
    if (total * 2 > kCodecEncodeInputCapacity || remainder * 2 > kCodecLeftOverCapacity) {
        return kCodecLibInputTooLarge;
    }
    std::int16_t* scratch = handle->mScratch.get();
    std::memcpy(scratch, handle->mLeftOver.get(), static_cast<std::size_t>(handle->mLeftOverBytes));
    if (*samplesIn > 0) std::memcpy(scratch + left, input, static_cast<std::size_t>(*samplesIn) * 2);
    debugLine(debugLevel, "codecLibEncode:InsideInBufSz=%d TmpInputSz=%d\n", handle->mLeftOverBytes,
              static_cast<int>(total * 2));

    auto* out = static_cast<std::uint8_t*>(output);
    long long remaining = total;
    long long position = 0;
    int outputBytes = 0;
    int failure = 0;
    while (remaining >= frameSamples && outputBytes + frameBytes <= *bytesOut) {
        int produced = *bytesOut - outputBytes;
        const int result =
            entry->encode(handle, scratch + position, out + outputBytes, &produced, parameterBlock, debugLevel);
        if (result != 0) failure = result;
        remaining -= frameSamples;
        position += frameSamples;
        outputBytes += std::clamp(produced, 0, *bytesOut - outputBytes);
        debugLine(debugLevel, "In codecLibEncode:2SumOutputSz=%d TmpInputSz = %d\n", outputBytes,
                  static_cast<int>(remaining * 2));
    }
    if (failure != 0) return failure;

    std::memcpy(handle->mLeftOver.get(), scratch + position, static_cast<std::size_t>(remaining) * 2);
    handle->mLeftOverBytes = static_cast<int>(remaining * 2);
    debugLine(debugLevel, "In codecLibEncode:InputLeftOverSize = %d\n", handle->mLeftOverBytes);
    *bytesOut = outputBytes;
    return 0;
}

int codecLibDecode(CodecHandle** handlePointer, const void* input, int* bytesIn, void* output, int* samplesOut,
                   void* parameterBlock, int debugLevel) {
    debugLine(debugLevel, "In codecLibDecode\n");
    CodecHandle* handle = handlePointer != nullptr ? *handlePointer : nullptr;
    if (bytesIn == nullptr || samplesOut == nullptr || output == nullptr || handle == nullptr || *bytesIn < 0 ||
        *samplesOut < 0 || (input == nullptr && *bytesIn > 0)) {
        if (bytesIn != nullptr) *bytesIn = 0;
        if (samplesOut != nullptr) *samplesOut = 0;
        debugLine(debugLevel, "codecLibDecode: NULL parameters\n");
        return kCodecLibNullParameters;
    }
    const CodecEntry* entry = nullptr;
    CodecFormat format;
    if (!describeHandle(*handle, entry, format, parameterBlock, debugLevel) || entry->decode == nullptr) {
        return kCodecLibNoSuchCodec;
    }
    const int frameSamples = format.mOutput.mBytesPerFrame / 2;
    if (frameSamples < 1 || frameSamples > kMaxFrameSamples) return kCodecLibNoSuchCodec;

    const long long total = static_cast<long long>(*bytesIn) + handle->mLeftOverBytes;
    if (total > kCodecLeftOverCapacity) return kCodecLibInputTooLarge;
    if (*samplesOut < frameSamples) return kCodecLibDecodeNoRoom;
    debugLine(debugLevel, "codecLibDecode:enough data\n");

    static_assert(kCodecLeftOverCapacity <= kCodecEncodeInputCapacity);
    auto* scratch = reinterpret_cast<std::uint8_t*>(handle->mScratch.get());
    std::memcpy(scratch, handle->mLeftOver.get(), static_cast<std::size_t>(handle->mLeftOverBytes));
    if (*bytesIn > 0) std::memcpy(scratch + handle->mLeftOverBytes, input, static_cast<std::size_t>(*bytesIn));
    debugLine(debugLevel, "codecLibDecode:InsideInBufSz=%d TmpInputSz=%d\n", handle->mLeftOverBytes,
              static_cast<int>(total));

    auto* out = static_cast<std::uint8_t*>(output);
    int remaining = static_cast<int>(total);
    int position = 0;
    int samples = 0;
    int result = 0;
    bool inputEnded = false;
    while (samples + frameSamples <= *samplesOut) {
        std::int16_t frame[kMaxFrameSamples];
        int used = 0;
        int produced = 0;
        const int decoded =
            entry->decode(handle, scratch + position, remaining, &used, frame, &produced, parameterBlock, debugLevel);
        if (decoded != 0) result = decoded;
        used = std::clamp(used, 0, remaining);
        produced = std::clamp(produced, 0, frameSamples);
        std::memcpy(out + static_cast<std::size_t>(samples) * 2, frame, static_cast<std::size_t>(produced) * 2);
        position += used;
        remaining -= used;
        samples += produced;
        debugLine(debugLevel, "codecLibDecode:2SumOutputSz=%d TmpInputSz = %d inputUsed=%d\n", samples * 2, remaining,
                  used);
        if (remaining < 1 || used < 1) {
            inputEnded = true;
            break;
        }
    }
    if (!inputEnded && remaining > 0) result = kCodecLibOutputFull;

    std::memmove(handle->mLeftOver.get(), scratch + position, static_cast<std::size_t>(remaining));
    handle->mLeftOverBytes = remaining;
    debugLine(debugLevel, "codecLibDecode:InputLeftOverSize = %d\n", remaining);
    *samplesOut = samples;
    return result;
}
