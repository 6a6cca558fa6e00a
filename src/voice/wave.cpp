#include "voice/wave.h"

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

#include "common/tracer.h"
#include "platform/socket_error.h"
#include "voice/buffer.h"
#include "voice/codec_lib.h"
#include "voice/g711.h"
#include "voice/plc.h"
#include "voice/rtp.h"
#include "voice/rtp_header.h"

// One use of the parts by a path that runs without the lock. Entering
// before the gate check, and leaving after, lets shutdown wait for it.
class Wave::PathUse {
public:
    explicit PathUse(Wave& wave) : mWave(wave) {
        mWave.mPathsInside.fetch_add(1);
        mAdmitted = mWave.mPartsReady.load();
    }
    ~PathUse() { mWave.mPathsInside.fetch_sub(1); }
    PathUse(const PathUse&) = delete;
    PathUse& operator=(const PathUse&) = delete;
    explicit operator bool() const { return mAdmitted; }

private:
    Wave& mWave;
    bool mAdmitted = false;
};

namespace {

// A frame as 160 aligned samples: the client's blocks needn't be aligned.
struct Samples {
    std::int16_t data[kFrameSamples];
};

// What payload type 9 sends, and plays whatever arrives: no G.722 coder
// exists.
constexpr std::uint8_t kG722FillerByte = 0xFA;
constexpr std::int16_t kG722Pattern[20] = {-3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856, -3856,
                                           -2688, -2560, -2304, -1440, -768,  -376,  -1184, -2112, -2368, -2560};

// The receive thread's priority, settled between the thread and
// startSession before the thread's loop begins.
struct PriorityHandshake {
    std::atomic<bool> raised{false};
    platform::ManualResetEvent settled;
    platform::ManualResetEvent resumed;
};
// Bound on each side of the handshake; a thread that isn't scheduled in
// that time counts as a failed priority change.
constexpr unsigned kHandshakeMs = 2000;

}  // namespace

Wave::Wave(std::uint16_t localPort, const platform::Clock& clock) : mLocalPort(localPort), mClock(clock) {
    Tracer::instance()->trace(kTraceStatus, "[WAVE] Module created");
}

Wave::~Wave() {
    shutdown();
    Tracer::instance()->trace(kTraceStatus, "[WAVE] Module destroyed");
}

int Wave::start() {
    platform::LockGuard guard(mLock);
    const char* failure = nullptr;
    if (!mBuffer) {
        mBuffer.reset(new (std::nothrow) Buffer());
        if (!mBuffer || mBuffer->start() != 0) failure = "[WAVE :: CRITICAL ERROR] Object creation failed - Buffer";
    }
    if (failure == nullptr && !mRtp) {
        mRtp.reset(new (std::nothrow) RTP(mLocalPort));
        if (!mRtp || mRtp->start() != 0) failure = "[WAVE :: CRITICAL ERROR] Object creation failed - RTP";
    }
    if (failure == nullptr && !mG711) {
        mG711.reset(new (std::nothrow) G711());
        if (!mG711) failure = "[WAVE :: CRITICAL ERROR] Object creation failed - G.711 codec";
    }
    if (failure == nullptr && !mPlc) {
        mPlc.reset(new (std::nothrow) PLC());
        if (!mPlc) failure = "[WAVE :: CRITICAL ERROR] Object creation failed - PLC";
    }
    if (failure == nullptr && mEncoder == nullptr &&
        codecLibOpen(&mEncoder, kCodecIdG729, kCodecDirectionEncode, 0) != 0) {
        failure = "[WAVE :: CRITICAL ERROR] Codec Library Open Failed - G.729 codec Encode";
    }
    if (failure == nullptr && mDecoder == nullptr &&
        codecLibOpen(&mDecoder, kCodecIdG729, kCodecDirectionDecode, 0) != 0) {
        failure = "[WAVE :: CRITICAL ERROR] Codec Library Open Failed - G.729 codec Decode";
    }
    if (failure != nullptr) {
        Tracer::instance()->trace(kTraceCritical, "%s", failure);
        shutdown();
        return 1;
    }
    mPartsReady = true;
    return 0;
}

int Wave::shutdown() {
    platform::LockGuard guard(mLock);
    if (mThread) {
        stopSession();
        Tracer::instance()->trace(kTraceStatus, "[WAVE] Module shutdown");
    }
    // The send and playout paths take no lock: they are let out before
    // anything they use is freed. Each is a bounded piece of work.
    mPartsReady = false;
    while (mPathsInside.load() != 0) platform::sleepMs(1);

    if (mRtp) {
        mRtp->shutdown();
        mRtp.reset();
    }
    if (mBuffer) {
        mBuffer->shutdown();
        mBuffer.reset();
    }
    {
        platform::LockGuard stream(mStreamLock);
        mProbation.forget();
        dropHeld();
    }
    mG711.reset();
    mPlc.reset();
    closeCodecHandles();
    return 0;
}

