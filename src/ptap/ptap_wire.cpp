#include "ptap/ptap_wire.h"

namespace ptap {

namespace {

// Capability blocks and mode words of the two registration modes. The
// server reads them; the terminal sends them as they stand.
constexpr std::array<std::uint8_t, 44> kCapabilitiesMode0 = {
    0x01, 0x04, 0x00, 0x06, 0x18, 0x00, 0x02, 0x02, 0x18, 0x04, 0x03, 0xFE, 0xDF, 0xE0, 0x02,
    0x04, 0x04, 0x01, 0x21, 0x01, 0x22, 0x01, 0x23, 0x02, 0x24, 0x04, 0x02, 0x25, 0x04, 0x02,
    0x26, 0x0C, 0x02, 0x27, 0x05, 0x01, 0x28, 0x01, 0x29, 0x04, 0x30, 0xC8, 0x00, 0x00,
};
constexpr std::array<std::uint8_t, 2> kModeWordMode0 = {0x01, 0x01};

constexpr std::array<std::uint8_t, 78> kCapabilitiesMode1 = {
    0x03, 0x04, 0x00, 0x06, 0x18, 0x00, 0x02, 0x02, 0x0C, 0x04, 0x03, 0xFE, 0xDF, 0xE2, 0x02, 0x04,
    0x04, 0x04, 0x05, 0x0C, 0x0C, 0x00, 0x03, 0x07, 0x30, 0x04, 0x04, 0x08, 0xCF, 0x00, 0x00, 0x01,
    0x21, 0x01, 0x23, 0x02, 0x24, 0x04, 0x02, 0x25, 0x04, 0x02, 0x26, 0x0C, 0x02, 0x27, 0x05, 0x01,
    0x28, 0x01, 0x29, 0x04, 0x30, 0xC8, 0x00, 0x00, 0x02, 0x31, 0x04, 0x04, 0x42, 0x00, 0x00, 0x00,
    0x02, 0x50, 0x01, 0x04, 0x81, 0x01, 0x00, 0x00, 0x01, 0x82, 0x01, 0x83, 0x01, 0x84,
};
constexpr std::array<std::uint8_t, 2> kModeWordMode1 = {0x00, 0x1E};

const std::uint8_t kMagic[4] = {'P', 'T', 'A', 'P'};

std::vector<std::uint8_t> header(const TidBytes& tid, std::uint8_t type) {
    std::vector<std::uint8_t> out;
    out.reserve(kMaxDatagram);
    out.insert(out.end(), kMagic, kMagic + 4);
    out.insert(out.end(), tid.begin(), tid.end());
    out.push_back(type);
    return out;
}

void appendItem(std::vector<std::uint8_t>& out, std::uint8_t tag, std::span<const std::uint8_t> value) {
    out.push_back(tag);
    appendU16(out, static_cast<std::uint16_t>(value.size()));
    out.insert(out.end(), value.begin(), value.end());
}

void appendByteItem(std::vector<std::uint8_t>& out, std::uint8_t tag, std::uint8_t value) {
    appendItem(out, tag, std::span<const std::uint8_t>(&value, 1));
}

}  // namespace

std::uint16_t readU16(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return static_cast<std::uint16_t>((bytes[offset] << 8) | bytes[offset + 1]);
}

std::uint32_t readU32(std::span<const std::uint8_t> bytes, std::size_t offset) {
    return (static_cast<std::uint32_t>(bytes[offset]) << 24) | (static_cast<std::uint32_t>(bytes[offset + 1]) << 16) |
           (static_cast<std::uint32_t>(bytes[offset + 2]) << 8) | static_cast<std::uint32_t>(bytes[offset + 3]);
}

void appendU16(std::vector<std::uint8_t>& out, std::uint16_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

void appendU32(std::vector<std::uint8_t>& out, std::uint32_t value) {
    out.push_back(static_cast<std::uint8_t>(value >> 24));
    out.push_back(static_cast<std::uint8_t>(value >> 16));
    out.push_back(static_cast<std::uint8_t>(value >> 8));
    out.push_back(static_cast<std::uint8_t>(value));
}

TidBytes tidBytes(std::uint32_t tid) {
    return {static_cast<std::uint8_t>(tid >> 24), static_cast<std::uint8_t>(tid >> 16),
            static_cast<std::uint8_t>(tid >> 8), static_cast<std::uint8_t>(tid)};
}

std::uint32_t tidValue(const TidBytes& bytes) {
    return readU32(bytes, 0);
}

std::vector<PtapItem> readItems(std::span<const std::uint8_t> payload) {
    std::vector<PtapItem> items;
    std::size_t offset = 0;
    while (offset < payload.size()) {
        const std::uint8_t tag = payload[offset];
        if (tag == kEndOfItems) break;
        if (payload.size() - offset < 3) break;  // no room for the length field
        const std::size_t length = readU16(payload, offset + 1);
        const std::size_t valueAt = offset + 3;
        if (length > payload.size() - valueAt) break;  // the value would run past the datagram
        items.push_back(PtapItem{tag, payload.subspan(valueAt, length)});
        offset = valueAt + length;
    }
    return items;
}

bool parsePacket(std::span<const std::uint8_t> datagram, PtapPacket& out) {
    if (datagram.size() <= kHeaderLength) return false;
    if (datagram[0] != kMagic[0] || datagram[1] != kMagic[1] || datagram[2] != kMagic[2] || datagram[3] != kMagic[3] ||
        datagram[4] != 0x00) {
        return false;
    }
    out.tid = {datagram[4], datagram[5], datagram[6], datagram[7]};
    out.type = datagram[8];
    out.payload = datagram.subspan(kHeaderLength);
    out.items = readItems(out.payload);
    return true;
}

std::vector<std::uint8_t> buildStart(std::uint32_t tid, const StartData& data) {
    const bool mode1 = data.registrationMode == 1;
    std::vector<std::uint8_t> out = header(tidBytes(tid), kTypeStart);
    appendByteItem(out, 0x20, data.startCode);
    if (mode1) {
        appendItem(out, 0x01, kCapabilitiesMode1);
        appendItem(out, 0x02, kModeWordMode1);
    } else {
        appendItem(out, 0x01, kCapabilitiesMode0);
        appendItem(out, 0x02, kModeWordMode0);
    }
    appendItem(out, 0x05, data.connectionInfo);
    appendItem(out, 0x07, data.hardwareAddress);
    std::vector<std::uint8_t> address;
    appendU32(address, data.localAddress);
    appendItem(out, 0x06, address);
    out.push_back(kEndOfItems);
    return out;
}

std::vector<std::uint8_t> buildOpBegin(std::uint32_t tid) {
    std::vector<std::uint8_t> out = header(tidBytes(tid), kTypeOpBegin);
    out.push_back(kEndOfItems);
    return out;
}

std::vector<std::uint8_t> buildAck(const TidBytes& tid) {
    std::vector<std::uint8_t> out = header(tid, kTypeAck);
    appendByteItem(out, 0x20, 0x00);
    out.push_back(kEndOfItems);
    return out;
}

std::vector<std::uint8_t> buildErrorResponse(std::uint32_t tid, std::uint8_t code) {
    std::vector<std::uint8_t> out = header(tidBytes(tid), kTypeErrorResponse);
    appendByteItem(out, 0x20, code);
    out.push_back(kEndOfItems);
    return out;
}

std::vector<std::uint8_t> buildCardAnswer(std::uint32_t tid) {
    std::vector<std::uint8_t> out = header(tidBytes(tid), kTypeCardAnswer);
    const std::uint8_t unknown[5] = {0xFF, 0xFF, 0xFF, 0xFF, 0xFF};
    appendItem(out, 0x5B, unknown);
    out.push_back(kEndOfItems);
    return out;
}

}  // namespace ptap
