// The event record passed between the engines and the CallProcessor.
#pragma once

#include <cstdint>

struct CoreEvent {
    std::int32_t code = 0;
};

// Mailbox commands (also call-state inputs of the same number).
enum MailboxCommand : std::int32_t {
    kMailboxOffHook = 3,
    kMailboxOnHook = 4,
    kMailboxOnHookAlt = 5,
    kMailboxAnswer = 6,
    kMailboxSendError = 10,
    kMailboxSignal = 11,
    kMailboxRsip = 12,
    kMailboxKey = 13,
};

// Codes of onMgcpEvent.
enum MgcpEventCode : std::int32_t {
    kMgcpCrcxReceived = 1,
    kMgcpMdcxReceived = 2,
    kMgcpDlcxReceived = 3,
    kMgcpSendDlcx = 4,
    kMgcpSendNtfy = 5,
    kMgcpSignalReceived = 6,
    kMgcpSendRsip = 7,
    kMgcpSendResponse = 8,
};

// The one PTAP event the CallProcessor acts on.
constexpr std::int32_t kPtapEventServer = 0x15;
