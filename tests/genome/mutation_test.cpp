#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <set>
#include <string>
#include <vector>

#include "genome/mutation.h"
#include "random/rnd.h"

namespace {

// One chromosome built by hand: `layout` lists the loci in map order ('M' marker, 'Q' QTL);
// every locus has `nAllele` alleles and every individual carries allele 1 everywhere.
struct TinyGenome {
    std::vector<SLocus> loci;
    std::vector<SLocus*> locusPtr;
    std::vector<int> mrkIndex, qtlIndex;
    std::vector<std::vector<uint16_t>> pat, mat;  // allele blocks of each individual
    std::vector<uint16_t*> patHead, matHead;      // their one-chromosome patChr / matChr arrays
    std::vector<SRec> recs;

    TinyGenome(const std::string& layout, int n, int nAllele)
        : loci(layout.size()), pat(n, std::vector<uint16_t>(layout.size(), 1)), mat(pat),
          patHead(n), matHead(n), recs(n)
    {
        for (size_t g = 0; g < layout.size(); ++g) {
            loci[g].isQTL = layout[g] == 'Q';
            (loci[g].isQTL ? qtlIndex : mrkIndex).push_back(static_cast<int>(g));
            locusPtr.push_back(&loci[g]);
            SetAlleles(static_cast<int>(g), nAllele);
        }
        for (int i = 0; i < n; ++i) {
            patHead[i] = pat[i].data();
            matHead[i] = mat[i].data();
            recs[i].patChr = &patHead[i];
            recs[i].matChr = &matHead[i];
        }
    }
    TinyGenome(const TinyGenome&) = delete;

    // The set-up of a historical run: identity labels for nAllele alleles.
    void SetAlleles(int g, int nAllele)
    {
        SLocus& l = loci[g];
        l.nAllele0 = l.nAllele = l.maxLabel = static_cast<uint16_t>(nAllele);
        l.alleleLabel.assign(1, static_cast<uint16_t>(nAllele));
        for (int a = 1; a <= nAllele; ++a) l.alleleLabel.push_back(static_cast<uint16_t>(a));
    }
    void Attach(CMutation& m, int nThread = 1, bool keepLabels = false)
    {
        m.Initialize(locusPtr.data(), mrkIndex.data(), qtlIndex.data(),
                     static_cast<int>(mrkIndex.size()), static_cast<int>(qtlIndex.size()), nThread,
                     keepLabels);
        m.InitializeRep();
    }
    // Both alleles of every individual at locus g, paternal first.
    std::vector<int> Column(int g) const
    {
        std::vector<int> c;
        for (size_t i = 0; i < pat.size(); ++i) c.insert(c.end(), {pat[i][g], mat[i][g]});
        return c;
    }
    void SetColumn(int g, const std::vector<int>& c)
    {
        for (size_t i = 0; i < pat.size(); ++i) {
            pat[i][g] = static_cast<uint16_t>(c[2 * i]);
            mat[i][g] = static_cast<uint16_t>(c[2 * i + 1]);
        }
    }
};

constexpr double kHuge = 1000;  // a rate at which every allele copy mutates

std::vector<uint16_t> Labels(std::initializer_list<int> l) { return {l.begin(), l.end()}; }

}  // namespace

TEST(Split2Index, SharesOfAtLeastTwentyWithTheRemainderInTheLast)
{
    struct Case {
        int first, last, asked;
        std::vector<int> lasts;  // the last index of each share
    } cases[] = {{0, 49, 4, {24, 49}}, {0, 99, 3, {32, 65, 99}}, {5, 14, 4, {14}}};
    for (const Case& c : cases) {
        SIndex parts[4];
        int n = c.asked;
        Split2Index(parts, c.first, c.last, n, 20);
        ASSERT_EQ(n, static_cast<int>(c.lasts.size())) << c.last;
        for (int k = 0; k < n; ++k) {
            EXPECT_EQ(parts[k].first, k ? c.lasts[k - 1] + 1 : c.first) << c.last << " share " << k;
            EXPECT_EQ(parts[k].last, c.lasts[k]) << c.last << " share " << k;
        }
    }
}

TEST(Mutation, RecurrentMutationMovesBetweenExistingAllelesOnly)
{
    MyRnd.InitSeed(11);
    TinyGenome genome("MQM", 40, 3);
    genome.SetAlleles(1, 2);  // a single-allele QTL given a second allele to mutate to
    CMutation m;
    genome.Attach(m);
    m.SetRates(0.2, true, kHuge, true);
    for (int gen = 1; gen <= 3; ++gen) {
        m.Mutate(genome.recs.data(), 40);
        for (int a : genome.Column(1)) EXPECT_EQ(a, gen % 2 ? 2 : 1) << "generation " << gen;
    }
    std::set<int> seen;
    for (int g : {0, 2}) for (int a : genome.Column(g)) seen.insert(a);
    EXPECT_EQ(seen, (std::set<int>{1, 2, 3}));
    EXPECT_EQ(genome.loci[0].nAllele, 3);
    EXPECT_EQ(genome.loci[1].nAllele, 2);
    EXPECT_EQ(m.QTLEvents(), 3u * 80u);
    EXPECT_GT(m.MarkerEvents(), 0u);
}

