// Test helper: runs the Tracer into a private file and reads it back.
#pragma once

#include <random>
#include <string>
#include <vector>

#include "common/tracer.h"
#include "support_files/trace_text.h"

class TraceCapture {
public:
    TraceCapture() : mPath(::testing::TempDir() + "trace_" + std::to_string(std::random_device{}()) + ".log") {
        Tracer::instance()->close();
        Tracer::instance()->startup(mPath.c_str(), kTraceAll);
    }
    ~TraceCapture() {
        Tracer::instance()->close();
        std::remove(mPath.c_str());
    }
    std::string text() const { return readText(mPath); }
    std::vector<std::string> messages() const { return traceMessagesOf(text()); }
    bool contains(const std::string& message) const {
        for (const auto& m : messages())
            if (m == message) return true;
        return false;
    }
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};
