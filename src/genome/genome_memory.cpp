// Haplotype storage of individuals, the genome-wide index lists, homozygosity, and the
// allocation and release phases of the run, the replicate and the populations.
#include <algorithm>
#include <new>

#include "app/simclass.h"
#include "support/messages.h"
#include "support/worker_error.h"

// One block holds both pointer arrays and both allele blocks: entry c of patChr points
// nMrk + nQTL of chromosome c-1 further than entry c-1, so alleles can be addressed by
// chromosome or by genome-wide index. Blocks come from the engine's pool (main thread only).
void SimClass::AllocRecChr(SRec* rec)
{
    size_t pointers = 2 * static_cast<size_t>(prm.genome.nChr) * sizeof(uint16_t*);
    size_t alleles = 2 * static_cast<size_t>(genome.nLociTot) * sizeof(uint16_t);
    void* block = genomePool.Take(pointers + alleles);
    if (!block) RaiseFatal("Error (AllocRecChr) - Allocation failed!\n");
    rec->patChr = static_cast<uint16_t**>(block);
    rec->matChr = rec->patChr + prm.genome.nChr;
    uint16_t* pat = reinterpret_cast<uint16_t*>(rec->matChr + prm.genome.nChr);
    uint16_t* mat = pat + genome.nLociTot;
    int offset = 0;
    for (int c = 0; c < prm.genome.nChr; ++c) {
        rec->patChr[c] = pat + offset;
        rec->matChr[c] = mat + offset;
        offset += genome.chrom[c].NLoci();
    }
}

void SimClass::FreeRecChr(uint16_t** patChr)
{
    genomePool.Give(patChr);
}

void SimClass::ReleaseGenome(SRec* rec)
{
    if (rec->genomeUse && *rec->genomeUse == kGenomeReleased) return;
    FreeRecChr(rec->patChr);
    rec->patChr = rec->matChr = nullptr;
    if (rec->genomeUse) *rec->genomeUse = kGenomeReleased;
}

void SimClass::GetMrkQTLIdx()
{
    genome.mrkIndex.resize(static_cast<size_t>(genome.nMrkTot));
    genome.qtlIndex.resize(static_cast<size_t>(genome.nQTLTot));
    genome.lociPosition.resize(static_cast<size_t>(genome.nMrkTot + genome.nQTLTot));
    int g = 0, markers = 0, qtl = 0;
    for (SChrom& ch : genome.chrom) {
        ch.mrkIdx = genome.mrkIndex.data() + markers;
        ch.qtlIdx = genome.qtlIndex.data() + qtl;
        ch.lociPos = genome.lociPosition.data() + g;
        for (int i = 0; i < ch.NLoci(); ++i, ++g) {
            if (g < static_cast<int>(genome.lociPosition.size())) genome.lociPosition[g] = ch.loci[i]->pos;
            if (ch.loci[i]->isQTL) {
                if (qtl < genome.nQTLTot) genome.qtlIndex[qtl] = g;
                ++qtl;
            } else {
                if (markers < genome.nMrkTot) genome.mrkIndex[markers] = g;
                ++markers;
            }
        }
    }
    if (markers != genome.nMrkTot || qtl != genome.nQTLTot) Abort("Error - Function GetMrkQTLIdx()\n");
}

void SimClass::GetLociInfo()
{
    long sum[2] = {0, 0};
    int most[2] = {0, 0}, least[2] = {10000000, 10000000};
    for (const SChrom& ch : genome.chrom)
        for (int i = 0; i < ch.NLoci(); ++i) {
            const SLocus* l = ch.loci[i];
            int k = l->isQTL ? 1 : 0;
            sum[k] += l->nAllele;
            most[k] = std::max(most[k], static_cast<int>(l->nAllele));
            least[k] = std::min(least[k], static_cast<int>(l->nAllele));
        }
    genome.mrkAlleles = genome.qtlAlleles = genome.allAlleles = SAlleleSummary();
    if (genome.nQTLTot > 0) genome.qtlAlleles = {static_cast<double>(sum[1]) / genome.nQTLTot, most[1], least[1]};
    if (genome.nMrkTot > 0) genome.mrkAlleles = {static_cast<double>(sum[0]) / genome.nMrkTot, most[0], least[0]};
    if (genome.nLociTot > 0)
        genome.allAlleles = {static_cast<double>(sum[0] + sum[1]) / genome.nLociTot, std::max(most[0], most[1]),
                      std::min(least[0], least[1])};
}

