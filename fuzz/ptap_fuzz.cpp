// The PTAP datagram reader and the receive steps on arbitrary datagrams, and
// the round trip of the items and the builders through the reader.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <vector>

#include "ptap/ptap_receive.h"
#include "ptap/ptap_wire.h"

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

// The item walk must read the payload back as it was written: each item's
// bytes stand at the place the walk found them.
void checkItemsRoundTrip(std::span<const std::uint8_t> payload, const std::vector<ptap::PtapItem>& items) {
    std::vector<std::uint8_t> rebuilt;
    for (const ptap::PtapItem& item : items) {
        check(item.tag >= 0 && item.tag < 0xFF);
        rebuilt.push_back(static_cast<std::uint8_t>(item.tag));
        ptap::appendU16(rebuilt, static_cast<std::uint16_t>(item.value.size()));
        check(item.value.data() == payload.data() + rebuilt.size());
        rebuilt.insert(rebuilt.end(), item.value.begin(), item.value.end());
    }
    check(rebuilt.size() <= payload.size() && std::equal(rebuilt.begin(), rebuilt.end(), payload.begin()));
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The socket never hands over more than one datagram of 1500 bytes.
    if (size > ptap::kMaxDatagram) return 0;
    const std::span<const std::uint8_t> datagram(data, size);

    ptap::PtapPacket packet;
    const bool isPtap = ptap::parsePacket(datagram, packet);
    if (isPtap) {
        check(size > ptap::kHeaderLength && ptap::tidValue(packet.tid) < ptap::kTidLimit);
        checkItemsRoundTrip(packet.payload, packet.items);
    }

    // The receive steps in both modes after each packet the terminal sends,
    // twice: once filling the record, once with it complete.
    for (int mode = 0; mode <= 1; ++mode) {
        for (int lastSent : {0x00, 0x04, 0x0F, 0x14, 0x3D}) {
            ptap::LinkState state;
            ptap::resetLinkState(state, mode);
            state.lastSentType = lastSent;
            for (int pass = 0; pass < 2; ++pass) {
                const std::vector<ptap::Action> actions = ptap::receiveDatagram(datagram, state);
                check(isPtap || actions.empty());
                if (isPtap && packet.type != ptap::kTypeAck) {
                    check(actions.at(0).kind == ptap::Action::kSendAck ||
                          actions.at(0).kind == ptap::Action::kStampContact);
                }
                for (const ptap::Action& a : actions) {
                    if (a.kind == ptap::Action::kDeliverEvent) {
                        check(a.data.size() >= ptap::kEventPadding &&
                              std::all_of(a.data.end() - ptap::kEventPadding, a.data.end(),
                                          [](auto b) { return b == 0; }));
                    }
                    if (a.kind == ptap::Action::kReportStatus) check(a.value >= 1 && a.value <= 7 && a.value != 5);
                }
                check(state.parameterCount <= ptap::kParameterTagCount);
                check(state.result == 0 || state.result == 200 || state.result == 0xC9 || state.result == 0xD3);
            }
        }
    }

    // A builder through the reader: the input's first bytes as tid and code.
    if (size >= 4) {
        const std::uint32_t tid = ptap::readU32(datagram, 0) % ptap::kTidLimit;
        // The parsed views point into the built bytes, which must outlive them.
        const std::vector<std::uint8_t> error = ptap::buildErrorResponse(tid, data[size - 1]);
        ptap::PtapPacket built;
        check(ptap::parsePacket(error, built) && ptap::tidValue(built.tid) == tid &&
              built.type == ptap::kTypeErrorResponse);
        check(built.items.size() == 1 && built.items[0].tag == 0x20 && built.items[0].value.size() == 1 &&
              built.items[0].value[0] == data[size - 1]);
    }
    return 0;
}
