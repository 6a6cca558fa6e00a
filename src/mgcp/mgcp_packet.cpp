#include "mgcp/mgcp_packet.h"

#include <new>

#include "common/tracer.h"

MgcpPacketPtr createPacket() {
    MgcpPacketPtr packet(new (std::nothrow) MgcpPacket());
    if (!packet) Tracer::instance()->trace(kTraceError, "[MGCP :: ERROR] Packet creation failed - MGCP");
    return packet;
}

void freePacket(MgcpPacketPtr packet) {
    packet.reset();
}
