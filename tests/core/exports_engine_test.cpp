// initialize and uninitialize through the exports, in one process.
#include <gtest/gtest.h>

#include <cstring>

#include "core/globals.h"
#include "softphone.h"
#include "support_files/callback_log.h"
#include "support_files/trace_capture.h"

namespace {

ParameterContainer filledContainer() {
    ParameterContainer params;
    std::memset(&params, 0, sizeof params);
    params.mLocalAddress = 0x7F000001;
    params.mServerAddress = 0x7F000001;
    const std::uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0xff};
    std::memcpy(params.mHardwareAddress, mac, 6);
    CallbackLog::install(params);
    return params;
}

}  // namespace

TEST(Initialize, NullContainerFailsAndKeepsTheCallProcessorUntilUninitialize) {
    TraceCapture trace;
    PtapParameters out;
    EXPECT_EQ(initialize(nullptr, &out), -1);
    EXPECT_TRUE(trace.contains("[CRITICAL ERROR] PTAP initialization data is invalid"));
    EXPECT_NE(gCallProcessor.load(), nullptr);
    ParameterContainer params = filledContainer();
    std::memset(&out, 0xAB, sizeof out);
    EXPECT_EQ(initialize(&params, &out), 0);  // already there: nothing done
    EXPECT_EQ(reinterpret_cast<unsigned char*>(&out)[0], 0xAB);
    EXPECT_EQ(uninitialize(), 0);
    EXPECT_EQ(gCallProcessor.load(), nullptr);
}
