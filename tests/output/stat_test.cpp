// Statistics over replicates and the statistics file of one population, written from
// statistics set by hand.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "output/output_test_util.h"

namespace {

// Mean and variance of the values, two passes over them.
void Expected(const std::vector<double>& v, double& mean, double& variance)
{
    mean = variance = 0;
    for (double x : v) mean += x;
    if (!v.empty()) mean /= static_cast<double>(v.size());
    for (double x : v) variance += (x - mean) * (x - mean);
    variance = v.size() > 1 ? variance / static_cast<double>(v.size() - 1) : 0;
}

SSumSS Sums(const std::vector<double>& v)
{
    SSumSS s;
    for (double x : v) AddValue(s, x);
    return s;
}

// Lines of text that contain `needle`.
std::vector<std::string> LinesWith(const std::string& text, const std::string& needle)
{
    std::istringstream in(text);
    std::vector<std::string> found;
    for (std::string line; std::getline(in, line);)
        if (line.find(needle) != std::string::npos) found.push_back(line);
    return found;
}

}  // namespace

TEST(RepSummary, MeanWithStandardErrorOrVarianceFromTheSums)
{
    struct Case {
        const char* story;
        std::vector<double> values;
        double tolerance = 1e-9;  // the sums lose digits under a large mean
    };
    const Case cases[] = {
        {"no replicate", {}},
        {"one replicate", {-3.5}},
        {"two replicates", {1, 4}},
        {"a value that is the same in every replicate", {0.66, 0.66, 0.66, 0.66, 0.66}},
        {"a real spread under a large mean is not taken for rounding", {1e6 + 0.1, 1e6 - 0.2, 1e6 + 0.3}, 1e-3},
        {"negative values", {-0.1, -0.7, -0.2, -1.9}},
    };
    for (const Case& c : cases) {
        const int n = static_cast<int>(c.values.size());
        double mean, variance;
        Expected(c.values, mean, variance);
        SSumSS se = Sums(c.values), var = Sums(c.values);
        GetMeanSE(se, n);
        GetMeanVar(var, n);
        EXPECT_NEAR(se.sum, mean, 1e-9 * (1 + std::fabs(mean))) << c.story;
        EXPECT_NEAR(var.sum, mean, 1e-9 * (1 + std::fabs(mean))) << c.story;
        EXPECT_NEAR(var.sumSq, variance, c.tolerance) << c.story;
        EXPECT_NEAR(se.sumSq, n > 0 ? std::sqrt(variance / n) : 0, c.tolerance) << c.story;
        if (variance < 1e-20) {
            EXPECT_EQ(se.sumSq, 0.0) << c.story << ": no spread is an SE of exactly 0";
            EXPECT_EQ(var.sumSq, 0.0) << c.story;
        }
    }
}

TEST(RepSummary, OnlyTheMeanVarianceFormTreatsATinyMeanAsZero)
{
    SSumSS se = Sums({3e-13, -1e-13}), var = se;
    GetMeanSE(se, 2);
    GetMeanVar(var, 2);
    EXPECT_DOUBLE_EQ(se.sum, 1e-13);
    EXPECT_EQ(var.sum, 0.0);
    EXPECT_GT(var.sumSq, 0.0) << "the variance is kept";
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
    p.genStat[0] = SGenStat();
    p.genStat[0].nMale = 2, p.genStat[0].nFemale = 4;
    SGenStat& g1 = p.genStat[1];  // one inbred individual of F 0.25 among four
    g1.nMale = 1, g1.nFemale = 3, g1.nInbred = 1, g1.sumF = 0.25, g1.sumF2 = 0.0625;
    SGenStat& all = p.genStat[2];  // F 0.25 and 0.75 among the ten
    all.nInbred = 2, all.sumF = 1, all.sumF2 = 0.625;
    const std::string text = CaptureFile([&](FILE* fp) {
        sim->statFp = fp;
        sim->SaveStat();
    });
    EXPECT_EQ(LinesWith(text, "0      ").at(0), "0             0   0.0000 0.0000   0.0000 0.0000");
    EXPECT_EQ(LinesWith(text, "1      ").at(0), "1             1   0.2500 0.0000   0.0625 0.1250");
    // Over the whole population the mean and SD are taken over all ten individuals.
    EXPECT_EQ(LinesWith(text, "Overall").at(0), "Overall       2   0.5000 0.3536   0.1000 0.2415");
}

