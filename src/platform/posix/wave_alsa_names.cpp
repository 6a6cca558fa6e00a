#include "platform/posix/wave_alsa_names.h"

#include <set>

#include "platform/wave_device.h"

namespace platform {

namespace {

constexpr std::size_t kUnits = kWaveNameUnits - 1;
// What a cut name keeps of its end: enough for a card's number or a
// device's distinguishing suffix.
constexpr std::size_t kTail = 9;

std::string withoutKeys(std::string name) {
    for (const char* key : {"CARD=", "SUBDEV=", "DEV="}) {
        const std::string k = key;
        for (std::size_t at; (at = name.find(k)) != std::string::npos;) name.erase(at, k.size());
    }
    return name;
}

std::string fitted(const std::string& name) {
    if (name.size() <= kUnits) return name;
    const std::string compact = withoutKeys(name);
    if (compact.size() <= kUnits) return compact;
    return compact.substr(0, kUnits - kTail - 1) + "~" + compact.substr(compact.size() - kTail);
}

std::u16string wide(const std::string& text) {
    std::u16string out;
    for (char c : text) out.push_back(static_cast<unsigned char>(c) < 0x80 ? static_cast<char16_t>(c) : u'?');
    return out;
}

}  // namespace

std::vector<std::u16string> alsaListNames(const std::vector<std::string>& alsaNames) {
    std::vector<std::u16string> out;
    std::set<std::u16string> taken;
    for (const std::string& name : alsaNames) {
        std::u16string candidate = wide(fitted(name));
        // Numbered on its start, which reads better than a cut end.
        const std::string base = name.size() <= kUnits ? name : withoutKeys(name);
        for (int n = 2; taken.count(candidate) != 0; ++n) {
            const std::string suffix = "~" + std::to_string(n);
            candidate = wide(base.substr(0, kUnits - suffix.size()) + suffix);
        }
        taken.insert(candidate);
        out.push_back(candidate);
    }
    return out;
}

}  // namespace platform
