// The run driver through the real binary: the run summary, replicates, the user command after
// each replicate and the replicate control file.
#include <gtest/gtest.h>

#include "cli/cli_util.h"

namespace {

std::string Minimal(const std::string& globals)
{
    std::string text = TestParam("minimal.prm");
    text.replace(text.find("nrep = 1;\n"), 10, globals);
    return text;
}

}  // namespace

TEST(Driver, TheRunSummaryListsTheSettings)
{
    TempDir dir;
    WriteFile(dir / "run.prm", Minimal("nrep = 1;\nnthread = 3;\nskip_inbreeding;\n"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("\nMax. no. threads                 : 3\n"
                         "No. replicates                   : 1\n"
                         "No. populations                  : 1\n"
                         "Inbreeding                       : skipped\n"
                         "h2                               : 0.3\n"
                         "Polygenic variance               : 0.2\n"
                         "QTL variance                     : 0.1\n"
                         "Residual variance                : 0.7\n"
                         "Phenotypic variance              : 1\n"
                         "No. chromosomes                  : 1\n"
                         "No. QTL in total                 : 10\n"
                         "No. markers in total             : 5\n"
                         "Marker mutation rate             : 0\n"
                         "QTL mutation rate                : 0\n"
                         "Crossover interference           : 0\n\n"),
              std::string::npos)
        << r.out;
}

TEST(Driver, RatesAndJointInbreedingAppearOnlyWhenTheyApply)
{
    TempDir dir;
    std::string text = Minimal("nrep = 1;\njoint_pop;\n");
    text.replace(text.find("begin_genome;"), 13, "begin_genome;\n rmmg = 0.1 /rndg 2;\n rqge = 0.02;\n");
    WriteFile(dir / "run.prm", text);
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.find("Inbreeding"), std::string::npos);  // joint_pop with one population
    EXPECT_NE(r.out.find("Rate of missing marker genotypes : 0.1 /rndg 2\n"
                         "Rate of missing QTL genotypes    : 0\n"
                         "Rate of marker genotyping errors : 0\n"
                         "Rate of QTL genotyping errors    : 0.02\n"),
              std::string::npos);
}

TEST(Driver, EveryReplicateHasItsHeadingAndThePopulationsTheirs)
{
    TempDir dir;
    WriteFile(dir / "run.prm", Minimal("nrep = 3;\n"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("~~~~~~~~~~~~~~~~~~~~~~ Replicate   2 ~~~~~~~~~~~~~~~~~~~~~~~\n"), std::string::npos);
    EXPECT_EQ(CountOf(r.out, "--------------------- Population \"p1\" ----------------------\n"), 3);
    EXPECT_EQ(CountOf(r.out, "G1     Size="), 3);
    std::string report = ReadFile(dir / "r_run/report.txt");
    EXPECT_NE(report.find("Replicate   3\n"), std::string::npos);
}

TEST(Driver, TheUserCommandRunsAfterEveryReplicateWithItsNumber)
{
    TempDir dir;
    WriteFile(dir / "mark.sh", "echo done > rep$1.txt\n");
    WriteFile(dir / "run.prm", Minimal("nrep = 2;\nsystem = \"sh mark.sh\" /nrep;\n"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadFile(dir / "rep1.txt"), "done\n");
    EXPECT_EQ(ReadFile(dir / "rep2.txt"), "done\n");
    EXPECT_NE(r.out.find("System command : sh mark.sh 1\n"), std::string::npos);

    RemoveClockSeedRecord(dir);
    WriteFile(dir / "plain.prm", Minimal("nrep = 2;\nsystem = \"echo x >> calls.txt\";\n"));
    r = RunDavok(dir, "plain.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadFile(dir / "calls.txt"), "x\nx\n");
}

TEST(Driver, TheReplicateControlFileRaisesOrLowersTheNumberOfReplicates)
{
    // The user command writes the control file after the first replicate.
    TempDir dir;
    WriteFile(dir / "up.prm", Minimal("nrep = 1;\nsystem = \"echo 3 > r_up/nrep.txt\";\n"));
    RunResult r = RunDavok(dir, "up.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, "Replicate   "), 3);
    EXPECT_EQ(r.err, "Warning - The number of replicates is adjusted to 3 from 1 by the user.\n");
    EXPECT_NE(r.out.find("Completed (1 warnings!).\n"), std::string::npos);

    RemoveClockSeedRecord(dir);
    WriteFile(dir / "down.prm", Minimal("nrep = 5;\nsystem = \"echo 2 > r_down/nrep.txt\";\n"));
    r = RunDavok(dir, "down.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, "Replicate   "), 2);
}

TEST(Driver, AControlFileOutOfRangeOnlyWarns)
{
    TempDir dir;
    WriteFile(dir / "run.prm", Minimal("nrep = 2;\nsystem = \"echo 20001 > r_run/nrep.txt\";\n"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, "Replicate   "), 2);
    EXPECT_EQ(CountOf(r.err, "Warning - The specified value in nrep.txt should be between 1 and 20,000.\n"), 2);
    EXPECT_NE(r.out.find("Completed (2 warnings!).\n"), std::string::npos);
}
