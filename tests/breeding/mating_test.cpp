// Mating designs: sire shares, assortative pairing and annealing of matings for inbreeding.
#include <gtest/gtest.h>

#include <algorithm>
#include <map>
#include <string>
#include <vector>

#include "breeding/breeding_test_util.h"
#include "support/messages.h"

namespace {

// nSires sires (individuals 0..) and nDams dams (after them) that produce generation 1.
struct Matings : TestPopulation {
    int nSires, nDams;
    Matings(int s, int d, EMatingDesign md = kMdRnd) : TestPopulation(s + d, s, d, 1), nSires(s), nDams(d)
    {
        prm->md = md;
        prm->plan[1].nSires = s;
        prm->plan[1].nDams = d;
        pop->genInfo[1].litterSize.assign(d, 1);
        for (int i = 0; i < s; ++i) {
            pop->sires[i] = &pop->indiv[i];
            pop->indiv[i].sex = 1;
        }
        for (int i = 0; i < d; ++i) pop->dams[i] = &pop->indiv[s + i];
        for (int i = 0; i < s + d; ++i) pop->indiv[i].phen = pop->indiv[i].qtlVal = pop->indiv[i].ebv = (i * 7) % 13;
    }
    SMatingPlan& plan() { return mating; }

    // Dams per sire, smallest share first.
    std::vector<int> Shares()
    {
        std::map<const SRec*, int> n;
        for (const SMating& m : plan().list) n[m[0].rec]++;
        std::vector<int> out;
        for (auto& e : n) out.push_back(e.second);
        std::sort(out.begin(), out.end());
        return out;
    }

    // Every mating m pairs dams[m], and each parent's position points at its record.
    void ExpectConsistentList()
    {
        ASSERT_EQ(plan().nMatings, nDams);
        for (int m = 0; m < nDams; ++m) {
            const SMating& x = plan().list[m];
            EXPECT_EQ(x[1].rec, pop->dams[m]);
            EXPECT_EQ(x[1].idx, m);
            EXPECT_EQ(x[0].rec, pop->sires[x[0].idx]);
        }
    }

    // The litter-size-weighted inbreeding of the list.
    double Objective()
    {
        double sum = 0;
        for (int m = 0; m < nDams; ++m) sum += pop->genInfo[1].litterSize[m] * plan().C(plan().list[m][0].idx, m);
        return sum;
    }
};

}  // namespace

TEST(SireShares, EveryDamIsMatedOnceAndSiresShareTheDamsAsEquallyAsPossible)
{
    struct Case {
        int sires, dams;
        std::vector<int> shares;
    } cases[] = {{3, 10, {3, 3, 4}}, {5, 10, {2, 2, 2, 2, 2}}, {4, 10, {2, 2, 3, 3}}, {1, 7, {7}},
                 {6, 6, {1, 1, 1, 1, 1, 1}}};
    for (const Case& c : cases) {
        Matings t(c.sires, c.dams);
        MyRnd.InitSeed(61);
        RandomMatingDesign(t.mating, *t.pop, 1);
        EXPECT_EQ(t.Shares(), c.shares) << c.sires << " x " << c.dams;
        t.ExpectConsistentList();
        for (int m = 1; m < c.dams; ++m) EXPECT_LE(t.plan().list[m - 1][0].idx, t.plan().list[m][0].idx);
    }
}

