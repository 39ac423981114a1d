// The historical population through the real binary: its console table and report and its result
// files. Runs repeated from a seed file are the population runs' tests; an error met by several
// workers is a unit test of the historical population.
#include <gtest/gtest.h>

#include "cli/cli_util.h"

namespace {

const std::string kHistory =
    "nthread = 2;\nnrep = 2;\nh2 = 0.3;\nqtlh2 = 0.2;\nphvar = 1.0;\nbegin_hp;\n   hg_size = 60 [0] 60 [30] 40 [40];\nend_hp;\n" +
    Population("p1", HpFounders(2, 4), " ls = 2;\n ng = 1;\n") + Genome(2, 100, 40, 5, " mmutr = 0.0005;\n qmutr = 0.0005 /recurrent;\n") +
    "begin_output;\n   hp_stat;\n   linkage_map;\n   allele_effect;\n   monitor_hp_homo /freq 10;\nend_output;\n";

}  // namespace

TEST(HistoryRun, PrintsTheTableTheCountsAndTheLastGenerationOnTheConsoleAndInTheReport)
{
    TempDir dir;
    RunResult r = RunParam(dir, "hp", kHistory);
    ASSERT_EQ(r.exitCode, 0) << r.err;
    std::string report = ReadFile(dir / "r_hp/report.txt");
    for (const std::string& text :
         {std::string("Gen.       Size     Male   Female   Mrk Homo   QTL Homo\n"), std::string("*0           60       30       30     0."),
          std::string("*30          60       30       30     0."), std::string("\n 35          50       25       25     0."),
          std::string("No. marker mutation events  : "), std::string("No. paternal crossovers     : "),
          std::string("Last historical generation:\n   No. segregating markers  : "),
          std::string("   QTL mean (var)           :     0.00000 (0.2)"),
          std::string("Chr       Length   No. Markers     No. QTLs\n  1    100.00000           40            5\n")}) {
        EXPECT_NE(r.out.find(text), std::string::npos) << text;
        EXPECT_NE(report.find(text), std::string::npos) << text;
    }
    EXPECT_NE(r.out.find("--------------- Historical generations (40) ----------------\n"), std::string::npos);
    EXPECT_EQ(CountOf(r.out, "Indexing alleles ... done.\n"), 2);
    for (const char* file : {"hp_stat_001.txt", "hp_homo_mrk_002.txt", "hp_homo_qtl_001.txt", "lm_mrk_001.txt",
                             "lm_qtl_002.txt", "effect_qtl_001.txt"})
        EXPECT_TRUE(FileExists(dir / (std::string("r_hp/") + file))) << file;
    EXPECT_FALSE(FileExists(dir / "r_hp/lm_mrk_qtl_001.txt"));
    EXPECT_EQ(CountOf(ReadFile(dir / "r_hp/hp_homo_mrk_001.txt"), "\n"), 1 + 5);  // header, 0, 10, 20, 30, 40
}
