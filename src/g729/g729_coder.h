// The G.729 speech coder at 8 kbit/s: one channel per direction, voice
// activity detection off, 80 samples of PCM against a 10-byte frame.
#pragma once

#include <cstdint>
#include <memory>

struct bcg729EncoderChannelContextStruct_struct;
struct bcg729DecoderChannelContextStruct_struct;

namespace g729 {

constexpr int kFrameSamples = 80;
constexpr int kFrameBytes = 10;
// Room a caller gives for one coded frame: the largest frame any mode of
// the coder family produces.
constexpr int kLargestFrameBytes = 15;

// Frame types at the boundary between coder and adaptor; the size of a
// frame names its type.
enum FrameType : int {
    kFrameNoTransmission = 0,
    kFrameSilenceDescription = 1,
    kFrameAnnexD = 2,
    kFrameG729 = 3,
    kFrameAnnexE = 4,
};

// The type of a frame of `bytes` bytes: 0 bytes type 0, 2 type 1, 8 type 2,
// 10 type 3, 15 type 4; -1 for a size no type has.
int frameTypeForBytes(int bytes);

class Encoder {
public:
    // Null when the coder's state can't be made.
    static std::unique_ptr<Encoder> create();
    ~Encoder();
    Encoder(const Encoder&) = delete;
    Encoder& operator=(const Encoder&) = delete;

    // Codes 80 samples into `frame`, which has room for kLargestFrameBytes.
    // Result: the bytes written, as the coder reports them.
    int encode(const std::int16_t* samples, std::uint8_t* frame);

private:
    explicit Encoder(bcg729EncoderChannelContextStruct_struct* channel) : mChannel(channel) {}
    bcg729EncoderChannelContextStruct_struct* mChannel;
};

class Decoder {
public:
    static std::unique_ptr<Decoder> create();
    ~Decoder();
    Decoder(const Decoder&) = delete;
    Decoder& operator=(const Decoder&) = delete;

    // Decodes one 10-byte frame into 80 samples.
    void decode(const std::uint8_t* frame, std::int16_t* samples);

private:
    explicit Decoder(bcg729DecoderChannelContextStruct_struct* channel) : mChannel(channel) {}
    bcg729DecoderChannelContextStruct_struct* mChannel;
};

}  // namespace g729
