// Breeding values in running populations: BLUP against a dense solve of each population's
// pedigree, EBVs of given accuracy, and the rules of the approximation.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

#include "breeding/breeding_test_util.h"
#include "breeding/population_test_util.h"
#include "evaluation/ebv.h"
#include "evaluation/evaluation_test_util.h"

namespace {

const char* const kVariances = "h2 = 0.4; qtlh2 = 0.2; phvar = 2;";
constexpr double kVarRes = 1.2;  // phvar - h2 phvar

// Every record of p not yet collected, its parents by identifier.
void Collect(const CPopulation& p, std::map<int, SDenseAnimal>& animals)
{
    for (const SRec& r : p.indiv)
        if (!animals.count(r.id)) animals[r.id] = SDenseAnimal{r.sire->id, r.dam->id, r.hasPhen != 0, r.phen};
}

// The dense BLUP of the animals (identifiers ascend from parents to progeny); a parent outside
// the map is unknown. Returns the solutions by identifier.
std::map<int, double> DenseBlupById(const std::map<int, SDenseAnimal>& animals, double lambda)
{
    std::map<int, int> index;
    std::vector<SDenseAnimal> ped;
    for (const auto& [id, a] : animals) {
        auto pos = [&index](int parent) { return index.count(parent) ? index[parent] : -1; };
        ped.push_back(SDenseAnimal{pos(a.sire), pos(a.dam), a.recorded, a.phen});
        index[id] = static_cast<int>(ped.size()) - 1;
    }
    std::vector<double> x = DenseBlup(ped, lambda);
    std::map<int, double> byId;
    for (const auto& [id, i] : index) byId[id] = x[static_cast<size_t>(i)];
    return byId;
}

std::string WithXChromosome(std::string text)
{
    const std::string effects = "qae = rndg 0.4;";
    return text.replace(text.find(effects), effects.size(), effects + " xchr;");
}

const char* const kSelected = "ls = 2; ng = 3; sr = 0.5; dr = 0.5; sd = ebv /h; cd = ebv /l; ebv_est = blup;";

TEST(BlupInPopulations, LastEvaluationEqualsADenseSolveOfThePedigree)
{
    struct BlupRun {
        std::string name, text;
    };
    const std::string inbred = "ls = 3; ng = 4; sr = 1; dr = 1; sd = ebv /h; ebv_est = blup;";
    const std::vector<BlupRun> runs = {
        {"selection on EBV", PopulationParam(PopBlock("p", 4, 12, kSelected))},
        {"males without records", PopulationParam(PopBlock("p", 4, 12, kSelected), 1, std::string(kVariances) + " no_male_rec;")},
        {"X-linked QTL", WithXChromosome(PopulationParam(PopBlock("p", 4, 12, kSelected)))},
        {"inbred matings", PopulationParam(PopBlock("p", 1, 3, inbred))},
    };
    for (const BlupRun& run : runs) {
        SCOPED_TRACE(run.name);
        int checked = 0;
        RunPopulations(run.text, 11, 1, [&](const CPopulation& p, int) {
            std::map<int, SDenseAnimal> animals;
            Collect(p, animals);
            std::map<int, double> want = DenseBlupById(animals, kVarRes / p.varA);
            for (const SRec& r : p.indiv) EXPECT_NEAR(r.ebv, want[r.id], 1e-6) << "id " << r.id;
            EXPECT_GT(p.genStat[static_cast<size_t>(p.prm.ng)].corrEBV, 0.0);
            checked++;
        });
        EXPECT_EQ(checked, 1);
    }
}

TEST(BlupInPopulations, AJointPedigreeSpansThePopulationsItFoundsFrom)
{
    std::string body = "ls = 2; ng = 2; sr = 0.5; dr = 0.5; sd = ebv /h; ebv_est = blup;";
    std::string second = "begin_pop = \"b\";\n begin_founder;\n  male [n = 3, pop = \"a\", gen = 1];\n"
                         "  female [n = 8, pop = \"a\", gen = 2];\n end_founder;\n" +
                         body + "\nend_pop;\n";
    std::string text = PopulationParam(PopBlock("a", 4, 12, body) + second, 1, std::string(kVariances) + " joint_pop;");
    std::map<int, SDenseAnimal> animals;
    int populations = 0;
    RunPopulations(text, 3, 1, [&](const CPopulation& p, int) {
        populations++;
        Collect(p, animals);
        std::map<int, double> want = DenseBlupById(animals, kVarRes / p.varA);
        for (const SRec& r : p.indiv) EXPECT_NEAR(r.ebv, want[r.id], 1e-6) << p.prm.name << " id " << r.id;
    });
    EXPECT_EQ(populations, 2);
}

}  // namespace

