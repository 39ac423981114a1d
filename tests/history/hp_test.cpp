// The historical population: its records, drift, recombination, scaling and reproducibility.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <numeric>

#include "history/history_test_util.h"

namespace {

double Variance(const std::vector<double>& x)
{
    double mean = std::accumulate(x.begin(), x.end(), 0.0) / x.size();
    double ss = 0;
    for (double v : x) ss += (v - mean) * (v - mean);
    return ss / (x.size() - 1);
}

}  // namespace

TEST(HistoricalPopulation, ASingleGenerationIsTheLastGenerationWithMalesFirst)
{
    auto sim = SimulateHistory(HistoryParam("hg_size = 30 [0]; nmfhg = 12;", ChromosomeBlock(1, 50, 20, 3)), 7, 2);
    ASSERT_EQ(sim->hp.lastGen.size(), 30u);
    for (int i = 0; i < 30; ++i) {
        const SRec* r = sim->hp.lastGen[i];
        EXPECT_EQ(r->sex, i < 12 ? 1 : 0) << i;
        EXPECT_EQ(r->id, 0);
        EXPECT_EQ(r->sire, &sim->replicate.unknownParent);
        EXPECT_EQ(*r->genomeUse, 0);
        EXPECT_EQ(r->hasPhen, 1);
        EXPECT_DOUBLE_EQ(r->phen, r->qtlVal + r->polyVal + r->res);
    }
    EXPECT_EQ(sim->hp.patCross + sim->hp.matCross, 0u);
}

TEST(HistoricalPopulation, MalesCarryTwoCopiesOfTheirMothersX)
{
    std::string genome = ChromosomeBlock(1, 100, 50, 5) + ChromosomeBlock(1, 80, 40, 4, "xchr;");
    auto sim = SimulateHistory(HistoryParam("hg_size = 40 [0] 40 [5];", genome), 11, 2);
    const SChrom& x = sim->genome.chrom[1];
    int males = 0, femalesDifferent = 0;
    for (const SRec* r : sim->hp.lastGen) {
        bool same = std::equal(r->patChr[1], r->patChr[1] + x.NLoci(), r->matChr[1]);
        if (r->sex == 1) {
            EXPECT_TRUE(same);
            ++males;
        } else {
            femalesDifferent += !same;
        }
    }
    EXPECT_EQ(males, 20);
    EXPECT_GT(femalesDifferent, 10);
}

TEST(HistoricalPopulation, CompleteLdGivesEveryLocusTheFirstMarkersAlleles)
{
    std::string chr = "begin_chr = 1; chrlen = 50; nmloci = 10; mpos = rnd; nma = all 3; maf = eql; nqloci = 4;"
                      " qpos = rnd; nqa = all 3; qaf = eql; qae = rnd; cld = mq; end_chr;\n";
    auto sim = SimulateHistory(HistoryParam("hg_size = 60 [0];", chr + ChromosomeBlock(1, 50, 10, 2)), 3, 1);
    const SChrom& ch = sim->genome.chrom[0];
    int alleleSeen[4] = {0, 0, 0, 0};
    for (const SRec* r : sim->hp.lastGen)
        for (int i = 1; i < ch.NLoci(); ++i) {
            EXPECT_EQ(r->patChr[0][i], r->patChr[0][0]);
            EXPECT_EQ(r->matChr[0][i], r->matChr[0][0]);
            alleleSeen[r->patChr[0][0]]++;
        }
    EXPECT_GT(alleleSeen[1] * alleleSeen[2] * alleleSeen[3], 0);  // all three alleles occur
}

TEST(HistoricalPopulation, HomozygosityRisesWithDriftAsExpectedForTheEffectiveSize)
{
    // 50 males and 50 females: Ne = 4 * 50 * 50 / 100 = 100. Bi-allelic markers at 0.5 start at
    // heterozygosity 0.5, which falls by 1/(2 Ne) per generation.
    const int generations = 60;
    std::string param = HistoryParam("hg_size = 100 [0] 100 [" + std::to_string(generations) + "];",
                                     ChromosomeBlock(10, 100, 200, 1));
    std::vector<double> homo;
    for (unsigned long seed = 1; seed <= 6; ++seed) homo.push_back(SimulateHistory(param, seed, 2)->hp.mrkHomo);
    double expected = 1 - 0.5 * std::pow(1 - 1 / 200.0, generations);
    double mean = std::accumulate(homo.begin(), homo.end(), 0.0) / homo.size();
    double se = std::sqrt(Variance(homo) / homo.size());
    EXPECT_NEAR(mean, expected, 4 * se + 0.002) << "se " << se;
    EXPECT_GT(mean, 0.55);
}

