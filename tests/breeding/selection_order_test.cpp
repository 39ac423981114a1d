// Selection order of candidates and culling order of parents.
#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <numeric>
#include <vector>

#include "breeding/breeding_test_util.h"
#include "breeding/sort.h"

namespace {

using Key = std::function<double(const SRec*)>;

// The criteria that order by a value, with the value.
const struct Criterion {
    ESCDesign design;
    Key key;
} kByValue[] = {{kPhen, [](const SRec* r) { return r->phen; }},
                {kTbv, [](const SRec* r) { return r->Tbv(); }},
                {kEbv, [](const SRec* r) { return r->ebv; }}};

// Phenotypes, true values and EBV that disagree with each other and have ties.
void GiveValues(TestPopulation& t)
{
    for (int i = 0; i < t.pop->nIndiv; ++i) {
        t[i].sex = i % 2;
        t[i].phen = (i * 37) % 11;
        t[i].qtlVal = (i * 13) % 7;
        t[i].polyVal = 0.25 * (i % 3);
        t[i].ebv = -((i * 5) % 9);
    }
}

bool Ordered(SRec* const* a, int n, const Key& key, bool desc)
{
    for (int i = 1; i < n; ++i)
        if (desc ? key(a[i - 1]) < key(a[i]) : key(a[i - 1]) > key(a[i])) return false;
    return true;
}

std::vector<int> Ids(SRec* const* a, int n)
{
    std::vector<int> ids;
    for (int i = 0; i < n; ++i) ids.push_back(a[i]->id);
    return ids;
}

bool SameMembers(std::vector<int> a, std::vector<int> b)
{
    std::sort(a.begin(), a.end());
    std::sort(b.begin(), b.end());
    return a == b;
}

// Progeny at 5..24 of a population of 25; four sires and six dams of mixed generations.
struct Ranking : TestPopulation {
    static constexpr int kFirst = 5, kLast = 24, kSires = 4, kDams = 6;
    Ranking() : TestPopulation(25, kSires, kDams)
    {
        GiveValues(*this);
        prm->plan[1].nSires = kSires;
        prm->plan[1].nDams = kDams;
        prm->plan[2] = prm->plan[1];
        pop->genInfo[2] = pop->genInfo[1];
        for (int i = 0; i < kSires; ++i) pop->sires[i] = &pop->indiv[5 + i];
        for (int i = 0; i < kDams; ++i) pop->dams[i] = &pop->indiv[10 + i];
    }
    SRec** Cand() { return pop->cand.data() + kFirst; }
};

}  // namespace

TEST(Quicksort, CandidatesComeHighestOrLowestFirstByEveryKey)
{
    void (*const sorts[])(CPopulation*, int, int, bool) = {CSort::PhenQSort, CSort::TBVQSort, CSort::EBVQSort};
    for (int k = 0; k < 3; ++k)
        for (bool desc : {true, false}) {
            Ranking t;
            for (int i = 0; i < 25; ++i) t.pop->cand[i] = &t[i];
            sorts[k](t.pop, 3, 20, desc);
            EXPECT_TRUE(Ordered(t.pop->cand.data() + 3, 18, kByValue[k].key, desc)) << k << " desc " << desc;
            EXPECT_EQ(t.pop->cand[2], &t[2]) << "outside the range nothing moves";
            EXPECT_EQ(t.pop->cand[21], &t[21]);
        }
}

TEST(Quicksort, EqualKeysEndInTheOrderThePartitionLeavesNotTheInputOrder)
{
    // Worked by hand: the first pass reverses 1..5, then the two short ends are swapped back.
    TestPopulation t(5, 1, 1);
    std::vector<SRec*> a;
    for (int i = 0; i < 5; ++i) a.push_back(&t[i]);
    CSort::ParentsPhenQSort(a.data(), 0, 4, true);
    EXPECT_EQ(Ids(a.data(), 5), (std::vector<int>{4, 5, 3, 1, 2}));
    for (int i = 0; i < 5; ++i) a[i] = &t[i];
    CSort::ParentsEBVQSort(a.data(), 0, 4, false);
    EXPECT_EQ(Ids(a.data(), 5), (std::vector<int>{4, 5, 3, 1, 2}));
}

TEST(Quicksort, IntegersAndDoublesAscendingWithDuplicates)
{
    std::vector<int> ints;
    std::vector<double> doubles;
    for (int i = 0; i < 200; ++i) {
        ints.push_back((i * 7919) % 61 - 30);
        doubles.push_back(((i * 104729) % 97) * 0.37 - 10);
    }
    std::vector<int> wantInts = ints;
    std::vector<double> wantDoubles = doubles;
    std::sort(wantInts.begin(), wantInts.end());
    std::sort(wantDoubles.begin(), wantDoubles.end());
    QSort(0, 199, ints.data());
    DQSort(0, 199, doubles.data());
    EXPECT_EQ(ints, wantInts);
    EXPECT_EQ(doubles, wantDoubles);
}

TEST(Shuffles, ArePermutationsDrawingOneUniformPerSwap)
{
    TestPopulation t(30, 1, 1);
    std::vector<SRec*> a;
    for (int i = 0; i < 30; ++i) a.push_back(&t[i]);
    std::vector<int> before = Ids(a.data(), 30);
    MyRnd.InitSeed(11);
    CSort::ShufflePrg(30, a.data());
    EXPECT_EQ(DrawsSince(11), 29);
    EXPECT_TRUE(SameMembers(Ids(a.data(), 30), before));
    EXPECT_NE(Ids(a.data(), 30), before);

    // Shuffling the first 10 of 100 picks them from the whole.
    std::vector<int> v(100), all(100);
    std::iota(v.begin(), v.end(), 0);
    std::iota(all.begin(), all.end(), 0);
    MyRnd.InitSeed(4);
    Shuffle(v.data(), 100, 10);
    EXPECT_EQ(DrawsSince(4), 10);
    EXPECT_TRUE(SameMembers(v, all));
    EXPECT_GT(std::count_if(v.begin(), v.begin() + 10, [](int x) { return x >= 10; }), 0);
}

