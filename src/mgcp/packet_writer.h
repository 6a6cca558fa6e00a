// Formatted printing into a fixed payload that never writes past its end
// and counts no terminator.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

class PacketWriter {
public:
    // Writing begins at `used` bytes into `out`.
    explicit PacketWriter(std::span<std::uint8_t> out, std::size_t used = 0)
        : mOut(out), mUsed(used < out.size() ? used : out.size()) {}

    // Appends the formatted text; what does not fit is cut and remembered.
    void print(const char* format, ...) __attribute__((format(printf, 2, 3)));

    std::size_t length() const { return mUsed; }
    bool overflowed() const { return mOverflow; }

private:
    std::span<std::uint8_t> mOut;
    std::size_t mUsed;
    bool mOverflow = false;
};

// The length of a text field, never past its capacity: a field that lost
// its terminator is read no further than its own bytes.
template <std::size_t N>
std::size_t fieldLength(const char (&field)[N]) {
    std::size_t n = 0;
    while (n < N && field[n] != '\0') ++n;
    return n;
}