TEST(Mutation, NewMutationsTakeTheNextAlleleNumberAndHitEachCopyAtMostOnce)
{
    MyRnd.InitSeed(12);
    TinyGenome genome("MMQ", 5, 2);
    CMutation m;
    genome.Attach(m);
    m.SetRates(kHuge, false, 0, false);
    m.Mutate(genome.recs.data(), 5);  // ends although the Poisson draw far exceeds the copies
    EXPECT_EQ(m.MarkerEvents(), 20u);
    EXPECT_EQ(m.QTLEvents(), 0u);
    for (int g : {0, 1}) {
        std::vector<int> column = genome.Column(g);
        EXPECT_EQ(std::set<int>(column.begin(), column.end()).size(), 10u);
        EXPECT_EQ(*std::min_element(column.begin(), column.end()), 3);
        EXPECT_EQ(genome.loci[g].nAllele, 12);
    }
    EXPECT_EQ(genome.Column(2), std::vector<int>(10, 1));
}

TEST(Mutation, MutationsBeyondTheAlleleOrLabelSpaceAreCountedAsIgnored)
{
    MyRnd.InitSeed(13);
    TinyGenome genome("MQQ", 1, 2);
    genome.SetAlleles(0, 65535);                      // no allele number left
    genome.loci[1].maxLabel = 65251;                  // no label left
    genome.SetAlleles(2, 65534);                      // room for exactly one more allele
    genome.loci[2].maxLabel = 65250;                  // and the last label still free
    CMutation m;
    genome.Attach(m);
    m.SetRates(kHuge, false, kHuge, false);
    m.Mutate(genome.recs.data(), 1);
    EXPECT_EQ(m.MarkerEvents(), 0u);
    EXPECT_EQ(m.IgnoredMarkerEvents(), 2u);
    EXPECT_EQ(m.QTLEvents(), 1u);
    EXPECT_EQ(m.IgnoredQTLEvents(), 3u);
    EXPECT_EQ(genome.Column(0), (std::vector<int>{1, 1}));
    EXPECT_EQ(genome.Column(1), (std::vector<int>{1, 1}));
    EXPECT_EQ(genome.loci[2].nAllele, 65535);
    std::vector<int> last = genome.Column(2);
    EXPECT_EQ(last[0] + last[1], 1 + 65535);
}

TEST(Mutation, EventsFollowThePoissonMeanOfEachClass)
{
    MyRnd.InitSeed(14);
    TinyGenome genome(std::string(40, 'M') + std::string(10, 'Q'), 5000, 2);
    CMutation m;
    genome.Attach(m);
    m.SetRates(0.005, true, 0.05, false);  // 0.4 and 1.0 events per individual
    m.Mutate(genome.recs.data(), 5000);
    EXPECT_NEAR(static_cast<double>(m.MarkerEvents()), 2000, 4 * std::sqrt(2000.0));
    EXPECT_NEAR(static_cast<double>(m.QTLEvents()), 5000, 4 * std::sqrt(5000.0));
}

TEST(IndexAlleles, LostAllelesDisappearAndTheRestKeepTheirOrder)
{
    TinyGenome genome("MQ", 3, 4);
    genome.SetColumn(0, {4, 1, 3, 3, 1, 4});  // allele 2 was lost by drift
    genome.SetColumn(1, {1, 2, 3, 4, 4, 1});  // nothing lost
    CMutation m;
    genome.Attach(m);
    testing::internal::CaptureStdout();
    m.IndexAlleles(genome.recs.data(), 3, true);
    EXPECT_EQ(testing::internal::GetCapturedStdout(), "Indexing alleles ... done.\n");
    EXPECT_EQ(genome.Column(0), (std::vector<int>{3, 1, 2, 2, 1, 3}));
    EXPECT_EQ(genome.loci[0].nAllele, 3);
    EXPECT_EQ(genome.loci[0].alleleLabel, Labels({3, 1, 2, 3}));
    EXPECT_EQ(genome.loci[0].maxLabel, 3);
    EXPECT_EQ(genome.Column(1), (std::vector<int>{1, 2, 3, 4, 4, 1}));
    EXPECT_EQ(genome.loci[1].nAllele, 4);
}

