#include <gtest/gtest.h>

#include <ctime>
#include <regex>
#include <string>

#include "support/test_util.h"
#include "support/timing.h"

TEST(Timing, LapTextGivesHoursMinutesAndSeconds)
{
    EXPECT_EQ(FormatLapSeconds(0), "00:00:00");
    EXPECT_EQ(FormatLapSeconds(59), "00:00:59");
    EXPECT_EQ(FormatLapSeconds(3725), "01:02:05");
    EXPECT_EQ(FormatLapSeconds(100 * 3600), "100:00:00");
}

TEST(Timing, DateLineSpellsOutWeekdayAndMonth)
{
    setenv("TZ", "UTC", 1);
    tzset();
    // 2026-11-16 19:46:33 UTC
    std::string line = CaptureFile([](FILE* fp) { PrintDateTime(fp, 1794858393); });
    EXPECT_EQ(line, "19:46:33  Monday, November 16, 2026\n");
    line = CaptureFile([](FILE* fp) { PrintDateTime(fp, 1772409600); });  // 2026-03-02 00:00:00
    EXPECT_EQ(line, "00:00:00  Monday, March 2, 2026\n");
}

TEST(Timing, PrintTimeWritesTheLabelAndTheLapAndRestartsTheLap)
{
    CMyTime timer;
    testing::internal::CaptureStdout();
    std::string report = CaptureFile([&](FILE* fp) { timer.PrintTime(fp, stdout, "Overall time : "); });
    std::string console = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(std::regex_match(console, std::regex("Overall time : 00:00:0[0-9]\n"))) << console;
    EXPECT_EQ(report, console);
    EXPECT_STREQ(timer.PrintTime_Str(), "00:00:00");
}