// Equal alleles are counted over each chromosome's contiguous block of loci (a loop the
// compiler vectorises), then the QTL among them are taken out: far fewer look-ups than walking
// the marker index.
int SimClass::MrkHomozy(SRec* rec)
{
    int count = 0;
    const uint16_t* patAll = rec->Pat();
    const uint16_t* matAll = rec->Mat();
    for (int c = 0; c < prm.genome.nChr; ++c) {
        const SChrom& ch = genome.chrom[c];
        if (ch.prm.isX && rec->sex == 1) continue;  // a male's two X copies are the same
        const uint16_t* pat = rec->patChr[c];
        const uint16_t* mat = rec->matChr[c];
        const int n = ch.NLoci();
        int same = 0;
        for (int i = 0; i < n; ++i) same += pat[i] == mat[i];
        for (int k = 0; k < ch.nQTL; ++k) same -= patAll[ch.qtlIdx[k]] == matAll[ch.qtlIdx[k]];
        count += same;
    }
    rec->homo = genome.nMrkTot > 0 ? static_cast<double>(count) / genome.nMrkTot : 0;
    return count;
}

void SimClass::AllocGlobalMem()
{
    for (CPopulation& p : pops) {
        p.genStat.assign(static_cast<size_t>(p.prm.ng) + 2, SGenStat());
        p.repStat.assign(static_cast<size_t>(p.prm.ng) + 1, SGenRepStat());
    }
    crossScratch.assign(static_cast<size_t>(prm.genome.nChr), SCrossoP());
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
        if (r.patChr) ReleaseGenome(&r);
    hp.recs.clear();
    hp.lastGen.clear();
    for (CPopulation& p : pops) {
        for (SRec& r : p.indiv)
            if (r.genomeUse && *r.genomeUse != kGenomeReleased) ReleaseGenome(&r);
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
    crossScratch.clear();
    genome.mrkIndex.clear();
    genome.qtlIndex.clear();
}

// The parents of the current generation are done: each releases one hold on its genome.
void SimClass::FreeChrLastSireDamMem()
{
    CPopulation& p = *curPop;
    const SGenPlan& plan = p.prm.plan[p.prm.ng];
    for (int i = 0; i < plan.nSires && i < static_cast<int>(p.sires.size()); ++i) DropGenomeUse(p.sires[i]);
    for (int i = 0; i < plan.nDams && i < static_cast<int>(p.dams.size()); ++i) DropGenomeUse(p.dams[i]);
}

void SimClass::DropGenomeUse(SRec* rec)
{
    if (!rec || !rec->genomeUse || *rec->genomeUse == kGenomeReleased) return;
    if (*rec->genomeUse > 0) --*rec->genomeUse;
    if (*rec->genomeUse == 0) ReleaseGenome(rec);
}

void SimClass::FreeChrProgMem(CPopulation* pop, int first, int last)
{
    for (int i = first; i <= last && i < static_cast<int>(pop->indiv.size()); ++i) {
        SRec& r = pop->indiv[i];
        if (r.genomeUse && *r.genomeUse == 0) ReleaseGenome(&r);
    }
}

// Every locus record starts from its statements; the loci whose positions the statements fix
// are then put into map order (the others are placed per replicate).
void SimClass::BuildGenome()
{
    const SGenomeParams& g = prm.genome;
    genome.chrom.clear();
    genome.chrom.reserve(g.chrom.size());
    for (const SChromParams& c : g.chrom) genome.chrom.emplace_back(c);
    genome.nMrkTot = g.nMrkTot;
    genome.nQTLTot = g.nQTLTot;
    genome.nLociTot = genome.nMrkTot + genome.nQTLTot;
    genome.locusStore.assign(static_cast<size_t>(genome.nLociTot), SLocus());
    genome.locusPtr.assign(static_cast<size_t>(genome.nLociTot), nullptr);
    for (size_t i = 0; i < g.loci.size(); ++i) {
        const SLocusParams& from = g.loci[i];
        SLocus& to = genome.locusStore[i];
        to.isQTL = from.isQTL;
        to.nAllele0 = from.nAllele0;
        to.pos = from.pos;
        to.freq = from.freq;
        to.targetVar = from.targetVar;
        genome.locusPtr[i] = &to;
    }
    for (SChrom& ch : genome.chrom) ch.loci = ch.fullLoci = genome.locusPtr.data() + ch.prm.firstLocus;
    for (short c = 0; c < g.nChr; ++c) SortFixedPositions(c);
}
