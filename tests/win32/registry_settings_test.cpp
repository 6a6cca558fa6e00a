// The settings store in the registry: values round-trip as UTF-16 text,
// names and keys ignore case, a value of another type or a missing key reads
// as absent, and the machine-wide root is the one the store names.
#include <gtest/gtest.h>
#include <windows.h>

#include <random>
#include <string>

#include "common/settings_store.h"
#include "platform/settings_file.h"

namespace {

constexpr const char16_t* kKey = u"Software\\Quillmere\\Softphone\\Settings";

class RegistrySettings : public ::testing::Test {
protected:
    void SetUp() override {
        mRoot = "Software\\SoftphoneTests\\run" + std::to_string(std::random_device{}());
        platform::setSettingsRoot(mRoot);
    }
    void TearDown() override {
        platform::setSettingsRoot("");
        const std::wstring root(mRoot.begin(), mRoot.end());
        ::RegDeleteTreeW(HKEY_CURRENT_USER, root.c_str());
        ::RegDeleteKeyW(HKEY_CURRENT_USER, root.c_str());
    }
    std::string mRoot;
};

TEST_F(RegistrySettings, ValuesRoundTripAndNamesIgnoreCase) {
    EXPECT_EQ(platform::settingsFilePath(), "HKEY_CURRENT_USER\\" + mRoot);
    char16_t buffer[32] = u"keep";
    EXPECT_FALSE(readSettingW(kKey, u"Output Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"keep");

    ASSERT_TRUE(writeSettingW(kKey, u"Output Device", u"Casque USB \u00e9"));
    ASSERT_TRUE(writeSettingW(kKey, u"Input Device", u"Mic"));
    ASSERT_TRUE(readSettingW(kKey, u"OUTPUT DEVICE", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Casque USB \u00e9");
    ASSERT_TRUE(writeSettingW(u"software\\quillmere\\softphone\\settings", u"output device", u"Speakers"));
    ASSERT_TRUE(readSettingW(kKey, u"Output Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Speakers");
    ASSERT_TRUE(readSettingW(kKey, u"Input Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Mic");
    EXPECT_FALSE(readSettingW(u"Software\\Other", u"Input Device", buffer, 32));

    // The value is a REG_SZ under the key, as other tools see it.
    const std::wstring path = std::wstring(mRoot.begin(), mRoot.end()) + L"\\Software\\Quillmere\\Softphone\\Settings";
    wchar_t raw[32] = {};
    DWORD bytes = sizeof raw;
    DWORD type = 0;
    ASSERT_EQ(::RegGetValueW(HKEY_CURRENT_USER, path.c_str(), L"Output Device", RRF_RT_ANY, &type, raw, &bytes),
              ERROR_SUCCESS);
    EXPECT_EQ(type, static_cast<DWORD>(REG_SZ));
    EXPECT_EQ(std::wstring(raw), L"Speakers");
}

TEST_F(RegistrySettings, AValueOfAnotherTypeReadsAsAbsent) {
    const std::wstring path = std::wstring(mRoot.begin(), mRoot.end()) + L"\\Software\\Quillmere\\Softphone\\Settings";
    const DWORD number = 3;
    ASSERT_EQ(::RegSetKeyValueW(HKEY_CURRENT_USER, path.c_str(), L"Input Device", REG_DWORD, &number, sizeof number),
              ERROR_SUCCESS);
    char16_t buffer[8] = u"keep";
    EXPECT_FALSE(readSettingW(kKey, u"Input Device", buffer, 8));
    EXPECT_EQ(std::u16string(buffer), u"keep");
}

TEST(RegistrySettingsRoot, TheMachineWideStoreIsTheLocalMachineHive) {
    EXPECT_EQ(platform::settingsFilePath(), "HKEY_LOCAL_MACHINE");
}

}  // namespace
