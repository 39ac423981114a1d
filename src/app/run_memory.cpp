// The memory phases of a run, a replicate and a population: records, statistics, genome use
// counters and founder flags sized from the parameters, reset per replicate and released.
#include <algorithm>

#include "app/simclass.h"

void SimClass::AllocGlobalMem()
{
    for (CPopulation& p : pops) {
        p.genStat.assign(static_cast<size_t>(p.prm.ng) + 2, SGenStat());
        p.repStat.assign(static_cast<size_t>(p.prm.ng) + 1, SGenRepStat());
    }
    genome.mrkIndex.assign(static_cast<size_t>(genome.nMrkTot), 0);
    genome.qtlIndex.assign(static_cast<size_t>(genome.nQTLTot), 0);
    replicate.unknownParent.id = 0;
    replicate.unknownParent.inbF = -1.0;  // so dFactor is 1.0 for two unknown parents, 0.75 - 0.25 F for one
}

void SimClass::AllocPopMem()
{
    hp.recs.assign(static_cast<size_t>(prm.hist.LargestSize()), SRec());
    hp.lastGen.assign(static_cast<size_t>(prm.hist.LastSize()), nullptr);
    size_t counters = static_cast<size_t>(prm.hist.LastSize());
    for (CPopulation& p : pops) {
        p.indiv.assign(static_cast<size_t>(p.nIndiv), SRec());
        p.cand.assign(static_cast<size_t>(p.nIndiv), nullptr);
        p.sires.assign(static_cast<size_t>(p.prm.maxSires), nullptr);
        p.dams.assign(static_cast<size_t>(p.prm.maxDams), nullptr);
        counters += static_cast<size_t>(std::max(0, p.nIndiv - p.prm.nMaleFounder - p.prm.nFemaleFounder));
    }
    replicate.genomeUseCount.assign(counters, 0);
    replicate.founderFlag.assign(counters + 1, 0);
}

void SimClass::InitializeRep()
{
    std::fill(replicate.genomeUseCount.begin(), replicate.genomeUseCount.end(), 0);
    std::fill(replicate.founderFlag.begin(), replicate.founderFlag.end(), 0);
    replicate.nextGenomeSlot = 0;
    replicate.nextId = 0;
    for (CPopulation& p : pops) {
        std::fill(p.indiv.begin(), p.indiv.end(), SRec());
        for (SGenStat& st : p.genStat) {
            std::vector<uint32_t> litters = std::move(st.lsCount);  // drawn before the replicate's memory
            st = SGenStat();
            st.lsCount = std::move(litters);
        }
        p.nFounderPlaced = 0;
    }
}

void SimClass::FreePopMem()
{
    for (SRec& r : hp.recs)
        if (r.patChr) ReleaseGenome(genomePool, &r);
    hp.recs.clear();
    hp.lastGen.clear();
    for (CPopulation& p : pops) {
        for (SRec& r : p.indiv)
            if (r.genomeUse && *r.genomeUse != kGenomeReleased) ReleaseGenome(genomePool, &r);
        p.indiv.clear();
        p.cand.clear();
        p.sires.clear();
        p.dams.clear();
    }
    replicate.genomeUseCount.clear();
    replicate.founderFlag.clear();

    if (!genome.selectedLoci.empty() || prm.genome.select_seg_loci) {
        // Every replicate starts again from the full genome.
        genome.selectedLoci.clear();
        genome.nMrkTot = genome.nQTLTot = 0;
        for (SChrom& ch : genome.chrom) {
            ch.loci = ch.fullLoci;
            ch.nMrk = ch.nMrkFull;
            ch.nQTL = ch.nQTLFull;
            genome.nMrkTot += ch.nMrk;
            genome.nQTLTot += ch.nQTL;
        }
        genome.nLociTot = genome.nMrkTot + genome.nQTLTot;
    }
}

void SimClass::FreeParamMem()
{
    genome.locusStore.clear();
    genome.locusPtr.clear();
    genome.chrom.clear();
}

void SimClass::FreeGlobalMem()
{
    genomePool.Clear();
    genome.mrkIndex.clear();
    genome.qtlIndex.clear();
}

// The parents of the current generation are done: each releases one hold on its genome.
void SimClass::FreeChrLastSireDamMem()
{
    CPopulation& p = *curPop;
    const SGenPlan& plan = p.prm.plan[p.prm.ng];
    for (int i = 0; i < plan.nSires && i < static_cast<int>(p.sires.size()); ++i) DropGenomeUse(genomePool, p.sires[i]);
    for (int i = 0; i < plan.nDams && i < static_cast<int>(p.dams.size()); ++i) DropGenomeUse(genomePool, p.dams[i]);
}
