// Locus positions and numbers of alleles drawn for each replicate.
#include <gtest/gtest.h>

#include <algorithm>
#include <set>

#include "history/history_test_util.h"
#include "param/param_test_util.h"

namespace {

std::vector<double> Positions(const SimClass& sim, bool qtl)
{
    std::vector<double> p;
    for (const SChrom& ch : sim.genome.chrom)
        for (int i = 0; i < ch.NLoci(); ++i)
            if (static_cast<bool>(ch.loci[i]->isQTL) == qtl) p.push_back(ch.loci[i]->pos);
    return p;
}

std::unique_ptr<SimClass> Genome(const std::string& genome)
{
    MyRnd.InitSeed(99);
    return EngineOf(HistoryParam("hg_size = 10 [0];", genome));
}

}  // namespace

TEST(Positions, RandomPositionsAreDistinctWithinTheirRange)
{
    auto sim = Genome("begin_chr = 1; chrlen = 50; nmloci = 900; mpos = rnd /start 10 /end 10.01; nma = all 2;"
                      " maf = eql; nqloci = 5; qpos = pd 10.002 10.004 10.006 10.008 20; nqa = all 2; qaf = eql;"
                      " qae = rnd; end_chr;\n");
    SampleParam(sim->prm.genome, sim->genome, 1);
    const SChrom& ch = sim->genome.chrom[0];
    std::set<double> seen;
    for (int i = 0; i < ch.NLoci(); ++i) {
        double p = ch.loci[i]->pos;
        if (i > 0) {
            EXPECT_GT(p, ch.loci[i - 1]->pos);
        }
        if (!ch.loci[i]->isQTL) {
            EXPECT_GE(p, 10);
            EXPECT_LE(p, 10.01);
        }
        seen.insert(p);
    }
    EXPECT_EQ(seen.size(), 905u);
    EXPECT_EQ(Positions(*sim, true), (std::vector<double>{10.002, 10.004, 10.006, 10.008, 20}));  // fixed QTL stay
}

TEST(Positions, MoreLociThanPositionsInTheRangeStopTheRun)
{
    auto sim = Genome("begin_chr = 1; chrlen = 50; nmloci = 20; mpos = rnd /start 5 /end 5.0001; nma = all 2;"
                      " maf = eql; nqloci = 0; qpos = rnd; nqa = all 2; qaf = eql; qae = rnd; end_chr;\n");
    EXPECT_EXIT(SampleParam(sim->prm.genome, sim->genome, 1), testing::ExitedWithCode(1), "20 loci cannot be placed at distinct positions");
}

TEST(Positions, FirstReplicateDrawsAreKeptAndEveryReplicateDrawsAreNew)
{
    auto sim = Genome("begin_chr = 1; chrlen = 100; nmloci = 30; mpos = rnd1; nma = rnd1 2 3 4 5; maf = rnd1;"
                      " nqloci = 10; qpos = rnd; nqa = rnd 2 3 4 5; qaf = rnd; qae = rnd; end_chr;\n");
    SampleParam(sim->prm.genome, sim->genome, 1);
    std::vector<double> markers = Positions(*sim, false), qtl = Positions(*sim, true);
    auto alleles = [&](bool q) {
        std::vector<int> n;
        for (int i = 0; i < sim->genome.chrom[0].NLoci(); ++i)
            if (static_cast<bool>(sim->genome.chrom[0].loci[i]->isQTL) == q) n.push_back(sim->genome.chrom[0].loci[i]->nAllele0);
        return n;
    };
    std::vector<int> mAlleles = alleles(false), qAlleles = alleles(true);
    std::vector<double> firstFreq = sim->genome.chrom[0].loci[0]->freq;
    SampleParam(sim->prm.genome, sim->genome, 2);
    EXPECT_EQ(Positions(*sim, false), markers);
    EXPECT_NE(Positions(*sim, true), qtl);
    EXPECT_EQ(alleles(false), mAlleles);
    EXPECT_NE(alleles(true), qAlleles);
    for (const SChrom& ch : sim->genome.chrom)
        for (int i = 0; i < ch.NLoci(); ++i) {
            const std::vector<double>& f = ch.loci[i]->freq;
            ASSERT_EQ(f.size(), ch.loci[i]->nAllele0);
            double sum = 0;
            for (double x : f) sum += x;
            EXPECT_NEAR(sum, 1, 1e-12);
        }
}

