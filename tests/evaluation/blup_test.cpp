// BLUP by conjugate gradients against a dense solve of the same mixed-model equations.
#include <gtest/gtest.h>

#include <cmath>
#include <random>
#include <string>
#include <vector>

#include "breeding/population.h"
#include "evaluation/blup.h"
#include "evaluation/evaluation_test_util.h"
#include "breeding/inbred.h"
#include "support/hand_population.h"
#include "support/messages.h"
#include "support/test_util.h"

namespace {

// The animals of a reference pedigree entered into a CInbred one by one, with their inbreeding,
// as the generation cycle enters them.
class BlupPedigree {
public:
    explicit BlupPedigree(const std::vector<SDenseAnimal>& animals)
        : statements(HandStatements(1, static_cast<int>(animals.size()), static_cast<int>(animals.size()))),
          pop(statements, 0.0),
          recs(animals.size())
    {
        const int n = static_cast<int>(animals.size());
        pop.nIndiv = n;
        inbred.AllocMem(&pop, &pop, 1, false);
        for (int i = 0; i < n; ++i) {
            const SDenseAnimal& a = animals[static_cast<size_t>(i)];
            SRec& r = recs[static_cast<size_t>(i)];
            r.id = i + 1;
            r.sire = a.sire < 0 ? UnknownParent() : &recs[static_cast<size_t>(a.sire)];
            r.dam = a.dam < 0 ? UnknownParent() : &recs[static_cast<size_t>(a.dam)];
            r.hasPhen = a.recorded;
            r.phen = a.phen;
            r.ebv = 99;  // every entry must be overwritten
            SRec* sire = r.sire;
            SRec* dam = r.dam;
            inbred.AddParentTorPed(&sire, a.sire < 0 ? 0 : 1, &dam, a.dam < 0 ? 0 : 1);
            inbred.AddToPed(&r);
            inbred.ComputeF(r.id, false);
        }
    }
    // Solves the equations with the given variances and returns what the solver printed.
    std::string Solve(double varRes, double varA, int iterationLimit = 0)
    {
        testing::internal::CaptureStdout();
        mme.SolveMME(&inbred, varRes, varA, iterationLimit);
        return testing::internal::GetCapturedStdout();
    }
    SPopParams statements;
    CPopulation pop;
    CInbred inbred;
    CMME mme;
    std::vector<SRec> recs;
};

std::mt19937 gen(7);

double Phen()
{
    return std::normal_distribution<double>(0.0, 1.5)(gen);
}

SDenseAnimal Animal(int sire, int dam, bool recorded = true)
{
    return SDenseAnimal{sire, dam, recorded, recorded ? Phen() : 0.0};
}

// Generations of random matings among the previous generation, with some parents unknown and
// some animals unrecorded.
std::vector<SDenseAnimal> RandomPedigree(int founders, int generations, int perGeneration)
{
    std::vector<SDenseAnimal> ped;
    for (int i = 0; i < founders; ++i) ped.push_back(Animal(-1, -1, i % 4 != 0));
    int lo = 0, hi = founders;
    std::uniform_int_distribution<int> coin(0, 9);
    for (int g = 0; g < generations; ++g) {
        std::uniform_int_distribution<int> parent(lo, hi - 1);
        for (int i = 0; i < perGeneration; ++i) {
            int s = parent(gen), d = parent(gen);
            if (coin(gen) == 0) s = -1;
            if (coin(gen) == 1) d = -1;
            ped.push_back(Animal(s, d, coin(gen) > 2));
        }
        lo = hi;
        hi = static_cast<int>(ped.size());
    }
    return ped;
}

struct BlupCase {
    std::string name;
    std::vector<SDenseAnimal> ped;
    double lambda;
};

std::vector<BlupCase> Cases()
{
    return {
        {"founders only", {Animal(-1, -1), Animal(-1, -1, false), Animal(-1, -1), Animal(-1, -1)}, 1.5},
        {"full and half sibs",
         {Animal(-1, -1), Animal(-1, -1), Animal(-1, -1, false), Animal(-1, -1), Animal(0, 2), Animal(0, 2),
          Animal(0, 3), Animal(1, 3), Animal(1, 2, false), Animal(1, -1)},
         3.0},
        {"inbred matings",
         {Animal(-1, -1), Animal(-1, -1), Animal(0, 1), Animal(0, 1), Animal(2, 3), Animal(2, 3), Animal(4, 5),
          Animal(0, 3), Animal(4, 6, false), Animal(7, 6)},
         0.8},
        {"parents without records", {Animal(-1, -1, false), Animal(-1, -1, false), Animal(0, 1), Animal(0, 1),
                                     Animal(2, 1, false), Animal(0, 4)},
         1.0},
        {"several generations", RandomPedigree(20, 6, 40), 2.5},
    };
}

TEST(Blup, EqualsADenseSolveOfTheMixedModelEquations)
{
    for (const BlupCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        BlupPedigree ped(c.ped);
        std::string out = ped.Solve(2 * c.lambda, 2.0);  // a ratio of the two variances, neither of them 1
        EXPECT_TRUE(ped.mme.Converged());
        EXPECT_EQ(out.rfind(", BLUP: converged ", 0), 0u) << out;
        std::vector<double> want = DenseBlup(c.ped, c.lambda);
        for (size_t i = 0; i < want.size(); ++i) EXPECT_NEAR(ped.recs[i].ebv, want[i], 1e-7) << "animal " << i;
    }
}

TEST(Blup, WithoutRecordsOrAdditiveVarianceEveryValueIsZero)
{
    for (bool recorded : {false, true}) {
        BlupPedigree ped({Animal(-1, -1, recorded), Animal(-1, -1, recorded), Animal(0, 1, recorded)});
        ped.Solve(1.0, recorded ? 0.0 : 1.0);
        EXPECT_TRUE(ped.mme.Converged());
        for (const SRec& r : ped.recs) EXPECT_EQ(r.ebv, 0.0);
    }
}

TEST(Blup, IterationLimitGivesTheNonConvergenceWarning)
{
    BlupPedigree ped(RandomPedigree(10, 3, 10));
    const unsigned warningsBefore = NoWarn;
    EXPECT_EQ(ped.Solve(2.0, 1.0, 2), ", BLUP: not converged");
    EXPECT_FALSE(ped.mme.Converged());
    EXPECT_EQ(NoWarn, warningsBefore + 1);
    EXPECT_NE(CaptureFile([](FILE* fp) { PW.DumpWarn(fp); }).find("Warning - solutions were not converged after 2 iterations."),
              std::string::npos);
    for (const SRec& r : ped.recs) EXPECT_TRUE(std::isfinite(r.ebv) && r.ebv != 99);
}

}  // namespace
