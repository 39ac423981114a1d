// Litter sizes, generation sizes and sexes of the progeny of a recent population.
#include <gtest/gtest.h>

#include <cmath>

#include "breeding/population_test_util.h"
#include "param/param_test_util.h"

namespace {

// An engine whose replicate memory is set up for the population of `body` (2 male and 10
// female founders unless told otherwise), ready for the steps of generation 1.
std::unique_ptr<SimClass> Prepared(const std::string& body, unsigned long seed = 7, int males = 2, int females = 10,
                                   const std::function<void(SParams&)>& adjust = nullptr)
{
    auto sim = EngineOf(PopulationParam(PopBlock("p", males, females, body)), adjust);
    MyRnd.InitSeed(seed);
    sim->AllocGlobalMem();
    testing::internal::CaptureStdout();
    SimLitterSize(sim->pops, 1);
    testing::internal::GetCapturedStdout();
    sim->AllocPopMem();
    sim->InitializeRep();
    sim->curPop = &sim->pops[0];
    return sim;
}

int MalesOf(const CPopulation& p, int gen)
{
    int males = 0;
    for (int i = p.genInfo[gen].first; i <= p.genInfo[gen].last; ++i) males += p.indiv[i].sex;
    return males;
}

}  // namespace

TEST(LitterSizes, OneClassFixesEveryGenerationsSizeAndRange)
{
    auto sim = Prepared("ls = 3; ng = 2;");
    const CPopulation& p = sim->pops[0];
    EXPECT_EQ(p.genInfo[0].first, 0);
    EXPECT_EQ(p.genInfo[0].last, 11);
    EXPECT_EQ(p.genInfo[1].nPrg, 30);
    EXPECT_EQ(p.genInfo[1].first, 12);  // right after the 2 + 10 founders
    EXPECT_EQ(p.genInfo[1].last, 41);
    EXPECT_EQ(p.genInfo[2].first, 42);
    EXPECT_EQ(p.nIndiv, 72);
    EXPECT_EQ(p.genStat[1].lsCount, std::vector<uint32_t>{10});
}

TEST(LitterSizes, ClassesAreDrawnWithTheirProbabilities)
{
    // 1 with the probability left over (0.5), 2 with 0.3, 4 with 0.2; 2000 dams per generation.
    auto sim = EngineOf(PopulationParam(PopBlock("p", 20, 2000, "ls = 1 2 [0.3] 4 [0.2]; ng = 5;")));
    MyRnd.InitSeed(3);
    sim->AllocGlobalMem();
    SimLitterSize(sim->pops, 1);
    const CPopulation& p = sim->pops[0];
    const double prob[3] = {0.5, 0.3, 0.2};
    long total = 0;
    for (int g = 1; g <= 5; ++g) {
        long litters = 0, progeny = 0;
        for (int c = 0; c < 3; ++c) litters += p.genStat[g].lsCount[c];
        for (int16_t s : p.genInfo[g].litterSize) progeny += s;
        EXPECT_EQ(litters, 2000);
        EXPECT_EQ(progeny, p.genInfo[g].nPrg);
        total += progeny;
        for (int c = 0; c < 3; ++c) {
            double sd = std::sqrt(2000 * prob[c] * (1 - prob[c]));
            EXPECT_NEAR(p.genStat[g].lsCount[c], 2000 * prob[c], 4 * sd) << "generation " << g << " class " << c;
        }
    }
    EXPECT_EQ(p.nIndiv, 2020 + total);
}

TEST(LitterSizes, RandomUnionOfGametesWantsOneLitterSize)
{
    auto sim = EngineOf(PopulationParam(PopBlock("p", 2, 10, "ls = 1 2 [0.5]; md = rnd_ug; ng = 1;")));
    sim->AllocGlobalMem();
    EXPECT_EXIT(SimLitterSize(sim->pops, 1), testing::ExitedWithCode(1),
                "Error - Pop \"p\": With rnd_ug \\(random union of gametes\\) mating design, 'ls' is treated as "
                "average number of progeny per dam \\(instead of litter size\\) therefore only one value should be "
                "specified for 'ls'");
}

TEST(Sexes, FixedSharesGiveTheRoundedNumberOfMalesAndOnlyMalesMayLackRecords)
{
    struct Case {
        const char* pmp;
        int males;  // -1: drawn at random
        bool maleRecords;
    };
    // 30 progeny in litters of 3. fix_litter puts round(1.5) = 2 males first in each litter; fix
    // gives round(0.3 * 30) = 9, round(0.01 * 30) = 0 (all stay female), all male with 1.
    for (Case c : {Case{"0.5 /fix_litter", 20, true}, Case{"0.3 /fix", 9, false}, Case{"0.01 /fix", 0, true},
                   Case{"1 /fix", 30, true}, Case{"0.5", -1, false}}) {
        SCOPED_TRACE(c.pmp);
        auto sim = Prepared(std::string("ls = 3; pmp = ") + c.pmp + "; ng = 1;", 7, 2, 10,
                            [&](SParams& prm) { prm.global.malesHaveRecords = c.maleRecords; });
        AssignSex(sim->prm.global, *sim->curPop, 1, false);
        const CPopulation& p = sim->pops[0];
        const int males = MalesOf(p, 1);
        if (c.males < 0) {
            EXPECT_GT(males, 0);
        } else {
            EXPECT_EQ(males, c.males);
        }
        EXPECT_EQ(p.genStat[1].nMale, static_cast<uint32_t>(males));
        EXPECT_EQ(p.genStat[1].nFemale, static_cast<uint32_t>(30 - males));
        for (int i = 0; i < 30; ++i) {
            const SRec& r = p.indiv[p.genInfo[1].first + i];
            if (c.males == 20) {
                EXPECT_EQ(r.sex, i % 3 < 2 ? 1 : 0) << i;
            }
            EXPECT_EQ(r.hasPhen, r.sex == 1 && !c.maleRecords ? 0 : 1) << i;
        }
    }
}

TEST(Sexes, AtRandomTheShareOfMalesFollowsPmp)
{
    auto sim = Prepared("ls = 5; pmp = 0.3; ng = 1;", 11, 20, 2000);
    AssignSex(sim->prm.global, *sim->curPop, 1, false);
    const double n = 10000;
    EXPECT_NEAR(MalesOf(sim->pops[0], 1), 0.3 * n, 4 * std::sqrt(n * 0.3 * 0.7));
}
