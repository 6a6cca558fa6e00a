// The terminal's own session description.
#include "mgcp/local_description.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(LocalDescription, MediaLinesNameThePresentCodec) {
    const std::pair<std::int32_t, const char*> cases[] = {
        {0, "rtpmap:0 PCMU/8000"},   {8, "rtpmap:8 PCMA/8000"},   {9, "rtpmap:9 G722/8000"},
        {18, "rtpmap:18 G729/8000"}, {96, "rtpmap:96 PCMU/8000"},
    };
    for (const auto& [payload, attribute] : cases) {
        MediaSession session;
        session.mCodecType = payload;
        ASSERT_TRUE(setLocalMediaLines(session, 8000));
        EXPECT_STREQ(session.mLocalAttribute, attribute);
        EXPECT_EQ(session.mLocalMediaLine, "audio 8000 RTP/AVP " + std::to_string(payload));
    }
}

TEST(LocalDescription, PortOutsideTheRangeChangesNothing) {
    MediaSession session;
    ASSERT_TRUE(setLocalMediaLines(session, 8000));
    EXPECT_FALSE(setLocalMediaLines(session, 65536));
    EXPECT_FALSE(setLocalMediaLines(session, -1));
    EXPECT_STREQ(session.mLocalMediaLine, "audio 8000 RTP/AVP 0");
    EXPECT_TRUE(setLocalMediaLines(session, 0));
    EXPECT_EQ(session.mLocalPort, 0);
    EXPECT_STREQ(session.mLocalMediaLine, "audio 0 RTP/AVP 0");
}

TEST(LocalDescription, FieldWithoutTerminatorIsReadNoFurtherThanItsCapacity) {
    MediaSession session;
    std::memset(session.mLocalOrigin, 'o', sizeof session.mLocalOrigin);
    std::array<std::uint8_t, 1500> out{};
    const std::size_t n = appendDescription(out, 0, session);
    const std::string text(reinterpret_cast<const char*>(out.data()), n);
    EXPECT_NE(text.find("o=" + std::string(sizeof session.mLocalOrigin, 'o') + "\r\n"), std::string::npos);
}

}  // namespace
