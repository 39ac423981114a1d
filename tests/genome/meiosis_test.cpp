// Crossovers and gametes.
#include <gtest/gtest.h>

#include <regex>
#include <vector>

#include "support/sorting.h"
#include "genome/gamete.h"
#include "history/history_test_util.h"
#include "param/param_test_util.h"

TEST(Gamete, SegmentsSwitchAtCrossoversALocusAtACrossoverStaysLeftAndBinarySearchFindsIt)
{
    // Paternal alleles 1, maternal 2; crossovers outside the loci or between the same
    // neighbours change nothing.
    const std::vector<double> pos = {10, 20, 30, 40, 50};
    struct Case {
        std::vector<double> xs;
        int startMaternal;
        std::vector<uint16_t> gamete;
    } cases[] = {{{}, 0, {1, 1, 1, 1, 1}},     {{}, 1, {2, 2, 2, 2, 2}},         {{25}, 0, {1, 1, 2, 2, 2}},
                 {{20}, 0, {1, 1, 2, 2, 2}},   {{15, 45}, 0, {1, 2, 2, 2, 1}},   {{5}, 0, {1, 1, 1, 1, 1}},
                 {{55}, 0, {1, 1, 1, 1, 1}},   {{22, 25}, 0, {1, 1, 1, 1, 1}},   {{22, 24, 26}, 0, {1, 1, 2, 2, 2}}};
    for (Case& c : cases) {
        std::vector<uint16_t> pat(pos.size(), 1), mat(pos.size(), 2), out(pos.size(), 0);
        CopyGamete(pat.data(), mat.data(), c.startMaternal, c.xs.data(), static_cast<int>(c.xs.size()), pos.data(),
                   static_cast<int>(pos.size()), out.data());
        EXPECT_EQ(out, c.gamete) << c.xs.size() << " crossovers from " << c.startMaternal;
    }
    EXPECT_EQ(LPos_BinarySearch(3, 9.99, pos.data()), -1);
    EXPECT_EQ(LPos_BinarySearch(3, 10, pos.data()), 0);
    EXPECT_EQ(LPos_BinarySearch(3, 29.9, pos.data()), 1);
    EXPECT_EQ(LPos_BinarySearch(3, 100, pos.data()), 2);
}

TEST(Crossovers, PositionsAreDistinctSortedAndInsideTheChromosome)
{
    CMyRnd rnd;
    rnd.InitSeed(3);
    std::vector<double> x(300);
    for (int trial = 0; trial < 200; ++trial) {
        rnd.GenerateCrossoverPos(x.data(), 300, 1.0);  // 300 positions on 1 cM: many collide at first
        for (int i = 0; i < 300; ++i) {
            EXPECT_GE(x[i], 0.0001);
            EXPECT_LE(x[i], 0.9999);
        }
        for (int i = 1; i < 300; ++i) ASSERT_GT(x[i], x[i - 1]);
    }
}

TEST(Crossovers, CompleteInterferenceLeavesNoPairWithinTheDistance)
{
    std::string genome = "interference = 5 /c;\nmean_crossover = 5;\n" + ChromosomeBlock(1, 200, 10, 1);
    auto sim = EngineOf(HistoryParam("hg_size = 10 [0];", genome));
    CMyRnd rnd;
    rnd.InitSeed(17);
    std::vector<double> x(kMaxCrossovers);
    long crossovers = 0;
    for (int trial = 0; trial < 2000; ++trial) {
        short n;
        SampleCrossoPos(sim->prm.genome, sim->genome.chrom[0], n, x.data(), 1.0, &rnd);
        crossovers += n;
        for (int i = 1; i < n; ++i) ASSERT_GT(x[i] - x[i - 1], 5.0);
    }
    EXPECT_GT(crossovers, 2000 * 5);  // thinned from a mean of 10, but far from empty

    auto without = EngineOf(HistoryParam("hg_size = 10 [0];", "mean_crossover = 5;\n" + ChromosomeBlock(1, 200, 10, 1)));
    int close = 0;
    for (int trial = 0; trial < 200; ++trial) {
        short n;
        SampleCrossoPos(without->prm.genome, without->genome.chrom[0], n, x.data(), 1.0, &rnd);
        for (int i = 1; i < n; ++i) close += x[i] - x[i - 1] <= 5.0;
    }
    EXPECT_GT(close, 100);
}