void Wave::closeCodecHandles() {
    codecLibClose(mEncoder, 0);
    mEncoder = nullptr;
    codecLibClose(mDecoder, 0);
    mDecoder = nullptr;
}

int Wave::startSession() {
    platform::LockGuard guard(mLock);
    if (!mRtp || mRtp->isStopped()) return 1;
    // A second start begins afresh instead of leaving a thread behind.
    if (mThread) stopSession();
    if (mRtp->remoteAddress() == 0) return 1;
    if (mRtp->open(mRtp->makeSsrc()) != 0) {
        // Without its port the terminal registers and takes calls that carry
        // no voice: say which port, since nothing else will.
        Tracer::instance()->trace(kTraceCritical,
                                  "[WAVE :: CRITICAL ERROR] Session start failed - RTP port %u can't be opened (error "
                                  "%d): no voice will flow",
                                  static_cast<unsigned>(mRtp->localPort()), platform::lastSocketError());
        return 1;
    }

    // The thread raises its own priority first thing and reports back
    // before its loop may begin, so the priority is settled, and its
    // failure traced here, before the thread does any work.
    auto priority = std::make_shared<PriorityHandshake>();
    auto thread = std::make_unique<platform::Thread>();
    const bool created = thread->createSuspended([this, priority] {
        priority->raised = platform::setCurrentThreadPriority(platform::ThreadPriority::TimeCritical);
        priority->settled.set();
        priority->resumed.wait(kHandshakeMs);
        receiveThread();
    });
    if (!created) return 1;
    // The id is stored before the thread runs, so its first look finds it.
    mThreadId = thread->id();
    mThread = std::move(thread);
    mThread->resume();
    if (!priority->settled.wait(kHandshakeMs) || !priority->raised) {
        Tracer::instance()->trace(kTraceWarning,
                                  "[WAVE :: WARNING] Session start incomplete - RTP to Wave thread priority change "
                                  "failed");
    }
    priority->resumed.set();
    return 0;
}

int Wave::stopSession() {
    platform::LockGuard guard(mLock);
    if (mThread) {
        // Traced before the id changes: a thread not yet blocked in its
        // receive may see the change and end at once, and its own line must
        // still come after this one.
        Tracer::instance()->trace(kTraceStatus, "[WAVE] Thread terminated - RTP to Wave");
        mThreadId = 0;
        // Closing the socket wakes the blocked receive; the thread then sees
        // the changed id and ends, and is joined before anything it uses
        // can go.
        if (mRtp) mRtp->close();
        mThread->join();
        mThread.reset();
        return 0;
    }
    if (mRtp) mRtp->close();
    return 0;
}

void Wave::receiveThread() {
    const std::uint32_t id = platform::currentThreadId();
    if (mThreadId.load() == 0) {
        Tracer::instance()->trace(kTraceStatus, "[WAVE :: Thread] Thread terminated - RTP to Wave");
        return;
    }
    Tracer::instance()->trace(kTraceDetail, "[WAVE :: Thread] Thread started - ID [%04d]", static_cast<int>(id));
    for (;;) {
        // A socket closed under the thread can bring nothing more: the
        // thread ends instead of spinning on it.
        if (mThreadId.load() != id || !mRtp->isOpen()) {
            Tracer::instance()->trace(kTraceDetail, "[WAVE :: Thread] Thread terminated - ID [%04d]",
                                      static_cast<int>(id));
            return;
        }
        int length = 0;
        RtpPacket* packet = mRtp->receive(&length);
        if (packet == nullptr) continue;
        const auto arrival = static_cast<std::uint32_t>(mClock.monotonicMs());
        storePacket(*packet, arrival);
        RTP::releasePacket(&packet);
        mPacketsReceived.fetch_add(1);
        mPacketTaken.set();
    }
}

std::uint16_t Wave::boundPort() const {
    platform::LockGuard guard(mLock);
    return mRtp ? mRtp->boundPort() : 0;
}

bool Wave::waitForPacketsReceived(std::uint32_t count, unsigned timeoutMs) const {
    const std::uint64_t deadline = platform::monotonicMs() + timeoutMs;
    for (;;) {
        // Reset before the look: a packet taken in between sets it again.
        mPacketTaken.reset();
        if (mPacketsReceived.load() >= count) return true;
        const std::uint64_t now = platform::monotonicMs();
        if (now >= deadline || !mPacketTaken.wait(static_cast<unsigned>(deadline - now))) {
            return mPacketsReceived.load() >= count;
        }
    }
}

