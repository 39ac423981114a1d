// The run driver through the real binary: the run summary, replicates, the user command after
// each replicate and the replicate control file.
#include <gtest/gtest.h>

#include "cli/cli_util.h"

TEST(Driver, TheRunSummaryListsTheSettings)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", Minimal("nrep = 1;\nnthread = 3;\nskip_inbreeding;\n"));
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
    RunResult r = RunParam(dir, "run", Edited(Minimal("nrep = 1;\njoint_pop;\n"), "begin_genome;",
                                              "begin_genome;\n rmmg = 0.1 /rndg 2;\n rqge = 0.02;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(r.out.find("Inbreeding"), std::string::npos);  // joint_pop with one population
    EXPECT_NE(r.out.find("Rate of missing marker genotypes : 0.1 /rndg 2\n"
                         "Rate of missing QTL genotypes    : 0\n"
                         "Rate of marker genotyping errors : 0\n"
                         "Rate of QTL genotyping errors    : 0.02\n"),
              std::string::npos);
}

TEST(Driver, EveryReplicateHasItsHeadingsAndTheUserCommandRunsAfterIt)
{
    TempDir dir;
    RunResult r = RunParam(dir, "run", Minimal("nrep = 3;\nsystem = \"echo x >> calls.txt\";\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_NE(r.out.find("~~~~~~~~~~~~~~~~~~~~~~ Replicate   2 ~~~~~~~~~~~~~~~~~~~~~~~\n"), std::string::npos);
    EXPECT_EQ(CountOf(r.out, "--------------------- Population \"p1\" ----------------------\n"), 3);
    EXPECT_EQ(CountOf(r.out, "G1     Size="), 3);
    EXPECT_NE(ReadFile(dir / "r_run/report.txt").find("Replicate   3\n"), std::string::npos);
    EXPECT_EQ(ReadFile(dir / "calls.txt"), "x\nx\nx\n");

    // With /nrep the command gets the replicate's number.
    WriteFile(dir / "mark.sh", "echo done > rep$1.txt\n");
    r = RunParam(dir, "numbered", Minimal("nrep = 2;\nsystem = \"sh mark.sh\" /nrep;\n"));
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(ReadFile(dir / "rep1.txt"), "done\n");
    EXPECT_EQ(ReadFile(dir / "rep2.txt"), "done\n");
    EXPECT_NE(r.out.find("System command : sh mark.sh 1\n"), std::string::npos);
}

TEST(Driver, TheReplicateControlFileSetsTheNumberOfReplicatesWhenItHoldsOneInRange)
{
    // The user command writes the control file after every replicate.
    struct Case {
        std::string nrep, control;
        int replicates;
        std::string err, completion;
    };
    const std::string outOfRange = "Warning - The specified value in nrep.txt should be between 1 and 20,000.\n";
    const Case cases[] = {
        {"1", "echo 3", 3, "Warning - The number of replicates is adjusted to 3 from 1 by the user.\n",
         "Completed (1 warnings!).\n"},
        {"5", "echo 2", 2, "Warning - The number of replicates is adjusted to 2 from 5 by the user.\n",
         "Completed (1 warnings!).\n"},
        {"2", "echo 20001", 2, outOfRange + outOfRange, "Completed (2 warnings!).\n"},
        // Garbage changes nothing.
        {"2", "echo three", 2, "", "Completed normally.\n"},
        {"2", "true", 2, "", "Completed normally.\n"},
        {"2", "head -c 4096 /bin/true", 2, "", "Completed normally.\n"},
    };
    TempDir dir;
    for (const Case& c : cases) {
        SCOPED_TRACE(c.control);
        RunResult r = RunParam(dir, "run", Minimal("nrep = " + c.nrep + ";\nsystem = \"" + c.control + " > r_run/nrep.txt\";\n"), "-o");
        ASSERT_EQ(r.exitCode, 0) << r.err;
        EXPECT_EQ(CountOf(r.out, "Replicate   "), c.replicates);
        EXPECT_EQ(r.err, c.err);
        EXPECT_NE(r.out.find(c.completion), std::string::npos);
    }
}
