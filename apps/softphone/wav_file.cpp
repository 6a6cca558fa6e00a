#include "wav_file.h"

#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace client {

namespace {

std::uint32_t le32(const std::uint8_t* p) {
    return p[0] | (p[1] << 8) | (p[2] << 16) | (static_cast<std::uint32_t>(p[3]) << 24);
}
std::uint16_t le16(const std::uint8_t* p) {
    return static_cast<std::uint16_t>(p[0] | (p[1] << 8));
}
void put32(std::vector<std::uint8_t>& out, std::uint32_t v) {
    for (int i = 0; i < 4; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
void put16(std::vector<std::uint8_t>& out, std::uint16_t v) {
    out.push_back(static_cast<std::uint8_t>(v));
    out.push_back(static_cast<std::uint8_t>(v >> 8));
}

}  // namespace

bool readWav(const std::string& path, std::vector<std::int16_t>& samples, std::string& error) {
    std::error_code why;
    if (!std::filesystem::is_regular_file(path, why)) {
        return error = path + (why ? ": " + why.message() : std::string(" is not a file")), false;
    }
    std::ifstream in(path, std::ios::binary);
    if (!in) return error = "cannot open " + path, false;
    const std::vector<std::uint8_t> bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    if (bytes.size() < 12 || std::memcmp(bytes.data(), "RIFF", 4) != 0 || std::memcmp(bytes.data() + 8, "WAVE", 4) != 0)
        return error = path + " is not a RIFF WAVE file", false;
    std::uint16_t channels = 0, bits = 0, format = 0;
    std::uint32_t rate = 0;
    std::size_t at = 12;
    while (at + 8 <= bytes.size()) {
        const std::uint32_t size = le32(bytes.data() + at + 4);
        const std::size_t body = at + 8;
        const std::size_t room = bytes.size() - body;
        const std::size_t length = size < room ? size : room;
        if (std::memcmp(bytes.data() + at, "fmt ", 4) == 0 && length >= 16) {
            format = le16(bytes.data() + body);
            channels = le16(bytes.data() + body + 2);
            rate = le32(bytes.data() + body + 4);
            bits = le16(bytes.data() + body + 14);
        } else if (std::memcmp(bytes.data() + at, "data", 4) == 0) {
            if (format != 1 || bits != 16 || rate != 8000 || channels == 0)
                return error = path + ": needs 16-bit PCM at 8000 Hz", false;
            samples.clear();
            const std::size_t step = 2u * channels;
            for (std::size_t i = 0; i + step <= length; i += step)
                samples.push_back(static_cast<std::int16_t>(le16(bytes.data() + body + i)));
            return true;
        }
        at = body + length + (length & 1);
    }
    return error = path + " has no data", false;
}

bool writeWav(const std::string& path, const std::vector<std::int16_t>& samples) {
    const auto dataBytes = static_cast<std::uint32_t>(samples.size() * 2);
    std::vector<std::uint8_t> out;
    out.insert(out.end(), {'R', 'I', 'F', 'F'});
    put32(out, 36 + dataBytes);
    out.insert(out.end(), {'W', 'A', 'V', 'E', 'f', 'm', 't', ' '});
    put32(out, 16);
    put16(out, 1);
    put16(out, 1);
    put32(out, 8000);
    put32(out, 16000);
    put16(out, 2);
    put16(out, 16);
    out.insert(out.end(), {'d', 'a', 't', 'a'});
    put32(out, dataBytes);
    for (std::int16_t s : samples) put16(out, static_cast<std::uint16_t>(s));
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char*>(out.data()), static_cast<std::streamsize>(out.size()));
    return static_cast<bool>(file);
}

}  // namespace client
