// The settings store on its file: absent values, replacement, folders made
// on the first write, damaged files, what is no small regular file, and
// text in both widths.
#include "common/settings_store.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <functional>
#include <random>

#include "platform/settings_file.h"

namespace {

constexpr const char16_t* kKey = u"Software\\Quillmere\\Softphone\\Settings";

class SettingsStore : public ::testing::Test {
protected:
    void SetUp() override {
        mRoot = std::filesystem::path(::testing::TempDir()) / ("store_" + std::to_string(std::random_device{}())) /
                "nested" / "config";
        platform::setSettingsRoot(mRoot.string());
    }
    void TearDown() override {
        platform::setSettingsRoot("");
        std::filesystem::remove_all(mRoot.parent_path().parent_path());
    }
    void writeRaw(const std::string& text) {
        std::filesystem::create_directories(mRoot / "softphone");
        std::ofstream(platform::settingsFilePath(), std::ios::binary) << text;
    }
    std::filesystem::path mRoot;
};

TEST_F(SettingsStore, AnAbsentValueLeavesTheBufferUntouched) {
    char16_t buffer[8] = u"keep";
    EXPECT_FALSE(readSettingW(kKey, u"Output Device", buffer, 8));
    EXPECT_EQ(std::u16string(buffer), u"keep");
    EXPECT_FALSE(readSettingW(kKey, nullptr, buffer, 8));
    EXPECT_FALSE(writeSettingW(kKey, u"Output Device", nullptr));
}

TEST_F(SettingsStore, TheFirstWriteMakesTheFoldersAndLaterWritesReplace) {
    ASSERT_FALSE(std::filesystem::exists(mRoot));
    ASSERT_TRUE(writeSettingW(kKey, u"Output Device", u"Casque USB \u00e9"));
    EXPECT_EQ(platform::settingsFilePath(), (mRoot / "softphone" / "settings.ini").string());
    ASSERT_TRUE(writeSettingW(kKey, u"Input Device", u"Mic"));
    ASSERT_TRUE(writeSettingW(kKey, u"output device", u"Speakers"));  // names ignore case

    char16_t buffer[32] = {};
    ASSERT_TRUE(readSettingW(kKey, u"Output Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Speakers");
    ASSERT_TRUE(readSettingW(kKey, u"Input Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Mic");
    // Other keys are other values.
    EXPECT_FALSE(readSettingW(u"Software\\Other", u"Input Device", buffer, 32));
    // No temporary file is left behind.
    EXPECT_EQ(std::distance(std::filesystem::directory_iterator(mRoot / "softphone"), {}), 1);
}

TEST_F(SettingsStore, TextSurvivesInBothWidthsAndLongValuesStopAtTheBuffer) {
    const std::u16string odd = u"back\\slash\nnew line \u00fc \U0001F3A7";
    ASSERT_TRUE(writeSettingW(kKey, u"Odd", odd.c_str()));
    char16_t wide[64] = {};
    ASSERT_TRUE(readSettingW(kKey, u"Odd", wide, 64));
    EXPECT_EQ(std::u16string(wide), odd);
    char narrow[64] = {};
    ASSERT_TRUE(readSettingA("Software\\Quillmere\\Softphone\\Settings", "Odd", narrow, 64));
    EXPECT_EQ(std::string(narrow), "back\\slash\nnew line \xc3\xbc \xf0\x9f\x8e\xa7");

    ASSERT_TRUE(writeSettingA("Software\\Quillmere\\Softphone\\Settings", "Long", std::string(40, 'x').c_str()));
    char16_t cut[32];
    ASSERT_TRUE(readSettingW(kKey, u"Long", cut, 32));
    EXPECT_EQ(std::u16string(cut), std::u16string(31, u'x'));
    // Half a surrogate pair is never written.
    const char16_t broken[] = {u'a', 0xD800, 0};
    EXPECT_FALSE(writeSettingW(kKey, u"Broken", broken));
}

TEST_F(SettingsStore, ADamagedFileReadsAsAbsentAndIsRewrittenWhole) {
    writeRaw(std::string("\x00\xff garbage\n[Software\\Quillmere\\Softphone\\Settings\nOutput Device=half\n", 58) +
             "[Software\\Quillmere\\Softphone\\Settings]\nInput Device=\xff\xfe\nBad Escape=a\\q\n=novalue\n");
    char16_t buffer[32] = u"keep";
    EXPECT_FALSE(readSettingW(kKey, u"Output Device", buffer, 32));
    EXPECT_FALSE(readSettingW(kKey, u"Input Device", buffer, 32));  // not UTF-8
    EXPECT_FALSE(readSettingW(kKey, u"Bad Escape", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"keep");
    ASSERT_TRUE(writeSettingW(kKey, u"Output Device", u"Speakers"));
    ASSERT_TRUE(readSettingW(kKey, u"Output Device", buffer, 32));
    EXPECT_EQ(std::u16string(buffer), u"Speakers");
}

TEST_F(SettingsStore, AWriteThatCannotBeStoredIsFalse) {
    // A file where the folder should be.
    std::filesystem::create_directories(mRoot);
    std::ofstream(mRoot / "softphone") << "in the way";
    EXPECT_FALSE(writeSettingW(kKey, u"Output Device", u"Speakers"));
    EXPECT_FALSE(writeSettingW(kKey, u"Bad=Name", u"x"));
    char16_t buffer[8] = {};
    EXPECT_FALSE(readSettingW(kKey, u"Output Device", buffer, 8));
}

}  // namespace

// Something other than a small regular file in the file's place: each reads
// as absent values at once, and a write leaves it alone.
TEST_F(SettingsStore, WhatIsNoSmallRegularFileReadsAsAbsentAndIsNotReplaced) {
    using platform::SettingsFileState;
    const std::string path = (mRoot / "softphone" / "settings.ini").string();
    const std::string line = "[Software\\Quillmere\\Softphone\\Settings]\nOutput Device=Big\n";
    const struct {
        const char* what;
        std::function<void()> make;
        SettingsFileState state;
    } cases[] = {
        {"a FIFO", [&] { ASSERT_EQ(::mkfifo(path.c_str(), 0600), 0); }, SettingsFileState::NotRegular},
        {"a link to an endless device", [&] { std::filesystem::create_symlink("/dev/zero", path); },
         SettingsFileState::NotRegular},
        {"a folder", [&] { std::filesystem::create_directory(path); }, SettingsFileState::NotRegular},
        {"a file past the bound", [&] { writeRaw(line + std::string(platform::kMaxSettingsFileBytes, ';') + "\n"); },
         SettingsFileState::TooLarge},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.what);
        std::filesystem::create_directories(mRoot / "softphone");
        c.make();
        std::string value;
        SettingsFileState state = SettingsFileState::Usable;
        EXPECT_FALSE(
            platform::readSettingValue("Software\\Quillmere\\Softphone\\Settings", "Output Device", value, &state));
        EXPECT_EQ(state, c.state);
        EXPECT_FALSE(writeSettingA("Software\\Quillmere\\Softphone\\Settings", "Output Device", "New"));
        EXPECT_FALSE(std::filesystem::is_regular_file(path) && std::filesystem::file_size(path) < 1000) << "replaced";
        std::filesystem::remove_all(mRoot / "softphone");
    }
    // The same text within the bound is read.
    writeRaw(line);
    char buffer[8] = {};
    EXPECT_TRUE(readSettingA("Software\\Quillmere\\Softphone\\Settings", "Output Device", buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "Big");
}
