// The two ends of the historical population: founders in complete linkage disequilibrium,
// and the last generation (allele re-numbering, QTL effects, segregating loci, records).
#include <algorithm>
#include <cmath>
#include <cstring>
#include <vector>

#include "history/last_generation.h"

#include "random/rnd.h"
#include "random/shuffle.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

// Copies of each allele (by index) among the 2N founder haplotypes at a reference locus.
std::vector<int> AlleleCopies(const SLocus* ref, int haplotypes)
{
    int alleles = std::min(haplotypes, static_cast<int>(ref->nAllele0));
    std::vector<int> order(static_cast<size_t>(alleles));
    for (int a = 0; a < alleles; ++a) order[a] = a;
    Shuffle(order.data(), alleles, alleles);
    std::vector<int> copies(static_cast<size_t>(alleles), 0);
    int total = 0;
    for (int k = 0; k + 1 < alleles; ++k) {
        int a = order[k];
        copies[a] = MyRound(ref->freq[a] * haplotypes);
        total += copies[a];
        if (total > haplotypes) {
            copies[a] -= total - haplotypes;
            total = haplotypes;
            break;
        }
    }
    copies[order[alleles - 1]] += haplotypes - total;
    return copies;
}

// Two alleles for one founder: the last two of the shuffled pool of all copies.
void DealFromPool(const std::vector<int>& copies, int haplotypes, int code, std::vector<int>& pool, uint16_t& pat,
                  uint16_t& mat)
{
    pool.clear();
    for (size_t a = 0; a < copies.size(); ++a) pool.insert(pool.end(), static_cast<size_t>(copies[a]), static_cast<int>(a) + 1);
    if (static_cast<int>(pool.size()) != haplotypes)
        Abort("Error - Internal error. Code %d %d %d\nPlease report the error to %s\n", code, haplotypes,
              static_cast<int>(pool.size()), kContactText);
    Shuffle(pool.data(), haplotypes, haplotypes);
    pat = static_cast<uint16_t>(pool[haplotypes - 2]);
    mat = static_cast<uint16_t>(pool[haplotypes - 1]);
}

const SLocus* FirstOfClass(const SChrom& ch, bool qtl, int& index)
{
    for (int i = 0; i < ch.NLoci(); ++i)
        if (static_cast<bool>(ch.loci[i]->isQTL) == qtl) {
            index = i;
            return ch.loci[i];
        }
    return nullptr;
}

double VarianceOf(double sum, double sumSq, int n)
{
    if (n <= 1) return 0;
    double v = (sumSq - sum * sum / n) / (n - 1);
    return v > 0 ? v : 0;
}

double ShownMean(double mean) { return std::fabs(mean) < 1e-12 ? 0 : mean; }

// Mutations that would have passed the limits of the allele numbers were not made.
void WarnIgnoredMutations(const char* kind, const char* kinds, uint64_t ignored)
{
    if (ignored == 0) return;
    Warn("Warning - %s %s mutation events were ignored. Mutation rate for %s or number of generations is probably "
         "too large!\n  - Number of alleles per locus in a generation cannot be larger than %s\n  - Maximum number "
         "of alleles across generation cannot be larger than %s\n",
         FormatNum(ignored), kind, kinds, FormatNum(kMaxAllelesPerGeneration), FormatNum(kMaxAlleleLabel));
    NoWarn++;
}

}  // namespace

