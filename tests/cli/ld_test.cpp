// The LD decay file of a population through the real binary.
#include <gtest/gtest.h>

#include <sstream>

#include "cli/cli_util.h"

namespace {

std::string LDRun(const std::string& ld, const std::string& alleles)
{
    return "nrep = 1;\nh2 = 0.3;\nqtlh2 = 0.1;\nphvar = 1.0;\nbegin_hp;\n hg_size = 100 [0] 100 [5];\nend_hp;\n"
           "begin_pop = \"p\";\n begin_founder;\n  male [n = 10, pop = \"hp\"];\n  female [n = 40, pop = \"hp\"];\n"
           " end_founder;\n ls = 2;\n ng = 3;\n begin_popoutput;\n  " + ld + "\n end_popoutput;\nend_pop;\n"
           "begin_genome;\n begin_chr = 2;\n  chrlen = 20;\n  nmloci = 60;\n  mpos = rnd;\n  nma = " + alleles +
           ";\n  maf = eql;\n  nqloci = 3;\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n"
           " end_chr;\nend_genome;\n";
}

}  // namespace

TEST(LDFile, HoldsOneColumnPerSelectedGenerationAndOneRowPerClassBelowMaxDistance)
{
    TempDir dir;
    WriteFile(dir / "run.prm", LDRun("ld /gen 0 2;", "all 2"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, ", LD "), 2);
    EXPECT_EQ(CountOf(r.out, " Mrk\n"), 2);
    std::vector<std::string> lines = Lines(ReadFile(dir / "r_run/p_ld_decay_001.txt"));
    // Heading, then four tables of a title, a rule, a column line and 15 classes, each table after
    // an empty line.
    ASSERT_EQ(lines.size(), 1u + 4 * 19);
    EXPECT_EQ(lines[0], "--------------- LD decay ---------------");
    const char* titles[] = {"No. marker pairs", "Mean D'(SD)", "Mean R2(SD)", "Mean X2'(SD)"};
    for (int t = 0; t < 4; ++t) {
        const size_t at = 1 + 19 * static_cast<size_t>(t);
        EXPECT_EQ(lines[at], "");
        EXPECT_EQ(lines[at + 1], titles[t]);
        EXPECT_EQ(lines[at + 2], std::string(20, '-'));
        EXPECT_EQ(lines[at + 3], "Bin\\Gen.              0              2 ");
        EXPECT_EQ(lines[at + 4].substr(0, 9), "[0,.05)  ");
        EXPECT_EQ(lines[at + 18].substr(0, 9), "[4,5)    ");
    }
    EXPECT_EQ(lines[24].size(), 9u + 2 * 15) << lines[24];  // "%6.4f(%6.4f) " per generation
}

TEST(LDFile, AMarkerWithMoreThanTwentyAllelesSkipsLDWithACollectedWarning)
{
    TempDir dir;
    WriteFile(dir / "run.prm", LDRun("ld /gen 1;", "all 25"));
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.err, "Warning - Number of alleles is too large (>20). LD calculation is skipped.\n"), 1);
    EXPECT_EQ(CountOf(r.out, ", LD"), 0);
    EXPECT_EQ(ReadFile(dir / "r_run/p_ld_decay_001.txt"),
              "LD calculation is skipped for generation   1. Number of alleles is too large (>20).\n");
}
