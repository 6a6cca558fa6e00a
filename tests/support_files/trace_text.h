// Test helper: a trace file's text, and its messages without their stamps.
#pragma once

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream ss;
    ss << in.rdbuf();
    return ss.str();
}

// Lines are "day/month/year  h:mm  seconds  message", the seconds padded
// with blanks; the messages come without their line endings.
inline std::vector<std::string> traceMessagesOf(const std::string& text) {
    std::vector<std::string> out;
    std::istringstream in(text);
    std::string line;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        std::size_t at = line.find("  ");
        if (at == std::string::npos) continue;
        at = line.find("  ", at + 2);
        if (at == std::string::npos) continue;
        at = line.find_first_not_of(' ', at + 2);
        if (at == std::string::npos) continue;
        at = line.find("  ", at);
        if (at != std::string::npos) out.push_back(line.substr(at + 2));
    }
    return out;
}
