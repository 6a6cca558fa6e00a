// ALSA's device names made into list names of at most 31 units: unique,
// readable, and telling apart names that differ only at their end.
#include "platform/posix/wave_alsa_names.h"

#include <gtest/gtest.h>

#include <set>

namespace {

std::u16string wide(const std::string& text) {
    return {text.begin(), text.end()};
}

TEST(AlsaListNames, FitUniquelyAndStayReadable) {
    const struct {
        std::vector<std::string> alsa;
        std::vector<std::string> listed;
    } cases[] = {
        // Names that fit are kept as they are.
        {{"null", "plughw:CARD=PCH,DEV=0"}, {"null", "plughw:CARD=PCH,DEV=0"}},
        // Too long: ALSA's keys go first.
        {{"plughw:CARD=UsbHeadsetPlus,DEV=1"}, {"plughw:UsbHeadsetPlus,1"}},
        // Still too long: the start and the end, which tells the two apart.
        {{"clocked_test_device_with_a_long_name_one", "clocked_test_device_with_a_long_name_two"},
         {"clocked_test_device_w~_name_one", "clocked_test_device_w~_name_two"}},
        // Different beyond even the kept end: numbered.
        {{"a_device_name_well_over_the_room_1_of_a_list", "a_device_name_well_over_the_room_2_of_a_list"},
         {"a_device_name_well_ov~of_a_list", "a_device_name_well_over_the_r~2"}},
        // A name that fits but equals one already given.
        {{"plughw:CARD=UsbHeadsetPlus,DEV=1", "plughw:UsbHeadsetPlus,1"},
         {"plughw:UsbHeadsetPlus,1", "plughw:UsbHeadsetPlus,1~2"}},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.alsa.front());
        const std::vector<std::u16string> listed = platform::alsaListNames(c.alsa);
        ASSERT_EQ(listed.size(), c.listed.size());
        std::set<std::u16string> seen;
        for (std::size_t i = 0; i < listed.size(); ++i) {
            EXPECT_EQ(listed[i], wide(c.listed[i]));
            EXPECT_LE(listed[i].size(), 31u);
            EXPECT_TRUE(seen.insert(listed[i]).second);
        }
    }
}

}  // namespace
