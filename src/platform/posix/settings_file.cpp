#include "platform/settings_file.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <mutex>
#include <sstream>
#include <vector>

namespace platform {

namespace {

std::mutex gMutex;
std::string gRoot;

struct Entry {
    std::string key;
    std::string name;
    std::string value;
};

// Registry names compare without regard to ASCII case.
bool sameName(const std::string& a, const std::string& b) {
    if (a.size() != b.size()) return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        auto lower = [](char c) { return (c >= 'A' && c <= 'Z') ? static_cast<char>(c - 'A' + 'a') : c; };
        if (lower(a[i]) != lower(b[i])) return false;
    }
    return true;
}

std::string configRoot() {
    if (!gRoot.empty()) return gRoot;
    const char* xdg = std::getenv("XDG_CONFIG_HOME");
    if (xdg != nullptr && xdg[0] == '/') return xdg;
    const char* home = std::getenv("HOME");
    if (home != nullptr && home[0] != '\0') return std::string(home) + "/.config";
    return {};
}

std::string filePathLocked() {
    std::string root = configRoot();
    return root.empty() ? std::string() : root + "/softphone/settings.ini";
}

std::string escape(const std::string& value) {
    std::string out;
    for (char c : value) {
        if (c == '\\') {
            out += "\\\\";
        } else if (c == '\n') {
            out += "\\n";
        } else if (c == '\r') {
            out += "\\r";
        } else {
            out += c;
        }
    }
    return out;
}

bool unescape(const std::string& text, std::string& out) {
    out.clear();
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\') {
            out += text[i];
            continue;
        }
        if (++i == text.size()) return false;
        switch (text[i]) {
            case '\\':
                out += '\\';
                break;
            case 'n':
                out += '\n';
                break;
            case 'r':
                out += '\r';
                break;
            default:
                return false;
        }
    }
    return true;
}

// The whole file, if it is a regular file of a sane size. Opened without
// blocking, so a FIFO in its place can't hang the caller, and read to a
// bound, so a name that leads to an endless source can't either.
SettingsFileState readFileText(const std::string& path, std::string& text) {
    text.clear();
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (fd < 0) return errno == ENOENT ? SettingsFileState::Usable : SettingsFileState::Unreadable;
    struct stat st {};
    SettingsFileState state = SettingsFileState::Usable;
    if (::fstat(fd, &st) != 0) {
        state = SettingsFileState::Unreadable;
    } else if (!S_ISREG(st.st_mode)) {
        state = SettingsFileState::NotRegular;
    } else if (static_cast<std::uint64_t>(st.st_size) > kMaxSettingsFileBytes) {
        state = SettingsFileState::TooLarge;
    } else {
        text.resize(kMaxSettingsFileBytes + 1);
        std::size_t got = 0;
        while (got < text.size()) {
            const ssize_t n = ::read(fd, text.data() + got, text.size() - got);
            if (n < 0 && errno == EINTR) continue;
            if (n < 0) state = SettingsFileState::Unreadable;
            if (n <= 0) break;
            got += static_cast<std::size_t>(n);
        }
        // A file that grew past the bound while it was read.
        if (got > kMaxSettingsFileBytes) state = SettingsFileState::TooLarge;
        text.resize(state == SettingsFileState::Usable ? got : 0);
    }
    ::close(fd);
    return state;
}

// Lines that make no sense are skipped: a damaged file reads as absent
// values, never as a fault.
SettingsFileState load(const std::string& path, std::vector<Entry>& entries) {
    entries.clear();
    std::string text;
    const SettingsFileState state = readFileText(path, text);
    std::istringstream in(text);
    std::string line;
    std::string key;
    bool inSection = false;
    while (std::getline(in, line)) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        if (line.empty() || line[0] == ';' || line[0] == '#') continue;
        if (line[0] == '[') {
            inSection = line.size() > 2 && line.back() == ']';
            if (inSection) key = line.substr(1, line.size() - 2);
            continue;
        }
        std::size_t eq = line.find('=');
        if (!inSection || eq == std::string::npos || eq == 0) continue;
        Entry e{key, line.substr(0, eq), {}};
        if (!unescape(line.substr(eq + 1), e.value)) continue;
        entries.push_back(std::move(e));
    }
    return state;
}

bool makeFolders(const std::string& path) {
    for (std::size_t at = 1; at <= path.size(); ++at) {
        if (at != path.size() && path[at] != '/') continue;
        std::string part = path.substr(0, at);
        if (::mkdir(part.c_str(), 0755) != 0 && errno != EEXIST) return false;
    }
    struct stat st {};
    return ::stat(path.c_str(), &st) == 0 && S_ISDIR(st.st_mode);
}

bool validKey(const std::string& key) {
    return !key.empty() && key.find_first_of("]\r\n") == std::string::npos;
}

bool validName(const std::string& name) {
    return !name.empty() && name.find_first_of("=\r\n") == std::string::npos && name[0] != '[' && name[0] != ';' &&
           name[0] != '#';
}

}  // namespace

void setSettingsRoot(const std::string& root) {
    std::lock_guard<std::mutex> lock(gMutex);
    gRoot = root;
}

std::string settingsFilePath() {
    std::lock_guard<std::mutex> lock(gMutex);
    return filePathLocked();
}

bool readSettingValue(const std::string& key, const std::string& name, std::string& value, SettingsFileState* state) {
    std::lock_guard<std::mutex> lock(gMutex);
    const std::string path = filePathLocked();
    if (path.empty() || !validKey(key) || !validName(name)) return false;
    std::vector<Entry> entries;
    const SettingsFileState found = load(path, entries);
    if (state != nullptr) *state = found;
    for (const Entry& e : entries) {
        if (sameName(e.key, key) && sameName(e.name, name)) {
            value = e.value;
            return true;
        }
    }
    return false;
}

bool writeSettingValue(const std::string& key, const std::string& name, const std::string& value,
                       SettingsFileState* state) {
    std::lock_guard<std::mutex> lock(gMutex);
    const std::string path = filePathLocked();
    if (path.empty() || !validKey(key) || !validName(name)) return false;
    if (!makeFolders(path.substr(0, path.rfind('/')))) return false;

    std::vector<Entry> entries;
    const SettingsFileState found = load(path, entries);
    if (state != nullptr) *state = found;
    if (found != SettingsFileState::Usable) return false;
    bool replaced = false;
    for (Entry& e : entries) {
        if (sameName(e.key, key) && sameName(e.name, name)) {
            e.value = value;
            replaced = true;
        }
    }
    if (!replaced) entries.push_back(Entry{key, name, value});

    std::ostringstream text;
    text << "; softphone settings: [key] sections, name=value lines, UTF-8\n";
    std::vector<std::string> keys;
    for (const Entry& e : entries) {
        bool seen = false;
        for (const std::string& k : keys) seen = seen || sameName(k, e.key);
        if (!seen) keys.push_back(e.key);
    }
    for (const std::string& k : keys) {
        text << '[' << k << "]\n";
        for (const Entry& e : entries) {
            if (sameName(e.key, k)) text << e.name << '=' << escape(e.value) << '\n';
        }
    }

    const std::string temp = path + ".tmp" + std::to_string(::getpid());
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out << text.str();
        out.flush();
        if (!out) {
            out.close();
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), path.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

const char* settingsStateText(SettingsFileState state) {
    switch (state) {
        case SettingsFileState::NotRegular:
            return "is not a regular file";
        case SettingsFileState::TooLarge:
            return "is larger than 64 KiB";
        case SettingsFileState::Unreadable:
            return "can't be read";
        default:
            return "";
    }
}

}  // namespace platform
