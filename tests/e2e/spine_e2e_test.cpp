// The library's surface as a client sees it: every export resolves, exports
// without their objects give their results, a failed start leaves nothing
// behind, and uninitialize closes the trace.
#include <algorithm>
#include <chrono>

#include "e2e_fixture.h"
#include "sim/mgcp_server.h"
#include "sim/ptap_server.h"
#include "sim/udp_peer.h"
#include "tests/support_files/wide_text.h"

TEST_F(SoftphoneE2E, ResolvesAllFortyNineExports) {
    EXPECT_EQ(sim::exportNames().size(), static_cast<std::size_t>(SOFTPHONE_EXPORT_COUNT));
    // load() in SetUp failed on any missing name.
}

TEST_F(SoftphoneE2E, ExportsWithoutObjectsGiveTheirResults) {
    const sim::SoftphoneApi& a = api();
    EXPECT_EQ(a.put_key(0x0731), 0);
    EXPECT_EQ(a.put_key(0xDEAD), 0);  // nothing is looked at without a CallProcessor
    EXPECT_EQ(a.make_call("123"), 0);
    EXPECT_EQ(a.make_call("bad!"), 0);
    EXPECT_EQ(a.send_error(5, 0, 0), 0);
    EXPECT_EQ(a.open_voice(), 0);
    EXPECT_EQ(a.close_voice(), 0);
    char pcm[700] = {};
    EXPECT_EQ(a.send_voice(700, pcm), 700);
    int size = 320, status = 99;
    EXPECT_EQ(a.recv_voice(&size, pcm, &status), 0);
    EXPECT_EQ(a.recv_voice(nullptr, pcm, nullptr), 0);
    EXPECT_EQ(a.AudioModuleShutdown(), 0);
    EXPECT_EQ(a.AudioModulePlayVoice(pcm, 320), 0);
    EXPECT_EQ(a.AudioModuleRecordStart(1), 0);
    EXPECT_EQ(a.AudioModuleRegisterCallback(nullptr), 0);
    sp_wchar_t** list = nullptr;
    EXPECT_EQ(a.AudioModuleGetInDevice(&list), -1);
    EXPECT_EQ(a.AudioModuleGetOutDevice(&list), -1);
    EXPECT_EQ(a.AudioModuleSetDevice(0, 0, 0), 0);
    EXPECT_EQ(a.AudioModulePlayFile(SP_TEXT("media/x.wav"), 0), 0);
    EXPECT_EQ(a.AudioModuleStopPlayFile(), 0);
    EXPECT_EQ(a.AudioModuleGetEngineStatus(), -1);
    EXPECT_EQ(a.AudioModulePlayTone(SP_TEXT("media/x.wav"), 1), 0);
    EXPECT_EQ(a.AudioModuleStopPlayTone(), 0);
    int out = 7, file = 8, in = 9;
    a.AudioModuleGetDeviceID(&out, &file, &in);
    EXPECT_EQ(out + file + in, 24);  // untouched
    EXPECT_EQ(a.ToneModulePlayDTMF(1, 0), -1);
    EXPECT_EQ(a.ToneModuleGetKeyPadMode(), -1);
    EXPECT_EQ(a.ToneModuleGetProgramMode(), -1);
    EXPECT_EQ(a.ToneModuleSetKeyPadMode(1), -1);
    EXPECT_EQ(a.ToneModuleSetProgramMode(1), -1);
    EXPECT_EQ(a.ToneModulePlayTone(1, 2, 3), -1);
    EXPECT_EQ(a.ToneModuleSaveCustomTone(1, SP_TEXT("x")), -1);
    EXPECT_EQ(a.ToneModuleRemoveCustomTone(1), -1);
    sp_wchar_t* path = nullptr;
    EXPECT_EQ(a.ToneModuleGetCustomTone(1, &path), -1);
    EXPECT_EQ(a.ToneModuleSetServiceTonePath(1), -1);
    EXPECT_EQ(a.ToneModulePlayServiceTone(1), -1);
    EXPECT_EQ(a.get_module_variable(nullptr, -1), -1);
    EXPECT_EQ(a.uninitialize(), 0);
}

TEST_F(SoftphoneE2E, ARefusedStartLeavesNothingAndKeepsTheTraceOpen) {
    sim::PtapServer ptap;
    ASSERT_TRUE(ptap.start());
    ptap.refuse();
    startTrace();
    PtapParameters out{};
    EXPECT_EQ(api().initialize(&params_, &out), 0xC9);
    const std::vector<std::string> messages = traceMessages();
    auto at = [&](const std::string& m) { return std::find(messages.begin(), messages.end(), m) - messages.begin(); };
    const auto created = at("[CP] Module created");
    const auto starting = at("[CP] Module starting");
    const auto refused = at("[CP :: CRITICAL ERROR] PTAP START - Registration failed/not possible");
    const auto failed = at("[CRITICAL ERROR] Startup failed: CallProcessor");
    const auto destroyed = at("[CP] Module Destroyed ");
    EXPECT_LT(created, starting);
    EXPECT_LT(starting, refused);
    EXPECT_LT(refused, failed);
    EXPECT_LT(failed, destroyed);
    EXPECT_LT(destroyed, static_cast<std::ptrdiff_t>(messages.size()));

    // The failed start left nothing behind, so a second initialize starts
    // over; uninitialize with no CallProcessor leaves the trace open.
    EXPECT_EQ(api().initialize(&params_, &out), 0xC9);
    EXPECT_EQ(api().uninitialize(), 0);
    EXPECT_EQ(traceText().find("TRACE END"), std::string::npos);
}

