// A write-only text file for the trace: created anew, others may read it,
// every write handed to the system at once.
#pragma once

#include <cstddef>

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
    int mFd = -1;
};

}  // namespace platform
