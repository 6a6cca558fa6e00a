// The file behind the settings store: a small text file standing for the
// machine-wide registry, at <config>/softphone/settings.ini where <config>
// is $XDG_CONFIG_HOME, else ~/.config. Keys are registry-style paths, one
// section each; values are UTF-8 text, one "name=value" line each.
#pragma once

#include <cstddef>
#include <string>

namespace platform {

// Points the store at another config folder (tests); empty restores the
// default.
void setSettingsRoot(const std::string& root);
std::string settingsFilePath();

// The file is read only when it is a regular file of at most this size.
constexpr std::size_t kMaxSettingsFileBytes = 64 * 1024;

// What a read or write found at the file's path.
enum class SettingsFileState {
    Usable,      // read (or absent, which reads as no values)
    NotRegular,  // a FIFO, device, folder...: not opened for reading
    TooLarge,    // more than kMaxSettingsFileBytes
    Unreadable,  // any other failure to open or read it
};

// What is wrong with the store in `state`, for the trace line that says
// the settings were ignored (e.g. "is not a regular file"); empty for Usable.
const char* settingsStateText(SettingsFileState state);

// False when the value is absent, or the file is missing or unusable;
// `state` (if given) says which.
bool readSettingValue(const std::string& key, const std::string& name, std::string& value,
                      SettingsFileState* state = nullptr);
// Creates the folders and the file as needed; the file is replaced as a
// whole (a temporary file renamed over it), so a reader never sees half a
// write. False when it can't be stored; a file there that can't be read is
// left alone rather than replaced.
bool writeSettingValue(const std::string& key, const std::string& name, const std::string& value,
                       SettingsFileState* state = nullptr);

}  // namespace platform
