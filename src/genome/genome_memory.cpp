// Haplotype storage of individuals, the genome-wide index lists, homozygosity, and the
// allocation and release phases of the run, the replicate and the populations.
#include <algorithm>
#include <new>

#include "genome/genome.h"
#include "support/messages.h"
#include "support/worker_error.h"

// One block holds both pointer arrays and both allele blocks: entry c of patChr points
// nMrk + nQTL of chromosome c-1 further than entry c-1, so alleles can be addressed by
// chromosome or by genome-wide index. Blocks come from the run's pool (main thread only).
void AllocRecChr(CGenomePool& pool, const SGenome& genome, SRec* rec)
{
    const int nChr = static_cast<int>(genome.chrom.size());
    size_t pointers = 2 * static_cast<size_t>(nChr) * sizeof(uint16_t*);
    size_t alleles = 2 * static_cast<size_t>(genome.nLociTot) * sizeof(uint16_t);
    void* block = pool.Take(pointers + alleles);
    if (!block) RaiseFatal("Error (AllocRecChr) - Allocation failed!\n");
    rec->patChr = static_cast<uint16_t**>(block);
    rec->matChr = rec->patChr + nChr;
    uint16_t* pat = reinterpret_cast<uint16_t*>(rec->matChr + nChr);
    uint16_t* mat = pat + genome.nLociTot;
    int offset = 0;
    for (int c = 0; c < nChr; ++c) {
        rec->patChr[c] = pat + offset;
        rec->matChr[c] = mat + offset;
        offset += genome.chrom[c].NLoci();
    }
}

void FreeRecChr(CGenomePool& pool, uint16_t** patChr)
{
    pool.Give(patChr);
}

void ReleaseGenome(CGenomePool& pool, SRec* rec)
{
    if (rec->genomeUse && *rec->genomeUse == kGenomeReleased) return;
    FreeRecChr(pool, rec->patChr);
    rec->patChr = rec->matChr = nullptr;
    if (rec->genomeUse) *rec->genomeUse = kGenomeReleased;
}

void GetMrkQTLIdx(SGenome& genome)
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

void GetLociInfo(SGenome& genome)
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
int MrkHomozy(const SGenome& genome, SRec* rec)
{
    int count = 0;
    const uint16_t* patAll = rec->Pat();
    const uint16_t* matAll = rec->Mat();
    for (size_t c = 0; c < genome.chrom.size(); ++c) {
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

void DropGenomeUse(CGenomePool& pool, SRec* rec)
{
    if (!rec || !rec->genomeUse || *rec->genomeUse == kGenomeReleased) return;
    if (*rec->genomeUse > 0) --*rec->genomeUse;
    if (*rec->genomeUse == 0) ReleaseGenome(pool, rec);
}

// Every locus record starts from its statements; the loci whose positions the statements fix
// are then put into map order (the others are placed per replicate).
void BuildGenome(const SGenomeParams& g, SGenome& genome)
{
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
    for (SChrom& ch : genome.chrom) SortFixedPositions(ch);
}
