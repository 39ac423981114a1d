// Culling of parents after a generation and selection of its progeny in their place.
#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <string>

#include "breeding/breeding_test_util.h"
#include "breeding/sort.h"
#include "support/messages.h"

namespace {

// Parents and progeny of one sex around generation 1.
struct SexPlan {
    int now;        // parents of generation 1
    int next;       // parents of generation 2
    double rate;    // sr or dr of generation 1
    double growth;  // sireGrowth or damGrowth of generation 1, applied to generation 1's count
    int progeny;    // progeny of this sex in generation 1
};

// Founders (the parents of generation 1: males first) at 0.., then generation 1: its males
// first. Candidates are in index order, so selection takes the first progeny of each sex.
struct Replacement : TestPopulation {
    int firstPrg, lastPrg;

    Replacement(const SexPlan& s, const SexPlan& d)
        : TestPopulation(s.now + d.now + s.progeny + d.progeny, std::max(s.now, s.next), std::max(d.now, d.next))
    {
        SGenPlan& g1 = prm->plan[1];
        g1.nSires = s.now;
        g1.nDams = d.now;
        g1.sr = s.rate;
        g1.sireGrowth = s.growth;
        g1.sireRefGen = 1;
        g1.dr = d.rate;
        g1.damGrowth = d.growth;
        g1.damRefGen = 1;
        prm->plan[2].nSires = s.next;
        prm->plan[2].nDams = d.next;
        pop->genStat[1].nMale = s.progeny;
        pop->genStat[1].nFemale = d.progeny;
        for (int i = 0; i < s.now; ++i) pop->sires[i] = &(*this)[i];
        for (int i = 0; i < d.now; ++i) pop->dams[i] = &(*this)[s.now + i];
        firstPrg = s.now + d.now;
        lastPrg = pop->nIndiv - 1;
        for (int i = firstPrg; i <= lastPrg; ++i) {
            (*this)[i].sex = i < firstPrg + s.progeny ? 1 : 0;
            (*this)[i].gen = 1;
            pop->cand[i] = &(*this)[i];
        }
    }
};

std::string Prefixed(const std::string& message)
{
    return message.empty() ? "" : std::string(progname) + ": " + message;
}

}  // namespace

