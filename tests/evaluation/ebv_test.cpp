// Breeding values in running populations: BLUP against a dense solve of each population's
// pedigree, EBVs of given accuracy, and the rules of the approximation.
#include <gtest/gtest.h>

#include <cmath>
#include <map>
#include <string>
#include <vector>

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

TEST(GivenAccuracy, OneGivesTheTrueBreedingValue)
{
    std::string text = PopulationParam(PopBlock("p", 4, 12, "ls = 2; ng = 2; ebv_est = accur 1;"));
    RunPopulations(text, 5, 1, [](const CPopulation& p, int) {
        for (const SRec& r : p.indiv) EXPECT_NEAR(r.ebv, r.Tbv(), 1e-12);
        for (int g = 0; g <= p.prm.ng; ++g) EXPECT_NEAR(p.genStat[g].corrEBV, 1.0, 1e-9);
    });
}

// With the true additive variance of each generation, EBVs reach the given correlations, overall
// and by sex, within four standard errors of a correlation ((1 - r^2) / sqrt(n)).
TEST(GivenAccuracy, EBVsReachTheirCorrelations)
{
    struct Case {
        std::string statement;
        double male, female;
    };
    const std::vector<Case> cases = {{"accur 0 /true_av", 0.0, 0.0},
                                     {"accur 0.7 /true_av", 0.7, 0.7},
                                     {"accur_male 0.9 accur_female 0.3 /true_av", 0.9, 0.3}};
    for (const Case& c : cases) {
        SCOPED_TRACE(c.statement);
        std::string text =
            PopulationParam(PopBlock("p", 20, 300, "ls = 4; ng = 1; ebv_est = " + c.statement + ";"), 1, kVariances,
                            800);
        RunPopulations(text, 9, 1, [&](const CPopulation& p, int) {
            const SGenStat& st = p.genStat[1];
            EXPECT_NEAR(st.corrEBVMale, c.male, 4 * (1 - c.male * c.male) / std::sqrt(st.nMale));
            EXPECT_NEAR(st.corrEBVFemale, c.female, 4 * (1 - c.female * c.female) / std::sqrt(st.nFemale));
        });
    }
}

TEST(Approximation, UsesOwnRecordsForFoundersAndParentAveragesWithoutProgenyTests)
{
    std::string text = PopulationParam(PopBlock("p", 4, 12, "ls = 2; ng = 3; sr = 1; dr = 1; sd = ebv /h; ebv_est = approx;"));
    const double k = (4 - 0.4) / 0.4;
    RunPopulations(text, 13, 1, [&](const CPopulation& p, int) {
        const SGenInfo& last = p.genInfo[p.prm.ng];
        for (int i = last.first; i <= last.last; ++i) {
            const SRec& r = p.indiv[i];
            EXPECT_DOUBLE_EQ(r.ebv, (r.sire->ebv + r.dam->ebv) / 2);
        }
        // Parents of the last generation: their own progeny records, regressed by k.
        for (int i = 0; i < p.prm.plan[p.prm.ng].nSires; ++i) {
            const SRec& s = *p.sires[i];
            EXPECT_DOUBLE_EQ(s.ebv, s.ebvAcc / (s.nMPrg + s.nFPrg + k));
        }
    });
    std::string founders = PopulationParam(PopBlock("p", 4, 12, "ls = 2; ng = 0; ebv_est = approx;"));
    RunPopulations(founders, 13, 1, [&](const CPopulation& p, int) {
        for (const SRec& r : p.indiv) EXPECT_DOUBLE_EQ(r.ebv, 0.4 * r.phen);
    });
}

}  // namespace

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
