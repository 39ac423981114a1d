// Mutation of new historical generations and re-numbering of the alleles present at the end of
// the historical run.
#include "genome/mutation.h"

#include <algorithm>
#include <cmath>
#include <boost/thread.hpp>

#include "random/rnd.h"
#include "support/messages.h"
#include "support/worker_error.h"

namespace {

// Size of the per-worker tables of IndexAlleles: one entry per possible 16-bit allele number.
constexpr int kAlleleTableSize = 65536;
// Smallest share of loci one re-indexing worker takes.
constexpr int kMinLociPerWorker = 20;

// One of the other nAllele - 1 alleles than a, each with the same probability (main generator).
uint16_t RecurrentAllele(uint16_t a, int nAllele)
{
    int r = static_cast<int>(std::ceil(MyRnd.URand() * (nAllele - 1)));
    if (r == 0) r = 1;
    return static_cast<uint16_t>(r >= a ? r + 1 : r);
}

// Gives the copy a brand-new allele number, unless the locus has run out of allele numbers or
// labels. Returns false when the mutation has to be ignored.
bool NewAllele(SLocus& locus, uint16_t& allele)
{
    if (locus.nAllele >= kMaxAllelesPerGeneration || locus.maxLabel > kMaxAlleleLabel) return false;
    allele = ++locus.nAllele;
    return true;
}

// Marks in newNumber (cleared over 0..nAllele) the allele numbers carried at locus g by the n
// individuals. Relies on every allele at the locus lying in 1..nAllele.
void MarkPresent(const SRec* recs, int n, int g, int nAllele, uint16_t* newNumber)
{
    std::fill(newNumber, newNumber + nAllele + 1, 0);
    for (int i = 0; i < n; ++i) {
        newNumber[recs[i].Pat()[g]] = 1;
        newNumber[recs[i].Mat()[g]] = 1;
    }
}

// Rewrites both alleles of every individual at locus g through newNumber.
void RewriteAlleles(SRec* recs, int n, int g, const uint16_t* newNumber)
{
    for (int i = 0; i < n; ++i) {
        uint16_t& pat = recs[i].Pat()[g];
        uint16_t& mat = recs[i].Mat()[g];
        pat = newNumber[pat];
        mat = newNumber[mat];
    }
}

}  // namespace

void Split2Index(SIndex* parts, int first, int last, int& nParts, int minPerPart)
{
    int total = last - first + 1;
    if (nParts < 1) nParts = 1;
    int per = total / nParts;
    if (per < minPerPart) {
        nParts = std::max(total / minPerPart, 1);
        per = total / nParts;
    }
    for (int k = 0; k < nParts; ++k) {
        parts[k].first = first + k * per;
        parts[k].last = first + (k + 1) * per - 1;
    }
    parts[nParts - 1].last = last;
}

void CMutation::Initialize(SLocus** lociArg, int* mrkIndexArg, int* qtlIndexArg, int nMrkArg,
                           int nQTLArg, int nThreadArg, bool keepLabelsArg)
{
    loci = lociArg;
    mrkIndex = mrkIndexArg;
    qtlIndex = qtlIndexArg;
    nMrk = nMrkArg;
    nQTL = nQTLArg;
    mrkCopies = 2 * nMrk;
    qtlCopies = 2 * nQTL;
    nThread = nThreadArg;
    keepLabels = keepLabelsArg ? 1 : 0;
    mrkFlags.assign(nMrk, 0);
    qtlFlags.assign(nQTL, 0);
    flagged.clear();
    flagged.reserve(std::max(mrkCopies, qtlCopies));
}

void CMutation::SetRates(double markerRate, bool markerRecurrent, double qtlRateArg,
                         bool qtlRecurrentArg)
{
    mrkRate = markerRate;
    mrkRecurrent = markerRecurrent ? 1 : 0;
    qtlRate = qtlRateArg;
    qtlRecurrent = qtlRecurrentArg ? 1 : 0;
}

void CMutation::InitializeRep()
{
    mrkEvents = mrkIgnored = qtlEvents = qtlIgnored = 0;
}

void CMutation::Mutate(SRec* recs, int n)
{
    for (int i = 0; i < n; ++i) {
        if (mrkRate > 0) {
            int k = DrawEventCount(mrkRate, mrkCopies);
            if (k > 0) MutateClass(recs[i], k, mrkIndex, mrkCopies, mrkRecurrent, mrkFlags,
                                   mrkEvents, mrkIgnored);
        }
        if (qtlRate > 0) {
            int k = DrawEventCount(qtlRate, qtlCopies);
            if (k > 0) MutateClass(recs[i], k, qtlIndex, qtlCopies, qtlRecurrent, qtlFlags,
                                   qtlEvents, qtlIgnored);
        }
    }
}