TEST(HistoricalPopulation, CrossoversPerGameteFollowTheMapLengthsAndTheMeanNumber)
{
    // Per chromosome a gamete is sampled with probability 1/2 and then has Poisson(L * scale / 100
    // * mean_crossover) crossovers; sires never recombine on the X.
    std::string genome = "mean_crossover = 1.5;\n" +
                         ChromosomeBlock(2, 150, 30, 2, "male_map_scale = 1.2; female_map_scale = 0.8;") +
                         ChromosomeBlock(1, 100, 30, 2, "xchr;");
    auto sim = SimulateHistory(HistoryParam("hg_size = 200 [0] 200 [50];", genome), 5, 2);
    const double meioses = 200.0 * 50;
    auto check = [&](double observed, const std::vector<double>& lambdas) {
        double mean = 0, var = 0;
        for (double l : lambdas) {
            mean += l / 2;
            var += l / 2 + l * l / 4;
        }
        EXPECT_NEAR(observed, meioses * mean, 4 * std::sqrt(meioses * var));
    };
    check(static_cast<double>(sim->hp.patCross), {1.5 * 1.2 * 1.5, 1.5 * 1.2 * 1.5});
    check(static_cast<double>(sim->hp.matCross), {1.5 * 0.8 * 1.5, 1.5 * 0.8 * 1.5, 1.0 * 1.5});
}

TEST(HistoricalPopulation, ScalingGivesExactlyTheRequestedVariances)
{
    auto sim = SimulateHistory(HistoryParam("hg_size = 300 [0] 300 [20];", ChromosomeBlock(3, 100, 50, 10)), 9, 2);
    std::vector<double> qtl, poly;
    for (const SRec* r : sim->hp.lastGen) {
        qtl.push_back(r->qtlVal);
        poly.push_back(r->polyVal);
    }
    EXPECT_NEAR(Variance(qtl), sim->prm.global.varQTL, 1e-9);
    EXPECT_NEAR(Variance(poly), sim->prm.global.varPoly, 1e-9);
    EXPECT_NEAR(std::accumulate(poly.begin(), poly.end(), 0.0), 0, 1e-9);
    // Every QTL is centred: its mean allele effect over the generation is 0.
    for (int k = 0; k < sim->genome.nQTLTot; ++k) {
        int g = sim->genome.qtlIndex[k];
        double sum = 0;
        for (const SRec* r : sim->hp.lastGen)
            sum += sim->genome.LocusAt(g)->effect[r->Pat()[g] - 1] + sim->genome.LocusAt(g)->effect[r->Mat()[g] - 1];
        EXPECT_NEAR(sum, 0, 1e-9) << k;
    }
}

