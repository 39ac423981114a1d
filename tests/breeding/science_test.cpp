// What the populations must show as genetics: inbreeding of founders and under random mating,
// the mating designs that minimise or maximise it, the response to truncation selection and the
// founders' variance components. Statistical checks compare over replicates, with tolerances
// from the sampling error of the replicate means.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "breeding/population_test_util.h"

namespace {

const char* const kVariances = "h2 = 0.4; qtlh2 = 0.2; phvar = 2;";

// Selection intensity of truncation selection of the best k of n normal values: the intensity of
// the proportion k/n, less Burrows' correction for a finite number of candidates.
double Intensity(int k, int n)
{
    double q = static_cast<double>(k) / n;
    // Inverse of the upper tail by bisection: the threshold z with P(Z > z) = q.
    double lo = -10, hi = 10;
    for (int step = 0; step < 200; ++step) {
        double mid = (lo + hi) / 2;
        (0.5 * std::erfc(mid / std::sqrt(2.0)) > q ? lo : hi) = mid;
    }
    double z = (lo + hi) / 2;
    double i = std::exp(-z * z / 2) / std::sqrt(2 * M_PI) / q;
    return i - (1 - q) / (2 * q * (n + 1) * i);
}

// Runs a one-population text over replicates and collects one value per replicate.
std::vector<double> PerReplicate(const std::string& text, unsigned long seed,
                                 const std::function<double(const CPopulation&)>& value)
{
    std::vector<double> v;
    RunPopulations(text, seed, 2, [&](const CPopulation& p, int) { v.push_back(value(p)); });
    return v;
}

}  // namespace

TEST(PopulationInbreeding, FoundersFromTheHistoricalPopulationAreNotInbredAndNumberedInOrder)
{
    std::string text = PopulationParam(PopBlock("p", 5, 20, "ls = 2; ng = 1;"));
    RunPopulations(text, 1, 1, [](const CPopulation& p, int) {
        for (int i = 0; i < p.nFounderPlaced; ++i) {
            EXPECT_EQ(p.indiv[i].inbF, 0);
            EXPECT_EQ(p.indiv[i].id, i + 1);
            EXPECT_EQ(p.indiv[i].sex, i < 5 ? 1 : 0);
        }
        EXPECT_EQ(p.indiv[p.genInfo[1].first].id, 26);
    });
}

TEST(PopulationInbreeding, RandomMatingRaisesItByOneEighthOfTheInverseParentNumbers)
{
    // Random union of gametes with all parents replaced by random progeny: a Wright-Fisher
    // population with Nm sires and Nf dams, whose F rises by 1/(8 Nm) + 1/(8 Nf) per generation.
    const int nm = 5, nf = 20, ng = 8;
    const double dF = 1.0 / (8 * nm) + 1.0 / (8 * nf);
    std::string body = "ls = 8; md = rnd_ug; ng = " + std::to_string(ng) + "; sr = 1; dr = 1; sd = rnd;";
    std::vector<double> rise = PerReplicate(PopulationParam(PopBlock("p", nm, nf, body), 40), 17,
                                            [&](const CPopulation& p) {
                                                // (1 - F) shrinks by (1 - dF) each generation from generation 2 on.
                                                double kept = (1 - MeanF(p, ng)) / (1 - MeanF(p, 2));
                                                return 1 - std::pow(kept, 1.0 / (ng - 2));
                                            });
    SMeanSE m = MeanSE(rise);
    EXPECT_NEAR(m.mean, dF, 4 * m.se) << "per-generation rise " << m.mean << " +- " << m.se;
}

TEST(PopulationInbreeding, MinimisingMatingsGiveLessAndMaximisingMoreThanRandomFromTheSameParents)
{
    const int ng = 4;
    auto meanF = [&](const char* design) {
        std::string body = std::string("ls = 2; ng = 4; sr = 0.5; dr = 0.5; md = ") + design + ";";
        return PerReplicate(PopulationParam(PopBlock("p", 6, 30, body), 12), 23,
                            [&](const CPopulation& p) { return MeanF(p, ng); });
    };
    std::vector<double> random = meanF("rnd"), minimised = meanF("minf"), maximised = meanF("maxf");
    std::vector<double> lower, higher;
    for (size_t r = 0; r < random.size(); ++r) {
        lower.push_back(random[r] - minimised[r]);
        higher.push_back(maximised[r] - random[r]);
    }
    SMeanSE l = MeanSE(lower), h = MeanSE(higher);
    EXPECT_GT(l.mean, 3 * l.se) << l.mean << " +- " << l.se;
    EXPECT_GT(h.mean, 3 * h.se) << h.mean << " +- " << h.se;
}

TEST(Selection, TruncationOnTbvRaisesTheNextGenerationByTheIntensityTimesSigmaA)
{
    // 20 sires and 200 dams, litters of 10: 1,000 candidates of each sex, of which 2 % of the
    // males and 20 % of the females are selected as parents of generation 2.
    std::string body = "ls = 10; pmp = 0.5 /fix_litter; ng = 2; sr = 1; dr = 1; sd = tbv /h;";
    std::vector<double> ratio = PerReplicate(
        PopulationParam(PopBlock("p", 20, 200, body), 10, kVariances, 1500), 31, [](const CPopulation& p) {
            const SGenStat& g1 = p.genStat[1];
            double response = p.genStat[2].meanTBV - g1.meanTBV;
            double expected = (Intensity(20, g1.nMale) + Intensity(200, g1.nFemale)) / 2 * g1.sdTBV;
            return response / expected;
        });
    SMeanSE m = MeanSE(ratio);
    EXPECT_NEAR(m.mean, 1.0, 4 * m.se) << m.mean << " +- " << m.se;
}

TEST(Values, FoundersCarryTheRequestedVarianceComponents)
{
    // 1,500 founders of a historical generation of 2,000 whose QTL variance is scaled to
    // qtlh2 x phvar: polygenic 0.4, QTL 0.4, TBV 0.8 and phenotype 2.
    struct Component {
        const char* name;
        double SGenStat::*sd;
        double target;
    };
    const Component parts[] = {{"QTL", &SGenStat::sdQTL, 0.4},
                               {"polygenic", &SGenStat::sdPoly, 0.4},
                               {"TBV", &SGenStat::sdTBV, 0.8},
                               {"phenotype", &SGenStat::sdPhen, 2.0}};
    const int n = 1500;
    std::vector<std::vector<double>> ratios(4);
    RunPopulations(PopulationParam(PopBlock("p", 500, 1000, "ls = 1; ng = 0;"), 6, kVariances, 2000), 41, 2,
                   [&](const CPopulation& p, int) {
                       for (int k = 0; k < 4; ++k) ratios[k].push_back(std::pow(p.genStat[0].*parts[k].sd, 2) / parts[k].target);
                   });
    for (int k = 0; k < 4; ++k) {
        SMeanSE m = MeanSE(ratios[k]);
        // A sample variance of n normal values has a relative standard error of sqrt(2 / n).
        double se = std::max(m.se, std::sqrt(2.0 / n / ratios[k].size()));
        EXPECT_NEAR(m.mean, 1.0, 4 * se) << parts[k].name;
    }
}
