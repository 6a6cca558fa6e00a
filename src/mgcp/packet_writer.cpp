#include "mgcp/packet_writer.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "mgcp/mgcp_packet.h"

void PacketWriter::print(const char* format, ...) {
    // One line is formatted whole, then as much as fits is copied: the
    // payload itself has no room for a terminator.
    char line[kMgcpPayloadSize + 1];
    va_list args;
    va_start(args, format);
    const int n = std::vsnprintf(line, sizeof line, format, args);
    va_end(args);
    if (n < 0) {
        mOverflow = true;
        return;
    }
    std::size_t wanted = static_cast<std::size_t>(n);
    if (wanted > sizeof line - 1) {
        wanted = sizeof line - 1;
        mOverflow = true;
    }
    const std::size_t room = mOut.size() - mUsed;
    if (wanted > room) {
        wanted = room;
        mOverflow = true;
    }
    if (wanted > 0) std::memcpy(mOut.data() + mUsed, line, wanted);
    mUsed += wanted;
}
