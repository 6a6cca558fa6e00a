// The terminal's own session description.
#include "mgcp/local_description.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace {

TEST(LocalDescription, AddressLinesFollowTheTerminalsAddress) {
    MediaSession session;
    setLocalAddressLines(session, 0xC0A80A17);
    EXPECT_STREQ(session.mLocalOrigin, "- 0 0 IN IP4 192.168.10.23");
    EXPECT_STREQ(session.mLocalSessionName, "-");
    EXPECT_STREQ(session.mLocalConnectionLine, "IN IP4 192.168.10.23");
    EXPECT_EQ(session.mLocalVersion, 0);
    EXPECT_EQ(session.mLocalTimeStart, 0);
    EXPECT_EQ(session.mLocalTimeStop, 0);
}

struct PayloadRow {
    std::int32_t payload;
    const char* attribute;
};

constexpr PayloadRow kPayloads[] = {
    {0, "rtpmap:0 PCMU/8000"},   {8, "rtpmap:8 PCMA/8000"},   {9, "rtpmap:9 G722/8000"},
    {18, "rtpmap:18 G729/8000"}, {96, "rtpmap:96 PCMU/8000"},
};

class LocalAttribute : public ::testing::TestWithParam<PayloadRow> {};

TEST_P(LocalAttribute, NamesThePresentCodec) {
    MediaSession session;
    session.mCodecType = GetParam().payload;
    ASSERT_TRUE(setLocalMediaLines(session, 8000));
    EXPECT_STREQ(session.mLocalAttribute, GetParam().attribute);
    EXPECT_EQ(session.mLocalMediaLine, "audio 8000 RTP/AVP " + std::to_string(GetParam().payload));
}

INSTANTIATE_TEST_SUITE_P(Payloads, LocalAttribute, ::testing::ValuesIn(kPayloads));

TEST(LocalDescription, PortOutsideTheRangeChangesNothing) {
    MediaSession session;
    ASSERT_TRUE(setLocalMediaLines(session, 8000));
    EXPECT_FALSE(setLocalMediaLines(session, 70000));
    EXPECT_FALSE(setLocalMediaLines(session, -1));
    EXPECT_EQ(session.mLocalPort, 8000);
    EXPECT_STREQ(session.mLocalMediaLine, "audio 8000 RTP/AVP 0");
}

TEST(LocalDescription, PortZeroIsAccepted) {
    MediaSession session;
    ASSERT_TRUE(setLocalMediaLines(session, 8000));
    EXPECT_TRUE(setLocalMediaLines(session, 0));
    EXPECT_EQ(session.mLocalPort, 0);
    EXPECT_STREQ(session.mLocalMediaLine, "audio 0 RTP/AVP 0");
}

TEST(LocalDescription, MdcxAnswerPutsIBeforeTheEmptyLine) {
    MediaSession session;
    session.mConnectionId = 42;
    setLocalAddressLines(session, 0x7F000001);
    setLocalMediaLines(session, 8000);
    std::array<std::uint8_t, 1500> out{};
    const std::size_t n = appendDescription(out, 0, session);
    const std::string text(reinterpret_cast<const char*>(out.data()), n);
    EXPECT_EQ(text,
              "I: 42\r\n\r\nv=0\r\no=- 0 0 IN IP4 127.0.0.1\r\ns=-\r\nc=IN IP4 127.0.0.1\r\nt=0 0\r\n"
              "m=audio 8000 RTP/AVP 0\r\na=rtpmap:0 PCMU/8000\r\n");
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
