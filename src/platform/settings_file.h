// The file behind the settings store: a small text file standing for the
// machine-wide registry, at <config>/softphone/settings.ini where <config>
// is $XDG_CONFIG_HOME, else ~/.config. Keys are registry-style paths, one
// section each; values are UTF-8 text, one "name=value" line each.
#pragma once

#include <string>

namespace platform {

// Points the store at another config folder (tests); empty restores the
// default.
void setSettingsRoot(const std::string& root);
std::string settingsFilePath();

// False when the value is absent, or the file is missing or unreadable.
bool readSettingValue(const std::string& key, const std::string& name, std::string& value);
// Creates the folders and the file as needed; the file is replaced as a
// whole (a temporary file renamed over it), so a reader never sees half a
// write. False when it can't be stored.
bool writeSettingValue(const std::string& key, const std::string& name, const std::string& value);

}  // namespace platform
