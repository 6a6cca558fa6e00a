// uninitialize while the server floods the terminal with commands of every
// kind: each command either finishes before the engines are detached or
// finds the CallProcessor stopping; nothing is used after it is freed, and
// no thread is left behind.
#include <atomic>
#include <string>
#include <thread>

#include "e2e_fixture.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"

namespace {

const char* const kCommands[] = {
    "CRCX 100 d1@0011223344ff MGCP 1.0\r\nC: 1\r\nL: p:20, a:PCMU\r\nM: sendrecv\r\n\r\n"
    "v=0\r\nc=IN IP4 127.0.0.1\r\nm=audio 5004 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n",
    "MDCX 101 d1@0011223344ff MGCP 1.0\r\nC: 1\r\nI: 1\r\nM: recvonly\r\n",
    "RQNT 102 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nS: X-P/ring(010000), X-P/lcdp(0,0,hello), X-P/ks(0731,01)\r\n",
    "MDCX 103 d1@0011223344ff MGCP 1.0\r\nC: 1\r\nI: 1\r\nM: inactive\r\n",
    "DLCX 104 d1@0011223344ff MGCP 1.0\r\nC: 1\r\nI: 1\r\n",
    "RQNT 105 d1@0011223344ff MGCP 1.0\r\nX: 1\r\nS: X-P/vctl(0300), X-P/tone(01), X-P/mute\r\n",
};

}  // namespace

TEST_F(SoftphoneE2E, UninitializeWhileCommandsFloodInLeavesNothingRunning) {
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    ASSERT_TRUE(ptap.start());
    ASSERT_TRUE(mgcp.start());
    const std::size_t threadsBefore = threadCount();
    for (int round = 0; round < 12; ++round) {
        SCOPED_TRACE(round);
        PtapParameters out{};
        ASSERT_EQ(api().initialize(&params_, &out), 0);
        std::atomic<int> sent{0};
        std::thread flood([&] {
            for (int i = 0; i < 1000; ++i) {
                mgcp.sendCommand(kCommands[i % std::size(kCommands)]);
                ++sent;
            }
        });
        // Stop the library in the middle of the flood, each round at a
        // later point of it.
        while (sent.load() < 50 + 75 * round) std::this_thread::yield();
        EXPECT_EQ(api().uninitialize(), 0);
        flood.join();
        mgcp.clear();
        ptap.clear();
    }
    EXPECT_EQ(threadCount(), threadsBefore);
}
