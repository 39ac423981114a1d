// The command line, the parameter-file checks, the output folder and the report, run through
// the real binary.
#include <gtest/gtest.h>

#include <sys/stat.h>

#include "cli/cli_util.h"

namespace {

const std::string kAborted = "Aborted.\n";

}  // namespace

TEST(CommandLine, BadArgumentsAndParameterFilesAreRefusedWithTheirMessage)
{
    struct Case {
        std::string args, err;
        bool beforeBanner;
    };
    const Case cases[] = {
        {"-x", "Error - Unknown option: -x\n" + kAborted, true},
        {"run.prm -oo", "Error - Unknown option: -oo\n" + kAborted, true},
        {"a.prm b.prm -o", "Error - Too many arguments.\n" + kAborted, true},
        {"a.prm b.prm", "Error - At least one of the argument in the command line is unknown.\n" + kAborted, true},
        {"-o -O", "Error - No input file is specified.\n" + kAborted, false},
        {"nofile.prm", "Could not open [nofile.prm]; No such file or directory\n" + kAborted, false},
        {"run.prm", "Last line of file \"run.prm\" ends without a newline.\n" + kAborted, false},
        {"empty.prm", "Last line of file \"empty.prm\" ends without a newline.\n" + kAborted, false},
        {"folder.prm", "Could not open [folder.prm]; Is a directory\n" + kAborted, false},
        {"minimal.prm", "Error - Output destination [r_minimal] exists, but is not a directory!\n", false},
    };
    TempDir dir;
    WriteFile(dir / "run.prm", "nrep = 1;");
    WriteFile(dir / "empty.prm", "");
    mkdir((dir / "folder.prm").c_str(), 0700);
    CopyTestParam(dir, "minimal.prm");
    WriteFile(dir / "r_minimal", "a file\n");
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args);
        RunResult r = RunDavok(dir, c.args);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_EQ(r.err, c.err);
        if (c.beforeBanner) {
            EXPECT_EQ(r.out, "");
        }
        EXPECT_FALSE(FileExists(dir / "r_run"));  // refused before parsing
    }
}

TEST(CommandLine, PromptWithoutInputEndsNormally)
{
    TempDir dir;
    RunResult r = RunDavok(dir, "");
    EXPECT_EQ(r.exitCode, 0);
    EXPECT_NE(r.out.find("Version 1.10 (16-bit)"), std::string::npos);
    EXPECT_EQ(r.out.substr(r.out.size() - 22), "Enter parameter file:\n");
}

TEST(OutputFolder, AnExistingFolderIsEmptiedOnlyWhenTheUserSaysSo)
{
    struct Case {
        std::string args, input;
        int exitCode;
        bool asks, subFolder;
        std::string out;  // a text the console holds
    };
    const Case cases[] = {
        {"minimal.prm -O", "", 0, false, false, ""},  // the switch after the file name
        {"-o minimal.prm", "", 0, false, false, ""},  // and before it
        {"-o", "minimal.prm\n", 0, false, false, "Enter parameter file:"},  // and alone, then the prompt
        {"", "minimal.prm\nY\n", 0, true, false, "Parameter file                   : minimal.prm\n"},
        {"minimal.prm", "n\n", 1, true, false, ""},
        {"minimal.prm", "", 1, true, false, ""},  // end of input declines
        {"minimal.prm", "YES\nmaybe Y\n", 0, true, false, "Removing...\nr_minimal/old.txt\n\n"},
        {"minimal.prm -o", "", 0, false, true, "\"r_minimal/keep\" is a directory. Cannot remove it.\n"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.args + " <<< " + c.input);
        TempDir dir;
        CopyTestParam(dir, "minimal.prm");
        mkdir((dir / "r_minimal").c_str(), 0700);
        WriteFile(dir / "r_minimal/old.txt", "old result\n");
        if (c.subFolder) {
            mkdir((dir / "r_minimal/keep").c_str(), 0700);
            WriteFile(dir / "r_minimal/keep/inner.txt", "x\n");
        }
        RunResult r = RunDavok(dir, c.args, c.input);
        EXPECT_EQ(r.exitCode, c.exitCode) << r.err;
        EXPECT_EQ(r.err.find("(Y/N)") != std::string::npos, c.asks);
        if (c.exitCode == 1) {
            EXPECT_EQ(r.err, "WARNING - Output destination [r_minimal/] is not empty.\nRemove its contents (Y/N)?");
        }
        EXPECT_NE(r.out.find(c.out), std::string::npos) << r.out;
        EXPECT_EQ(FileExists(dir / "r_minimal/old.txt"), c.exitCode == 1);
        EXPECT_EQ(FileExists(dir / "r_minimal/report.txt"), c.exitCode == 0);
        if (c.subFolder) {
            EXPECT_TRUE(FileExists(dir / "r_minimal/keep/inner.txt"));
        }
    }
}

// The output folder lies in the working folder and holds the parameter file under its own name;
// which name the folder takes and that a folder holding only sub-folders is used without a
// question are unit tests of the folder functions.
TEST(Report, HoldsDateBannerFilesTimeAndCompletion)
{
    TempDir dir;
    mkdir((dir / "sub").c_str(), 0700);
    CopyTestParam(dir, "minimal.prm", "sub/test.prm");
    RunResult r = RunDavok(dir, "sub/test.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::string report = ReadFile(dir / "r_test/report.txt");
    EXPECT_TRUE(std::isdigit(static_cast<unsigned char>(report[0])));
    EXPECT_NE(report.find(", 20"), std::string::npos);  // the year of the date line
    for (const char* text : {"Version 1.10 (16-bit)  ", "Parameter file                   : sub/test.prm\n",
                             "Output folder                    : r_test/\n", "Overall time : "}) {
        EXPECT_NE(report.find(text), std::string::npos) << text;
        EXPECT_NE(r.out.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(report.substr(report.size() - 20), "Completed normally.\n");
    EXPECT_NE(r.out.find("Completed normally.\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "r_test/test.prm"), TestParam("minimal.prm"));
}

TEST(Memory, AGenomeLargerThanTheMemoryStopsWithTheOutOfMemoryMessage)
{
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer reserves more address space than the limit allows";
#endif
    // 500 chromosomes of 400,000 markers: the locus records alone need far more than 4 GB.
    TempDir dir;
    WriteFile(dir / "big.prm", Edited(Edited(TestParam("minimal.prm"), "begin_chr = 1;", "begin_chr = 500;"),
                                      "nmloci = 5;", "nmloci = 400000;"));
    RunResult r = RunIn(dir.path(), std::string("ulimit -v 4000000; ") + DAVOK_BIN + " big.prm");
    EXPECT_EQ(r.exitCode, 1);
    EXPECT_EQ(r.err.substr(0, 24), "Error - Out of memory: t") << r.err;
    EXPECT_EQ(CountOf(r.err, kAborted), 1);
}