TEST(AssortativeMating, TheBestSiresMeetTheBestOrTheWorstDamsAndUnequalSharesGoToRandomSires)
{
    struct Case {
        EMatingDesign md;
        ESCDesign by;
        double (*key)(const SRec*);
        int sires, draws;  // equal shares need no shuffle
        std::vector<int> shares;
    } cases[] = {{kMdPAssort, kPhen, [](const SRec* r) { return r->phen; }, 5, 0, {2, 2, 2, 2, 2}},
                 {kMdNAssort, kTbv, [](const SRec* r) { return r->Tbv(); }, 5, 0, {2, 2, 2, 2, 2}},
                 {kMdPAssort, kEbv, [](const SRec* r) { return r->ebv; }, 5, 0, {2, 2, 2, 2, 2}},
                 {kMdPAssort, kPhen, [](const SRec* r) { return r->phen; }, 3, 3, {3, 3, 4}}};
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.by) + " of " + std::to_string(c.sires) + " sires");
        Matings t(c.sires, 10, c.md);
        t.prm->assortBy = c.by;
        MyRnd.InitSeed(71);
        AssortMatingDesign(t.mating, *t.pop, 1);
        EXPECT_EQ(DrawsSince(71), c.draws);
        EXPECT_EQ(t.Shares(), c.shares);
        t.ExpectConsistentList();
        bool damsDesc = c.md == kMdPAssort;
        for (int m = 1; m < 10; ++m) {
            const SMating& a = t.plan().list[m - 1];
            const SMating& b = t.plan().list[m];
            EXPECT_GE(c.key(a[0].rec), c.key(b[0].rec));
            EXPECT_TRUE(damsDesc ? c.key(a[1].rec) >= c.key(b[1].rec) : c.key(a[1].rec) <= c.key(b[1].rec));
        }
        EXPECT_EQ(t.plan().list[0][0].idx, t.plan().list[1][0].idx) << "the best sire takes the first two dams";
    }
}

TEST(AssortativeMating, AnUnknownCriterionIsAnInternalError)
{
    Matings t(2, 4, kMdPAssort);
    t.prm->assortBy = kAge;
    EXPECT_EXIT(AssortMatingDesign(t.mating, *t.pop, 1), testing::ExitedWithCode(1),
                "Unexpected error: in AssortMatingDesign function");
}

TEST(AnnealMove, ExchangesSiresWhenBetterAndDrawsOnlyForWorseMoves)
{
    // Two matings; sire 0 is related to dam 0, sire 1 to dam 1 (coancestry 0.25).
    struct Case {
        const char* story;
        double c[2][2];  // coancestry of sire s and the dam of mating m
        bool maximise;
        double temperature;
        bool exchanged;
        int draws;
    } cases[] = {
        {"minf: exchanging removes the relationship", {{0.25, 0}, {0, 0.25}}, false, 0.5, true, 2},
        {"equal either way: nothing drawn", {{0.1, 0.1}, {0.1, 0.1}}, false, 0.5, false, 2},
        {"maxf: exchanging is worse and cold", {{0.25, 0}, {0, 0.25}}, true, 1e-9, false, 3},
        {"maxf: exchanging is worse but hot", {{0.25, 0}, {0, 0.25}}, true, 1e9, true, 3},
        {"maxf: exchanging adds relationship", {{0, 0.25}, {0.25, 0}}, true, 0.5, true, 2},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.story);
        Matings t(2, 2, kMdMinf);
        AllocSAMem(t.mating, *t.pop);
        t.plan().list.resize(2);
        t.plan().nMatings = 2;
        for (int m = 0; m < 2; ++m) {
            t.plan().list[m] = {SMD{t.pop->sires[m], m}, SMD{t.pop->dams[m], m}};
            for (int s = 0; s < 2; ++s) t.plan().C(s, m) = c.c[s][m];
        }
        int accepted = 0;
        MyRnd.InitSeed(81);
        ChooseCheckAccept(t.mating, 2, t.pop->genInfo[1].litterSize.data(), accepted, c.temperature, c.maximise);
        EXPECT_EQ(DrawsSince(81), c.draws);
        EXPECT_EQ(accepted, c.exchanged ? 1 : 0);
        EXPECT_EQ(t.plan().list[0][0].idx, c.exchanged ? 1 : 0);
        EXPECT_EQ(t.plan().list[0][0].rec, t.pop->sires[t.plan().list[0][0].idx]);
    }
}

TEST(Annealing, UnrelatedParentsAreOptimizedAfterOneStep)
{
    Matings t(4, 12, kMdMinf);
    AllocSAMem(t.mating, *t.pop);
    ASSERT_EQ(t.plan().coancestry.size(), 48u);
    EXPECT_EQ(t.plan().stride, 12);
    MyRnd.InitSeed(91);
    RandomMatingDesign(t.mating, *t.pop, 1);
    testing::internal::CaptureStdout();
    SAnnealOutcome out = AnnealMatingList(t.mating, *t.pop, 1, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " optimized");
    EXPECT_EQ(out.steps, 1);
    EXPECT_EQ(out.moves, 100 * 12);
    FreeSAMem(t.mating);
    EXPECT_TRUE(t.plan().coancestry.empty());
}

