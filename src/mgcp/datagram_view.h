// A read-only window on a received datagram. Every read past its end gives
// zero, as the zeroed tail of a short payload would; a datagram that fills
// the whole payload has no such tail, and the window keeps the readers
// inside it all the same.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>

class DatagramView {
public:
    DatagramView() = default;
    explicit DatagramView(std::span<const std::uint8_t> bytes) : mBytes(bytes) {}
    explicit DatagramView(std::string_view text)
        : mBytes(reinterpret_cast<const std::uint8_t*>(text.data()), text.size()) {}

    std::size_t size() const { return mBytes.size(); }
    bool empty() const { return mBytes.empty(); }

    // The byte at `index`, or 0 past the end.
    std::uint8_t at(std::size_t index) const { return index < mBytes.size() ? mBytes[index] : 0; }
    char charAt(std::size_t index) const { return static_cast<char>(at(index)); }

    // The window from `offset` on; empty past the end.
    DatagramView from(std::size_t offset) const {
        return offset < mBytes.size() ? DatagramView(mBytes.subspan(offset)) : DatagramView();
    }

    // True when `text` stands at `index`, wholly inside the datagram.
    bool matches(std::size_t index, std::string_view text) const {
        if (index > mBytes.size() || mBytes.size() - index < text.size()) return false;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (mBytes[index + i] != static_cast<std::uint8_t>(text[i])) return false;
        }
        return true;
    }

    // Index of the first `text` at or after `from`, or npos.
    std::size_t find(std::string_view text, std::size_t from = 0) const {
        for (std::size_t i = from; i < mBytes.size(); ++i) {
            if (matches(i, text)) return i;
        }
        return npos;
    }

    // The bytes from `index` up to the next CR LF, or npos when none follows.
    std::size_t lineLength(std::size_t index) const {
        const std::size_t end = find("\r\n", index);
        return end == npos ? npos : end - index;
    }

    // `count` bytes from `index` as text, cut at the end of the datagram.
    std::string_view text(std::size_t index, std::size_t count) const {
        if (index >= mBytes.size()) return {};
        if (count > mBytes.size() - index) count = mBytes.size() - index;
        return {reinterpret_cast<const char*>(mBytes.data() + index), count};
    }

    static constexpr std::size_t npos = static_cast<std::size_t>(-1);

private:
    std::span<const std::uint8_t> mBytes;
};

// The decimal number at `index`, as the C library's reading of a number
// does it: leading blanks, a sign, then digits up to the first other byte.
// It saturates at the 32-bit range instead of overflowing.
std::int32_t readDecimal(const DatagramView& view, std::size_t index);

// Two characters at `index` as one byte, most significant nibble first.
// Characters that aren't hexadecimal digits count as 0.
std::uint8_t readHexByte(const DatagramView& view, std::size_t index);
