#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "app/folder.h"
#include "support/test_util.h"

TEST(FolderName, IsRPlusTheBaseNameCutAtItsLastPoint)
{
    EXPECT_EQ(GetOutPutFolderName("run1.prm"), "r_run1");
    EXPECT_EQ(GetOutPutFolderName("a/b/c.x.txt"), "r_c.x");
    EXPECT_EQ(GetOutPutFolderName("dir/test.prm"), "r_test");
    EXPECT_EQ(GetOutPutFolderName("test"), "r_test");
}

TEST(FolderTree, NormalisesThePathAndCreatesEveryLevel)
{
    TempDir dir;
    std::string path = "  " + dir.path() + "//out///a/b \n";
    ASSERT_TRUE(MyMkTree(path, 2));
    EXPECT_EQ(path, dir.path() + "/out/a/b/");
    struct stat st;
    EXPECT_EQ(stat((dir / "out/a/b").c_str(), &st), 0);
    EXPECT_TRUE(S_ISDIR(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0700u);
}

TEST(FolderTree, ModeZeroEmptiesAndModeTwoRefusesANonEmptyFolder)
{
    TempDir dir;
    std::string path = dir / "out";
    ASSERT_TRUE(MyMkTree(path, 0));
    WriteFile(dir / "out/f.txt", "x\n");
    std::string again = dir / "out";
    EXPECT_EXIT(MyMkTree(again, 2), testing::ExitedWithCode(1),
                "Error - Output destination \\[.*/out/\\] is not empty.");
    testing::internal::CaptureStdout();
    EXPECT_TRUE(MyMkTree(again, 0));
    testing::internal::GetCapturedStdout();
    EXPECT_FALSE(FileExists(dir / "out/f.txt"));
}

TEST(FolderLevel, ExistingFolderIsAcceptedOrRefusedByMode)
{
    TempDir dir;
    EXPECT_TRUE(MyMkDir(dir / "x", 0));
    EXPECT_TRUE(MyMkDir(dir / "x", 0));
    EXPECT_EXIT(MyMkDir(dir / "x", 2), testing::ExitedWithCode(1), "Error - Output folder \\[.*\\] already exists.");
}

TEST(FolderLevel, FolderWithoutOwnerWritePermissionIsRefused)
{
    TempDir dir;
    ASSERT_TRUE(MyMkDir(dir / "ro", 0));
    chmod((dir / "ro").c_str(), 0500);
    testing::internal::CaptureStderr();
    EXPECT_FALSE(MyMkDir(dir / "ro", 0));
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "Error - Do not have permission to create files in [" + dir / "ro" + "]\n");
}

TEST(FolderContents, OnlySubFoldersCountsAsEmpty)
{
    TempDir dir;
    EXPECT_TRUE(IsFolderEmpty(dir.path()));
    mkdir((dir / "sub").c_str(), 0700);
    EXPECT_TRUE(IsFolderEmpty(dir.path() + "/"));
    WriteFile(dir / "sub/inner", "x\n");
    EXPECT_TRUE(IsFolderEmpty(dir.path()));
    WriteFile(dir / "file", "x\n");
    EXPECT_FALSE(IsFolderEmpty(dir.path()));
    EXPECT_EXIT(IsFolderEmpty(dir / "missing"), testing::ExitedWithCode(1), "Error - Could not open \\[.*missing\\].");
}

TEST(FolderContents, RemovalDeletesFilesAndReportsSubFolders)
{
    TempDir dir;
    WriteFile(dir / "a.txt", "x\n");
    mkdir((dir / "sub").c_str(), 0700);
    testing::internal::CaptureStdout();
    RemoveAllFilesInDir(dir.path() + "/");
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_NE(out.find("Removing...\n"), std::string::npos);
    EXPECT_NE(out.find(dir / "a.txt" + "\n"), std::string::npos);
    EXPECT_NE(out.find("\"" + dir / "sub" + "\" is a directory. Cannot remove it.\n"), std::string::npos);
    EXPECT_FALSE(FileExists(dir / "a.txt"));
    EXPECT_TRUE(FileExists(dir / "sub"));
}

TEST(FolderSafety, TheWorkingFolderAndTheFoldersAboveItAreRecognisedUnderAnyName)
{
    TempDir dir;
    mkdir((dir / "a").c_str(), 0700);
    mkdir((dir / "a/b").c_str(), 0700);
    mkdir((dir / "other").c_str(), 0700);
    ASSERT_EQ(symlink("..", (dir / "a/b/up").c_str()), 0);
    char home[4096];
    ASSERT_NE(getcwd(home, sizeof home), nullptr);
    ASSERT_EQ(chdir((dir / "a/b").c_str()), 0);
    struct Case {
        std::string path;
        bool holds;
    };
    for (const Case& c : {Case{".", true}, Case{"./", true}, Case{".//", true}, Case{"../b", true},
                          Case{dir / "a/b/", true}, Case{"..", true}, Case{"up", true}, Case{"../../", true},
                          Case{"/", true}, Case{"../../other", false}, Case{"up/../other", false},
                          Case{"missing", false}}) {
        SCOPED_TRACE(c.path);
        EXPECT_EQ(HoldsWorkingFolder(c.path), c.holds);
    }
    ASSERT_EQ(chdir(home), 0);
}

TEST(FolderSafety, RemovalKeepsTheNamedFilesWhateverTheirSpelling)
{
    TempDir dir;
    WriteFile(dir / "run.prm", "x\n");
    WriteFile(dir / "seed", "y\n");
    WriteFile(dir / "old.txt", "z\n");
    testing::internal::CaptureStdout();
    RemoveAllFilesInDir(dir.path(), {dir / "./run.prm", dir.path() + "//seed", dir / "elsewhere"});
    std::string out = testing::internal::GetCapturedStdout();
    EXPECT_TRUE(FileExists(dir / "run.prm"));
    EXPECT_TRUE(FileExists(dir / "seed"));
    EXPECT_FALSE(FileExists(dir / "old.txt"));
    EXPECT_NE(out.find("\"" + dir / "run.prm" + "\" is read by this run. Kept.\n"), std::string::npos);
}