TEST(CullAndSelect, ReplacesTheTailOfTheParentsByTheHeadOfTheCandidates)
{
    struct Case {
        const char* story;
        SexPlan sires, dams;
        int culledSires, newSires, culledDams, newDams;
        const char* message;
    } cases[] = {
        {"every sire replaced", {10, 10, 1.0, 0, 12}, {20, 20, 0.5, 0, 15}, 10, 10, 10, 10, ""},
        {"3 male progeny when 5 new sires are wanted", {10, 10, 0.5, 0, 3}, {20, 20, 0.5, 0, 15}, 3, 3, 10, 10,
         "Warning - Sire replacement - Pop \"p\" G1: 2 more male progeny were needed.\n"
         "Sire culling rate is adjusted to 0.3.\n"},
        {"4 female progeny when 10 new dams are wanted", {10, 10, 0.5, 0, 6}, {20, 20, 0.5, 0, 4}, 5, 5, 4, 4,
         "Warning - Dam replacement - Pop \"p\" G1: 6 more female progeny were needed.\n"
         "Dam culling rate is adjusted to 0.2.\n"},
        {"fewer sires next generation", {10, 8, 0.0, -0.2, 6}, {20, 20, 0.5, 0, 15}, 2, 0, 10, 10,
         "Warning - Sire replacement - Pop \"p\" G1: 2 more sires were culled.\n"},
        {"fewer dams next generation", {10, 10, 0.5, 0, 6}, {20, 15, 0.0, -0.25, 15}, 5, 5, 5, 0,
         "Warning - Dam replacement - Pop \"p\" G1: 5 more dams were culled.\n"},
        {"a growing population keeps every sire", {10, 15, 0.0, 0.5, 6}, {20, 20, 0.0, 0, 15}, 0, 5, 0, 0, ""},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.story);
        Replacement t(c.sires, c.dams);
        std::vector<SRec*> oldSires(t.pop->sires.begin(), t.pop->sires.begin() + c.sires.now);
        unsigned warningsBefore = NoWarn;
        CullAndSelect(t.pool, *t.pop, 1, t.firstPrg, t.lastPrg);
        EXPECT_EQ(CollectedWarnings(), Prefixed(c.message));
        EXPECT_EQ(NoWarn - warningsBefore, c.message[0] ? 1u : 0u);

        const SGenStat& st = t.pop->genStat[1];
        EXPECT_EQ(st.nCulledSires, unsigned(c.culledSires));
        EXPECT_EQ(st.nNewSires, unsigned(c.newSires));
        EXPECT_EQ(st.nCulledDams, unsigned(c.culledDams));
        EXPECT_EQ(st.nNewDams, unsigned(c.newDams));
        int kept = c.sires.now - c.culledSires;
        for (int i = 0; i < kept; ++i) EXPECT_EQ(t.pop->sires[i], oldSires[i]);
        for (int i = kept; i < c.sires.now; ++i) EXPECT_EQ(*oldSires[i]->genomeUse, kGenomeReleased);
        for (int i = 0; i < c.newSires; ++i) {
            SRec* r = t.pop->sires[kept + i];
            EXPECT_EQ(r, &t[t.firstPrg + i]);  // the first male candidates
            EXPECT_EQ(*r->genomeUse, 2);
        }
        int keptDams = c.dams.now - c.culledDams;
        for (int i = 0; i < c.newDams; ++i) EXPECT_EQ(t.pop->dams[keptDams + i]->sex, 0);
    }
}

TEST(CullAndSelect, TooFewProgenyEvenKeepingEveryParentStopsTheRun)
{
    struct Case {
        SexPlan sires, dams;
        const char* message;
    } cases[] = {
        {{10, 20, 0.0, 1.0, 4}, {20, 20, 0.5, 0, 15},
         "Error - Sire replacement - Pop \"p\" G1: At least 6 more male progeny were needed.\n"},
        {{10, 10, 0.5, 0, 6}, {10, 20, 0.0, 1.0, 1},
         "Error - Dam replacement - Pop \"p\" G1: At least 9 more female progeny were needed.\n"},
    };
    for (const Case& c : cases) {
        Replacement t(c.sires, c.dams);
        EXPECT_EXIT(CullAndSelect(t.pool, *t.pop, 1, t.firstPrg, t.lastPrg), testing::ExitedWithCode(1),
                    testing::HasSubstr(std::string(c.message) + "Error(s) detected!\nAborted.\n"));
    }
}

TEST(CullAndSelect, ByAgeTheOldestHalfOfTenSiresIsCulled)
{
    Replacement t({10, 10, 0.5, 0, 8}, {10, 10, 0.0, 0, 8});
    for (int i = 0; i < 10; ++i) t[i].gen = i % 2;  // five of generation 0, five of generation 1
    MyRnd.InitSeed(51);
    CSort::SortParents(t.pop, 1, true, kAge, kRnd);
    CSort::SortRP(t.pop, t.firstPrg, t.lastPrg, true, kRnd, true);
    CullAndSelect(t.pool, *t.pop, 1, t.firstPrg, t.lastPrg);
    for (int i = 0; i < 5; ++i) EXPECT_EQ(t.pop->sires[i]->gen, 1) << "kept sire " << i;
    for (int i = 5; i < 10; ++i) {
        EXPECT_EQ(t.pop->sires[i]->sex, 1);
        EXPECT_GE(t.pop->sires[i] - &t[0], t.firstPrg) << "new sire " << i;
    }
    EXPECT_EQ(t.pop->genStat[1].nCulledSires, 5u);
}