TEST(SortRP, FillsTheRangeWithTheGenerationInSelectionOrder)
{
    for (const Criterion& c : kByValue)
        for (uint8_t high : {1, 0}) {
            Ranking t;
            CSort::SortRP(t.pop, Ranking::kFirst, Ranking::kLast, true, c.design, high);
            EXPECT_TRUE(Ordered(t.Cand(), 20, c.key, high)) << "sd " << c.design << " high " << int(high);
            std::vector<int> generation;
            for (int i = Ranking::kFirst; i <= Ranking::kLast; ++i) generation.push_back(t[i].id);
            EXPECT_TRUE(SameMembers(Ids(t.Cand(), 20), generation));
            EXPECT_EQ(t.pop->cand[4], nullptr);
        }
}

TEST(SortParents, EveryCullingCriterionPutsTheCulledEndLast)
{
    for (const Criterion& c : kByValue)
        for (uint8_t cullHigh : {0, 1}) {
            Ranking t;
            t.prm->cdHigh = cullHigh;
            CSort::SortParents(t.pop, 1, true, c.design, kRnd);
            bool desc = !cullHigh;  // culling the lowest keeps the highest at the head
            EXPECT_TRUE(Ordered(t.pop->sires.data(), Ranking::kSires, c.key, desc)) << "cd " << c.design;
            EXPECT_TRUE(Ordered(t.pop->dams.data(), Ranking::kDams, c.key, desc)) << "cd " << c.design;
        }
}

// Which criteria randomise first: males without records, and random selection or culling itself.
TEST(Sorts, ShuffleFirstOnlyWhereTheOrderWouldOtherwiseBeArbitrary)
{
    constexpr int kBoth = Ranking::kSires - 1 + Ranking::kDams - 1;
    struct Case {
        bool parents;  // the culling order of the parents, or else the selection order of candidates
        ESCDesign cd, sd;
        bool maleRec;
        int from;  // the parents' generation, or the first candidate
        int draws;
    } cases[] = {
        {false, kRnd, kRnd, true, 5, 19},          {false, kRnd, kPhen, true, 5, 0},
        {false, kRnd, kPhen, false, 5, 19},        {false, kRnd, kTbv, false, 5, 0},
        {false, kRnd, kEbv, true, 0, 0},           {false, kRnd, kEbv, false, 0, 24},
        {false, kRnd, kEbv, false, 5, 0},          {true, kRnd, kPhen, true, 1, kBoth},
        {true, kPhen, kRnd, true, 1, 0},           {true, kPhen, kRnd, false, 1, Ranking::kSires - 1},
        {true, kTbv, kRnd, false, 1, 0},           {true, kEbv, kRnd, false, 1, Ranking::kSires - 1},
        {true, kEbv, kRnd, false, 2, 0},           {true, kAge, kRnd, true, 1, kBoth},
        {true, kAge, kTbv, false, 1, 0},
    };
    for (const Case& c : cases) {
        Ranking t;
        MyRnd.InitSeed(31);
        if (c.parents)
            CSort::SortParents(t.pop, c.from, c.maleRec, c.cd, c.sd);
        else
            CSort::SortRP(t.pop, c.from, Ranking::kLast, c.maleRec, c.sd, true);
        EXPECT_EQ(DrawsSince(31), c.draws) << (c.parents ? "parents" : "candidates") << " cd " << c.cd << " sd " << c.sd
                                           << " maleRec " << c.maleRec << " from " << c.from;
    }
}

TEST(SortParents, ByAgeTheYoungestComeFirstAndEachAgeInSelectionOrder)
{
    for (uint8_t high : {1, 0}) {
        Ranking t;
        t.prm->sdHigh = high;
        int gens[] = {0, 2, 1, 2, 0, 1};
        for (int i = 0; i < Ranking::kDams; ++i) t.pop->dams[i]->gen = gens[i];
        CSort::SortParents(t.pop, 2, true, kAge, kTbv);
        SRec** d = t.pop->dams.data();
        for (int i = 1; i < Ranking::kDams; ++i) {
            ASSERT_GE(d[i - 1]->gen, d[i]->gen);
            if (d[i - 1]->gen == d[i]->gen) {
                EXPECT_TRUE(high ? d[i - 1]->Tbv() >= d[i]->Tbv() : d[i - 1]->Tbv() <= d[i]->Tbv());
            }
        }
    }
}

TEST(SortParents, MalesWithoutRecordsAreShuffledWithinTheirAge)
{
    Ranking t;
    int gens[] = {1, 0, 1, 0};
    for (int i = 0; i < Ranking::kSires; ++i) t.pop->sires[i]->gen = gens[i];
    MyRnd.InitSeed(41);
    CSort::SortParents(t.pop, 1, false, kAge, kPhen);
    EXPECT_EQ(DrawsSince(41), 2);  // one swap draw in each run of two
    EXPECT_EQ(t.pop->sires[0]->gen, 1);
    EXPECT_EQ(t.pop->sires[1]->gen, 1);
}
