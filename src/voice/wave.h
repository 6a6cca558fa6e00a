// The voice engine: 20 ms frames of 16-bit PCM into RTP packets and back.
// The send path runs on the caller's thread; a receive thread decodes each
// packet on arrival into the jitter Buffer, and the playout caller takes
// frames out through concealment.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "common/module.h"
#include "common/payload_type.h"
#include "common/voice_frame.h"
#include "platform/clock.h"
#include "platform/event.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"
#include "voice/buffer.h"
#include "voice/receive_probation.h"
#include "voice/rtp_port.h"

class G711;
class PLC;
class RTP;
struct CodecHandle;
struct RtpHeader;
struct RtpPacket;

class Wave : public Module {
public:
    // The voice exports still name the frame through Wave.
    static constexpr int kFrameBytes = ::kFrameBytes;
    // One byte per sample for G.711; two 10-byte frames for G.729.
    static constexpr int kG711PayloadBytes = kFrameSamples;
    static constexpr int kG729PayloadBytes = 20;
    // Room the caller of receiveVoice gives: a catch-up burst fills up to 8
    // frames.
    static constexpr int kReceiveRoomBytes = 10 * kFrameBytes;

    // Until the first media description sets a payload type, frames are
    // dropped.
    static constexpr std::int32_t kCodecUndefined = -1;

    // What payload type 9 sends, and plays whatever arrives.
    static constexpr std::uint8_t kG722FillerByte = 0xFA;
    static constexpr std::int16_t kG722Pattern[20] = {-3856, -3856, -3856, -3856, -3856, -3856, -3856,
                                                      -3856, -3856, -3856, -2688, -2560, -2304, -1440,
                                                      -768,  -376,  -1184, -2112, -2368, -2560};

    // `localPort` is the port the session binds (0: the system's choice);
    // `clock` gives the arrival times of received packets.
    explicit Wave(std::uint16_t localPort = kRtpPort, const platform::Clock& clock = platform::systemClock());
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
    // The payload type of both paths and of outgoing packets; a value that
    // isn't a PayloadType drops frames.
    int setCodec(std::int32_t codec);
    int setCodec(PayloadType codec) { return setCodec(toInt(codec)); }
    // 0 selects the standard A-law expansion, anything else the default one
    // 6 dB lower.
    void setAlaw(std::int32_t flag);
    // Gate between the decoder and the Buffer: closed, packets are decoded
    // and dropped.
    int setVoiceActive(bool active);
    // Throws away queued frames and makes playout wait for a new fill; the
    // next packet received starts the stream.
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
    // number if the packet continues the stream (receive_probation.h).
    // 0 stored, or held until its run is confirmed; 1 dropped.
    int storePacket(const RtpPacket& packet, std::uint32_t arrivalMs);

    bool voiceActive() const { return mVoiceActive.load(); }
    std::int32_t codec() const { return mCodec.load(); }
    std::int32_t alawShift() const { return mAlawShift.load(); }
    bool sessionRunning() const { return mThreadId.load() != 0; }
    // The port the session's socket is bound to; 0 without a session.
    std::uint16_t boundPort() const;
    // RTP packets the receive thread has taken in, stored or dropped.
    std::uint32_t packetsReceived() const { return mPacketsReceived.load(); }
    // True once `count` packets have been taken in, within `timeoutMs`.
    bool waitForPacketsReceived(std::uint32_t count, unsigned timeoutMs) const;

private:
    class PathUse;

    void receiveThread();
    bool decode(std::int32_t codec, const std::uint8_t* payload, std::int32_t payloadLength, std::int16_t* frame);
    void closeCodecHandles();
    int followStream(VoiceFramePtr frame, const RtpHeader& header, std::uint32_t arrivalMs);
    int putFrame(VoiceFramePtr& frame, std::uint16_t sequence, std::uint32_t timestamp, std::uint32_t arrivalMs);
    void dropHeld();

    const std::uint16_t mLocalPort;
    const platform::Clock& mClock;
    mutable platform::RecursiveLock mLock;  // the lifecycle and the setters
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
    mutable platform::ManualResetEvent mPacketTaken;
    // The stream the receive path follows and the frames of a run on
    // probation. The lock makes a reset and a packet taken in exclude each
    // other, so that no frame of the last call lands in a Buffer reset for
    // the next. It is taken under mLock, never the other way round.
    platform::RecursiveLock mStreamLock;
    ReceiveProbation mProbation;
    struct HeldFrame {
        VoiceFramePtr frame;
        std::uint16_t sequence = 0;
        std::uint32_t timestamp = 0;
        std::uint32_t arrivalMs = 0;
    };
    std::array<HeldFrame, ReceiveProbation::kConfirmingPackets - 1> mHeld;
    int mHeldCount = 0;
    CodecHandle* mEncoder = nullptr;  // used by the send path only
    CodecHandle* mDecoder = nullptr;  // used by the receive thread only

    // The paths run without the lock; shutdown closes this gate and waits
    // for the paths inside to leave before it frees what they use.
    std::atomic<bool> mPartsReady{false};
    std::atomic<int> mPathsInside{0};
};