TEST_F(SoftphoneE2E, UninitializeAfterANullContainerClosesTheTrace) {
    startTrace();
    PtapParameters out{};
    EXPECT_EQ(api().initialize(nullptr, &out), -1);
    EXPECT_EQ(api().uninitialize(), 0);
    const std::string text = traceText();
    const std::string end = "\r\n================================[ TRACE END ]=================================\r\n";
    ASSERT_GE(text.size(), end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    EXPECT_NE(text.find("[CRITICAL ERROR] PTAP initialization data is invalid"), std::string::npos);
}

TEST_F(SoftphoneE2E, RepeatedStartsLeaveNoThreadBehind) {
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    ASSERT_TRUE(ptap.start());
    ASSERT_TRUE(mgcp.start());
    const std::size_t before = threadCount();
    PtapParameters out{};
    for (int i = 0; i < 5; ++i) {
        ptap.refuse();
        EXPECT_EQ(api().initialize(&params_, &out), 0xC9);
        EXPECT_EQ(api().uninitialize(), 0);
        ptap.acceptRegistration(0);
        EXPECT_EQ(api().initialize(&params_, &out), 0);
        EXPECT_EQ(api().uninitialize(), 0);
    }
    EXPECT_EQ(threadCount(), before);
}

TEST_F(SoftphoneE2E, OnlyTheCallServerSpeaksForTheCallServer) {
    if (!sim::secondLoopbackAddressSends()) GTEST_SKIP() << "127.0.0.2 does not send as itself here";
    sim::PtapServer ptap;
    sim::MgcpServer mgcp;
    ASSERT_TRUE(ptap.start());
    ASSERT_TRUE(mgcp.start());
    startTrace();
    PtapParameters out{};
    ASSERT_EQ(api().initialize(&params_, &out), 0);
    ASSERT_TRUE(mgcp.waitForCount(1, 1000));  // the RSIP

    // From 127.0.0.2: a keepalive time-out of 0 with an event, a compulsion
    // restart, and a ring.
    sim::UdpPeer intruder;
    ASSERT_TRUE(intruder.start(0, 0x7F000002));
    std::vector<std::uint8_t> body = sim::PtapServer::item(0x1A, {0x00});
    const std::vector<std::uint8_t> event = sim::PtapServer::item(0x20, {0x44});
    body.insert(body.end(), event.begin(), event.end());
    body.push_back(0xFF);
    for (const auto& bytes : {sim::PtapServer::packet(0x77, sim::PtapServer::kEvent, body),
                              sim::PtapServer::packet(0x78, sim::PtapServer::kCompulsionRestart, {0xFF})}) {
        ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, sim::PtapServer::kTerminalPort, bytes.data(), bytes.size()));
    }
    ASSERT_TRUE(intruder.sendTo(sim::kLoopbackAddress, sim::kMgcpTerminalPort,
                                "RQNT 90 d1@0011223344ff MGCP 1.0\r\nS: X-P/ring(000100)\r\n"));

    // The server's own event and text come after them on the same sockets.
    ptap.sendEvent(0x33);
    mgcp.sendCommand("RQNT 91 d1@0011223344ff MGCP 1.0\r\nS: X-P/lcdp(2202030541)\r\n");
    auto& recorder = sim::CallbackRecorder::instance();
    ASSERT_TRUE(recorder.waitFor([](const auto& r) { return r.size() >= 2; }, 2000));
    // A time-out of 0 would have reported the link lost within about a second.
    EXPECT_FALSE(recorder.waitFor([](const auto& r) { return r.size() > 2; }, 2500));
    const auto records = recorder.records();
    ASSERT_EQ(records.size(), 2u);
    for (const auto& r : records) {
        if (r.kind == sim::CallbackRecord::LinkEvent) {
            EXPECT_EQ(r.code, 0x33);
        } else {
            EXPECT_EQ(r.kind, sim::CallbackRecord::DisplayText);
        }
    }
    EXPECT_EQ(intruder.count(), 0u) << "nothing was answered or acknowledged";
    const std::string trace = traceText();
    EXPECT_NE(trace.find("[PTAP :: Warning] Datagram from 127.0.0.2 dropped - not the server"), std::string::npos);
    EXPECT_NE(trace.find("[MGCP :: Warning] Datagram from 127.0.0.2 dropped - not the server"), std::string::npos);
}
