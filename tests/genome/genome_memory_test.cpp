// Haplotype storage, homozygosity and the release of genomes.
#include <functional>
#include <gtest/gtest.h>

#include "history/history_test_util.h"
#include "param/param_test_util.h"

namespace {

std::unique_ptr<SimClass> TwoChromosomes(int markers, int qtl, const std::function<void(SParams&)>& adjust = nullptr)
{
    auto sim = EngineOf(HistoryParam("hg_size = 10 [0];", ChromosomeBlock(1, 50, markers, qtl) +
                                                              ChromosomeBlock(1, 50, markers, qtl, "xchr;")),
                        adjust);
    sim->InitializeRun();
    GetMrkQTLIdx(sim->genome);
    return sim;
}

}  // namespace

TEST(GenomeMemory, HaplotypesAreAddressedByChromosomeOrGenomeWideIndex)
{
    auto sim = TwoChromosomes(3, 1);
    SRec r;
    AllocRecChr(sim->genomePool, sim->genome, &r);
    r.patChr[1][2] = 7;
    EXPECT_EQ(r.Pat()[4 + 2], 7);
    r.Mat()[1] = 9;
    EXPECT_EQ(r.matChr[0][1], 9);
    FreeRecChr(sim->genomePool, r.patChr);
}

TEST(GenomeMemory, AMalesHomozygosityLeavesOutTheXButCountsItsMarkers)
{
    auto sim = TwoChromosomes(4, 0);
    SRec r;
    AllocRecChr(sim->genomePool, sim->genome, &r);
    for (int g = 0; g < 8; ++g) {
        r.Pat()[g] = 1;
        r.Mat()[g] = g < 2 ? 1 : 2;  // two homozygous markers on the autosome, none on the X
    }
    r.sex = 1;
    EXPECT_EQ(MrkHomozy(sim->genome, &r), 2);
    EXPECT_DOUBLE_EQ(r.homo, 2.0 / 8);
    for (int g = 4; g < 8; ++g) r.Mat()[g] = 1;
    EXPECT_EQ(MrkHomozy(sim->genome, &r), 2);  // a male's X counts nothing
    r.sex = 0;
    EXPECT_EQ(MrkHomozy(sim->genome, &r), 6);
    FreeRecChr(sim->genomePool, r.patChr);
}

TEST(GenomeMemory, WithoutQtlTheQtlSummaryIsZero)
{
    auto sim = TwoChromosomes(5, 0);
    for (SLocus& l : sim->genome.locusStore) l.nAllele = 3;
    GetLociInfo(sim->genome);
    EXPECT_EQ(sim->genome.qtlAlleles.max, 0);
    EXPECT_EQ(sim->genome.qtlAlleles.mean, 0);
    EXPECT_EQ(sim->genome.mrkAlleles.min, 3);
    EXPECT_DOUBLE_EQ(sim->genome.allAlleles.mean, 3);
}

TEST(GenomeMemory, AReleasedGenomeIsNeverFreedTwice)
{
    auto sim = TwoChromosomes(3, 1, [](SParams& prm) { prm.pops[0].nMaleFounder = prm.pops[0].nFemaleFounder = 0; });
    CPopulation& p = sim->pops[0];
    p.nIndiv = 4;
    sim->AllocPopMem();
    sim->InitializeRep();
    for (int i = 0; i < 4; ++i) {
        AllocRecChr(sim->genomePool, sim->genome, &p.indiv[i]);
        p.indiv[i].genomeUse = &sim->replicate.genomeUseCount[i];
        sim->replicate.genomeUseCount[i] = i < 2 ? 0 : 1;
    }
    FreeChrProgMem(sim->genomePool, p, 0, 3);  // releases the two genomes nobody holds
    EXPECT_EQ(sim->replicate.genomeUseCount[0], kGenomeReleased);
    EXPECT_EQ(sim->replicate.genomeUseCount[2], 1);
    EXPECT_NE(p.indiv[2].patChr, nullptr);
    sim->FreePopMem();  // frees the other two only; the sanitizer build catches a double free
    EXPECT_TRUE(sim->replicate.genomeUseCount.empty());
}

TEST(GenomeMemory, ReleasedStorageIsReusedForTheNextIndividualOfTheSameSize)
{
    auto sim = TwoChromosomes(3, 1);
    SRec a, b, c;
    AllocRecChr(sim->genomePool, sim->genome, &a);
    uint16_t** first = a.patChr;
    FreeRecChr(sim->genomePool, a.patChr);
    AllocRecChr(sim->genomePool, sim->genome, &b);
    EXPECT_EQ(b.patChr, first);  // the kept block, no fresh memory
    AllocRecChr(sim->genomePool, sim->genome, &c);
    EXPECT_NE(c.patChr, b.patChr);
    EXPECT_EQ(c.patChr[1] - c.patChr[0], 4);  // pointers laid out again for the new holder
    FreeRecChr(sim->genomePool, b.patChr);
    FreeRecChr(sim->genomePool, c.patChr);
}