// ---- The given-accuracy and approximate methods on hand-made animals ----

namespace {

// n individuals, males first, with TBVs drawn from N(0, 1) by a generator of their own, bred by
// one sire and one dam; the additive variance of the evaluation is varA.
struct HandPopulation : TestPopulation {
    HandPopulation(int n, int males, double varA) : TestPopulation(n, 1, 1, 1)
    {
        prm->plan[1].nSires = prm->plan[1].nDams = 1;
        population.varA = varA;
        CMyRnd tbv;
        tbv.InitSeed(17);
        for (int i = 0; i < n; ++i) {
            population.indiv[static_cast<size_t>(i)].sex = i < males ? 1 : 0;
            population.indiv[static_cast<size_t>(i)].polyVal = tbv.NRand();
        }
    }
    // Correlation of EBV with TBV of individuals lo..hi.
    double Corr(int lo, int hi)
    {
        double all = 0, male = 0, female = 0;
        Corr_EBV_MF(population.indiv.data(), lo, hi, &all, &male, &female);
        return all;
    }
};

}  // namespace

// EBVs reach the given correlations, overall and by sex, within four standard errors of a
// correlation ((1 - r^2) / sqrt(n)); accuracy 1 gives the TBV itself, and without additive
// variance every EBV is 0.
TEST(GivenAccuracy, EBVsOfHandMadeAnimalsReachTheirCorrelations)
{
    struct Case {
        const char* what;
        double accur, male, female;
        double wantMale, wantFemale;
    };
    const Case cases[] = {{"accur 0", 0, -1, -1, 0, 0},
                          {"accur 0.7", 0.7, -1, -1, 0.7, 0.7},
                          {"accur_male 0.9 accur_female 0.3", -1, 0.9, 0.3, 0.9, 0.3}};
    const int n = 4000, males = 2000;
    MyRnd.InitSeed(3);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.what);
        HandPopulation h(n, males, 1.0);
        h.statements.accur = c.accur;
        h.statements.accur_male = c.male;
        h.statements.accur_female = c.female;
        EstimateEBV_P_Accur(h.population, 0, n - 1);
        EXPECT_NEAR(h.Corr(0, males - 1), c.wantMale, 4 * (1 - c.wantMale * c.wantMale) / std::sqrt(males));
        EXPECT_NEAR(h.Corr(males, n - 1), c.wantFemale, 4 * (1 - c.wantFemale * c.wantFemale) / std::sqrt(n - males));
    }
    HandPopulation exact(10, 5, 4.0);
    exact.statements.accur = 1;
    EstimateEBV_P_Accur(exact.population, 0, 9);
    for (const SRec& r : exact.population.indiv) EXPECT_NEAR(r.ebv, r.Tbv(), 1e-12);
    HandPopulation none(10, 5, 0.0);
    none.statements.accur = 0.8;
    EstimateEBV_P_Accur(none.population, 0, 9);
    for (const SRec& r : none.population.indiv) EXPECT_EQ(r.ebv, 0.0);
}

