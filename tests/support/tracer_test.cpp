#include "common/tracer.h"

#include <gtest/gtest.h>

#include <cctype>
#include <cstdio>
#include <fstream>
#include <random>
#include <string>

#include "support_files/trace_text.h"

namespace {

class TracerTest : public ::testing::Test {
protected:
    void SetUp() override {
        path_ = ::testing::TempDir() + "tracer_test_" + std::to_string(std::random_device{}()) + ".log";
        Tracer::instance()->close();
    }
    void TearDown() override {
        Tracer::instance()->close();
        std::remove(path_.c_str());
    }
    std::string path_;
};

}  // namespace

TEST_F(TracerTest, WritesBannersAndStampedLinesWithCrLf) {
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    Tracer::instance()->trace(kTraceStatus, "[CP] Module starting");
    Tracer::instance()->close();
    const std::string text = readText(path_);
    const std::string begin = std::string(Tracer::kBeginBanner) + "\r\n\r\n";
    ASSERT_EQ(text.rfind(begin, 0), 0u) << text;
    const std::string end = "\r\n" + std::string(Tracer::kEndBanner) + "\r\n";
    ASSERT_GE(text.size(), begin.size() + end.size());
    EXPECT_EQ(text.substr(text.size() - end.size()), end);
    const std::string line = text.substr(begin.size(), text.size() - begin.size() - end.size());
    // day/month/year  hour:minute  seconds in six places  message
    int day = 0, month = 0, year = 0, hour = 0, minute = 0;
    float seconds = -1;
    char dateEnd = 0;
    ASSERT_EQ(std::sscanf(line.c_str(), "%d/%d/%d%c", &day, &month, &year, &dateEnd), 4) << line;
    EXPECT_TRUE(day >= 1 && day <= 31 && month >= 1 && month <= 12 && year >= 2000) << line;
    const std::size_t timeAt = line.find("  ");
    ASSERT_NE(timeAt, std::string::npos);
    ASSERT_EQ(std::sscanf(line.c_str() + timeAt + 2, "%d:%d", &hour, &minute), 2) << line;
    const std::size_t secondsAt = line.find("  ", timeAt + 2);
    ASSERT_NE(secondsAt, std::string::npos);
    const std::string stamp = line.substr(secondsAt + 2, 6);
    EXPECT_EQ(stamp.size(), 6u);
    EXPECT_EQ(stamp[3], '.') << stamp;
    ASSERT_EQ(std::sscanf(stamp.c_str(), "%f", &seconds), 1);
    EXPECT_GE(seconds, 0.0f);
    EXPECT_EQ(line.substr(secondsAt + 8), "  [CP] Module starting\r\n") << line;
    const std::string minuteText = line.substr(line.find(':', timeAt) + 1, 2);
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(minuteText[0])) &&
                std::isdigit(static_cast<unsigned char>(minuteText[1])));
}

TEST_F(TracerTest, LinesAreOnDiskAtOnceAndAnOldFileIsEmptied) {
    {
        std::ofstream old(path_, std::ios::binary);
        old << "old content that must go";
    }
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    Tracer::instance()->trace(kTraceError, "[CP :: ERROR] visible before close");
    const std::string text = readText(path_);
    EXPECT_EQ(text.find("old content"), std::string::npos);
    EXPECT_NE(text.find("visible before close"), std::string::npos);
}

TEST_F(TracerTest, LongMessageIsCutAndStillEndsTheLine) {
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    const std::string longText(2000, 'x');
    Tracer::instance()->trace(kTraceStatus, "%s", longText.c_str());
    Tracer::instance()->trace(kTraceStatus, "next");
    const std::string text = readText(path_);
    const std::size_t first = text.find("xxx");
    ASSERT_NE(first, std::string::npos);
    const std::size_t lineEnd = text.find("\r\n", first);
    ASSERT_NE(lineEnd, std::string::npos);
    EXPECT_LT(lineEnd - first, 512u);
    EXPECT_NE(text.find("  next\r\n", lineEnd), std::string::npos);
}

TEST_F(TracerTest, FilterPassesOnlyItsBitsAndAllBitsAlwaysPass) {
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    Tracer::instance()->setFilter(1);
    Tracer::instance()->trace(kTraceCritical, "dropped level 16");
    Tracer::instance()->trace(kTraceAll, "passes level -1");
    Tracer::instance()->trace(kTraceStatus, "passes level 1");
    const std::string text = readText(path_);
    EXPECT_EQ(text.find("dropped"), std::string::npos);
    EXPECT_NE(text.find("passes level -1"), std::string::npos);
    EXPECT_NE(text.find("passes level 1"), std::string::npos);
    Tracer* t = Tracer::instance();
    t->setFilter(0x3);
    t->addFilter(0x8);
    EXPECT_EQ(t->filter(), 0xBu);
    t->removeFilter(0);
    EXPECT_EQ(t->filter(), 0xBu);
    t->removeFilter(0x1);
    EXPECT_EQ(t->filter(), 0xAu);
    t->addFilter(0);  // zero clears
    EXPECT_EQ(t->filter(), 0u);
}

TEST_F(TracerTest, StartupAndCloseLeaveTheFileAsTheyShould) {
    // A second startup silences the file.
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    EXPECT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 1);
    Tracer::instance()->trace(kTraceStatus, "silenced");
    EXPECT_EQ(readText(path_).find("silenced"), std::string::npos);
    Tracer::instance()->close();
    // After close the filter is zero and nothing is written.
    EXPECT_EQ(Tracer::instance()->filter(), 0u);
    const std::string before = readText(path_);
    Tracer::instance()->trace(kTraceAll, "late line");
    EXPECT_EQ(readText(path_), before);
    // With filter zero, close writes no end banner.
    ASSERT_EQ(Tracer::instance()->startup(path_.c_str(), kTraceAll), 0);
    Tracer::instance()->setFilter(0);
    Tracer::instance()->close();
    EXPECT_EQ(readText(path_).find("TRACE END"), std::string::npos);
    // An unwritable file gives -1 and the tracer runs silent.
    EXPECT_EQ(Tracer::instance()->startup("/nonexistent-dir/x/trace.log", kTraceAll), -1);
    EXPECT_EQ(Tracer::instance()->trace(kTraceStatus, "nowhere"), 0);
}