TEST(Positions, GenomeWidePlacementSpreadsLociOverChromosomesOnce)
{
    // Chromosome positions are not drawn again (mpos = even): only the genome-wide draw moves them.
    auto sim = Genome("r1_mpos_g;\nbegin_chr = 4; chrlen = 100; nmloci = 50; mpos = even; nma = all 2; maf = eql;"
                      " nqloci = 5; qpos = rnd1; nqa = all 2; qaf = eql; qae = rnd; end_chr;\n");
    SampleParam(sim->prm.genome, sim->genome, 1);
    std::vector<int> counts;
    int total = 0;
    for (const SChrom& ch : sim->genome.chrom) {
        counts.push_back(ch.nMrk);
        total += ch.nMrk;
        for (int i = 0; i < ch.NLoci(); ++i) {
            EXPECT_GT(ch.loci[i]->pos, 0);
            EXPECT_LE(ch.loci[i]->pos, ch.prm.len);
        }
    }
    EXPECT_EQ(total, 200);
    EXPECT_NE(counts, (std::vector<int>{50, 50, 50, 50}));
    std::vector<double> markers = Positions(*sim, false);
    SampleParam(sim->prm.genome, sim->genome, 2);
    EXPECT_EQ(Positions(*sim, false), markers);
    for (size_t c = 0; c < sim->genome.chrom.size(); ++c) EXPECT_EQ(sim->genome.chrom[c].nMrk, counts[c]);
}

TEST(Positions, LociNotDrawnAgainAreSortedAndCutWithTheirPositionValues)
{
    // In replicate 2 only the QTL are drawn along the genome. The markers keep the values their
    // chromosomes gave them (mpos = rnd, at most 100 cM), so along the concatenated genome they
    // all fall on the first chromosome.
    auto sim = Genome("r1_mpos_g;\nr_qpos_g;\n" + ChromosomeBlock(3, 100, 40, 6));
    SampleParam(sim->prm.genome, sim->genome, 1);
    EXPECT_NE(sim->genome.chrom[0].nMrk, 120);
    SampleParam(sim->prm.genome, sim->genome, 2);
    EXPECT_EQ(sim->genome.chrom[0].nMrk, 120);
    EXPECT_EQ(sim->genome.nQTLTot, 18);
}

TEST(Positions, AGivenPositionTakesPartInGenomeWidePlacementAsItIs)
{
    // The QTL at 27 cM of chromosome 2 sorts at 27 on the concatenated genome: chromosome 1.
    auto sim = Genome("r_mpos_g;\n" + ChromosomeBlock(1, 100, 30, 0) +
                      "begin_chr = 1; chrlen = 100; nmloci = 30; mpos = rnd; nma = all 2; maf = eql; nqloci = 1;"
                      " qpos = pd 27; nqa = all 2; qaf = eql; qae = rndg 0.4; end_chr;\n");
    SampleParam(sim->prm.genome, sim->genome, 1);
    EXPECT_EQ(sim->genome.chrom[0].nQTL, 1);
    EXPECT_EQ(sim->genome.chrom[1].nQTL, 0);
    EXPECT_EQ(Positions(*sim, true), std::vector<double>{27});
}

TEST(Positions, GenomeWideDrawsPastTheEndLandOnTheLastChromosome)
{
    // Draws reach 0.00001 past the genome's end; on 1 cM with 20,000 markers some of the 30
    // replicates draw that far.
    auto sim = Genome("r_mpos_g;\n" + ChromosomeBlock(1, 1, 20000, 0));
    const SChrom& ch = sim->genome.chrom[0];
    for (int rep = 1; rep <= 30; ++rep) {
        SampleParam(sim->prm.genome, sim->genome, rep);
        ASSERT_EQ(ch.nMrk, 20000) << rep;
        for (int i = 0; i < ch.NLoci(); ++i) {
            ASSERT_LE(ch.loci[i]->pos, ch.prm.len) << rep;
            if (i > 0) {
                ASSERT_GT(ch.loci[i]->pos, ch.loci[i - 1]->pos) << rep;
            }
        }
    }
}
