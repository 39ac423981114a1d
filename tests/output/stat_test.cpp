// The arithmetic of the summary over replicates, and tables of the statistics files written from
// statistics set by hand.
#include <gtest/gtest.h>

#include <cmath>

#include "output/output_test_util.h"

namespace {

SSumSS Sums(const std::vector<double>& v)
{
    SSumSS s;
    for (double x : v) AddValue(s, x);
    return s;
}

std::string StatText(SimClass& sim)
{
    return CaptureFile([&](FILE* fp) {
        sim.files.statFp = fp;
        SaveStat(sim.Output(), *sim.curPop);
    });
}

}  // namespace

TEST(RepSummary, MeanWithStandardErrorOrVarianceFromTheSums)
{
    struct Case {
        std::vector<double> values;
        double mean, variance;  // worked out by hand
    };
    const Case cases[] = {{{}, 0, 0},
                          {{-3.5}, -3.5, 0},
                          {{1, 4}, 2.5, 4.5},
                          {{-0.1, -0.7, -0.2, -1.9}, -0.725, 0.6825},
                          {{0.66, 0.66, 0.66, 0.66, 0.66}, 0.66, 0}};
    for (const Case& c : cases) {
        const int n = static_cast<int>(c.values.size());
        SSumSS se = Sums(c.values), var = Sums(c.values);
        GetMeanSE(se, n);
        GetMeanVar(var, n);
        EXPECT_NEAR(se.sum, c.mean, 1e-12) << n;
        EXPECT_NEAR(var.sum, c.mean, 1e-12) << n;
        EXPECT_NEAR(var.sumSq, c.variance, 1e-12) << n;
        EXPECT_NEAR(se.sumSq, n > 0 ? std::sqrt(c.variance / n) : 0, 1e-12) << n;
        if (c.variance == 0) {
            EXPECT_EQ(se.sumSq, 0.0) << n << ": no spread is an SE of exactly 0";
        }
    }
    // Only the mean-variance form takes a tiny mean for 0.
    SSumSS se = Sums({3e-13, -1e-13}), var = se;
    GetMeanSE(se, 2);
    GetMeanVar(var, 2);
    EXPECT_DOUBLE_EQ(se.sum, 1e-13);
    EXPECT_EQ(var.sum, 0.0);
}

TEST(RepSummary, RowsWithOneOrTwoAccumulators)
{
    SSumSS a = Sums({2, 4}), b = Sums({1, 1}), c = Sums({-0.5, 0.5});
    EXPECT_EQ(CaptureFile([&](FILE* fp) { PrintMeanStdErr(3, a, b, 2, fp); }),
              "3             3.00000000     1.00000000           1.00000000     0.00000000\n");
    EXPECT_EQ(CaptureFile([&](FILE* fp) { PrintMeanStdErr(12, c, 2, fp); }),
              "12            0.00000000     0.50000000                 ----           ----\n");
}

TEST(StatisticsFile, InbreedingOfNoOneOneOrSeveralInbredIndividuals)
{
    TempDir dir;
    auto sim = EngineIn(dir, {PopOutput("stat;")});
    sim->AllocGlobalMem();
    CPopulation& p = sim->pops[0];
    p.nIndiv = 10;
    p.genStat[0].nMale = 2, p.genStat[0].nFemale = 4;
    SGenStat& g1 = p.genStat[1];  // F 0.25 in one of four
    g1.nMale = 1, g1.nFemale = 3, g1.nInbred = 1, g1.sumF = 0.25, g1.sumF2 = 0.0625;
    SGenStat& all = p.genStat[2];  // F 0.25 and 0.75 among the ten of the population
    all.nInbred = 2, all.sumF = 1, all.sumF2 = 0.625;
    EXPECT_NE(StatText(*sim).find("0             0   0.0000 0.0000   0.0000 0.0000\n"
                                  "1             1   0.2500 0.0000   0.0625 0.1250\n"
                                  "Overall       2   0.5000 0.3536   0.1000 0.2415\n"),
              std::string::npos);
}

