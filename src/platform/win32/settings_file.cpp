// The settings store on Windows: the registry. The machine-wide values live
// under HKEY_LOCAL_MACHINE; a test root puts them under a key of that name
// in HKEY_CURRENT_USER instead. Values are REG_SZ, handed in and out as
// UTF-8.
#include "platform/settings_file.h"

#include <windows.h>

#include <mutex>

namespace platform {

namespace {

std::mutex gMutex;
std::string gRoot;

bool widen(const std::string& in, std::wstring& out) {
    out.clear();
    if (in.empty()) return true;
    const int units =
        ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, in.data(), static_cast<int>(in.size()), nullptr, 0);
    if (units <= 0) return false;
    out.resize(static_cast<std::size_t>(units));
    return ::MultiByteToWideChar(CP_UTF8, MB_ERR_INVALID_CHARS, in.data(), static_cast<int>(in.size()), out.data(),
                                 units) == units;
}

bool narrow(const std::wstring& in, std::string& out) {
    out.clear();
    if (in.empty()) return true;
    const int bytes = ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, in.data(), static_cast<int>(in.size()),
                                            nullptr, 0, nullptr, nullptr);
    if (bytes <= 0) return false;
    out.resize(static_cast<std::size_t>(bytes));
    return ::WideCharToMultiByte(CP_UTF8, WC_ERR_INVALID_CHARS, in.data(), static_cast<int>(in.size()), out.data(),
                                 bytes, nullptr, nullptr) == bytes;
}

// Where the key lives: the hive and the full path under it.
struct Place {
    HKEY hive = HKEY_LOCAL_MACHINE;
    std::wstring path;
};

bool placeOf(const std::string& key, Place& place) {
    std::string full = key;
    if (!gRoot.empty()) {
        place.hive = HKEY_CURRENT_USER;
        full = gRoot + "\\" + key;
    }
    return !key.empty() && widen(full, place.path);
}

bool validName(const std::string& name) {
    return !name.empty() && name.find('\0') == std::string::npos;
}

SettingsFileState stateOf(LSTATUS status) {
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND ? SettingsFileState::Usable
                                                                     : SettingsFileState::Unreadable;
}

}  // namespace

void setSettingsRoot(const std::string& root) {
    std::lock_guard<std::mutex> lock(gMutex);
    gRoot = root;
}

std::string settingsFilePath() {
    std::lock_guard<std::mutex> lock(gMutex);
    return gRoot.empty() ? std::string("HKEY_LOCAL_MACHINE") : "HKEY_CURRENT_USER\\" + gRoot;
}

bool readSettingValue(const std::string& key, const std::string& name, std::string& value, SettingsFileState* state) {
    std::lock_guard<std::mutex> lock(gMutex);
    Place place;
    std::wstring wideName;
    if (!placeOf(key, place) || !validName(name) || !widen(name, wideName)) return false;
    HKEY handle = nullptr;
    LSTATUS status = ::RegOpenKeyExW(place.hive, place.path.c_str(), 0, KEY_QUERY_VALUE, &handle);
    if (status != ERROR_SUCCESS) {
        if (state != nullptr) *state = stateOf(status);
        return false;
    }
    DWORD type = 0;
    DWORD bytes = 0;
    status = ::RegQueryValueExW(handle, wideName.c_str(), nullptr, &type, nullptr, &bytes);
    SettingsFileState found = stateOf(status);
    bool ok = false;
    if (status == ERROR_SUCCESS) {
        if (type != REG_SZ && type != REG_EXPAND_SZ) {
            found = SettingsFileState::NotRegular;
        } else if (bytes > kMaxSettingsFileBytes) {
            found = SettingsFileState::TooLarge;
        } else {
            // The value may lack its terminator; room for one is added.
            std::wstring text(bytes / sizeof(wchar_t) + 1, L'\0');
            DWORD got = bytes;
            status = ::RegQueryValueExW(handle, wideName.c_str(), nullptr, &type, reinterpret_cast<BYTE*>(text.data()),
                                        &got);
            if (status == ERROR_SUCCESS) {
                text.resize(got / sizeof(wchar_t));
                while (!text.empty() && text.back() == L'\0') text.pop_back();
                ok = narrow(text, value);
            } else {
                found = stateOf(status);
            }
        }
    }
    ::RegCloseKey(handle);
    if (state != nullptr) *state = found;
    return ok;
}

bool writeSettingValue(const std::string& key, const std::string& name, const std::string& value,
                       SettingsFileState* state) {
    std::lock_guard<std::mutex> lock(gMutex);
    Place place;
    std::wstring wideName;
    std::wstring wideValue;
    if (!placeOf(key, place) || !validName(name) || !widen(name, wideName) || !widen(value, wideValue)) return false;
    if ((wideValue.size() + 1) * sizeof(wchar_t) > kMaxSettingsFileBytes) return false;
    HKEY handle = nullptr;
    LSTATUS status = ::RegCreateKeyExW(place.hive, place.path.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                                       KEY_SET_VALUE, nullptr, &handle, nullptr);
    if (state != nullptr) *state = stateOf(status);
    if (status != ERROR_SUCCESS) return false;
    status = ::RegSetValueExW(handle, wideName.c_str(), 0, REG_SZ, reinterpret_cast<const BYTE*>(wideValue.c_str()),
                              static_cast<DWORD>((wideValue.size() + 1) * sizeof(wchar_t)));
    ::RegCloseKey(handle);
    return status == ERROR_SUCCESS;
}

// The store is the registry: what a file's check finds there is a value of
// another type or one too long.
const char* settingsStateText(SettingsFileState state) {
    switch (state) {
        case SettingsFileState::NotRegular:
            return "holds a device value that is not text";
        case SettingsFileState::TooLarge:
            return "holds a device value larger than 64 KiB";
        case SettingsFileState::Unreadable:
            return "can't be read";
        default:
            return "";
    }
}

}  // namespace platform
