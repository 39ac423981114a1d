// The checked opening and closing of files: a write that did not reach the file stops the run,
// names the file and the reason, and leaves no cut file behind.
#include <gtest/gtest.h>

#include <cerrno>
#include <functional>
#include <sys/stat.h>
#include <unistd.h>

#include "support/files.h"
#include "support/messages.h"
#include "support/test_util.h"

namespace {

// A name in dir that leads to /dev/full, where every write fails with ENOSPC.
std::string FullDevice(const TempDir& dir)
{
    const std::string link = dir / "full.txt";
    EXPECT_EQ(symlink("/dev/full", link.c_str()), 0);
    return link;
}

}  // namespace

TEST(CheckedFiles, AFailedWriteStopsTheRunAtTheCheckedFlushOrClose)
{
    struct Case {
        const char* name;
        std::function<void(FILE*)> finish;
    };
    for (const Case& c : {Case{"close", [](FILE* fp) { MyFclose(fp); }},
                          Case{"flush", [](FILE* fp) { MyFflush(fp); }}}) {
        SCOPED_TRACE(c.name);
        TempDir dir;
        const std::string path = FullDevice(dir);
        EXPECT_EXIT(
            {
                FILE* fp = Myfopen(path.c_str(), "w");
                fprintf(fp, "a line that cannot be kept\n");
                c.finish(fp);
            },
            testing::ExitedWithCode(1),
            "Error - Could not write \\[.*full.txt\\]; No space left on device. The incomplete file is removed.\n"
            "Aborted.\n");
        EXPECT_FALSE(FileExists(path)) << "the link is removed";
        EXPECT_TRUE(FileExists("/dev/full")) << "never its target";
    }
}

TEST(CheckedFiles, TheFirstNotedFailureIsTheReasonGiven)
{
    TempDir dir;
    const std::string path = dir / "cut.txt";
    EXPECT_EXIT(
        {
            FILE* fp = Myfopen(path.c_str(), "w");
            fprintf(fp, "part\n");
            NoteWriteFailure(fp, EFBIG);
            NoteWriteFailure(fp, EIO);
            MyFclose(fp);
        },
        testing::ExitedWithCode(1), "Could not write \\[.*cut.txt\\]; File too large. The incomplete file is removed.");
    EXPECT_FALSE(FileExists(path));
}

TEST(CheckedFiles, AFailingReportStopsTheRunAndIsKept)
{
    TempDir dir;
    const std::string path = FullDevice(dir);
    EXPECT_EXIT(
        {
            rptfp = Myfopen(path.c_str(), "w");
            Info("Info - this line is lost\n");
        },
        testing::ExitedWithCode(1), "Error - Could not write \\[.*full.txt\\]; No space left on device.\nAborted.\n");
    EXPECT_TRUE(FileExists(path));
}
