// The command line, the parameter-file checks, the output folder and the report, run through
// the real binary.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "cli/cli_util.h"

namespace {

const char* kAborted = "Aborted.\n";

void MakeFolderWithFile(const TempDir& dir, const std::string& folder, const std::string& file)
{
    mkdir((dir / folder).c_str(), 0700);
    WriteFile(dir / (folder + "/" + file), "old result\n");
}

}  // namespace

TEST(CommandLine, UnknownOptionsAreRefusedByName)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "-x");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Error - Unknown option: -x\n") + kAborted);
    EXPECT_EQ(r.out, "");  // refused before the banner

    r = RunDavok(dir, "run.prm -oo");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Error - Unknown option: -oo\n") + kAborted);
}

TEST(CommandLine, TooManyArgumentsAndTwoFileNamesAreRefused)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "a.prm b.prm -o");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Error - Too many arguments.\n") + kAborted);

    r = RunDavok(dir, "a.prm b.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Error - At least one of the argument in the command line is unknown.\n") + kAborted);
}

TEST(CommandLine, TwoSwitchesLeaveNoFileName)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "-o -O");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Error - No input file is specified.\n") + kAborted);
}

TEST(CommandLine, PromptWithoutInputEndsNormally)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_NE(r.out.find("Version 1.10 (16-bit)"), std::string::npos);
    EXPECT_EQ(r.out.substr(r.out.size() - 22), "Enter parameter file:\n");
}

TEST(CommandLine, PromptReadsTheFileName)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    RunResult r = RunDavok(dir, "", "minimal.prm\n");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("Enter parameter file:"), std::string::npos);
    EXPECT_NE(r.out.find("Parameter file                   : minimal.prm\n"), std::string::npos);
    EXPECT_TRUE(FileExists(dir / "r_minimal/report.txt"));
}

TEST(CommandLine, SwitchBeforeOrAfterTheFileNameBehavesTheSame)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RunResult r = RunDavok(dir, "minimal.prm -O");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(FileExists(dir / "r_minimal/old.txt"));

    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RemoveClockSeedRecord(dir);
    r = RunDavok(dir, "-o minimal.prm");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(FileExists(dir / "r_minimal/old.txt"));
}

TEST(ParameterFile, MissingFileIsRefused)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "nofile.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Could not open [nofile.prm]; No such file or directory\n") + kAborted);
}

TEST(ParameterFile, FileWithoutFinalLineFeedIsRefusedBeforeParsing)
{
    TempDir dir;
    WriteFile(dir / "run.prm", "nrep = 1;");
    RunResult r = RunDavok(dir, "run.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Last line of file \"run.prm\" ends without a newline.\n") + kAborted);
    EXPECT_FALSE(FileExists(dir / "r_run"));

    WriteFile(dir / "empty.prm", "");
    r = RunDavok(dir, "empty.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Last line of file \"empty.prm\" ends without a newline.\n") + kAborted);
}

TEST(ParameterFile, AFolderGivenAsParameterFileIsRefused)
{
    TempDir dir;
    mkdir((dir / "folder.prm").c_str(), 0700);
    RunResult r = RunDavok(dir, "folder.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, std::string("Could not open [folder.prm]; Is a directory\n") + kAborted);
}

TEST(OutputFolder, DerivedFromTheBaseNameWithoutExtension)
{
    TempDir dir;
    mkdir((dir / "sub").c_str(), 0700);
    CopyTestParam(dir, "minimal.prm", "sub/test.prm");
    RunResult r = RunDavok(dir, "sub/test.prm");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(FileExists(dir / "r_test/report.txt"));
    EXPECT_EQ(ReadFile(dir / "r_test/test.prm"), TestParam("minimal.prm"));
    EXPECT_NE(r.out.find("Output folder                    : r_test/\n"), std::string::npos);

    CopyTestParam(dir, "minimal.prm", "test");
    RemoveClockSeedRecord(dir);
    r = RunDavok(dir, "test -o");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_TRUE(FileExists(dir / "r_test/test"));
}

TEST(OutputFolder, ExistingNonEmptyFolderAnsweredNoStopsWithoutReport)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RunResult r = RunDavok(dir, "minimal.prm", "n\n");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "WARNING - Output destination [r_minimal/] is not empty.\nRemove its contents (Y/N)?");
    EXPECT_TRUE(FileExists(dir / "r_minimal/old.txt"));
    EXPECT_FALSE(FileExists(dir / "r_minimal/report.txt"));
}