int Wave::setRemotePort(std::int32_t port) {
    platform::LockGuard guard(mLock);
    return mRtp ? mRtp->setRemotePort(port) : 1;
}

int Wave::setLocalPort(std::int32_t port) {
    platform::LockGuard guard(mLock);
    return mRtp ? mRtp->setLocalPort(port) : 1;
}

int Wave::setRemoteAddress(std::uint32_t address) {
    platform::LockGuard guard(mLock);
    return mRtp ? mRtp->setRemoteAddress(address) : 1;
}

int Wave::setCodec(std::int32_t codec) {
    platform::LockGuard guard(mLock);
    mCodec = codec;
    return mRtp ? mRtp->setPayloadType(codec) : 0;
}

void Wave::setAlaw(std::int32_t flag) {
    mAlawShift = flag == 0 ? G711::kAlawShiftStandard : G711::kAlawShiftDefault;
}

int Wave::setVoiceActive(bool active) {
    mVoiceActive = active;
    return 0;
}

int Wave::resetBuffer() {
    platform::LockGuard guard(mLock);
    if (!mBuffer) return 1;
    platform::LockGuard stream(mStreamLock);
    mProbation.forget();
    dropHeld();
    return mBuffer->clear(0, Buffer::kSlotCount, true, false);
}

int Wave::sendVoice(const void* pcm, const int* length) {
    PathUse use(*this);
    if (!use) return 1;
    // One whole frame: the codecs read 160 samples whatever the length says.
    if (pcm == nullptr || length == nullptr || *length != kFrameBytes) return 1;
    const auto codec = static_cast<PayloadType>(mCodec.load());
    int payloadLength = codec == PayloadType::kG729 ? *length / 16 : *length / 2;
    RtpPacket* packet = RTP::createPacket(&payloadLength);
    if (packet == nullptr) {
        Tracer::instance()->trace(kTraceError, "[WAVE :: ERROR] Packet creation failed - RTP");
        return 1;
    }
    Samples samples;
    std::memcpy(samples.data, pcm, kFrameBytes);
    std::uint8_t* payload = packet->payload.get();
    bool coded = true;
    switch (codec) {
        case PayloadType::kG729: {
            // Counts of this call alone: the receive thread has its own.
            int samplesIn = kFrameSamples;
            int bytesOut = kG729PayloadBytes;
            // A failed encode sends what the payload holds: zeros.
            codecLibEncode(&mEncoder, samples.data, &samplesIn, payload, &bytesOut, nullptr, 0);
            break;
        }
        case PayloadType::kPcmu:
            mG711->ulawCompress(payload, samples.data);
            break;
        case PayloadType::kPcma:
            mG711->alawCompress(payload, samples.data);
            break;
        case PayloadType::kG722:
            std::memset(payload, kG722FillerByte, kG711PayloadBytes);
            break;
        default:
            coded = false;
            break;
    }
    int result = 1;
    if (coded) {
        int sent = 0;
        result = mRtp->send(packet, &payloadLength, &sent) == 0 ? 0 : 1;
    }
    RTP::releasePacket(&packet);
    return result;
}

bool Wave::decode(std::int32_t codec, const std::uint8_t* payload, std::int32_t payloadLength, std::int16_t* frame) {
    switch (static_cast<PayloadType>(codec)) {
        case PayloadType::kG729: {
            // A packet of more than 20 ms gives its first 20 ms; a shorter
            // one is dropped, never read past its end.
            if (payloadLength < kG729PayloadBytes) return false;
            int bytesIn = kG729PayloadBytes;
            int samplesOut = kFrameSamples;
            codecLibDecode(&mDecoder, payload, &bytesIn, frame, &samplesOut, nullptr, 0);
            return true;
        }
        case PayloadType::kPcmu:
            if (payloadLength < kG711PayloadBytes) return false;
            mG711->ulawExpand(payload, frame);
            return true;
        case PayloadType::kPcma:
            if (payloadLength < kG711PayloadBytes) return false;
            mG711->alawExpand(payload, frame, mAlawShift.load());
            return true;
        case PayloadType::kG722:
            // No G.722 decoder exists: any packet plays the fixed pattern.
            for (int i = 0; i < kFrameSamples; i += 20) std::copy(kG722Pattern, kG722Pattern + 20, frame + i);
            return true;
        default:
            return false;
    }
}