TEST(StatisticsFile, GenotypePercentagesOnlyForGenotypedGenerationsWithARate)
{
    struct Case {
        const char* rates;   // genome-block statements
        const char* output;  // population output statements
        const char* tables;  // the headers of the tables, "" for none
    };
    const Case cases[] = {
        {"rmmg = 0.1; rqge = 0.01;", "stat; genotype /gen 1;",
         "Gen.                  Mrk%\n1              10.00000000\n"
         "|Gen.                  QTL%\n1              50.00000000\n"},
        {"rmqg = 0.1; rmge = 0.01;", "stat; genotype;",
         "Gen.                  QTL%\n0               0.00000000\n1              12.50000000\n"
         "|Gen.                  Mrk%\n0               0.00000000\n1               5.00000000\n"},
        {"rmmg = 0.1; rmge = 0.01;", "stat;", ""},
        {"", "stat; genotype;", ""},
    };
    for (const Case& c : cases) {
        TempDir dir;
        auto sim = EngineIn(dir, {PopOutput(c.output), {"begin_genome;", std::string("begin_genome; ") + c.rates}});
        sim->AllocGlobalMem();
        CPopulation& p = sim->pops[0];
        for (SGenStat& st : p.genStat) st.nMale = st.nFemale = 2;
        p.genStat[1].nMissMrk = 2, p.genStat[1].nMissQTL = 1;  // of 4 x 5 marker and 4 x 2 QTL genotypes
        p.genStat[1].nErrMrk = 1, p.genStat[1].nErrQTL = 4;
        const std::string text = StatText(*sim);
        std::string tables;
        for (const char* title : {"-- Percentage of missing genotypes --", "-- Percentage of genotyping errors --"}) {
            const size_t at = text.find(title);
            if (at == std::string::npos) continue;
            const size_t from = text.find('\n', at) + 1;
            tables += (tables.empty() ? "" : "|") + text.substr(from, text.find("\n\n", from) + 1 - from);
        }
        EXPECT_EQ(tables, c.tables) << c.rates << " " << c.output;
    }
}

TEST(StatRepFile, LdTablesOfTheSelectedGenerationsUpToTheMaximumDistance)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"nrep = 1;", "nrep = 2;"}, PopOutput("ld /max_distance 0.3 /gen 1;")});
    sim->AllocGlobalMem();
    CPopulation& p = sim->pops[0];
    p.ldSkipped[0] = 1;
    for (int pairs : {10, 14}) {
        for (SGenStat& st : p.genStat) st.ldBin[2].nPair = pairs, st.ldBin[2].mean[1] = pairs / 100.0;
        GetStatRep(*sim->curPop);
    }
    SaveStatRep(sim->prm, sim->pops, sim->histRep, sim->runNrep);
    const std::string text = ReadFile(dir / "stat_rep.txt");
    EXPECT_NE(text.find(std::string(80, '-') +
                        "\nLD calculation is skipped for generation   0. Number of alleles is too large (>20).\n"),
              std::string::npos);
    // Classes below 0.3 cM of generation 1 only: 12 +- 2 pairs, r2 0.12 +- 0.02 in class [.1,.2).
    EXPECT_NE(text.find(" No marker pairs for each bin (LD decay) --------------------\nGeneration 1\nBin\n"
                        "[0,.05)           0.0000         0.0000                 ----           ----\n"
                        "[.05,.1)          0.0000         0.0000                 ----           ----\n"
                        "[.1,.2)          12.0000         2.0000                 ----           ----\n"
                        "[.2,.3)           0.0000         0.0000                 ----           ----\n\n"),
              std::string::npos);
    EXPECT_NE(text.find(" Mean R2 (LD decay) ------------------------------\nGeneration 1\nBin\n"
                        "[0,.05)           0.0000         0.0000               0.0000         0.0000\n"
                        "[.05,.1)          0.0000         0.0000               0.0000         0.0000\n"
                        "[.1,.2)           0.1200         0.0200               0.0000         0.0000\n"),
              std::string::npos);
    EXPECT_EQ(CountOf(text, "Generation 1\n"), 4) << "pairs, D', r2 and X2'";
    EXPECT_EQ(CountOf(text, "Generation 0\n"), 0);
}
