// The LD decay file of a population through the real binary: its layout, and its values
// recomputed from the genotype file and the linkage map as a user would check them: r2 of every
// pair of segregating two-allele markers within max_distance, averaged per distance class.
#include <gtest/gtest.h>

#include <map>
#include <string>
#include <vector>

#include "cli/cli_util.h"

namespace {

constexpr double kClassLower[] = {0, 0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1, 2, 3, 4, 5, 6, 8, 10};
constexpr size_t kClasses = sizeof(kClassLower) / sizeof(double);

size_t DistanceClass(double d)
{
    size_t k = 0;
    while (k + 1 < kClasses && d >= kClassLower[k + 1]) ++k;
    return k;
}

// Haplotypes of one generation: hap[k][m] is the allele of marker m on haplotype k.
using Haplotypes = std::vector<std::vector<int>>;

// The haplotypes of the genotype file by the generation the data file gives each identifier.
std::map<int, Haplotypes> HaplotypesByGeneration(const std::string& genotypes, const std::string& data)
{
    std::map<int, int> gen;
    for (const std::vector<std::string>& r : Rows(data)) gen[std::stoi(r[0])] = std::stoi(r[4]);
    std::map<int, Haplotypes> byGen;
    for (const std::vector<std::string>& r : Rows(genotypes)) {
        std::vector<int> pat, mat;
        for (size_t k = 1; k + 1 < r.size(); k += 2) pat.push_back(std::stoi(r[k])), mat.push_back(std::stoi(r[k + 1]));
        Haplotypes& h = byGen[gen.at(std::stoi(r[0]))];
        h.push_back(pat);
        h.push_back(mat);
    }
    return byGen;
}

struct SClassMean {
    int n = 0;
    double sum = 0;
};

// Mean r2 per distance class of the markers whose minor allele frequency is maft or more.
std::vector<SClassMean> MeanR2(const Haplotypes& h, const std::vector<double>& pos, double maft, double maxDist)
{
    const size_t nHap = h.size(), nMrk = pos.size();
    std::vector<double> p(nMrk, 0);
    for (size_t m = 0; m < nMrk; ++m) {
        for (const std::vector<int>& hap : h) p[m] += hap[m] == 1;
        p[m] /= static_cast<double>(nHap);
    }
    std::vector<SClassMean> classes(kClasses);
    auto kept = [&](size_t m) { return std::min(p[m], 1 - p[m]) >= maft; };
    for (size_t i = 0; i < nMrk; ++i) {
        if (!kept(i)) continue;
        for (size_t j = i + 1; j < nMrk && pos[j] - pos[i] <= maxDist; ++j) {
            if (!kept(j)) continue;
            double both = 0;
            for (const std::vector<int>& hap : h) both += hap[i] == 1 && hap[j] == 1;
            const double D = both / static_cast<double>(nHap) - p[i] * p[j];
            SClassMean& c = classes[DistanceClass(pos[j] - pos[i])];
            c.n++;
            c.sum += D * D / (p[i] * (1 - p[i]) * p[j] * (1 - p[j]));
        }
    }
    return classes;
}

// Rows of one table of the LD file: for each printed class label, the values of every generation.
std::vector<std::vector<std::string>> LDTable(const std::string& text, const std::string& title)
{
    std::vector<std::string> lines = Lines(text);
    size_t at = 0;
    while (at < lines.size() && lines[at] != title) ++at;
    std::vector<std::vector<std::string>> rows;
    for (at += 3; at < lines.size() && !lines[at].empty(); ++at) rows.push_back(Fields(lines[at]));
    return rows;
}

}  // namespace

// The classes below max_distance, a marker with more than twenty alleles and the file of one and
// two workers are unit tests of the LD statistics; here the file comes from a whole run.
TEST(LDFromGenotypes, EveryClassOfASelectedGenerationHoldsTheMeanR2OfItsPairsInTheGenotypeFile)
{
    // One chromosome of 30 cM with 40 two-allele markers, so that every distance class up to
    // 10 cM holds pairs.
    TempDir dir;
    const std::string output = "genotype;\n  ld /maft 0.05 /max_distance 10 /nmrk 1000 /gen 0 2;\n  data;";
    RunResult r = RunParam(dir, "run",
                           "nrep = 1;\nh2 = 0.3;\nqtlh2 = 0.1;\nphvar = 1.0;\nbegin_hp;\n hg_size = 300 [0] 300 [40];\nend_hp;\n" +
                               Population("p", HpFounders(20, 100), " ls = 2;\n ng = 2;\n " + PopOutput(output)) +
                               Genome(1, 30, 40, 2) + "begin_output;\n linkage_map;\nend_output;\n");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    EXPECT_EQ(CountOf(r.out, ", LD "), 2);
    const std::string folder = dir / "r_run/";
    std::vector<double> pos;  // in genome order
    for (const std::vector<std::string>& row : Rows(ReadFile(folder + "lm_mrk_001.txt"))) pos.push_back(std::stod(row.at(2)));
    ASSERT_EQ(pos.size(), 40u);
    std::map<int, Haplotypes> hap = HaplotypesByGeneration(ReadFile(folder + "p_mrk_001.txt"), ReadFile(folder + "p_data_001.txt"));
    ASSERT_EQ(hap.size(), 3u);

    // A heading, then four tables of an empty line, a title, a rule, a column line and 18 classes.
    const std::string ld = ReadFile(folder + "p_ld_decay_001.txt");
    const std::vector<std::string> lines = Lines(ld);
    ASSERT_EQ(lines.size(), 1u + 4 * 22);
    EXPECT_EQ(lines[0], "--------------- LD decay ---------------");
    const char* titles[] = {"No. marker pairs", "Mean D'(SD)", "Mean R2(SD)", "Mean X2'(SD)"};
    for (size_t t = 0; t < 4; ++t) {
        EXPECT_EQ(lines[1 + 22 * t] + "|" + lines[2 + 22 * t] + "|" + lines[3 + 22 * t] + "|" + lines[4 + 22 * t],
                  "|" + std::string(titles[t]) + "|" + std::string(20, '-') + "|Bin\\Gen.              0              2 ");
        EXPECT_EQ(lines[22 + 22 * t].substr(0, 9), "[8,10)   ");
    }
    EXPECT_EQ(lines[27].size(), 9u + 2 * 15) << lines[27];  // "%6.4f(%6.4f) " per generation
    std::vector<std::vector<std::string>> pairs = LDTable(ld, "No. marker pairs"), r2 = LDTable(ld, "Mean R2(SD)");
    ASSERT_EQ(pairs.size(), 18u);  // classes [0,.05) to [8,10)
    ASSERT_EQ(r2.size(), 18u);
    int checkedClasses = 0;
    for (size_t column : {1, 2}) {
        const int g = column == 1 ? 0 : 2;
        std::vector<SClassMean> expect = MeanR2(hap[g], pos, 0.05, 10);
        for (size_t k = 0; k < pairs.size(); ++k) {
            SCOPED_TRACE("generation " + std::to_string(g) + ", " + pairs[k][0]);
            EXPECT_EQ(std::stoi(pairs[k][column]), expect[k].n);
            const double mean = std::stod(r2[k][column]);  // "0.1234(0.0567)"
            if (expect[k].n > 0) {
                EXPECT_NEAR(mean, expect[k].sum / expect[k].n, 6e-5);
                checkedClasses++;
            }
        }
    }
    EXPECT_GT(checkedClasses, 20);
}
