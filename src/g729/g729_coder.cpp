#include "g729/g729_coder.h"

// The coder library's headers declare C functions without saying so.
extern "C" {
#include <bcg729/decoder.h>
#include <bcg729/encoder.h>
}

#include <new>

namespace g729 {

int frameTypeForBytes(int bytes) {
    switch (bytes) {
        case 0:
            return kFrameNoTransmission;
        case 2:
            return kFrameSilenceDescription;
        case 8:
            return kFrameAnnexD;
        case 10:
            return kFrameG729;
        case 15:
            return kFrameAnnexE;
        default:
            return -1;
    }
}

std::unique_ptr<Encoder> Encoder::create() {
    // Every frame is sent: no voice activity detection, so no silence frames.
    bcg729EncoderChannelContextStruct* channel = initBcg729EncoderChannel(0);
    if (channel == nullptr) return nullptr;
    std::unique_ptr<Encoder> encoder(new (std::nothrow) Encoder(channel));
    if (!encoder) closeBcg729EncoderChannel(channel);
    return encoder;
}

Encoder::~Encoder() {
    closeBcg729EncoderChannel(mChannel);
}

int Encoder::encode(const std::int16_t* samples, std::uint8_t* frame) {
    std::uint8_t length = 0;
    bcg729Encoder(mChannel, samples, frame, &length);
    return length;
}

std::unique_ptr<Decoder> Decoder::create() {
    bcg729DecoderChannelContextStruct* channel = initBcg729DecoderChannel();
    if (channel == nullptr) return nullptr;
    std::unique_ptr<Decoder> decoder(new (std::nothrow) Decoder(channel));
    if (!decoder) closeBcg729DecoderChannel(channel);
    return decoder;
}

Decoder::~Decoder() {
    closeBcg729DecoderChannel(mChannel);
}

void Decoder::decode(const std::uint8_t* frame, std::int16_t* samples) {
    // A lost packet never reaches the decoder: concealment works on PCM
    // behind the jitter buffer, so no erasure is ever signalled here.
    bcg729Decoder(mChannel, frame, kFrameBytes, 0, 0, 0, samples);
}

}  // namespace g729