TEST(Annealing, FindsTheLeastAndTheMostInbredMatingsOfASmallTable)
{
    for (bool maximise : {false, true}) {
        Matings t(3, 6, maximise ? kMdMaxf : kMdMinf);
        AllocSAMem(t.mating, *t.pop);
        for (int m = 0; m < 6; ++m) t.pop->genInfo[1].litterSize[m] = 1 + m % 3;
        CMyRnd values;
        values.InitSeed(5);
        for (int s = 0; s < 3; ++s)
            for (int m = 0; m < 6; ++m) t.plan().C(s, m) = 0.25 * values.URand();
        MyRnd.InitSeed(101);
        RandomMatingDesign(t.mating, *t.pop, 1);
        double start = t.Objective();

        // Every arrangement of the same sire shares over the six matings.
        std::vector<int> sires;
        for (const SMating& m : t.plan().list) sires.push_back(m[0].idx);
        std::sort(sires.begin(), sires.end());
        double best = maximise ? -1 : 1e9;
        do {
            double sum = 0;
            for (int m = 0; m < 6; ++m) sum += t.pop->genInfo[1].litterSize[m] * t.plan().C(sires[m], m);
            best = maximise ? std::max(best, sum) : std::min(best, sum);
        } while (std::next_permutation(sires.begin(), sires.end()));

        testing::internal::CaptureStdout();
        SAnnealOutcome out = AnnealMatingList(t.mating, *t.pop, 1, maximise);
        testing::internal::GetCapturedStdout();
        EXPECT_TRUE(out.optimized);
        EXPECT_NEAR(t.Objective(), best, 1e-12) << (maximise ? "maxf" : "minf");
        EXPECT_TRUE(maximise ? best > start : best < start);
        EXPECT_EQ(t.Shares(), (std::vector<int>{2, 2, 2}));
        t.ExpectConsistentList();
    }
}

TEST(Annealing, DifferencesTooSmallForAnyTemperatureNeverSettle)
{
    Matings t(2, 4, kMdMinf);
    AllocSAMem(t.mating, *t.pop);
    // Every exchange of two different sires changes the sum, by far less than any temperature.
    for (int s = 0; s < 2; ++s)
        for (int m = 0; m < 4; ++m) t.plan().C(s, m) = (1 + s * m) * 1e-300;
    MyRnd.InitSeed(111);
    RandomMatingDesign(t.mating, *t.pop, 1);
    unsigned warningsBefore = NoWarn;
    testing::internal::CaptureStdout();
    SAnnealOutcome out = AnnealMatingList(t.mating, *t.pop, 1, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), " not optimized");
    EXPECT_EQ(out.steps, 300);
    EXPECT_FALSE(out.optimized);
    EXPECT_EQ(NoWarn - warningsBefore, 1u);
    EXPECT_EQ(CollectedWarnings(), std::string(progname) +
                               ": Warning - Pop \"p\" G1: After 300 temperature steps, matings were not optimized.\n");
}

TEST(Annealing, ASingleMatingIsLeftAsItIs)
{
    Matings t(1, 1, kMdMinf);
    AllocSAMem(t.mating, *t.pop);
    MyRnd.InitSeed(121);
    testing::internal::CaptureStdout();
    Anneal(t.mating, t.inbred, *t.pop, 1, false);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), ", Mating: optimized");
    EXPECT_EQ(t.plan().nMatings, 1);
    EXPECT_EQ(t.plan().list[0][0].rec, t.pop->sires[0]);
}

TEST(Annealing, ATableTooLargeForMemoryStopsTheRun)
{
    Matings t(1, 1, kMdMinf);
    t.prm->maxSires = t.prm->maxDams = 2000000000;  // 4e18 doubles: more than any vector holds
    EXPECT_EXIT(AllocSAMem(t.mating, *t.pop), testing::ExitedWithCode(1), "Error - Simulated Annealing: Allocation failure\n");
}