TEST(OutputFolder, EndOfInputAtTheQuestionDeclines)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RunResult r = RunDavok(dir, "minimal.prm", "");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_TRUE(FileExists(dir / "r_minimal/old.txt"));
}

TEST(OutputFolder, AnswerYesRemovesTheFilesAndOtherWordsAreIgnored)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RunResult r = RunDavok(dir, "minimal.prm", "YES\nmaybe Y\n");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_FALSE(FileExists(dir / "r_minimal/old.txt"));
    EXPECT_NE(r.out.find("Removing...\nr_minimal/old.txt\n\n"), std::string::npos);
    EXPECT_TRUE(FileExists(dir / "r_minimal/report.txt"));
}

TEST(OutputFolder, OverwriteSwitchEmptiesTheFolderSilentlyAndKeepsSubFolders)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    mkdir((dir / "r_minimal/keep").c_str(), 0700);
    WriteFile(dir / "r_minimal/keep/inner.txt", "x\n");
    RunResult r = RunDavok(dir, "minimal.prm -o");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err.find("(Y/N)"), std::string::npos);
    EXPECT_NE(r.out.find("\"r_minimal/keep\" is a directory. Cannot remove it.\n"), std::string::npos);
    EXPECT_FALSE(FileExists(dir / "r_minimal/old.txt"));
    EXPECT_TRUE(FileExists(dir / "r_minimal/keep/inner.txt"));
}

TEST(OutputFolder, SwitchAloneEmptiesAnExistingFolderAfterThePrompt)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    MakeFolderWithFile(dir, "r_minimal", "old.txt");
    RunResult r = RunDavok(dir, "-o", "minimal.prm\n");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err.find("(Y/N)"), std::string::npos);
    EXPECT_FALSE(FileExists(dir / "r_minimal/old.txt"));
}

TEST(OutputFolder, FolderHoldingOnlySubFoldersIsUsedWithoutAQuestion)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    mkdir((dir / "r_minimal").c_str(), 0700);
    mkdir((dir / "r_minimal/sub").c_str(), 0700);
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.err.find("(Y/N)"), std::string::npos);
    EXPECT_TRUE(FileExists(dir / "r_minimal/sub"));
    EXPECT_TRUE(FileExists(dir / "r_minimal/report.txt"));
}

TEST(OutputFolder, AFileInTheWayOfTheFolderStopsWithoutReport)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    WriteFile(dir / "r_minimal", "a file\n");
    RunResult r = RunDavok(dir, "minimal.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err, "Error - Output destination [r_minimal] exists, but is not a directory!\n");
}

TEST(Report, HoldsDateBannerFilesTimeAndCompletion)
{
    TempDir dir;
    CopyTestParam(dir, "minimal.prm");
    RunResult r = RunDavok(dir, "minimal.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::string report = ReadFile(dir / "r_minimal/report.txt");
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(report[0])));
    EXPECT_NE(report.find(", 20"), std::string::npos);  // the year of the date line
    EXPECT_NE(report.find("Version 1.10 (16-bit)  "), std::string::npos);
    EXPECT_NE(report.find("Parameter file                   : minimal.prm\n"), std::string::npos);
    EXPECT_NE(report.find("Output folder                    : r_minimal/\n"), std::string::npos);
    EXPECT_NE(report.find("Overall time : "), std::string::npos);
    EXPECT_EQ(report.substr(report.size() - 20), "Completed normally.\n");
    EXPECT_NE(r.out.find("Completed normally.\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "r_minimal/minimal.prm"), TestParam("minimal.prm"));
}

TEST(Memory, AGenomeLargerThanTheMemoryStopsWithTheOutOfMemoryMessage)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer reserves more address space than the limit allows";
#endif
    // 500 chromosomes of 400,000 markers: the locus records alone need far more than 4 GB.
    std::string text = TestParam("minimal.prm");
    text.replace(text.find("begin_chr = 1;"), 14, "begin_chr = 500;");
    text.replace(text.find("nmloci = 5;"), 11, "nmloci = 400000;");
    TempDir dir;
    WriteFile(dir / "big.prm", text);
    RunResult r = RunIn(dir.path(), std::string("ulimit -v 4000000; ") + DAVOK_BIN + " big.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err.substr(0, 24), "Error - Out of memory: t") << r.err;
    EXPECT_EQ(CountOf(r.err, kAborted), 1);
}
