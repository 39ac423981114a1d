// Recent populations through the real binary: the worked examples, fatal founder errors, and
// runs repeated from a seed file with every mating design.
#include <gtest/gtest.h>

#include <set>

#include "cli/cli_util.h"

namespace {

const std::string kGenome =
    Genome(2, 100, 60, 6, " rmmg = 0.05 /rndg 2;\n rmge = 0.01;\n rmqg = 0.05;\n rqge = 0.02;\n mmutr = 0.0005;\n qmutr = 0.0005 /recurrent;\n");

std::string Founders(const std::string& lines)
{
    return " begin_founder;\n" + lines + " end_founder;\n";
}

// Every result file a population can write.
const char* const kEveryOutput =
    " begin_popoutput;\n  crossover;\n  data;\n  stat;\n  genotype;\n  allele_freq /mafbin 4;\n  ld;\n"
    " end_popoutput;\n";

// One population per mating design, the last founded from two earlier ones, each writing every
// result file, so that the genomes and values of every design and of the mutating historical
// population reach the files.
std::string EveryDesign(int threads, const std::string& seedFile)
{
    std::string text = "nthread = " + std::to_string(threads) + ";\n";
    if (!seedFile.empty()) text += "seed = \"" + seedFile + "\";\n";
    text += "nrep = 2;\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 1.0;\nbegin_hp;\n hg_size = 300 [0] 300 [20];\nend_hp;\n";
    struct Design {
        const char* name;
        const char* body;
    };
    const Design designs[] = {
        {"rnd", " ls = 2 3 [0.4];\n md = rnd;\n sr = 0.5;\n dr = 0.3;\n sd = phen /h;\n cd = age;\n"},
        {"ug", " ls = 3;\n md = rnd_ug;\n pmp = 0.5 /fix;\n sr = 1;\n dr = 1;\n"},
        {"minf", " ls = 2;\n md = minf;\n pmp = 0.5 /fix_litter;\n sr = 0.5;\n dr = 0.5;\n sd = tbv /h;\n cd = tbv;\n"},
        {"maxf", " ls = 2;\n md = maxf;\n sr = 0.5 0.2;\n dr = 0.5 0.2 /e;\n cd = rnd;\n"},
        {"pa", " ls = 1 2 [0.5];\n md = p_assort /tbv;\n sr = 0.4;\n dr = 0.4;\n sd = phen /l;\n cd = phen;\n"},
        {"na", " ls = 2;\n md = n_assort /ebv;\n sr = 0.5;\n dr = 0.5;\n sd = ebv;\n ebv_est = blup;\n"},
        {"acc", " ls = 2;\n sr = 0.5;\n sd = ebv;\n cd = ebv;\n ebv_est = accur_male 0.6 accur_female 0.8;\n"},
    };
    for (const Design& d : designs) text += Population(d.name, HpFounders(6, 24), d.body + std::string(" ng = 4;\n") + kEveryOutput);
    return text +
           Population("mixed",
                      Founders("  male [n = 3, pop = \"rnd\", gen = 4, select = tbv /h];\n"
                               "  female [n = 20, pop = \"minf\", gen = 3] /not_founder_yet;\n"
                               "  female [n = 10, pop = \"hp\"] /not_founder_yet;\n"),
                      " ls = 2;\n ng = 2;\n" + std::string(kEveryOutput)) +
           kGenome + "begin_output;\n hp_stat;\n linkage_map;\n allele_effect;\n monitor_hp_homo /freq 10;\nend_output;\n";
}

// The console lines of the populations' generations ("G1     Size=..." and what follows them).
std::string GenerationLines(const std::string& out)
{
    std::string lines;
    size_t at = 0;
    while ((at = out.find("\nG", at)) != std::string::npos) {
        size_t end = out.find('\n', at + 1);
        lines += out.substr(at + 1, end - at);
        at = end;
    }
    return lines;
}

}  // namespace

TEST(PopulationRun, EveryWorkedExampleRunsToTheEnd)
{
    for (const char* name :
         {"quickstart", "mating_rnd", "mating_rnd_ug", "mating_minf", "mating_maxf", "mating_p_assort", "mating_n_assort"}) {
        TempDir dir;
        WriteFile(dir / "run.prm", ReadFile(std::string(DAVOK_EXAMPLES) + "/" + name + ".prm"));
        RunResult r = RunDavok(dir, "run.prm -o");
        ASSERT_EQ(r.exitCode, 0) << name << "\n" << r.err;
        EXPECT_NE(r.out.find("Completed"), std::string::npos) << name;
        EXPECT_NE(r.out.find("G1     Size="), std::string::npos) << name;
    }
}

