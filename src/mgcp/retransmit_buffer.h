// The commands the terminal has sent and not yet seen answered, and the
// walk that sends them again. Holds no lock and reads no clock: the owner
// locks around it and hands in the time.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <list>
#include <span>

#include "common/resend_schedule.h"
#include "mgcp/mgcp_packet.h"
#include "platform/clock.h"

struct RetransmitNode {
    std::uint32_t length = 0;
    std::array<std::uint8_t, kMgcpPayloadSize> payload{};  // the first send, byte for byte
    std::uint8_t isResend = 0;                             // 1 only while the walk sends this node
    std::int32_t sendCount = 0;                            // retransmissions made so far
    std::int32_t elapsed = 0;                              // ms from `created` to the last retransmission
    std::uint32_t period = 0;  // ms since the last transmission, as the last pass measured it
    platform::TimeOfDay created;
    std::int32_t tid = 0;  // read back out of the text

    std::span<const std::uint8_t> bytes() const { return {payload.data(), length}; }
};

// Milliseconds since midnight. The walk's arithmetic works on this, so
// past midnight a period comes out as a huge unsigned number.
std::uint32_t msOfDay(const platform::TimeOfDay& t);

class MgcpBufferTable {
public:
    static constexpr int kMaxNodes = 50;
    // Retransmissions after the first send: 16 sends in all.
    static constexpr int kMaxResends = 15;

    using Sender = std::function<void(const RetransmitNode&)>;

    int count() const { return static_cast<int>(mNodes.size()); }
    bool isFull() const { return count() >= kMaxNodes; }

    // Buffers a copy of all `payload` bytes, `length` of them in use. False
    // (traced) when memory is short.
    bool add(const std::array<std::uint8_t, kMgcpPayloadSize>& payload, std::uint32_t length, std::int32_t tid,
             const platform::TimeOfDay& created);

    // Frees the first node with `tid`. 1 for an empty buffer; a number in no
    // node is no error.
    int remove(std::int32_t tid);

    // Frees every node. 1 when the buffer was empty already.
    int clear();

    // One pass at `now`: sends each node whose wait is over through `send`
    // and drops the ones sent 16 times.
    void walk(const platform::TimeOfDay& now, const Sender& send);

    // Milliseconds from `now` until a walk would send or drop something: 0
    // for what is due already (as past midnight). Only for a buffer that
    // isn't empty.
    std::uint32_t msUntilNextDue(const platform::TimeOfDay& now) const;

    // Called after each node added, so that whoever walks the buffer can
    // wake for it.
    void setOnAdd(std::function<void()> onAdd) { mOnAdd = std::move(onAdd); }

    const std::list<RetransmitNode>& nodes() const { return mNodes; }

private:
    // Unlinks and frees one node, traced; gives the node after it.
    std::list<RetransmitNode>::iterator free(std::list<RetransmitNode>::iterator node);

    std::list<RetransmitNode> mNodes;
    std::function<void()> mOnAdd;
};