void GenerateCompleteLD(const SParams& prm, const SGenome& genome, SRec* gen0)
{
    const int n = prm.hist.FirstSize(), haplotypes = 2 * n;
    std::vector<int> pool;
    for (int c = 0; c < prm.genome.nChr; ++c) {
        const SChrom& ch = genome.chrom[c];
        int mIndex = -1, qIndex = -1;
        const SLocus* refMarker = (ch.prm.cld & kCldMarkers) ? FirstOfClass(ch, false, mIndex) : nullptr;
        const SLocus* refQTL = (ch.prm.cld & kCldQTL) ? FirstOfClass(ch, true, qIndex) : nullptr;
        if (!refMarker && !refQTL) continue;
        bool qtlFollowMarkers = refMarker && (ch.prm.cld & kCldQTLFollowMarkers);
        std::vector<int> mCopies, qCopies;
        if (refMarker) mCopies = AlleleCopies(refMarker, haplotypes);
        if (refQTL) qCopies = AlleleCopies(refQTL, haplotypes);
        for (int f = 0; f < n; ++f) {
            uint16_t* pat = gen0[f].patChr[c];
            uint16_t* mat = gen0[f].matChr[c];
            if (refMarker) DealFromPool(mCopies, haplotypes, 62354, pool, pat[mIndex], mat[mIndex]);
            if (refQTL && !qtlFollowMarkers) DealFromPool(qCopies, haplotypes, 62355, pool, pat[qIndex], mat[qIndex]);
        }
        for (int f = 0; f < n; ++f) {
            uint16_t* pat = gen0[f].patChr[c];
            uint16_t* mat = gen0[f].matChr[c];
            for (int i = 0; i < ch.NLoci(); ++i) {
                bool qtl = ch.loci[i]->isQTL;
                int from = -1;
                if (!qtl && refMarker) from = mIndex;
                if (qtl && refQTL) from = qtlFollowMarkers ? mIndex : qIndex;
                if (from < 0) continue;
                pat[i] = pat[from];
                mat[i] = mat[from];
            }
        }
    }
}

namespace {

void PurgeIndivGenotype_LHG(const SHistRun& h, SRec* lhg, const int* keep, int n)
{
    const SParams& prm = h.prm;
    const SGenome& genome = h.genome;
    for (int i = 0; i < prm.hist.LastSize(); ++i) {
        SRec& r = lhg[i];
        uint16_t** oldPat = r.patChr;
        const uint16_t* pat = r.Pat();
        const uint16_t* mat = r.Mat();
        AllocRecChr(h.genomePool, genome, &r);
        for (int k = 0; k < n; ++k) {
            r.Pat()[k] = pat[keep[k]];
            r.Mat()[k] = mat[keep[k]];
        }
        FreeRecChr(h.genomePool, oldPat);
    }
}

void SelectSegregatingLoci_LHG(const SHistRun& h, SRec* lhg)
{
    const SParams& prm = h.prm;
    SGenome& genome = h.genome;
    const int n = prm.hist.LastSize();
    std::vector<int> markers, qtls;
    std::vector<int> counts;
    for (int g = 0; g < genome.nLociTot; ++g) {
        const SLocus* l = genome.LocusAt(g);
        if (l->nAllele <= 1) continue;
        if (prm.genome.segMaft > 0) {
            counts.assign(static_cast<size_t>(l->nAllele) + 1, 0);
            for (int i = 0; i < n; ++i) {
                counts[lhg[i].Pat()[g]]++;
                counts[lhg[i].Mat()[g]]++;
            }
            int rarest = 2 * n;
            for (int a = 1; a <= l->nAllele; ++a)
                if (counts[a] > 0) rarest = std::min(rarest, counts[a]);
            if (static_cast<double>(rarest) / (2.0 * n) < prm.genome.segMaft) continue;
        }
        (l->isQTL ? qtls : markers).push_back(g);
    }
    int candidateMarkers = static_cast<int>(markers.size()), candidateQTL = static_cast<int>(qtls.size());
    auto keepAtMost = [](std::vector<int>& list, int wanted) {
        if (wanted < 0 || wanted >= static_cast<int>(list.size())) return;
        Shuffle(list.data(), static_cast<int>(list.size()), wanted);
        list.resize(static_cast<size_t>(wanted));
    };
    keepAtMost(markers, prm.genome.segNMrk);
    keepAtMost(qtls, prm.genome.segNQTL);
    std::vector<int> keep(markers);
    keep.insert(keep.end(), qtls.begin(), qtls.end());
    if (keep.empty()) Abort("Error - Markers and QTLs are not segregating in last HP!\n");
    std::sort(keep.begin(), keep.end());

    // New locus lists: each chromosome keeps the selected loci of its old index range.
    std::vector<SLocus*> selected(keep.size());
    for (size_t k = 0; k < keep.size(); ++k) selected[k] = genome.LocusAt(keep[k]);
    genome.selectedLoci.swap(selected);
    size_t next = 0;
    int oldStart = 0;
    genome.nMrkTot = genome.nQTLTot = 0;
    for (SChrom& ch : genome.chrom) {
        int oldEnd = oldStart + ch.NLoci();
        ch.loci = genome.selectedLoci.data() + next;
        ch.nMrk = ch.nQTL = 0;
        for (; next < keep.size() && keep[next] < oldEnd; ++next) (genome.selectedLoci[next]->isQTL ? ch.nQTL : ch.nMrk)++;
        genome.nMrkTot += ch.nMrk;
        genome.nQTLTot += ch.nQTL;
        oldStart = oldEnd;
    }
    genome.nLociTot = genome.nMrkTot + genome.nQTLTot;
    AddValue(h.histRep.selMrk, genome.nMrkTot);
    AddValue(h.histRep.selQTL, genome.nQTLTot);
    GetMrkQTLIdx(genome);
    GetLociInfo(genome);
    PurgeIndivGenotype_LHG(h, lhg, keep.data(), static_cast<int>(keep.size()));
    if (prm.genome.segNMrk > candidateMarkers) {
        fprintf(stderr, "   Warning - Not enough segregating markers.\n");
        NoWarn++;
    }
    if (prm.genome.segNQTL > candidateQTL) {
        fprintf(stderr, "   Warning - Not enough segregating QTLs.\n");
        NoWarn++;
    }
}

}  // namespace

