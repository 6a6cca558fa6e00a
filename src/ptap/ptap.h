// The control link engine: registration with the call server, the server's
// parameters, keepalive supervision and error reports, over UDP from local
// port 9301 to port 9300 of the server. Only the server's address is heard.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "common/foreign_sender_trace.h"
#include "common/module.h"
#include "common/network_init_data.h"
#include "platform/clock.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"
#include "platform/udp_socket.h"
#include "platform/wakeup.h"
#include "ptap/ptap_listener.h"
#include "ptap/ptap_receive.h"
#include "ptap/ptap_resend_list.h"
#include "ptap/ptap_supervision.h"
#include "softphone.h"

class PTAP : public Module {
public:
    static constexpr std::uint16_t kLocalPort = SP_PORT_PTAP;
    static constexpr std::uint16_t kServerPort = SP_PORT_PTAP_SERVER;
    // Lets the threads run before the first packet leaves.
    static constexpr unsigned kStartSettleMs = 500;

    // The clock drives resends, supervision and the pauses; it must outlive
    // the object. Port 0 for `localPort` lets the system choose.
    explicit PTAP(const platform::Clock& clock = platform::systemClock(), std::uint16_t localPort = kLocalPort,
                  std::uint16_t serverPort = kServerPort);
    ~PTAP() override;
    PTAP(const PTAP&) = delete;
    PTAP& operator=(const PTAP&) = delete;

    // Not owned; read at start. 1 when the object then holds none.
    int setNetworkInitData(const NetworkInitData* data);
    void setParent(PtapParent* parent);
    // 1 for null; a listener already present is not added again.
    int addListener(PtapListener* listener);

    // Opens the socket and starts the socket, retransmission and keepalive
    // threads. 0, or 1 after cleaning up.
    int start() override;
    // Stops and joins the threads, closes the socket. Repeatable; 0.
    int shutdown() override;

    // Sends a packet of `type`: 0x00 acknowledgment, 0x04 START, 0x0F
    // OP_BEGIN, 0x14 error response (`data` points at the one-byte code,
    // `*dataLength` at least 1), 0x3D card answer. 1 when refused or when
    // the packet could neither leave nor be kept for resending; else 0.
    int transmit(const int* type, const std::uint8_t* data, const int* dataLength);

    // The answer to START for the CallProcessor: 0, 200, 0xC9 or 0xD3.
    int getResult() const;
    void setResult(int result);
    // The value of one selector bit (1, 2, 4 ... 0x20000); 0 otherwise.
    std::uint32_t getPtapParameter(int selector) const;
    // A snapshot of the parameter record, taken under the lock since the
    // socket thread may be writing it; it stays valid and unchanged until
    // the next call or the object's end. 1 for a null `out` or when the
    // module is not started.
    int getPtapParameters(PtapParameters** out);
    // The same, copied into the caller's record.
    int copyPtapParameters(PtapParameters* out) const;

    // The server's address, first dotted part most significant.
    void setRemoteAddress(const std::uint32_t* address);

    // For supervision and tests.
    bool connectionLost() const { return mConnectionLost.load(); }
    // The port the socket is bound to; 0 when none is open.
    std::uint16_t localPort() const { return mSocket.localPort(); }
    std::size_t pendingPackets() const;

private:
    // Receive side.
    void socketThread();
    void handleDatagram(std::span<const std::uint8_t> datagram);
    void runAction(const ptap::Action& action);
    void reportStatus(int code);
    void deliverEvent(const char* data);

    // Send side.
    int sendNew(const std::vector<std::uint8_t>& datagram, int type);
    void sendAck(const ptap::TidBytes& tid);
    std::uint32_t takeTid();
    void retransmitThread();

    // Supervision.
    void keepaliveThread();
    void onSilence(std::uint32_t runningSeconds);

    bool startThread(std::unique_ptr<platform::Thread>& thread, std::atomic<std::uint32_t>& id, void (PTAP::*body)());
    void stopThread(std::unique_ptr<platform::Thread>& thread, const char* shutdownTrace);
    int failStart(int level, const char* message);

    const platform::Clock& mClock;
    const std::uint16_t mLocalPort;
    const std::uint16_t mServerPort;
    platform::Wakeup mRetransmitWakeup{mClock};
    platform::Wakeup mKeepaliveWakeup{mClock};
    platform::RecursiveLock mModuleLock;
    // Guards the link state, the record's presence, the snapshot and the
    // listeners.
    mutable platform::RecursiveLock mStateLock;
    mutable platform::RecursiveLock mBufferLock;

    std::unique_ptr<platform::Thread> mSocketThread;
    std::unique_ptr<platform::Thread> mRetransmitThread;
    std::unique_ptr<platform::Thread> mKeepaliveThread;
    std::atomic<std::uint32_t> mSocketThreadId{0};
    std::atomic<std::uint32_t> mRetransmitThreadId{0};
    std::atomic<std::uint32_t> mKeepaliveThreadId{0};

    std::atomic<bool> mStopping{false};
    std::atomic<bool> mConnectionLost{false};  // cleared at construction only

    platform::UdpSocket mSocket;
    std::atomic<std::uint32_t> mServerAddress{0};
    ForeignSenderTrace mForeignSenders{"PTAP"};  // socket thread only
    std::atomic<std::uint32_t> mNextTid{1};
    ptap::StartData mStartData;

    const NetworkInitData* mNetworkData = nullptr;
    std::atomic<PtapParent*> mParent{nullptr};
    std::vector<PtapListener*> mListeners;

    ptap::LinkState mLink;
    bool mRecordExists = false;
    PtapParameters mParametersSnapshot{};
    ptap::ResendList mBufferList;
    ptap::KeepaliveSupervisor mSupervisor;
};
