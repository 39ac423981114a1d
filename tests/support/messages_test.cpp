#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "support/messages.h"
#include "support/test_util.h"

TEST(Messages, InfoGoesToStdoutAndToTheReportOnceOpenAndWarnToStderr)
{
    testing::internal::CaptureStdout();
    Info("Info - before %d\n", 1);
    std::string report = CaptureFile([](FILE* fp) {
        rptfp = fp;
        Info("Info - after %d\n", 2);
        InfoRpt("report only\n");
        rptfp = nullptr;
    });
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Info - before 1\nInfo - after 2\n");
    EXPECT_EQ(report, "Info - after 2\nreport only\n");
    testing::internal::CaptureStderr();
    Warn("Warning - %s\n", "careful");
    Warn_Plain("%s", "piece");
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "Warning - careful\npiece");
}

TEST(Messages, CollectedWarningsArePrefixedAndDumpedOnce)
{
    CPrintWarn pw;
    pw.Warn("Warning - first %d\n", 1);
    pw.Warn("Warning - second\n");
    std::string prefix = std::string(progname) + ": ";
    testing::internal::CaptureStderr();
    std::string report = CaptureFile([&](FILE* fp) { pw.DumpWarn(fp); });
    std::string expected = prefix + "Warning - first 1\n" + prefix + "Warning - second\n";
    EXPECT_EQ(testing::internal::GetCapturedStderr(), expected);
    EXPECT_EQ(report, expected);
    EXPECT_EQ(pw.Length(), 0);
    testing::internal::CaptureStderr();
    pw.DumpWarn(nullptr);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// The fuzz target reads input after input in one process: a throwing replacement of the exit
// must leave Abort after the message, with the collected warnings dumped and the report detached.
TEST(Messages, AbortEndsThroughAReplacedExit)
{
    EXPECT_EXIT(
        {
            rptfp = tmpfile();
            AbortExit = [](int status) { throw status; };
            PW.Warn("Warning - collected\n");
            int status = 0;
            try {
                Abort("Error - thrown\n");
            } catch (int s) {
                status = s;
            }
            fprintf(stderr, "caught %d, %d held, report %s\n", status, PW.Length(), rptfp ? "open" : "detached");
            exit(3);
        },
        testing::ExitedWithCode(3), "Error - thrown\nAborted.\ncaught 1, 0 held, report detached\n");
}

TEST(Messages, AbortPrintsCollectedWarningsFirstIntoTheOpenReportTooAndExitsWithOne)
{
    TempDir dir;
    std::string path = dir / "report.txt";
    EXPECT_EXIT(
        {
            rptfp = fopen(path.c_str(), "w");
            fputs("before\n", rptfp);
            PW.Warn("Warning - collected\n");
            Abort("Error - %s\n", "stop");
        },
        testing::ExitedWithCode(1), "Warning - collected\nError - stop\nAborted.\n$");
    EXPECT_EQ(ReadFile(path), "before\n" + std::string(progname) + ": Warning - collected\nError - stop\nAborted.\n");
}

TEST(Messages, TooManyCollectedWarningsEndTheRunAndOneLargerThanTheRoomIsCutNotOverrun)
{
    const std::string line(999, 'w'), huge(CPrintWarn::kCapacity * 2, 'x');
    for (int count : {200, 1}) {
        EXPECT_EXIT(
            {
                CPrintWarn pw;
                for (int i = 0; i < count; ++i) pw.Warn("%s\n", count == 1 ? huge.c_str() : line.c_str());
            },
            testing::ExitedWithCode(1), "Error - Too many warning messages!Aborted.\n")
            << count;
    }
}
