#include "common/settings_store.h"

#include <cstdint>
#include <cstring>
#include <mutex>

#include "common/tracer.h"
#include "platform/settings_file.h"

namespace {

// A settings file that can't be used is traced once for each change of
// what is found there, not at every value read.
void noteFileState(platform::SettingsFileState state) {
    using platform::SettingsFileState;
    static std::mutex mutex;
    static SettingsFileState last = SettingsFileState::Usable;
    {
        std::lock_guard<std::mutex> lock(mutex);
        if (state == last) return;
        last = state;
    }
    if (state == SettingsFileState::Usable) return;
    Tracer::instance()->trace(kTraceDetail, "[SETTINGS] Settings file ignored - %s %s; the defaults stand",
                              platform::settingsFilePath().c_str(), platform::settingsStateText(state));
}

bool readValue(const std::string& key, const std::string& name, std::string& value) {
    platform::SettingsFileState state = platform::SettingsFileState::Usable;
    const bool found = platform::readSettingValue(key, name, value, &state);
    noteFileState(state);
    return found;
}

bool writeValue(const std::string& key, const std::string& name, const std::string& value) {
    platform::SettingsFileState state = platform::SettingsFileState::Usable;
    const bool stored = platform::writeSettingValue(key, name, value, &state);
    noteFileState(state);
    return stored;
}

}  // namespace

bool utf16ToUtf8(const std::u16string& in, std::string& out) {
    out.clear();
    for (std::size_t i = 0; i < in.size(); ++i) {
        std::uint32_t c = in[i];
        if (c >= 0xD800 && c <= 0xDBFF) {
            if (i + 1 == in.size() || in[i + 1] < 0xDC00 || in[i + 1] > 0xDFFF) return false;
            c = 0x10000 + ((c - 0xD800) << 10) + (in[++i] - 0xDC00);
        } else if (c >= 0xDC00 && c <= 0xDFFF) {
            return false;
        }
        if (c < 0x80) {
            out += static_cast<char>(c);
        } else if (c < 0x800) {
            out += static_cast<char>(0xC0 | (c >> 6));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else if (c < 0x10000) {
            out += static_cast<char>(0xE0 | (c >> 12));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        } else {
            out += static_cast<char>(0xF0 | (c >> 18));
            out += static_cast<char>(0x80 | ((c >> 12) & 0x3F));
            out += static_cast<char>(0x80 | ((c >> 6) & 0x3F));
            out += static_cast<char>(0x80 | (c & 0x3F));
        }
    }
    return true;
}

bool utf8ToUtf16(const std::string& in, std::u16string& out) {
    out.clear();
    for (std::size_t i = 0; i < in.size();) {
        const auto b = static_cast<unsigned char>(in[i]);
        int extra = b < 0x80 ? 0 : (b >> 5) == 0x6 ? 1 : (b >> 4) == 0xE ? 2 : (b >> 3) == 0x1E ? 3 : -1;
        if (extra < 0) return false;
        std::uint32_t c = extra == 0 ? b : (b & (0x3F >> extra));
        for (int k = 1; k <= extra; ++k) {
            if (i + static_cast<std::size_t>(k) >= in.size()) return false;
            const auto cont = static_cast<unsigned char>(in[i + static_cast<std::size_t>(k)]);
            if ((cont & 0xC0) != 0x80) return false;
            c = (c << 6) | (cont & 0x3F);
        }
        static const std::uint32_t kLeast[] = {0, 0x80, 0x800, 0x10000};
        if (c < kLeast[extra] || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF)) return false;
        if (c >= 0x10000) {
            c -= 0x10000;
            out += static_cast<char16_t>(0xD800 + (c >> 10));
            out += static_cast<char16_t>(0xDC00 + (c & 0x3FF));
        } else {
            out += static_cast<char16_t>(c);
        }
        i += static_cast<std::size_t>(extra) + 1;
    }
    return true;
}

bool readSettingA(const char* subKey, const char* valueName, char* buffer, std::size_t capacity) {
    if (subKey == nullptr || valueName == nullptr || buffer == nullptr || capacity == 0) return false;
    std::string value;
    if (!readValue(subKey, valueName, value)) return false;
    const std::size_t n = value.size() < capacity ? value.size() : capacity - 1;
    std::memcpy(buffer, value.data(), n);
    buffer[n] = '\0';
    return true;
}

bool readSettingW(const char16_t* subKey, const char16_t* valueName, char16_t* buffer, std::size_t capacity) {
    if (subKey == nullptr || valueName == nullptr || buffer == nullptr || capacity == 0) return false;
    std::string key;
    std::string name;
    std::string stored;
    std::u16string value;
    if (!utf16ToUtf8(subKey, key) || !utf16ToUtf8(valueName, name)) return false;
    if (!readValue(key, name, stored) || !utf8ToUtf16(stored, value)) return false;
    std::size_t n = value.size() < capacity ? value.size() : capacity - 1;
    // Never leave half a surrogate pair at the cut.
    if (n > 0 && n < value.size() && value[n - 1] >= 0xD800 && value[n - 1] <= 0xDBFF) --n;
    std::memcpy(buffer, value.data(), n * sizeof(char16_t));
    buffer[n] = u'\0';
    return true;
}

bool writeSettingA(const char* subKey, const char* valueName, const char* text) {
    if (subKey == nullptr || valueName == nullptr || text == nullptr) return false;
    return writeValue(subKey, valueName, text);
}

bool writeSettingW(const char16_t* subKey, const char16_t* valueName, const char16_t* text) {
    if (subKey == nullptr || valueName == nullptr || text == nullptr) return false;
    std::string key;
    std::string name;
    std::string value;
    if (!utf16ToUtf8(subKey, key) || !utf16ToUtf8(valueName, name) || !utf16ToUtf8(text, value)) return false;
    return writeValue(key, name, value);
}
