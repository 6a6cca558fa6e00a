#include "platform/module_sound.h"

#include <windows.h>

namespace platform {

bool readModuleSound(const std::u16string& name, std::vector<std::uint8_t>& out) {
    if (name.empty()) return false;
    const std::wstring wide(name.begin(), name.end());
    HMODULE module = ::GetModuleHandleW(nullptr);
    HRSRC found = ::FindResourceW(module, wide.c_str(), L"WAVE");
    if (found == nullptr) found = ::FindResourceW(module, wide.c_str(), L"WAV");
    if (found == nullptr) return false;
    const DWORD size = ::SizeofResource(module, found);
    HGLOBAL loaded = ::LoadResource(module, found);
    const void* data = loaded != nullptr ? ::LockResource(loaded) : nullptr;
    if (data == nullptr || size == 0) return false;
    // A copy: the caller keeps it while it plays, apart from the module.
    const auto* bytes = static_cast<const std::uint8_t*>(data);
    out.assign(bytes, bytes + size);
    return true;
}

}  // namespace platform
