// The media packet layer under Wave: one UDP socket for both directions, the
// sender's sequence and timestamp counters, and the receive checks. No RTCP,
// no reordering, no filtering by source.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>

#include "common/module.h"
#include "common/payload_type.h"
#include "voice/rtp_header.h"
#include "voice/rtp_port.h"

// One packet in memory: the 12 header bytes as on the wire, and the payload
// in a heap block that the packet owns.
struct RtpPacket {
    std::uint8_t header[kRtpHeaderBytes] = {};
    std::unique_ptr<std::uint8_t[]> payload;
    // Payload bytes that count; below the block's size when padding was
    // taken off a received packet.
    std::int32_t payloadLength = 0;

    RtpHeader fields() const { return readRtpHeader(std::span<const std::uint8_t, kRtpHeaderBytes>(header)); }
};

class RTP : public Module {
public:
    // Every packet advances the timestamp by one 20 ms frame at 8000 Hz,
    // whatever the codec.
    static constexpr std::uint32_t kTimestampStep = 160;

    // `localPort` is the port open binds until setLocalPort changes it; 0
    // lets the system choose.
    explicit RTP(std::uint16_t localPort = kRtpPort);
    ~RTP() override;
    RTP(const RTP&) = delete;
    RTP& operator=(const RTP&) = delete;

    // Allocates the session record. 0, or 1 with a trace.
    int start() override;
    // Closes the socket and frees the record. 0.
    int shutdown() override;

    // Binds the local port and starts the counters at random 16-bit values.
    // The destination port becomes the bound port until the next
    // setRemotePort. 1 when not started, with no remote address, or when
    // the port can't be bound.
    int open(std::uint32_t ssrc);
    // Closes the socket and wakes a blocked receive; a failed close is
    // traced. 1 when not started.
    int close();

    // Sends the packet's first `*length` payload bytes behind a fresh header,
    // then advances the counters. `*sent` gets the system's byte count or -1.
    // 1 when not started or given no packet, payload or length, else 0:
    // a failing send is seen only through `sent`.
    int send(RtpPacket* packet, const int* length, int* sent);
    // Blocks for one datagram. Null for a datagram that fails the checks,
    // for a closed socket and for any error; `*length` receives the
    // datagram's length (header included, padding not) when one came.
    RtpPacket* receive(int* length);

    // A packet with a zeroed header and `*size` zeroed payload bytes; null
    // for a negative size or no memory.
    static RtpPacket* createPacket(const int* size);
    // Frees the packet and clears the caller's pointer; a null is fine. 0.
    static int releasePacket(RtpPacket** packet);

    // The calling thread's id in the high 16 bits, random low 16 bits.
    std::uint32_t makeSsrc();

    // Ports in host order, the low 16 bits count; the address in host order.
    // Single stores: a packet being sent goes to the old or the new
    // destination, never to a mix.
    int setRemotePort(std::int32_t port);
    int setLocalPort(std::int32_t port);
    int setRemoteAddress(std::uint32_t address);
    int setPayloadType(std::int32_t payloadType);

    bool isStopped() const { return mData == nullptr; }
    bool isOpen() const;
    // The port the socket is bound to; 0 while closed.
    std::uint16_t boundPort() const;

    std::uint16_t localPort() const { return mLocalPort.load(); }
    std::uint16_t remotePort() const { return static_cast<std::uint16_t>(mDestination.load()); }
    std::uint32_t remoteAddress() const { return static_cast<std::uint32_t>(mDestination.load() >> 16); }

private:
    struct Data;

    std::unique_ptr<Data> mData;
    // Address in bits 16 to 47, port in bits 0 to 15: one word, so the pair
    // changes at once.
    std::atomic<std::uint64_t> mDestination{0};
    std::atomic<std::uint16_t> mLocalPort;
    std::atomic<std::int32_t> mPayloadType{toInt(PayloadType::kPcmu)};
};
