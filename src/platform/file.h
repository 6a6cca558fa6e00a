// A write-only text file for the trace: created anew, others may read it,
// every write handed to the system at once.
#pragma once

#include <cstddef>
#include <cstdint>

namespace platform {

class OutputFile {
public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Creates the file, emptying an existing one.
    bool create(const char* path);
    bool isOpen() const { return mFd >= 0; }
    bool seekToEnd();
    // Writes all of `data`; false when the system took less.
    bool write(const char* data, std::size_t length);
    void close();

private:
    // The system's handle of the file; -1 when none is open.
    std::intptr_t mFd = -1;
};

}  // namespace platform
