// The library as a client sees it before the links are built: every export
// resolves, initialize walks start-up to the first engine that doesn't
// stand, and uninitialize closes the trace.
#include <chrono>

#include "e2e_fixture.h"

TEST_F(SoftphoneE2E, ResolvesAllFortyNineExports) {
    EXPECT_EQ(sim::exportNames().size(), 49u);
    // load() in SetUp failed on any missing name.
}

TEST_F(SoftphoneE2E, ExportsWithoutObjectsGiveTheirResults) {
    EXPECT_EQ(api().put_key(0x0731), 0);
    EXPECT_EQ(api().make_call("0123"), 0);
    EXPECT_EQ(api().send_error(1, 0, 0), 0);
    char pcm[640] = {};
    EXPECT_EQ(api().send_voice(640, pcm), 640);
    EXPECT_EQ(api().recv_voice(nullptr, pcm, nullptr), 0);
    EXPECT_EQ(api().AudioModuleGetEngineStatus(), -1);
    EXPECT_EQ(api().ToneModuleGetKeyPadMode(), -1);
    EXPECT_EQ(api().get_module_variable(nullptr, -1), -1);
    EXPECT_EQ(api().uninitialize(), 0);
}

TEST_F(SoftphoneE2E, StartUpStopsAtTheFirstMissingEngineAndUninitializeEndsTheTrace) {
    startTrace();
    PtapParameters out{};
    const auto began = std::chrono::steady_clock::now();
    const int result = api().initialize(&params_, &out);
    const auto took = std::chrono::steady_clock::now() - began;
    EXPECT_EQ(result, 1);
    EXPECT_LT(took, std::chrono::seconds(2));
    const std::vector<std::string> expected = {
        "[CP] Module created",
        "[CP] Module starting",
        "[CP :: CRITICAL ERROR] Object creation failed - PTAP",
        "[CRITICAL ERROR] Startup failed: CallProcessor",
        "[CP] Module Destroyed ",
    };
    EXPECT_EQ(traceMessages(), expected);

    // The failed start left nothing behind, so a second initialize starts
    // over; uninitialize with no CallProcessor leaves the trace open.
    EXPECT_EQ(api().initialize(&params_, &out), 1);
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
    const std::size_t before = threadCount();
    PtapParameters out{};
    for (int i = 0; i < 20; ++i) {
        api().initialize(&params_, &out);
        api().uninitialize();
    }
    EXPECT_EQ(threadCount(), before);
}
