// The settings file as whatever bytes a damaged or hand-edited file holds,
// read and then rewritten through the store. The input is the file, then
// after NUL bytes a key and name to read, and a key, name and value to
// write: "file\0key\0name\0key\0name\0value". A value read back is the value
// written; a write leaves every other value readable as it was; a cut read
// is a terminated prefix; and the UTF-16 side gives back what it stored.
#include <sys/stat.h>
#include <unistd.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>
#include <vector>

#include "common/settings_store.h"
#include "platform/settings_file.h"

namespace {

void check(bool condition) {
    if (!condition) std::abort();
}

// A folder of the fuzzer's own in memory (/dev/shm), made once and removed
// at exit. Kept on the heap, so that it outlives the exit handler.
const std::string& root() {
    static const std::string* folder = [] {
        char pattern[] = "/dev/shm/settings-fuzz-XXXXXX";
        check(::mkdtemp(pattern) != nullptr);
        auto* made = new std::string(pattern);
        platform::setSettingsRoot(*made);
        std::atexit([] { std::filesystem::remove_all(root()); });
        return made;
    }();
    return *folder;
}

std::string fileBytes() {
    std::ifstream in(platform::settingsFilePath(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

bool sameAscii(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        const auto lower = [](char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // A settings file of a few kilobytes is already far above a real one.
    if (size > 4096) return 0;
    root();
    std::vector<std::string> parts(1);
    for (std::size_t i = 0; i < size; ++i) {
        if (data[i] == 0 && parts.size() < 6) {
            parts.emplace_back();
        } else {
            parts.back() += static_cast<char>(data[i]);
        }
    }
    parts.resize(6);
    const std::string& file = parts[0];
    const std::string& readKey = parts[1];
    const std::string& readName = parts[2];
    const std::string& writeKey = parts[3];
    const std::string& writeName = parts[4];
    // The store takes C texts: the value ends at its first NUL.
    const std::string value = parts[5].substr(0, parts[5].find('\0'));

    {
        const std::string dir = root() + "/softphone";
        ::mkdir(dir.c_str(), 0755);
        std::ofstream out(platform::settingsFilePath(), std::ios::binary | std::ios::trunc);
        out.write(file.data(), static_cast<std::streamsize>(file.size()));
    }

    // A read, whole and cut to a small buffer.
    std::string before;
    const bool found = platform::readSettingValue(readKey, readName, before);
    char small[8];
    std::memset(small, 'x', sizeof small);
    const std::size_t capacity = 1 + (size % sizeof small);
    const bool foundCut = readSettingA(readKey.c_str(), readName.c_str(), small, capacity);
    check(foundCut == found);
    if (foundCut) {
        const std::size_t n = std::strlen(small);
        check(n < capacity && before.compare(0, n, small) == 0);
        check(n == std::min(before.size(), capacity - 1));
    }

    // A write: what it stored reads back, and the other value is untouched;
    // a refused write leaves the file as it was.
    const bool stored = writeSettingA(writeKey.c_str(), writeName.c_str(), value.c_str());
    if (stored) {
        std::string after;
        check(platform::readSettingValue(writeKey, writeName, after) && after == value);
        std::string other;
        const bool still = platform::readSettingValue(readKey, readName, other);
        if (sameAscii(readKey, writeKey) && sameAscii(readName, writeName)) {
            check(still && other == value);
        } else {
            check(still == found && (!found || other == before));
        }
    } else {
        check(fileBytes() == file);
    }

    // The UTF-16 side: valid UTF-8 converts and comes back the same; what
    // is stored as UTF-16 reads back as the same units.
    std::u16string wide;
    if (utf8ToUtf16(value, wide)) {
        std::string narrow;
        check(utf16ToUtf8(wide, narrow) && narrow == value);
        std::u16string key16;
        std::u16string name16;
        if (stored && utf8ToUtf16(writeKey, key16) && utf8ToUtf16(writeName, name16)) {
            const std::u16string changed = wide + u"\u00e9";
            check(writeSettingW(key16.c_str(), name16.c_str(), changed.c_str()));
            char16_t back[64];
            if (readSettingW(key16.c_str(), name16.c_str(), back, 64)) {
                const std::u16string got(back);
                check(got == changed.substr(0, std::min<std::size_t>(changed.size(), 63)));
            } else {
                check(false);
            }
        }
    }
    return 0;
}
