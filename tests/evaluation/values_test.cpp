// Polygenic effects, residuals and phenotypes of progeny, the per-generation statistics and the
// true additive variance rule.
#include <gtest/gtest.h>

#include <cmath>

#include "breeding/breeding_test_util.h"
#include "evaluation/values.h"

namespace {

// A population of n individuals in generation 1 whose parents are two founder records with the
// given polygenic values and inbreeding, with the trait's variances.
struct Family : TestPopulation {
    SGlobalParams global;
    SRec sire, dam;
    explicit Family(int n, double varPoly, double varRes, double parentF = 0, bool malesHaveRecords = true)
        : TestPopulation(n, 0, 0, 1)
    {
        global.varPoly = varPoly;
        global.varRes = varRes;
        global.malesHaveRecords = malesHaveRecords;
        sire.polyVal = 1.0;
        dam.polyVal = -0.5;
        sire.inbF = dam.inbF = parentF;
        for (SRec& r : population.indiv) {
            r.sire = &sire;
            r.dam = &dam;
            r.hasPhen = 1;
            r.qtlVal = 0.25;
        }
    }
    std::vector<SRec>& Recs() { return population.indiv; }
};

double Variance(const std::vector<double>& v)
{
    double m = 0, ss = 0;
    for (double x : v) m += x;
    m /= v.size();
    for (double x : v) ss += (x - m) * (x - m);
    return ss / (v.size() - 1);
}

}  // namespace

TEST(ProgenyValues, MendelianSamplingShrinksWithTheParentsInbreeding)
{
    // Offspring of non-inbred parents vary around the parent average with variance 0.5 VarPoly;
    // parents with F = 1 give the parent average itself.
    const int n = 20000;
    Family outbred(n, 2.0, 1.0, 0.0);
    MyRnd.InitSeed(5);
    SetProgenyValues(outbred.global, outbred.population, 0, n - 1);
    std::vector<double> poly;
    for (const SRec& r : outbred.Recs()) poly.push_back(r.polyVal - 0.25);
    double expected = 0.5 * 2.0;
    EXPECT_NEAR(Variance(poly), expected, 4 * expected * std::sqrt(2.0 / n));

    Family inbred(50, 2.0, 1.0, 1.0);
    SetProgenyValues(inbred.global, inbred.population, 0, 49);
    for (const SRec& r : inbred.Recs()) EXPECT_DOUBLE_EQ(r.polyVal, 0.25);
}

TEST(ProgenyValues, PhenotypeIsTheSumOfItsPartsAndUnrecordedHaveNone)
{
    Family f(10, 1.0, 3.0);
    f.Recs()[3].hasPhen = 0;
    MyRnd.InitSeed(9);
    SetProgenyValues(f.global, f.population, 0, 9);
    for (int i = 0; i < 10; ++i) {
        const SRec& r = f.Recs()[i];
        if (i == 3) {
            EXPECT_EQ(r.res, 0);
            EXPECT_EQ(r.phen, 0);
        } else {
            EXPECT_NE(r.res, 0);
            EXPECT_DOUBLE_EQ(r.phen, r.res + r.polyVal + r.qtlVal);
        }
    }
}

TEST(ProgenyValues, NoPolygenicVarianceDrawsNothingForIt)
{
    // Without polygenic variance only residuals are drawn: one normal deviate per record.
    Family f(5, 0.0, 1.0);
    MyRnd.InitSeed(21);
    SetProgenyValues(f.global, f.population, 0, 4);
    CMyRnd reference;
    reference.InitSeed(21);
    for (const SRec& r : f.Recs()) {
        EXPECT_EQ(r.polyVal, 0);
        EXPECT_DOUBLE_EQ(r.res, reference.NRand());
    }
}

TEST(GenerationStatistics, MeansAndDeviationsFollowTheRecords)
{
    Family f(4, 1.0, 1.0, 0, false);  // males without records
    std::vector<SRec>& r = f.Recs();
    const double poly[4] = {1, 2, 3, 6}, phen[4] = {2, 0, 4, 9}, inb[4] = {0, 0.25, 0, 0.5};
    for (int i = 0; i < 4; ++i) {
        r[i].polyVal = poly[i];
        r[i].qtlVal = 1;
        r[i].phen = phen[i];
        r[i].res = phen[i] / 2;
        r[i].inbF = inb[i];
        r[i].homo = 0.5;
        r[i].sex = i % 2;
    }
    r[1].hasPhen = 0;  // a male without a record: phenotype statistics over the other three
    f.population.genStat[1].nFemale = 3;
    ComputeMeanVar(f.global, f.population, 1, 0, 3);
    const SGenStat& s = f.population.genStat[1];
    EXPECT_DOUBLE_EQ(s.meanPoly, 3);
    EXPECT_DOUBLE_EQ(s.sdPoly, std::sqrt(14.0 / 3));
    EXPECT_DOUBLE_EQ(s.meanTBV, 4);
    EXPECT_DOUBLE_EQ(s.sdTBV, s.sdPoly);
    EXPECT_DOUBLE_EQ(s.sdQTL, 0);
    EXPECT_DOUBLE_EQ(s.meanHomo, 0.5);
    EXPECT_DOUBLE_EQ(s.meanPhen, 5);  // (2 + 4 + 9) / 3
    EXPECT_DOUBLE_EQ(s.sdPhen, std::sqrt((9 + 1 + 16) / 2.0));
    EXPECT_DOUBLE_EQ(s.meanRes, 2.5);
    EXPECT_EQ(s.nInbred, 2u);
    EXPECT_DOUBLE_EQ(s.sumF, 0.75);
    EXPECT_DOUBLE_EQ(s.sumF2, 0.3125);
}

TEST(GenerationStatistics, ASingleIndividualHasNoSpreadAndLeavesNoAdditiveVariance)
{
    Family f(1, 1.0, 1.0);
    f.Recs()[0].polyVal = 2;
    f.Recs()[0].ebv = 1.5;
    f.population.varA = 1.0;
    ComputeMeanVar(f.global, f.population, 1, 0, 0);
    ComputeMeanVarEBV(f.population, 1, 0, 0);
    const SGenStat& s = f.population.genStat[1];
    EXPECT_DOUBLE_EQ(s.meanPoly, 2);
    EXPECT_EQ(s.sdPoly, 0);
    EXPECT_EQ(s.sdPhen, 0);
    EXPECT_DOUBLE_EQ(s.meanEBV, 1.5);
    EXPECT_EQ(s.sdEBV, 0);
    Update_VarAdd(f.population, 1);  // the true additive variance is the squared SD of the TBV
    EXPECT_NEAR(f.population.varA, 0, 1e-20);
}
