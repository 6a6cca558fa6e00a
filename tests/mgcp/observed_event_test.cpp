// The observed-event line of an NTFY for each key text, row by row and at
// the edges of the table.
#include "mgcp/observed_event.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>

namespace {

TEST(ObservedEvent, KeysInTheTableNameThemselves) {
    for (const std::string key : {"0200", "0100", "0730", "0731", "0732", "0733", "0734", "0735", "0736", "0737",
                                  "0738", "0739", "0723", "072a", "0300", "0301", "0a00", "0a02", "0a03", "0a04",
                                  "0a06", "0b00", "0b01", "0b03", "0b0a", "0d00", "0d03",
                                  // The programmable keys, in the spelling of the text.
                                  "0c00", "0c2f", "0C2F", "0c1A"}) {
        EXPECT_EQ(observedEventLine(key), "O: X-P/fk" + key + "\r\n");
    }
    EXPECT_EQ(observedEventLine("0c05extra"), "O: X-P/fk0c05\r\n");
    EXPECT_EQ(observedEventLine("line(0000)"), "O: X-P/line(0000)\r\n");
    EXPECT_EQ(observedEventLine("line(0004)"), "O: X-P/line(0004)\r\n");
}

TEST(ObservedEvent, TextsAtTheEdgesOfTheTableGiveNoLine) {
    for (const char* key : {"072A", "0c30", "0bff", "0b02", "0b0b", "0a07", "0d04", "073a", "0200 ", "line(0005)",
                            "LINE(0000)", "0e00", "spkout", "0c2", "0cg0", ""}) {
        EXPECT_EQ(observedEventLine(key), "") << key;
    }
    for (int code = 0x0bf0; code <= 0x0c40; ++code) {
        char key[8];
        std::snprintf(key, sizeof key, "%04x", code);
        const bool inBlock = code >= 0x0c00 && code <= 0x0c2f;
        EXPECT_EQ(!observedEventLine(key).empty(), inBlock) << key;
    }
}

}  // namespace
