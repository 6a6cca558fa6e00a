// The unacknowledged packets and their resend schedule. Pure: time comes in
// as `now`, in milliseconds of a monotonic clock; the caller sends and locks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <list>
#include <span>
#include <vector>

#include "common/resend_schedule.h"
#include "ptap/ptap_wire.h"

namespace ptap {

constexpr std::size_t kResendListCapacity = 50;
// A packet is resent this many times at most; the next due time drops it.
constexpr int kMaxResends = 16;

class ResendList {
public:
    struct Resend {
        std::vector<std::uint8_t> datagram;
        int attempt = 0;  // 1 for the first resend
    };
    struct ScanResult {
        std::vector<Resend> resends;
        bool dropped = false;
        TidBytes droppedTid{};
    };

    // Keeps a copy of a packet that has just been sent. False, with the
    // trace, when the list is full.
    bool add(std::span<const std::uint8_t> datagram, std::uint64_t nowMs);
    // Removes the first packet with this tid; false when there is none.
    bool remove(const TidBytes& tid);
    // Walks the list at `now`: what is due is handed back for resending and
    // its schedule advanced. A packet out of resends is dropped, and that
    // ends the walk; the rest wait for the next one.
    ScanResult scan(std::uint64_t nowMs);

    // The earliest `now` at which a scan would resend or drop something: at
    // once for what is due already. Only for a list that isn't empty.
    std::uint64_t nextDueMs() const;

    std::size_t size() const { return mItems.size(); }
    bool empty() const { return mItems.empty(); }
    void clear() { mItems.clear(); }

private:
    struct Item {
        std::vector<std::uint8_t> datagram;
        TidBytes tid{};
        std::uint64_t createdMs = 0;
        int attempts = 0;
        std::uint64_t elapsedMs = 0;
        std::uint64_t sinceLastSendMs = 0;
    };
    void erase(std::list<Item>::iterator it);

    std::list<Item> mItems;
};

}  // namespace ptap