// A sire and a dam with n recorded progeny each: a parent's EBV regresses the sum of its
// simulated progeny records by k = (4 - h2) / h2, so it approaches n t / (n + k) within the
// sampling error of its progeny mean; progeny without progeny tests take the parent average; a
// parent with fewer progeny than mnp has the others simulated and is regressed as if it had mnp;
// founders without progeny tests take h2 times their own record.
TEST(Approximation, RegressedProgenyTestsOwnRecordsAndParentAverages)
{
    SGlobalParams global;
    global.varPoly = 0.8;
    global.varRes = 1.2;
    global.h2 = 0.4;
    global.malesHaveRecords = true;
    const double k = (4 - 0.4) / 0.4, sigmaW = std::sqrt(0.75 * 0.8 + 1.2);
    const int n = 2000;
    struct Case {
        int mnpMale, mnpFemale;
    };
    MyRnd.InitSeed(29);
    for (const Case c : {Case{0, 0}, Case{5000, 0}}) {
        SCOPED_TRACE(c.mnpMale);
        HandPopulation h(n + 2, 1 + n / 2, 1.0);
        h.statements.mnp_male = c.mnpMale;
        h.statements.mnp_female = c.mnpFemale;
        std::vector<SRec>& r = h.population.indiv;
        std::swap(r[1], r[n / 2 + 1]);  // the dam second: records 0 and 1 are the parents
        std::swap(r[1].id, r[n / 2 + 1].id);
        r[0].polyVal = 2.0;
        r[1].polyVal = -1.0;
        for (int i = 2; i < n + 2; ++i) {
            r[i].sire = &r[0];
            r[i].dam = &r[1];
            r[i].hasPhen = 1;
        }
        r[0].nMPrg = r[1].nMPrg = n / 2;
        r[0].nFPrg = r[1].nFPrg = n / 2;
        h.population.sires = {&r[0]};
        h.population.dams = {&r[1]};
        EstimateEBV_Approx(global, h.population, n + 2, 1, 2, n + 1);

        for (int p = 0; p < 2; ++p) {
            const int mnp = p == 0 ? c.mnpMale : c.mnpFemale;
            const int m = std::max(n, mnp);
            if (mnp <= n) {
                EXPECT_DOUBLE_EQ(r[p].ebv, r[p].ebvAcc / (n + k));
            }
            EXPECT_NEAR(r[p].ebv, m * r[p].Tbv() / (m + k), 4 * 2 * sigmaW * std::sqrt(static_cast<double>(m)) / (m + k));
        }
        for (int i = 2; i < n + 2; ++i) {
            if ((r[i].sex ? c.mnpMale : c.mnpFemale) == 0) {
                ASSERT_DOUBLE_EQ(r[i].ebv, (r[0].ebv + r[1].ebv) / 2);
            }
        }
    }

    // Founders without progeny tests: their own record regressed by h2.
    HandPopulation founders(6, 3, 1.0);
    founders.statements.ebvMethod = kEbvApprox;
    founders.population.genInfo.assign(2, SGenInfo());
    founders.population.genInfo[0].last = 5;
    founders.population.genStat.assign(3, SGenStat());
    for (SRec& f : founders.population.indiv) f.phen = f.polyVal + 0.5;
    CInbred inbred;
    CMME mme;
    EstimateEBV_Base(SEvaluation{global, inbred, mme, 6}, founders.population);
    for (const SRec& f : founders.population.indiv) EXPECT_DOUBLE_EQ(f.ebv, 0.4 * f.phen);
}

// Correlations of EBV with TBV: exact on hand-made records, 0 for a sex without records in the
// range and for values without spread.
TEST(Accuracy, CorrelationsOfHandMadeRecords)
{
    std::vector<SRec> r(4);
    const double ebv[4] = {1, 2, 3, 4}, tbv[4] = {2, 4, 6, 8};
    for (int i = 0; i < 4; ++i) {
        r[i].ebv = ebv[i];
        r[i].polyVal = tbv[i];
    }
    double all = -9, male = -9, female = -9;
    Corr_EBV_MF(r.data(), 0, 3, &all, &male, &female);  // all four are female
    EXPECT_NEAR(all, 1.0, 1e-12);
    EXPECT_EQ(male, 0.0);
    EXPECT_NEAR(female, 1.0, 1e-12);
    r[3].polyVal = -8;
    std::vector<SRec*> parents = {&r[0], &r[1], &r[2], &r[3]};
    double r4 = -9;
    Corr_EBV(parents.data(), 0, 3, &r4);
    EXPECT_NEAR(r4, -0.5813183589761798, 1e-12);  // Pearson correlation of the four pairs
    for (SRec& x : r) x.ebv = 1;
    Corr_EBV(parents.data(), 0, 3, &r4);
    EXPECT_EQ(r4, 0.0);
}