TEST(Crossovers, NoMeanCrossoverMeansWholeParentalHaplotypes)
{
    std::string genome = "mean_crossover = 0;\n" + ChromosomeBlock(2, 100, 50, 5);
    auto sim = SimulateHistory(HistoryParam("hg_size = 30 [0] 30 [3];", genome), 13, 1);
    EXPECT_EQ(sim->hp.patCross + sim->hp.matCross, 0u);
}

TEST(Meiosis, ARecentIndividualGetsItsParentsAllelesItsQtlValueAndItsCrossoverLines)
{
    std::string genome = "mean_crossover = 5;\n" + ChromosomeBlock(2, 100, 20, 4);
    std::string text = HistoryParam("hg_size = 10 [0];", genome);
    text.replace(text.find(" ng = 0;"), 8, " ng = 1;\n begin_popoutput; crossover; end_popoutput;");
    auto sim = EngineOf(text);
    sim->InitializeRun();
    GetMrkQTLIdx(sim->genome);
    sim->curPop = &sim->pops[0];
    SRec sire, dam, child;
    for (SRec* r : {&sire, &dam, &child}) AllocRecChr(sim->genomePool, sim->genome, r);
    for (int g = 0; g < sim->genome.nLociTot; ++g) {
        sire.Pat()[g] = 1, sire.Mat()[g] = 2, dam.Pat()[g] = 3, dam.Mat()[g] = 4;
        if (sim->genome.LocusAt(g)->isQTL) sim->genome.LocusAt(g)->effect = {0.5, 1, 10, 100};
    }
    child.sire = &sire, child.dam = &dam, child.id = 57, child.gen = 1, child.sex = 0;
    CMyRnd rnd;
    rnd.InitSeed(8);
    CWriteBuffer out;
    TempDir dir;
    FILE* fp = fopen((dir / "crosso.txt").c_str(), "w");
    out.SetFilePointer(fp);
    std::vector<SCrossoP> cross(sim->genome.chrom.size());
    Meiosis(sim->prm.genome, sim->genome, &child, &rnd, cross.data(), &out);
    out.Dump();
    fclose(fp);

    double expectedQtl = 0;
    for (int g = 0; g < sim->genome.nLociTot; ++g) {
        EXPECT_TRUE(child.Pat()[g] == 1 || child.Pat()[g] == 2) << g;
        EXPECT_TRUE(child.Mat()[g] == 3 || child.Mat()[g] == 4) << g;
        if (sim->genome.LocusAt(g)->isQTL) expectedQtl += sim->genome.LocusAt(g)->effect[child.Pat()[g] - 1] +
                                                   sim->genome.LocusAt(g)->effect[child.Mat()[g] - 1];
    }
    EXPECT_DOUBLE_EQ(child.qtlVal, expectedQtl);
    // Lines: "I 57", then "S C1{ 12.5 80.25}"-style lines: positions without trailing zeros.
    std::string lines = ReadFile(dir / "crosso.txt");
    EXPECT_EQ(lines.substr(0, 5), "I 57\n");
    EXPECT_TRUE(std::regex_search(lines, std::regex("\n[SD]( C[12]\\{( [0-9]+\\.[0-9]*[1-9])+\\})+\n")))
        << lines;
    EXPECT_EQ(lines.find("0 "), std::string::npos);
    EXPECT_EQ(lines.find("0}"), std::string::npos);
    for (SRec* r : {&sire, &dam, &child}) FreeRecChr(sim->genomePool, r->patChr);
}
