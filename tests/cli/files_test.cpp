// What a run does to the files around it, through the real binary: the user's own files are
// never removed, files keep the user's permissions, and a failed write never passes for a
// completed run.
#include <gtest/gtest.h>

#include <sys/stat.h>
#include <unistd.h>

#include "cli/cli_util.h"

namespace {

// The minimal parameter file with an output block.
std::string WithOutput(const std::string& statements)
{
    return TestParam("minimal.prm") + "begin_output;\n" + statements + "\nend_output;\n";
}

unsigned Permissions(const std::string& path)
{
    struct stat st;
    return stat(path.c_str(), &st) == 0 ? st.st_mode & 0777 : 01000;
}

}  // namespace

TEST(UserFiles, AnOutputFolderThatIsTheWorkingFolderOrHoldsItIsRefused)
{
    // Every folder named here lies inside the temporary folder: a failure must not empty any
    // folder outside it.
    TempDir dir;
    mkdir((dir / "sub").c_str(), 0700);
    mkdir((dir / "sub/deep").c_str(), 0700);
    ASSERT_EQ(symlink(".", (dir / "here").c_str()), 0);
    struct Case {
        const char* cwd;     // where the run starts, inside the temporary folder
        std::string folder;  // the output_folder value
    };
    for (const Case& c : {Case{".", "./"}, Case{".", ".//"}, Case{".", "sub/.."}, Case{".", dir.path()},
                          Case{".", "here"}, Case{"sub", "../"}, Case{"sub/deep", "./../.."}}) {
        SCOPED_TRACE(c.folder);
        const std::string cwd = dir / c.cwd;
        WriteFile(cwd + "/mine.txt", "the user's own file\n");
        WriteFile(cwd + "/run.prm", WithOutput("output_folder = \"" + c.folder + "\";"));
        RunResult r = RunIn(cwd, std::string(DAVOK_BIN) + " run.prm -o");
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find("is the working folder or a folder that holds it.\nAborted.\n"), std::string::npos)
            << r.err;
        EXPECT_TRUE(FileExists(cwd + "/mine.txt"));
        EXPECT_TRUE(FileExists(cwd + "/run.prm"));
        EXPECT_FALSE(FileExists(cwd + "/report.txt"));
    }
}

TEST(UserFiles, EmptyingTheOutputFolderKeepsTheFilesTheRunReads)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm", "first.prm");
    RunResult first = RunDavok(dir, "first.prm");
    ASSERT_EQ(first.exitCode, 0) << first.err;
    const std::string seed = ReadFile(dir / "r_first/seed");

    // The parameter file lies in its own output folder and names a seed file there too.
    const std::string again = "seed = \"r_first/seed\";\n" + TestParam("minimal.prm");
    WriteFile(dir / "r_first/first.prm", again);
    RunResult r = RunDavok(dir, "r_first/first.prm -o");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("\"r_first/first.prm\" is read by this run. Kept.\n"), std::string::npos);
    EXPECT_NE(r.out.find("Seed for random number generator : r_first/seed\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "r_first/first.prm"), again);
    EXPECT_EQ(ReadFile(dir / "r_first/seed"), seed);
    EXPECT_TRUE(FileExists(dir / "r_first/report.txt"));
}

TEST(UserFiles, FilesAndFoldersKeepTheUsersFileCreationMask)
{
    struct Case {
        const char* mask;
        unsigned file;
    };
    for (Case c : {Case{"022", 0644}, Case{"077", 0600}}) {
        SCOPED_TRACE(c.mask);
        TempDir dir;
        WriteFile(dir / "run.prm", WithOutput("linkage_map;"));
        RunResult r = RunIn(dir.path(), std::string("umask ") + c.mask + " && " + DAVOK_BIN + " run.prm");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(Permissions(dir / "r_run"), 0700u);
        for (const char* file : {"seed.prv", "r_run/report.txt", "r_run/seed", "r_run/run.prm", "r_run/lm_mrk_001.txt"})
            EXPECT_EQ(Permissions(dir / file), c.file) << file;
    }
}

TEST(WriteFailures, ASeedFileThatCannotBeWrittenStopsTheRunAndReleasesTheLock)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    ASSERT_EQ(symlink("/dev/full", (dir / "seed.prv").c_str()), 0);
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_NE(r.err.find("Error - Could not write [seed.prv]; No space left on device. "
                         "The incomplete file is removed.\nAborted.\n"),
              std::string::npos)
        << r.err;
    EXPECT_FALSE(FileExists(dir / "seed.lck"));
    EXPECT_TRUE(FileExists("/dev/full"));
}