TEST(HistoricalPopulation, PredefinedEffectsGiveEachQtlItsShareScaledByItsVarianceOverHalfItsAlleleCopies)
{
    // Each QTL reaches its share of the QTL variance, its effects scaled by sqrt(targetVar / vk),
    // vk = (S2 - S^2 / (c/2)) / (c/2 - 1) over the genotype values, where a male counts one copy
    // of an X-linked QTL. Scaling the scaled effects again gives the factor of the last QTL.
    // Gamma effects with shape 0.4 are often tiny; a large QTL variance keeps the genotype
    // variance of every QTL clear of the "cannot be generated" limit of 1e-5.
    for (const char* x : {"", "xchr;"}) {
        SCOPED_TRACE(x);
        std::string chr = std::string("begin_chr = 1; chrlen = 100; nmloci = 20; mpos = rnd; nma = all 2;") +
                          " maf = eql; nqloci = 3; qpos = rnd; nqa = all 2; qaf = eql; qae = pd 0.2 0.3 0.5; " + x +
                          " end_chr;\n";
        std::string param = HistoryParam("hg_size = 400 [0] 400 [5];", chr);
        param.replace(param.find("phvar = 2;"), 10, "phvar = 1000;");
        auto sim = SimulateHistory(param, *x ? 4 : 2, 2);  // seeds at which every QTL segregates
        double vk = 0;
        for (int k = 0; k < 3; ++k) {
            int g = sim->genome.qtlIndex[k];
            const SLocus* l = sim->genome.LocusAt(g);
            double sum = 0, sumSq = 0, copies = 0;
            std::vector<double> values;
            for (const SRec* r : sim->hp.lastGen) {
                bool maternalOnly = *x && r->sex == 1;
                values.push_back(l->effect[r->Mat()[g] - 1] + (maternalOnly ? 0 : l->effect[r->Pat()[g] - 1]));
                sum += values.back();
                sumSq += values.back() * values.back();
                copies += maternalOnly ? 1 : 2;
            }
            if (!*x) {
                EXPECT_NEAR(Variance(values), l->targetVar, 1e-9) << k;
            }
            vk = (sumSq - sum * sum / (copies / 2)) / (copies / 2 - 1);
        }
        double scale = 0;
        ScaleQAEffect(sim->prm.global, sim->genome, sim->hp.recs.data(), static_cast<int>(sim->hp.lastGen.size()), scale);
        EXPECT_NEAR(scale, std::sqrt(sim->genome.LocusAt(sim->genome.qtlIndex[2])->targetVar / vk), 1e-12);
    }
}

TEST(HistoricalPopulation, RecurrentMutationNeverAddsAlleles)
{
    std::string genome = "mmutr = 0.005 /recurrent;\nqmutr = 0.005;\n" + ChromosomeBlock(1, 100, 100, 20);
    auto sim = SimulateHistory(HistoryParam("hg_size = 50 [0] 50 [30];", genome), 4, 2);
    EXPECT_GT(sim->mutation.MarkerEvents(), 0u);
    EXPECT_LE(sim->genome.mrkAlleles.max, 2);
    EXPECT_GT(sim->genome.qtlAlleles.max, 2);  // non-recurrent QTL mutation makes new alleles
}

TEST(HistoricalPopulation, FixedLociAreCountedAndSelectedSegregatingLociAreTheOnlyOnesLeftUntilTheReplicateEnds)
{
    std::string genome = "select_seg_loci /maft 0.05 /nqtl 4;\n" + ChromosomeBlock(2, 100, 200, 10);
    auto sim = SimulateHistory(HistoryParam("hg_size = 40 [0] 40 [40];", genome), 8, 2);
    EXPECT_LT(sim->genome.nMrkTot, 400);
    EXPECT_EQ(sim->genome.nQTLTot, 4);
    const int n = static_cast<int>(sim->hp.lastGen.size());
    for (int g = 0; g < sim->genome.nLociTot; ++g) {
        std::vector<int> counts(sim->genome.LocusAt(g)->nAllele + 1, 0);
        for (const SRec* r : sim->hp.lastGen) counts[r->Pat()[g]]++, counts[r->Mat()[g]]++;
        int rarest = 2 * n;
        for (size_t a = 1; a < counts.size(); ++a)
            if (counts[a] > 0) rarest = std::min(rarest, counts[a]);
        EXPECT_GE(rarest / (2.0 * n), 0.05) << g;
    }
    // The loci fixed in the last generation are counted over the full locus lists (the hp_stat table).
    int fixed = 0;
    for (const SChrom& ch : sim->genome.chrom) {
        const int counted = static_cast<int>(std::count_if(ch.fullLoci, ch.fullLoci + ch.nMrkFull + ch.nQTLFull,
                                                           [](const SLocus* l) { return l->nAllele == 1; }));
        EXPECT_EQ(ch.nMrkFixed + ch.nQTLFixed, counted);
        fixed += counted;
    }
    EXPECT_GT(fixed, 0);
    sim->FreePopMem();
    EXPECT_EQ(sim->genome.nMrkTot, 400);
    EXPECT_EQ(sim->genome.nQTLTot, 20);
    EXPECT_EQ(sim->genome.chrom[1].nMrk, 200);
}
