// Ordering the last historical generation for founder choice.
#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>

#include "breeding/sort.h"
#include "random/rnd.h"

namespace {

struct Generation {
    std::vector<SRec> recs;
    SHistPop hp;
    explicit Generation(int n) : recs(n)
    {
        for (int i = 0; i < n; ++i) {
            recs[i].id = i;
            recs[i].phen = (i * 37) % n;
            recs[i].qtlVal = (i * 11) % n;
            recs[i].polyVal = 0.5;
            hp.lastGen.push_back(&recs[i]);
        }
    }
    std::vector<int> Ids() const
    {
        std::vector<int> ids;
        for (const SRec* r : hp.lastGen) ids.push_back(r->id);
        return ids;
    }
};

}  // namespace

TEST(SortLastGeneration, RandomOrderIsAPermutationAndTiesAreShuffledUnlessShufflingIsOff)
{
    MyRnd.InitSeed(1);
    Generation g(50), tied(30), kept(30);
    CSort::SortLHG(&g.hp, kRnd, true, false);
    std::vector<int> ids = g.Ids(), all(50);
    std::iota(all.begin(), all.end(), 0);
    EXPECT_TRUE(std::is_permutation(ids.begin(), ids.end(), all.begin(), all.end()));
    EXPECT_NE(ids, all);
    for (Generation* t : {&tied, &kept})
        for (SRec& r : t->recs) r.phen = 1;
    CSort::SortLHG(&tied.hp, kPhen, true, false);
    CSort::SortLHG(&kept.hp, kPhen, true, true);
    EXPECT_NE(tied.Ids(), kept.Ids());
}

TEST(SortLastGeneration, PhenotypeAndTrueValueOrderHighestOrLowestFirst)
{
    MyRnd.InitSeed(2);
    Generation g(41);
    CSort::SortLHG(&g.hp, kPhen, true, false);
    for (size_t i = 1; i < g.hp.lastGen.size(); ++i) EXPECT_GE(g.hp.lastGen[i - 1]->phen, g.hp.lastGen[i]->phen);
    CSort::SortLHG(&g.hp, kTbv, false, true);
    for (size_t i = 1; i < g.hp.lastGen.size(); ++i) EXPECT_LE(g.hp.lastGen[i - 1]->Tbv(), g.hp.lastGen[i]->Tbv());
}

TEST(SortLastGeneration, BreedingValuesAreRefused)
{
    Generation g(5);
    EXPECT_EXIT(CSort::SortLHG(&g.hp, kEbv, true, false), testing::ExitedWithCode(1),
                "Error - Breeding values cannot be estimated for historical generation");
}
