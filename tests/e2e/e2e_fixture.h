// The end-to-end fixture: the shared library loaded as a client loads it,
// a trace file of its own, and the callbacks recorded.
#pragma once

#include <gtest/gtest.h>

#ifdef _WIN32
#ifndef NOMINMAX
#define NOMINMAX  // std::min and std::max stay usable in the tests
#endif
// clang-format off
#include <windows.h>
#include <tlhelp32.h>
// clang-format on
#endif

#include <filesystem>
#include <random>
#include <string>
#include <vector>

#include "sim/softphone_library.h"
#include "tests/support_files/trace_text.h"

class SoftphoneE2E : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(lib_.load(SOFTPHONE_LIBRARY_PATH)) << lib_.error();
        sim::CallbackRecorder::instance().clear();
        tracePath_ = ::testing::TempDir() + "e2e_trace_" + std::to_string(std::random_device{}()) + ".log";
        params_ = sim::loopbackParameters();
    }
    void TearDown() override {
        if (lib_.api().uninitialize != nullptr) lib_.api().uninitialize();
        lib_.unload();
        std::remove(tracePath_.c_str());
    }

    const sim::SoftphoneApi& api() const { return lib_.api(); }
    void startTrace() { api().tracer_startup(tracePath_.c_str()); }

    std::string traceText() const { return readText(tracePath_); }
    std::vector<std::string> traceMessages() const { return traceMessagesOf(traceText()); }
    // The threads of this process, the library's among them.
    static std::size_t threadCount() {
#ifdef _WIN32
        std::size_t count = 0;
        const HANDLE snapshot = ::CreateToolhelp32Snapshot(TH32CS_SNAPTHREAD, 0);
        THREADENTRY32 entry{};
        entry.dwSize = sizeof entry;
        for (BOOL more = ::Thread32First(snapshot, &entry); more; more = ::Thread32Next(snapshot, &entry))
            if (entry.th32OwnerProcessID == ::GetCurrentProcessId()) ++count;
        ::CloseHandle(snapshot);
        return count;
#else
        return static_cast<std::size_t>(std::distance(std::filesystem::directory_iterator("/proc/self/task"), {}));
#endif
    }

    sim::SoftphoneLibrary lib_;
    std::string tracePath_;
    ParameterContainer params_;
};
