// Test helper: runs the Tracer into a private file and reads it back.
#pragma once

#include <fstream>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "common/tracer.h"

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
    std::string text() const {
        std::ifstream in(mPath, std::ios::binary);
        std::stringstream ss;
        ss << in.rdbuf();
        return ss.str();
    }
    // The messages, without stamps and line endings.
    std::vector<std::string> messages() const {
        std::vector<std::string> out;
        std::istringstream in(text());
        std::string line;
        while (std::getline(in, line)) {
            if (!line.empty() && line.back() == '\r') line.pop_back();
            // day/month/year  h:mm  seconds  message
            std::size_t at = 0;
            for (int field = 0; field < 3 && at != std::string::npos; ++field) {
                at = line.find("  ", at);
                if (at != std::string::npos) {
                    at += 2;
                    while (field == 1 && at < line.size() && line[at] == ' ') ++at;
                }
            }
            if (at != std::string::npos && at <= line.size()) out.push_back(line.substr(at));
        }
        return out;
    }
    bool contains(const std::string& message) const {
        for (const auto& m : messages())
            if (m == message) return true;
        return false;
    }
    const std::string& path() const { return mPath; }

private:
    std::string mPath;
};
