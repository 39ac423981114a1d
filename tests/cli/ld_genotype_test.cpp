// The LD table of a population recomputed from its genotype file and its linkage map, as a user
// would check it: r2 of every pair of segregating two-allele markers within max_distance,
// averaged per distance class.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "cli/cli_util.h"

namespace {

// One chromosome of 30 cM with 40 two-allele markers, so that every distance class up to 10 cM
// holds pairs.
const char* const kRun =
    "nrep = 1;\nh2 = 0.3;\nqtlh2 = 0.1;\nphvar = 1.0;\n"
    "begin_hp;\n hg_size = 300 [0] 300 [40];\nend_hp;\n"
    "begin_pop = \"p\";\n begin_founder;\n  male [n = 20, pop = \"hp\"];\n  female [n = 100, pop = \"hp\"];\n"
    " end_founder;\n ls = 2;\n ng = 2;\n begin_popoutput;\n  genotype;\n"
    "  ld /maft 0.05 /max_distance 10 /nmrk 1000;\n  data;\n end_popoutput;\nend_pop;\n"
    "begin_genome;\n begin_chr = 1;\n  chrlen = 30;\n  nmloci = 40;\n  mpos = rnd;\n  nma = all 2;\n"
    "  maf = eql;\n  nqloci = 2;\n  qpos = rnd;\n  nqa = all 2;\n  qaf = eql;\n  qae = rndg 0.4;\n end_chr;\n"
    "end_genome;\n"
    "begin_output;\n linkage_map;\nend_output;\n";

constexpr double kClassLower[] = {0, 0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1, 2, 3, 4, 5, 6, 8, 10};

int DistanceClass(double d)
{
    int k = 0;
    while (k + 1 < static_cast<int>(sizeof(kClassLower) / sizeof(double)) && d >= kClassLower[k + 1]) ++k;
    return k;
}

// Marker positions (cM) from the "lm_mrk" file, in genome order.
std::vector<double> MarkerPositions(const std::string& text)
{
    std::vector<double> pos;
    std::vector<std::string> lines = Lines(text);
    for (size_t i = 1; i < lines.size(); ++i) {
        std::istringstream f(lines[i]);
        std::string id;
        int chr;
        double p;
        if (f >> id >> chr >> p) pos.push_back(p);
    }
    return pos;
}

// Generation of every identifier, from the data file.
std::map<int, int> Generations(const std::string& text)
{
    std::map<int, int> gen;
    std::vector<std::string> lines = Lines(text);
    for (size_t i = 1; i < lines.size(); ++i) {
        std::istringstream f(lines[i]);
        int id, sire, dam, g;
        std::string sex;
        if (f >> id >> sire >> dam >> sex >> g) gen[id] = g;
    }
    return gen;
}

// Haplotypes of one generation: hap[k][m] is the allele of marker m on haplotype k.
using Haplotypes = std::vector<std::vector<int>>;

std::map<int, Haplotypes> HaplotypesByGeneration(const std::string& genotypes, const std::map<int, int>& gen)
{
    std::map<int, Haplotypes> byGen;
    std::vector<std::string> lines = Lines(genotypes);
    for (size_t i = 1; i < lines.size(); ++i) {
        std::istringstream f(lines[i]);
        int id;
        if (!(f >> id)) continue;
        std::vector<int> pat, mat;
        for (int a, b; f >> a >> b;) {
            pat.push_back(a);
            mat.push_back(b);
        }
        Haplotypes& h = byGen[gen.at(id)];
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
    std::vector<SClassMean> classes(sizeof(kClassLower) / sizeof(double));
    auto kept = [&](size_t m) { return std::min(p[m], 1 - p[m]) >= maft; };
    for (size_t i = 0; i < nMrk; ++i) {
        if (!kept(i)) continue;
        for (size_t j = i + 1; j < nMrk; ++j) {
            const double d = pos[j] - pos[i];
            if (d > maxDist) break;
            if (!kept(j)) continue;
            double both = 0;
            for (const std::vector<int>& hap : h) both += hap[i] == 1 && hap[j] == 1;
            const double D = both / static_cast<double>(nHap) - p[i] * p[j];
            SClassMean& c = classes[static_cast<size_t>(DistanceClass(d))];
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
    for (at += 3; at < lines.size() && !lines[at].empty(); ++at) {
        std::istringstream f(lines[at]);
        std::vector<std::string> row;
        for (std::string s; f >> s;) row.push_back(s);
        rows.push_back(row);
    }
    return rows;
}

}  // namespace

TEST(LDFromGenotypes, EveryClassHoldsTheMeanR2OfItsPairsRecomputedFromTheGenotypeFileAndTheMap)
{
    TempDir dir;
    WriteFile(dir / "run.prm", kRun);
    RunResult r = RunDavok(dir, "run.prm");
    ASSERT_EQ(r.exitCode, 0) << r.err;
    const std::string folder = dir / "r_run/";
    std::vector<double> pos = MarkerPositions(ReadFile(folder + "lm_mrk_001.txt"));
    ASSERT_EQ(pos.size(), 40u);
    std::map<int, Haplotypes> hap =
        HaplotypesByGeneration(ReadFile(folder + "p_mrk_001.txt"), Generations(ReadFile(folder + "p_data_001.txt")));
    ASSERT_EQ(hap.size(), 3u);

    const std::string ld = ReadFile(folder + "p_ld_decay_001.txt");
    std::vector<std::vector<std::string>> pairs = LDTable(ld, "No. marker pairs");
    std::vector<std::vector<std::string>> r2 = LDTable(ld, "Mean R2(SD)");
    ASSERT_EQ(pairs.size(), 18u);  // classes [0,.05) to [8,10)
    ASSERT_EQ(r2.size(), 18u);
    int checkedClasses = 0;
    for (int g = 0; g <= 2; ++g) {
        std::vector<SClassMean> expect = MeanR2(hap[g], pos, 0.05, 10);
        for (size_t k = 0; k < pairs.size(); ++k) {
            SCOPED_TRACE("generation " + std::to_string(g) + ", " + pairs[k][0]);
            EXPECT_EQ(std::stoi(pairs[k][1 + static_cast<size_t>(g)]), expect[k].n);
            const double mean = std::stod(r2[k][1 + static_cast<size_t>(g)]);  // "0.1234(0.0567)"
            if (expect[k].n > 0) {
                EXPECT_NEAR(mean, expect[k].sum / expect[k].n, 6e-5);
                checkedClasses++;
            }
        }
    }
    EXPECT_GT(checkedClasses, 30);
}
