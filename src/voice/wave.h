// The voice engine: 20 ms frames of 16-bit PCM into RTP packets and back.
// The send path runs on the caller's thread; a receive thread decodes each
// packet on arrival into the jitter Buffer, and the playout caller takes
// frames out through concealment.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/module.h"
#include "platform/clock.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"

class Buffer;
class G711;
class PLC;
class RTP;
struct CodecHandle;
struct RtpPacket;

class Wave : public Module {
public:
    // One voice frame: 160 samples at 8000 Hz, 20 ms.
    static constexpr int kFrameBytes = 320;
    static constexpr int kFrameSamples = 160;
    static constexpr int kG711PayloadBytes = 160;
    static constexpr int kG729PayloadBytes = 20;
    // Room the caller of receiveVoice gives: a catch-up burst fills up to 8
    // frames.
    static constexpr int kReceiveRoomBytes = 3200;

    // Payload types; each also selects the conversion on both paths.
    static constexpr std::int32_t kCodecPcmu = 0;
    static constexpr std::int32_t kCodecPcma = 8;
    static constexpr std::int32_t kCodecG722 = 9;  // filler only: no such coder exists here
    static constexpr std::int32_t kCodecG729 = 18;
    // Until the first media description sets one, frames are dropped.
    static constexpr std::int32_t kCodecUndefined = -1;

    // What payload type 9 sends, and plays whatever arrives.
    static constexpr std::uint8_t kG722FillerByte = 0xFA;
    static constexpr std::int16_t kG722Pattern[20] = {-3856, -3856, -3856, -3856, -3856, -3856, -3856,
                                                      -3856, -3856, -3856, -2688, -2560, -2304, -1440,
                                                      -768,  -376,  -1184, -2112, -2368, -2560};

    // `clock` gives the arrival times of received packets.
    explicit Wave(const platform::Clock& clock = platform::systemClock());
    ~Wave() override;
    Wave(const Wave&) = delete;
    Wave& operator=(const Wave&) = delete;

    // Creates Buffer, RTP, G.711, PLC and the two G.729 handles.
    int start() override;
    // Stops the session, waits for the paths to leave, frees the parts.
    // Safe to call repeatedly.
    int shutdown() override;

    // Binds the RTP socket and starts the receive thread. 1 when RTP isn't
    // started or the socket can't be opened (no remote address, port taken).
    int startSession();
    // Ends the receive thread (woken by closing the socket, then joined) and
    // closes the socket.
    int stopSession();

    // Forwarded to RTP; ports in host order, the low 16 bits count.
    int setRemotePort(std::int32_t port);
    int setLocalPort(std::int32_t port);
    int setRemoteAddress(std::uint32_t address);
    // The payload type of both paths and of outgoing packets.
    int setCodec(std::int32_t codec);
    // 0 selects the standard A-law expansion, anything else the default one
    // 6 dB lower.
    void setAlaw(std::int32_t flag);
    // Gate between the decoder and the Buffer: closed, packets are decoded
    // and dropped.
    int setVoiceActive(bool active);
    // Throws away queued frames and makes playout wait for a new fill.
    int resetBuffer();

    // The send path: one frame, `*length` must be 320. 0 sent, 1 dropped
    // (not started, unknown codec, no memory).
    int sendVoice(const void* pcm, const int* length);
    // The playout side: `pcm` has room for kReceiveRoomBytes; `*length`
    // receives the bytes given, 0 when there is nothing to play. Every
    // frame out has passed through concealment. `size` isn't read. Result 0.
    int receiveVoice(void* pcm, const int* size, int* length);

    // The receive thread's work for one packet: decode by the session's
    // codec and, while voice is active, store the frame by its sequence
    // number. 0 stored; 1 dropped.
    int storePacket(const RtpPacket& packet, std::uint32_t arrivalMs);

    bool voiceActive() const { return mVoiceActive.load(); }
    std::int32_t codec() const { return mCodec.load(); }
    std::int32_t alawShift() const { return mAlawShift.load(); }
    bool sessionRunning() const { return mThreadId.load() != 0; }
    // RTP packets the receive thread has taken in, stored or dropped.
    std::uint32_t packetsReceived() const { return mPacketsReceived.load(); }

private:
    class PathUse;

    void receiveThread();
    bool decode(std::int32_t codec, const std::uint8_t* payload, std::int32_t payloadLength, std::int16_t* frame);
    void closeCodecHandles();

    const platform::Clock& mClock;
    platform::RecursiveLock mLock;  // the lifecycle and the setters
    std::atomic<bool> mVoiceActive{false};
    std::unique_ptr<Buffer> mBuffer;
    std::unique_ptr<RTP> mRtp;
    std::unique_ptr<G711> mG711;
    std::unique_ptr<PLC> mPlc;
    std::unique_ptr<platform::Thread> mThread;
    std::atomic<std::uint32_t> mThreadId{0};
    std::atomic<std::int32_t> mCodec{kCodecUndefined};
    std::atomic<std::int32_t> mAlawShift{3};
    std::atomic<std::uint32_t> mPacketsReceived{0};
    CodecHandle* mEncoder = nullptr;  // used by the send path only
    CodecHandle* mDecoder = nullptr;  // used by the receive thread only

    // The paths run without the lock; shutdown closes this gate and waits
    // for the paths inside to leave before it frees what they use.
    std::atomic<bool> mPartsReady{false};
    std::atomic<int> mPathsInside{0};
};