// With two threads the repeat runs without the invariant checks of the run loop, which must
// change no result either.
TEST(PopulationRun, TheSameSeedFileAndThreadCountGiveByteIdenticalResultsForEveryDesign)
{
    for (int threads : {1, 2}) {
        SCOPED_TRACE(threads);
        TempDir dir;
        WriteFile(dir / "first.prm", EveryDesign(threads, ""));
        WriteFile(dir / "again.prm", EveryDesign(threads, "r_first/seed"));
        RunResult first = RunDavok(dir, "first.prm");
        ASSERT_EQ(first.exitCode, 0) << first.err;
        RunResult again = RunIn(dir.path(), (threads == 2 ? "env -u DAVOK_CHECK_INVARIANTS " : "") + std::string(DAVOK_BIN) + " again.prm");
        ASSERT_EQ(again.exitCode, 0) << again.err;
        EXPECT_EQ(again.err, first.err);
        EXPECT_EQ(GenerationLines(first.out), GenerationLines(again.out));
        EXPECT_NE(first.out.find(", Mating:"), std::string::npos);
        const std::set<std::string> files = ExpectSameResultFiles(dir / "r_first", dir / "r_again");
        for (const char* kind : {"crosso", "data", "stat", "mrk", "qtl", "freq_mrk", "freq_qtl", "ld_decay"})
            EXPECT_TRUE(files.count(std::string("mixed_") + kind + "_002.txt")) << kind;
        for (const char* file : {"stat_rep.txt", "hp_stat_002.txt", "hp_homo_mrk_002.txt", "lm_qtl_002.txt", "effect_qtl_002.txt"})
            EXPECT_TRUE(files.count(file)) << file;
    }
}

// Too few progeny to replace the parents is a unit test of the culling.
TEST(PopulationRun, MissingFoundersStopTheRunAndKeepWhatWasWritten)
{
    struct Case {
        std::string pops, message;
    };
    const Case cases[] = {
        {Population("p", HpFounders(2, 60), " ls = 1;\n ng = 1;\n"),
         "Error - Pop \"p\": 60 females requested but 50 females found in the last historical generation.\n"},
        // Population a, which writes every file, ends before b stops the run.
        {Population("a", HpFounders(2, 10), " ls = 1;\n ng = 2;\n" + std::string(kEveryOutput)) +
             Population("b", Founders("  male [n = 20, pop = \"a\", gen = 1];\n  female [n = 30, pop = \"hp\"];\n"),
                        " ls = 1;\n ng = 1;\n" + PopOutput("data;")),
         "Error - Pop \"b\": 20 males requested but "},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.message);
        TempDir dir;
        const std::string text =
            "nrep = 1;\nh2 = 0.4;\nqtlh2 = 0.2;\nphvar = 1.0;\nbegin_hp;\n hg_size = 100 [0] 100 [5];\nend_hp;\n" + c.pops + kGenome;
        RunResult r = RunParam(dir, "run", text);
        EXPECT_EQ(r.exitCode, 1);
        EXPECT_NE(r.err.find(c.message), std::string::npos) << r.err;
        EXPECT_NE(r.err.find("Aborted."), std::string::npos);
        EXPECT_NE(ReadFile(dir / "r_run/report.txt").find(c.message), std::string::npos);
        EXPECT_EQ(ReadFile(dir / "r_run/run.prm"), text);
        EXPECT_TRUE(FileExists(dir / "r_run/seed"));
        if (c.pops.find("pop = \"a\"") == std::string::npos) continue;

        EXPECT_NE(r.err.find(" males found in generation 1 of population \"a\".\n"), std::string::npos) << r.err;
        // Population a wrote 12 founders and two generations of 10 progeny in every file.
        for (const std::string kind : {"data", "mrk", "qtl"})
            EXPECT_EQ(CountOf(ReadFile(dir / ("r_run/a_" + kind + "_001.txt")), "\n"), 1 + 32) << kind;
        EXPECT_NE(ReadFile(dir / "r_run/a_stat_001.txt").find("\nOverall "), std::string::npos);
        EXPECT_NE(ReadFile(dir / "r_run/a_ld_decay_001.txt").find("Mean X2'(SD)"), std::string::npos);
        EXPECT_NE(ReadFile(dir / "r_run/a_freq_mrk_001.txt").find("Distribution of minor allele frequency"),
                  std::string::npos);
        EXPECT_EQ(ReadFile(dir / "r_run/b_data_001.txt"), "");
    }
}