TEST(StatisticsFile, GenotypePercentagesOnlyForGenotypedGenerationsWithARate)
{
    struct Case {
        const char* rates;    // genome-block statements
        const char* output;   // population output statements
        const char* missing;  // header of the missing-genotype table, "" for none
        const char* errors;   // header of the error table, "" for none
    };
    const Case cases[] = {
        {"rmmg = 0.1; rqge = 0.01;", "stat; genotype /gen 1;", "Gen.                  Mrk%", "Gen.                  QTL%"},
        {"rmqg = 0.1; rmge = 0.01; rqge = 0.01;", "stat; genotype;", "Gen.                  QTL%",
         "Gen.                  Mrk%               QTL%"},
        {"rmmg = 0.1; rmge = 0.01;", "stat;", "", ""},
        {"", "stat; genotype;", "", ""},
    };
    for (const Case& c : cases) {
        TempDir dir;
        auto sim = EngineIn(dir, {PopOutput(c.output), {"begin_genome;", std::string("begin_genome; ") + c.rates}});
        sim->AllocGlobalMem();
        CPopulation& p = sim->pops[0];
        for (SGenStat& st : p.genStat) st.nMale = st.nFemale = 2;
        p.genStat[1].nMissMrk = 2, p.genStat[1].nMissQTL = 1;  // of 4 x 5 markers and 4 x 2 QTL
        p.genStat[1].nErrMrk = 1, p.genStat[1].nErrQTL = 4;
        const std::string text = CaptureFile([&](FILE* fp) {
            sim->statFp = fp;
            sim->SaveStat();
        });
        const size_t missing = text.find("Percentage of missing genotypes");
        const size_t errors = text.find("Percentage of genotyping errors");
        ASSERT_EQ(missing != std::string::npos, *c.missing != 0) << c.rates << " | " << c.output;
        ASSERT_EQ(errors != std::string::npos, *c.errors != 0) << c.rates << " | " << c.output;
        if (missing == std::string::npos) continue;
        std::istringstream tables(text.substr(missing));
        std::vector<std::string> lines;
        for (std::string line; std::getline(tables, line);) lines.push_back(line);
        EXPECT_EQ(lines.at(1), c.missing);
        const bool everyGeneration = std::string(c.output).find("/gen") == std::string::npos;
        const size_t g1 = everyGeneration ? 3 : 2;  // the row of generation 1
        const bool mrk = std::string(c.missing).find("Mrk%") != std::string::npos;
        EXPECT_EQ(lines.at(g1), mrk ? "1              10.00000000" : "1              12.50000000");
        EXPECT_EQ(lines.at(g1 + 1), "") << "one table ends before the next";
        EXPECT_EQ(lines.at(g1 + 3), c.errors);
    }
}

TEST(StatRepFile, LdTablesOfTheSelectedGenerationsUpToTheMaximumDistance)
{
    TempDir dir;
    auto sim = EngineIn(dir, {{"nrep = 1;", "nrep = 2;"}, PopOutput("ld /max_distance 0.3 /gen 1;")});
    sim->AllocGlobalMem();
    CPopulation& p = sim->pops[0];
    p.out.ldSkipped[0] = 1;
    for (int pairs : {10, 14}) {
        for (SGenStat& st : p.genStat) st.ldBin[2].nPair = pairs, st.ldBin[2].mean[1] = pairs / 100.0;
        sim->GetStatRep();
    }
    sim->SaveStatRep();
    const std::string text = ReadFile(dir / "stat_rep.txt");
    const std::string pairsTable = "No marker pairs for each bin (LD decay) ";
    ASSERT_NE(text.find(pairsTable), std::string::npos);
    EXPECT_NE(text.find(std::string(80, '-') +
                        "\nLD calculation is skipped for generation   0. Number of alleles is too large (>20).\n"),
              std::string::npos);
    // Classes from 0 to 0.3 cM, generation 1 only: 12 +- 2 pairs in class [.1,.2).
    EXPECT_NE(text.find("Generation 1\nBin\n"
                        "[0,.05)           0.0000         0.0000                 ----           ----\n"
                        "[.05,.1)          0.0000         0.0000                 ----           ----\n"
                        "[.1,.2)          12.0000         2.0000                 ----           ----\n"
                        "[.2,.3)           0.0000         0.0000                 ----           ----\n\n"),
              std::string::npos);
    EXPECT_EQ(text.find("Generation 0\n"), std::string::npos);
    EXPECT_NE(text.find("Generation 1\nBin\n"
                        "[0,.05)           0.0000         0.0000               0.0000         0.0000\n"
                        "[.05,.1)          0.0000         0.0000               0.0000         0.0000\n"
                        "[.1,.2)           0.1200         0.0200               0.0000         0.0000\n"),
              std::string::npos)
        << "r2 means of class [.1,.2)";
    EXPECT_EQ(CountOf(text, "Generation 1\n"), 4) << "pairs, D', r2 and X2'";
}