int CMutation::DrawEventCount(double rate, int copies)
{
    // Each copy mutates at most once per individual, so more events than copies cannot happen.
    return std::min(MyRnd.PoissRnd(rate * copies), copies);
}

void CMutation::MutateClass(SRec& rec, int k, const int* index, int copies, bool recurrent,
                            std::vector<uint8_t>& flags, uint64_t& events, uint64_t& ignored)
{
    for (int done = 0; done < k; ++done) {
        int x = DrawFreshCopy(copies, flags);
        int g = index[x / 2];
        SLocus& locus = *loci[g];
        uint16_t& allele = (x % 2 == 0) ? rec.Pat()[g] : rec.Mat()[g];
        if (recurrent) {
            allele = RecurrentAllele(allele, locus.nAllele);
            ++events;
        } else if (NewAllele(locus, allele)) {
            ++events;
        } else {
            ++ignored;
        }
    }
    // Only the loci flagged for this individual are cleared, so the cost stays O(k).
    for (int l : flagged) flags[l] = 0;
    flagged.clear();
}

int CMutation::DrawFreshCopy(int copies, std::vector<uint8_t>& flags)
{
    // flags[l] holds bit 1 for the paternal and bit 2 for the maternal copy of locus l.
    for (;;) {
        int x = std::min(static_cast<int>(copies * MyRnd.URand()), copies - 1);
        uint8_t bit = static_cast<uint8_t>(1 << (x % 2));
        uint8_t& f = flags[x / 2];
        if (f & bit) continue;
        if (f == 0) flagged.push_back(x / 2);
        f |= bit;
        return x;
    }
}

void CMutation::IndexAlleles(SRec* recs, int n, bool all)
{
    Info("Indexing alleles ...");
    MyFlush();
    int nParts = nThread;
    std::vector<SIndex> parts(std::max(nThread, 1));
    Split2Index(parts.data(), 0, nMrk + nQTL - 1, nParts, kMinLociPerWorker);
    std::vector<boost::thread> workers;
    workers.reserve(nParts);
    for (int t = 0; t < nParts; ++t)
        workers.emplace_back(&CMutation::IndexAlleles_MyThread, this, recs, n, all,
                             static_cast<const SIndex*>(parts.data()), t);
    for (boost::thread& w : workers) w.join();
    AbortIfWorkerFailed();
    Info(" done.\n");
}

void CMutation::IndexAlleles_MyThread(SRec* recs, int n, bool all, const SIndex* parts, int t)
{
    RunWorkerGuarded([&] {
        // Private to this worker: the loci of its share are the only shared data it writes.
        std::vector<uint16_t> newNumber(kAlleleTableSize);
        std::vector<uint16_t> labels(kAlleleTableSize);
        for (int g = parts[t].first; g <= parts[t].last; ++g)
            IndexLocus(recs, n, g, all, newNumber.data(), labels.data());
    });
}

void CMutation::IndexLocus(SRec* recs, int n, int g, bool all, uint16_t* newNumber,
                           uint16_t* labels) const
{
    SLocus& locus = *loci[g];
    int nAllele = locus.nAllele;
    int nLabelled = locus.alleleLabel[0];  // alleles at the previous re-numbering
    if (!all && nAllele <= nLabelled) return;
    MarkPresent(recs, n, g, nAllele, newNumber);
    int maxLabel = keepLabels ? locus.maxLabel : 0;
    int c = 0;
    for (int a = 1; a <= nAllele; ++a) {
        if (!newNumber[a]) continue;
        newNumber[a] = static_cast<uint16_t>(++c);
        // Alleles born since the last re-numbering get labels above every label used so far.
        int label = !keepLabels ? c
                    : a <= nLabelled ? locus.alleleLabel[a]
                                     : locus.maxLabel - nLabelled + a;
        labels[c] = static_cast<uint16_t>(label);
        maxLabel = std::max(maxLabel, label);
    }
    if (nAllele == nLabelled && c == nAllele) return;
    labels[0] = static_cast<uint16_t>(c);
    locus.maxLabel = static_cast<uint16_t>(maxLabel);
    locus.nAllele = static_cast<uint16_t>(c);
    locus.alleleLabel.assign(labels, labels + c + 1);
    RewriteAlleles(recs, n, g, newNumber);
}

void CMutation::FreeMutMem()
{
    std::vector<uint8_t>().swap(mrkFlags);
    std::vector<uint8_t>().swap(qtlFlags);
    std::vector<int>().swap(flagged);
}