TEST(IndexAlleles, WithKeptLabelsAMutantIsLabelledAboveEveryEarlierLabel)
{
    MyRnd.InitSeed(15);
    TinyGenome genome("M", 3, 4);
    genome.SetColumn(0, {1, 3, 4, 3, 1, 4});
    CMutation m;
    genome.Attach(m, 1, true);
    testing::internal::CaptureStdout();
    m.IndexAlleles(genome.recs.data(), 3, true);  // 1 3 4 become 1 2 3, labels 1 3 4
    EXPECT_EQ(genome.loci[0].alleleLabel, Labels({3, 1, 3, 4}));
    genome.SetColumn(0, {2, 3, 2, 2, 1, 1});
    m.SetRates(kHuge, false, 0, false);
    m.Mutate(genome.recs.data(), 1);  // the first individual now carries new alleles 4 and 5
    m.IndexAlleles(genome.recs.data(), 3, true);
    testing::internal::GetCapturedStdout();
    // Allele 3 (label 4) is gone; the two mutants are labelled after the largest label, 4.
    const SLocus& l = genome.loci[0];
    EXPECT_EQ(l.nAllele, 4);
    EXPECT_EQ(l.alleleLabel, Labels({4, 1, 3, 5, 6}));
    EXPECT_EQ(l.maxLabel, 6);
    EXPECT_EQ(genome.Column(0)[2], 2);
}

TEST(IndexAlleles, WithoutKeptLabelsTheLabelsAreOneToC)
{
    MyRnd.InitSeed(16);
    TinyGenome genome("M", 2, 3);
    genome.SetColumn(0, {3, 3, 2, 3});
    CMutation m;
    genome.Attach(m);
    m.SetRates(kHuge, false, 0, false);
    m.Mutate(genome.recs.data(), 1);  // 3 3 become 4 5; allele 1 was never there
    testing::internal::CaptureStdout();
    m.IndexAlleles(genome.recs.data(), 2, true);
    testing::internal::GetCapturedStdout();
    std::vector<int> column = genome.Column(0);
    EXPECT_EQ(std::set<int>(column.begin(), column.begin() + 2), (std::set<int>{3, 4}));
    EXPECT_EQ(std::vector<int>(column.begin() + 2, column.end()), (std::vector<int>{1, 2}));
    EXPECT_EQ(genome.loci[0].alleleLabel, Labels({4, 1, 2, 3, 4}));
    EXPECT_EQ(genome.loci[0].maxLabel, 4);
}

TEST(IndexAlleles, OnlyLociWithNewAllelesAreTouchedUnlessAllAreAsked)
{
    MyRnd.InitSeed(17);
    TinyGenome genome("MQ", 2, 2);  // every allele 1: allele 2 is missing at both loci
    CMutation m;
    genome.Attach(m);
    m.SetRates(0, false, kHuge, false);
    m.Mutate(genome.recs.data(), 1);  // the QTL gains alleles 3 and 4
    testing::internal::CaptureStdout();
    m.IndexAlleles(genome.recs.data(), 2, false);
    EXPECT_EQ(genome.loci[0].nAllele, 2);
    EXPECT_EQ(genome.loci[0].alleleLabel, Labels({2, 1, 2}));
    EXPECT_EQ(genome.loci[1].nAllele, 3);
    m.IndexAlleles(genome.recs.data(), 2, true);
    testing::internal::GetCapturedStdout();
    EXPECT_EQ(genome.loci[0].nAllele, 1);
    EXPECT_EQ(genome.loci[0].alleleLabel, Labels({1, 1}));
}

TEST(IndexAlleles, TheResultDoesNotDependOnTheNumberOfThreads)
{
    // The same mutated genome of 100 loci re-indexed by one worker and by three.
    auto reindex = [](TinyGenome& genome, int nThread) {
        MyRnd.InitSeed(18);
        // Allele 2 is missing everywhere; allele 1 and one of 3..6 are common.
        for (size_t g = 0; g < genome.loci.size(); ++g) {
            genome.SetAlleles(static_cast<int>(g), 6);
            std::vector<int> column;
            for (int c = 0; c < 60; ++c)
                column.push_back(MyRnd.URand() < 0.5 ? 1 : 3 + static_cast<int>(g % 4));
            genome.SetColumn(static_cast<int>(g), column);
        }
        CMutation m;
        genome.Attach(m, nThread, true);
        m.SetRates(0.05, false, 0.05, false);
        m.Mutate(genome.recs.data(), 30);
        testing::internal::CaptureStdout();
        m.IndexAlleles(genome.recs.data(), 30, true);
        testing::internal::GetCapturedStdout();
    };
    std::string layout;
    for (int g = 0; g < 100; ++g) layout += g % 3 ? 'M' : 'Q';
    TinyGenome one(layout, 30, 6), three(layout, 30, 6);
    reindex(one, 1);
    reindex(three, 3);
    for (int g = 0; g < 100; ++g) {
        std::vector<int> column = one.Column(g);
        ASSERT_EQ(column, three.Column(g)) << "locus " << g;
        ASSERT_EQ(one.loci[g].alleleLabel, three.loci[g].alleleLabel) << "locus " << g;
        ASSERT_EQ(one.loci[g].maxLabel, three.loci[g].maxLabel) << "locus " << g;
        // Numbers 1..nAllele without gaps.
        std::set<int> used(column.begin(), column.end());
        ASSERT_EQ(used.size(), one.loci[g].nAllele);
        ASSERT_EQ(*used.rbegin(), one.loci[g].nAllele);
    }
}