int Wave::storePacket(const RtpPacket& packet, std::uint32_t arrivalMs) {
    PathUse use(*this);
    if (!use) return 1;
    if (!packet.payload || packet.payloadLength <= 0 ||
        static_cast<std::size_t>(packet.payloadLength) > kRtpMaxDatagram - kRtpHeaderBytes) {
        return 1;
    }
    VoiceFramePtr frame(new (std::nothrow) VoiceFrame());
    if (!frame) return 1;
    if (!decode(mCodec.load(), packet.payload.get(), packet.payloadLength, frame->data())) return 1;
    // Between calls the stream is decoded and dropped here.
    if (!mVoiceActive.load()) return 1;
    return followStream(std::move(frame), packet.fields(), arrivalMs);
}

// Only packets that continue the stream reach the Buffer; see
// receive_probation.h for why. A run that replaces the stream gets a Buffer
// reset as for a new call, and is played from its first packet on.
int Wave::followStream(VoiceFramePtr frame, const RtpHeader& header, std::uint32_t arrivalMs) {
    platform::LockGuard guard(mStreamLock);
    switch (mProbation.check(header.ssrc, header.sequence)) {
        case ReceiveProbation::Verdict::kAccept:
            dropHeld();
            return putFrame(frame, header.sequence, header.timestamp, arrivalMs);
        case ReceiveProbation::Verdict::kHoldNew:
            dropHeld();
            [[fallthrough]];
        case ReceiveProbation::Verdict::kHold:
            // The verdicts hold no more than a run less one packet.
            if (mHeldCount >= static_cast<int>(mHeld.size())) return 1;
            mHeld[static_cast<std::size_t>(mHeldCount++)] =
                HeldFrame{std::move(frame), header.sequence, header.timestamp, arrivalMs};
            return 0;
        case ReceiveProbation::Verdict::kRestart: {
            Tracer::instance()->trace(kTraceDetail, "[WAVE] Receive stream restarted - SSRC [%08X] at sequence %u",
                                      static_cast<unsigned>(header.ssrc), static_cast<unsigned>(header.sequence));
            mBuffer->clear(0, Buffer::kSlotCount, true, false);
            for (int i = 0; i < mHeldCount; ++i) {
                HeldFrame& held = mHeld[static_cast<std::size_t>(i)];
                putFrame(held.frame, held.sequence, held.timestamp, held.arrivalMs);
            }
            dropHeld();
            return putFrame(frame, header.sequence, header.timestamp, arrivalMs);
        }
        case ReceiveProbation::Verdict::kDrop:
            break;
    }
    return 1;
}

int Wave::putFrame(VoiceFramePtr& frame, std::uint16_t sequence, std::uint32_t timestamp, std::uint32_t arrivalMs) {
    // On refusal (late or a duplicate) the frame is still ours and goes.
    return mBuffer->put(frame, sequence, timestamp, kFrameBytes, nullptr, arrivalMs) == Buffer::kStored ? 0 : 1;
}

void Wave::dropHeld() {
    for (HeldFrame& held : mHeld) held = HeldFrame{};
    mHeldCount = 0;
}

int Wave::receiveVoice(void* pcm, const int*, int* length) {
    PathUse use(*this);
    if (length == nullptr) return 0;
    *length = 0;
    if (!use || pcm == nullptr) return 0;

    auto* out = static_cast<std::uint8_t*>(pcm);
    std::int32_t got = 0;
    Samples frame;
    switch (mBuffer->get(out, &got)) {
        case Buffer::kPlayed:
            got = std::clamp<std::int32_t>(got, 0, Buffer::kMaxGetBytes) / kFrameBytes * kFrameBytes;
            for (std::int32_t offset = 0; offset < got; offset += kFrameBytes) {
                if (Buffer::isLossMarker(out + offset)) {
                    std::memset(frame.data, 0, kFrameBytes);
                    mPlc->conceal(frame.data);
                } else {
                    std::memcpy(frame.data, out + offset, kFrameBytes);
                    mPlc->addToHistory(frame.data);
                }
                std::memcpy(out + offset, frame.data, kFrameBytes);
            }
            *length = got;
            break;
        case Buffer::kConceal:
            std::memset(frame.data, 0, kFrameBytes);
            mPlc->conceal(frame.data);
            std::memcpy(out, frame.data, kFrameBytes);
            *length = kFrameBytes;
            break;
        case Buffer::kNotStarted:
            // Silence runs through the delay line while the client polls,
            // flushing what the last call left in it.
            std::memset(frame.data, 0, kFrameBytes);
            mPlc->addToHistory(frame.data);
            std::memcpy(out, frame.data, kFrameBytes);
            break;
        default:  // empty: playout has caught up with the newest frame
            break;
    }
    return 0;
}