void CloseHistoricalRun(const SHistRun& h, CHistWorkerPool& workers, SRec* lhg)
{
    const SParams& prm = h.prm;
    SGenome& genome = h.genome;
    SHistPop& hp = h.hp;
    CMutation& mutation = h.mutation;
    SHistRepStat& histRep = h.histRep;
    const int n = prm.hist.LastSize();
    for (auto& w : workers.Workers()) {
        hp.patCross += w->patCross;
        hp.matCross += w->matCross;
    }
    mutation.IndexAlleles(lhg, n, true);
    Info("\n");
    Info("No. marker mutation events  : %14s\n", FormatNum(mutation.MarkerEvents()));
    Info("No. QTL mutation events     : %14s\n", FormatNum(mutation.QTLEvents()));
    Info("No. paternal crossovers     : %14s\n", FormatNum(hp.patCross));
    Info("No. maternal crossovers     : %14s\n", FormatNum(hp.matCross));
    WarnIgnoredMutations("marker", "markers", mutation.IgnoredMarkerEvents());
    WarnIgnoredMutations("QTL", "QTL", mutation.IgnoredQTLEvents());

    Info("\nLast historical generation:\n");
    int segMarkers = 0, segQTL = 0;
    AllocQAEffectMem(genome, segMarkers, segQTL);
    AddValue(histRep.segMrk, segMarkers);
    AddValue(histRep.segQTL, segQTL);
    SampleQAEffect(prm.global, genome);
    if (prm.genome.select_seg_loci) {
        int markersBefore = genome.nMrkTot, qtlBefore = genome.nQTLTot;
        SelectSegregatingLoci_LHG(h, lhg);
        MeasureHomozygosity(hp, workers, lhg, n, prm.hist.nmlhg);
        if (markersBefore + qtlBefore > 0) Info("   MAF threshold            : %g\n", prm.genome.segMaft);
        if (markersBefore > 0)
            Info("   No. markers selected     : %-7s out of %-12s (Homo = %g)\n",
                 FormatNum(static_cast<unsigned long long>(genome.nMrkTot)), FormatNum(static_cast<unsigned long long>(markersBefore)),
                 hp.mrkHomo);
        if (qtlBefore > 0)
            Info("   No. QTL selected         : %-7s out of %-12s (Homo = %g)\n",
                 FormatNum(static_cast<unsigned long long>(genome.nQTLTot)), FormatNum(static_cast<unsigned long long>(qtlBefore)),
                 hp.qtlHomo);
    }
    workers.Stop();

    // Records of the last generation: the source of founders of the recent populations.
    const double sdPoly = std::sqrt(prm.global.varPoly), sdRes = std::sqrt(prm.global.varRes);
    for (int i = 0; i < n; ++i) {
        SRec& r = lhg[i];
        r.id = 0;
        r.sire = r.dam = &h.replicate.unknownParent;
        r.gen = 0;
        r.inbF = 0;
        r.nMPrg = r.nFPrg = 0;
        r.genomeUse = h.replicate.NextGenomeUse();
        bool male = i < prm.hist.nmlhg;
        r.sex = male ? 1 : 0;
        r.hasPhen = male ? (prm.global.malesHaveRecords ? 1 : 0) : 1;
        r.polyVal = sdPoly * MyRnd.NRand();
        r.res = r.hasPhen ? sdRes * MyRnd.NRand() : 0;
        MrkHomozy(genome, &r);
        hp.lastGen[static_cast<size_t>(i)] = &r;
    }
    double scale = 1;
    ScaleQAEffect(prm.global, genome, lhg, n, scale);

    double maleLength = 0, femaleLength = 0;
    for (const SChrom& ch : genome.chrom) {
        maleLength += ch.prm.len * ch.prm.maleScale;
        femaleLength += ch.prm.len * ch.prm.femaleScale;
    }
    AddValue(histRep.mrkAlleleMean, genome.mrkAlleles.mean);
    AddValue(histRep.mrkAlleleMax, genome.mrkAlleles.max);
    AddValue(histRep.mrkAlleleMin, genome.mrkAlleles.min);
    AddValue(histRep.qtlAlleleMean, genome.qtlAlleles.mean);
    AddValue(histRep.qtlAlleleMax, genome.qtlAlleles.max);
    AddValue(histRep.qtlAlleleMin, genome.qtlAlleles.min);
    const int counts[3] = {genome.nLociTot, genome.nMrkTot, genome.nQTLTot};
    for (int k = 0; k < 3; ++k) {
        AddValue(histRep.densityMale[k], MyDVD(counts[k], maleLength));
        AddValue(histRep.densityFemale[k], MyDVD(counts[k], femaleLength));
    }

    double qSum = 0, qSumSq = 0, pSum = 0, pSumSq = 0;
    for (int i = 0; i < n; ++i) {
        SRec& r = lhg[i];
        r.qtlVal = QTLValue(genome, &r);
        r.phen = r.hasPhen ? r.qtlVal + r.polyVal + r.res : 0;
        qSum += r.qtlVal;
        qSumSq += r.qtlVal * r.qtlVal;
        pSum += r.polyVal;
        pSumSq += r.polyVal * r.polyVal;
    }
    double qtlMean = ShownMean(qSum / n), qtlVar = VarianceOf(qSum, qSumSq, n);
    double polyMean = ShownMean(pSum / n), polyVar = VarianceOf(pSum, pSumSq, n);
    Info("   QTL mean (var)           : %11.5f (%g)           Scale = %.5f\n", qtlMean, qtlVar, scale);
    Info("   Polygenic mean (var)     : %11.5f (%g)\n", polyMean, polyVar);

    Info("\nChr   %10s   %10s   %10s\n", "Length", "No. Markers", "No. QTLs");
    for (const SChrom& ch : genome.chrom)
        Info(ch.prm.isX ? "%3d S %10.5f   %10s   %10s\n" : "%3d   %10.5f   %10s   %10s\n", ch.prm.number, ch.prm.len,
             FormatNum(static_cast<unsigned long long>(ch.nMrk)), FormatNum(static_cast<unsigned long long>(ch.nQTL)));
    h.reports.lastGeneration(polyMean, polyVar, qtlMean, qtlVar, scale);
}
