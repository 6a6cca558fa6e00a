// The terminal's MGCP endpoint: one UDP socket on port 2427, a thread that
// receives the server's commands (from the server's address only), a thread
// that retransmits the terminal's own commands until they are answered, and
// the per-line session record. What a command means for the call is the
// CallProcessor's business.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <memory>

#include "common/foreign_sender_trace.h"
#include "common/module.h"
#include "common/network_init_data.h"
#include "mgcp/media_session.h"
#include "mgcp/mgcp_operation.h"
#include "mgcp/mgcp_packet.h"
#include "mgcp/mgcp_parent.h"
#include "platform/clock.h"
#include "platform/recursive_lock.h"
#include "platform/thread.h"
#include "platform/udp_socket.h"
#include "platform/wakeup.h"
#include "softphone.h"

class MgcpBufferTable;

class MGCP : public Module {
public:
    static constexpr std::uint16_t kLocalPort = SP_PORT_MGCP;
    static constexpr std::uint16_t kServerPort = SP_PORT_MGCP_SERVER;
    // Lets the new threads come up before the first message is sent.
    static constexpr unsigned kStartSettleMs = 500;

    // `clock` gives the time of day the retransmission walk measures by and
    // the pauses; it must outlive the object. Port 0 for `localPort` lets
    // the system choose.
    explicit MGCP(const platform::Clock& clock = platform::systemClock(), std::uint16_t localPort = kLocalPort,
                  std::uint16_t serverPort = kServerPort);
    ~MGCP() override;
    MGCP(const MGCP&) = delete;
    MGCP& operator=(const MGCP&) = delete;

    // The one object of the process, or null.
    static MGCP* instance();

    // Result 0.
    int setParent(MgcpParent* parent);
    // 1 (traced) when no data is held afterwards, else 0.
    int setNetworkInitData(const NetworkInitData* data);

    // Opens the socket and starts both threads; 1 without a parent or when
    // a thread can't be made. A socket that can't be opened isn't a failure:
    // what is sent then goes nowhere.
    int start() override;
    // Stops and joins both threads, closes the socket, frees the buffer.
    // Repeatable. Must not be called with the parent's signal lock held, nor
    // from this object's own threads.
    int shutdown() override;

    // The local description's port and media lines; 1 for a port outside
    // 0 to 65535, which changes nothing.
    int setLocalRtpPort(int port);
    void setToneSignal(bool on);
    bool toneSignal();
    // False from start and from every RSIP sent until the RSIP's answer.
    bool isRsipAcknowledged() const { return mRsipAcknowledged.load(); }

    // The CallProcessor's way to send: 7 RSIP, 5 NTFY for the key text in
    // `text`, 4 DLCX, 8 a response with `text` as its code. 0 when sent.
    int post(MgcpOperation code, const char* text);
    // The one dispatcher, under the parent's signal lock and then mLock: for
    // the server's commands (1, 2, 3, 6, with their packet) on the socket
    // thread, for the terminal's messages on the caller's thread.
    int process(MgcpOperation code, MediaSession* data, const char* text, MgcpPacket* packet);

    // The session record. The CallProcessor reads it while it handles an
    // event from `process`, that is, under the locks `process` holds.
    MediaSession* session() const { return mSessionRef; }
    // Commands waiting for their answer.
    int bufferCount();
    // The port the socket is bound to; 0 when none is open.
    std::uint16_t localPort() const { return mSocket.localPort(); }

private:
    // The stages of start.
    void createBufferTable();
    void resetSession();
    void openSocket();
    bool startThread(std::unique_ptr<platform::Thread>& thread, std::atomic<std::uint32_t>& id, void (MGCP::*body)());
    int failStart();

    void pollSocket();
    void retransmit();
    void acknowledge(const MgcpPacket& response);
    int transmit(const std::array<std::uint8_t, kMgcpPayloadSize>& payload, std::uint32_t length, bool isResend);

    int sendRsip(MediaSession& session);
    int sendNtfy(MediaSession& session, const char* keyText);
    int sendDlcx(MediaSession& session);
    int sendResponse(MediaSession& session, const char* code, bool withDescription);
    void answerCommand(MgcpOperation code, MediaSession& session, const MgcpPacket* packet);

    MediaSession mSession;
    MediaSession* mSessionRef = nullptr;
    platform::RecursiveLock mLock;
    platform::RecursiveLock mBufferLock;
    MgcpParent* mParent = nullptr;
    const NetworkInitData* mInitData = nullptr;
    std::unique_ptr<platform::Thread> mSocketThread;
    std::unique_ptr<platform::Thread> mRetransmitThread;
    std::atomic<std::uint32_t> mSocketThreadId{0};
    std::atomic<std::uint32_t> mRetransmitThreadId{0};
    std::unique_ptr<MgcpBufferTable> mBufferTable;
    std::atomic<bool> mRsipAcknowledged{false};
    std::atomic<std::uint32_t> mRsipTid{0};
    platform::UdpSocket mSocket;
    const platform::Clock& mClock;
    const std::uint16_t mLocalPort;
    const std::uint16_t mServerPort;
    platform::Wakeup mRetransmitWakeup{mClock};
    // Where the socket thread waits for shutdown when there is no socket.
    platform::Wakeup mNoSocketWakeup{mClock};
    // The server's address as the socket thread compares senders with it.
    std::atomic<std::uint32_t> mServerAddress{0};
    ForeignSenderTrace mForeignSenders{"MGCP"};  // socket thread only
};
