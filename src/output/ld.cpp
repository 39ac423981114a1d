// Linkage disequilibrium by map distance, computed per generation and written per population.
//
// A generation's LD step lists candidate markers, screens them by allele frequency until enough
// are accepted, encodes each accepted marker's allele class per haplotype once (one bit set per
// class, and for markers with many classes one byte per haplotype), and lets worker threads walk
// the marker pairs within max_distance. Each worker sums D', r2 and X2' per distance class; the
// main thread merges the sums in worker order, so the result depends on the thread count but not
// on timing.
#include <algorithm>
#include <boost/thread/thread.hpp>
#include <cmath>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

#include "output/writers.h"
#include "random/shuffle.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/worker_error.h"

namespace {

// Distance classes of marker pairs, cM: class k holds lower[k] <= d < lower[k + 1], the last one
// up to 100 cM included.
constexpr double kLDClassLower[kLDClasses] = {0,   0.05, 0.1, 0.2, 0.3, 0.4, 0.5, 0.6, 0.7, 0.8, 0.9, 1,  2, 3,
                                              4,   5,    6,   8,   10,  15,  20,  25,  30,  40,  50,  60, 80};
constexpr const char* kLDClassLabel[kLDClasses] = {
    "[0,.05)  ", "[.05,.1) ", "[.1,.2)  ", "[.2,.3)  ", "[.3,.4)  ", "[.4,.5)  ", "[.5,.6)  ",
    "[.6,.7)  ", "[.7,.8)  ", "[.8,.9)  ", "[.9,1)   ", "[1,2)    ", "[2,3)    ", "[3,4)    ",
    "[4,5)    ", "[5,6)    ", "[6,8)    ", "[8,10)   ", "[10,15)  ", "[15,20)  ", "[20,25)  ",
    "[25,30)  ", "[30,40)  ", "[40,50)  ", "[50,60)  ", "[60,80)  ", "[80,100] "};

constexpr int kMinMarkersPerWorker = 20;
constexpr double kLargestDistance = 100;      // cM; pairs further apart are never counted
constexpr double kSmallestClassFreq = 1e-8;   // rarer classes stay out of the sums
constexpr int kAlleleSlots = kLDMaxAlleles + 1;  // count slots of one candidate, by allele number
constexpr int kCountChunk = 1024;             // candidates counted together over all individuals
constexpr int kHaplotypesPerWord = 64;
// A pair whose bit-set count needs more AND-popcount passes than this counts its haplotypes one
// class byte at a time instead: one pass over the bytes costs about this many passes over words.
constexpr int kByteLoopPasses = 128;

// Frequency at or above which a pooled class of rare alleles rejects its marker.
double PooledUpperLimit(double maft)
{
    if (maft <= 0.1) return 0.2;
    if (maft > 0.25) return maft + 0.05 * 0.25 / maft;
    return 0.3;
}

int DistanceClass(double d)
{
    int k = static_cast<int>(std::upper_bound(kLDClassLower, kLDClassLower + kLDClasses, d) - kLDClassLower) - 1;
    return std::max(k, 0);
}

// Set bits of a AND b over `words` words. Built for the popcount instruction where the processor
// has it, chosen when the program loads. Not under ThreadSanitizer: the choice runs while the
// program is being loaded, before the sanitizer's runtime is ready for the instrumented chooser.
#if defined(__x86_64__) && defined(__GNUC__) && !defined(__clang__) && !defined(__SANITIZE_THREAD__)
__attribute__((target_clones("popcnt", "default")))
#endif
int32_t PopcountAnd(const uint64_t* a, const uint64_t* b, int words)
{
    int32_t n = 0;
    for (int w = 0; w < words; ++w) n += __builtin_popcountll(a[w] & b[w]);
    return n;
}

// Bit h of the result is set when cls[h] equals c, h < 64.
uint64_t ClassBits(const uint8_t* cls, int c)
{
    uint64_t set = 0;
#if defined(__SSE2__)
    const __m128i key = _mm_set1_epi8(static_cast<char>(c));
    for (int k = 0; k < 4; ++k) {
        const __m128i v = _mm_loadu_si128(reinterpret_cast<const __m128i*>(cls + 16 * k));
        set |= static_cast<uint64_t>(static_cast<uint16_t>(_mm_movemask_epi8(_mm_cmpeq_epi8(v, key)))) << (16 * k);
    }
#else
    for (int h = 0; h < kHaplotypesPerWord; ++h) set |= static_cast<uint64_t>(cls[h] == c) << h;
#endif
    return set;
}

// Sums one marker pair adds to its distance class.
struct SPairLD {
    double dPrime = 0, r2 = 0, x2 = 0;
};

// Markers of ldChr with at least two alleles, in genome order, into `out`; returns the length of
// those chromosomes in cM.
double ListCandidates(const std::vector<SChrom>& chrom, const std::vector<uint8_t>& ldChr, std::vector<int>& out)
{
    out.clear();
    double length = 0;
    int g = 0;
    for (size_t c = 0; c < chrom.size(); ++c) {
        const SChrom& ch = chrom[c];
        const bool selected = c < ldChr.size() && ldChr[c];
        if (selected) length += ch.prm.len;
        for (int l = 0; l < ch.NLoci(); ++l, ++g)
            if (selected && !ch.loci[l]->isQTL && ch.loci[l]->nAllele >= 2) out.push_back(g);
    }
    return length;
}

// Splits first..last among at most nthread workers; returns the shares.
std::vector<SIndex> Shares(int first, int last, int nthread)
{
    int n = std::max(nthread, 1);
    std::vector<SIndex> parts(static_cast<size_t>(n));
    Split2Index(parts.data(), first, last, n, kMinMarkersPerWorker);
    parts.resize(static_cast<size_t>(n));
    return parts;
}

// Runs body(t) for t = 0..n-1 on n threads and waits for all; a fatal error raised in a body ends
// the run once they are done.
template <class Body>
void RunWorkers(int n, Body body)
{
    std::vector<boost::thread> threads;
    threads.reserve(static_cast<size_t>(n));
    for (int t = 0; t < n; ++t) threads.emplace_back([&body, t] { RunWorkerGuarded([&] { body(t); }); });
    for (boost::thread& th : threads) th.join();
    AbortIfWorkerFailed();
}

// Allele counts of the candidates at places first..last of the block's genome order, a chunk of
// candidates at a time over all individuals, so that each haplotype is read forward.
void CountShare(SLDWork& w, const int* cand, int first, int last)
{
    for (int start = first; start <= last; start += kCountChunk) {
        const int end = std::min(last + 1, start + kCountChunk);
        for (int i = 0; i < w.nIndiv; ++i) {
            const uint16_t* pat = w.indiv[i].Pat();
            const uint16_t* mat = w.indiv[i].Mat();
            for (int k = start; k < end; ++k) {
                const int pos = w.blockOrder[static_cast<size_t>(k)];
                int32_t* count = &w.alleleCounts[static_cast<size_t>(pos) * kAlleleSlots];
                count[pat[cand[pos]]]++;
                count[mat[cand[pos]]]++;
            }
        }
    }
}

// Allele counts of candidates[b0 .. b0 + n - 1] over every haplotype, alleleSlots per candidate
// in block order; worker threads count disjoint shares of the block.
void CountBlock(SLDWork& w, size_t b0, int n, int nthread)
{
    w.alleleCounts.assign(static_cast<size_t>(n) * kAlleleSlots, 0);
    w.blockOrder.resize(static_cast<size_t>(n));
    for (int k = 0; k < n; ++k) w.blockOrder[static_cast<size_t>(k)] = k;
    const int* cand = w.candidates.data() + b0;
    std::sort(w.blockOrder.begin(), w.blockOrder.end(), [cand](int a, int b) { return cand[a] < cand[b]; });
    std::vector<SIndex> shares = Shares(0, n - 1, nthread);
    RunWorkers(static_cast<int>(shares.size()), [&](int t) {
        CountShare(w, cand, shares[static_cast<size_t>(t)].first, shares[static_cast<size_t>(t)].last);
    });
}

// Classes of a candidate with the allele counts `count` (by allele number 1..nAllele): alleles
// below maft are pooled into one class. False when the marker is rejected.
bool ClassifyAlleles(const int32_t* count, int nAllele, const SLDWork& w, SLDMarker& m)
{
    const double twoN = w.haplotypes;
    double freq[kAlleleSlots];
    bool pooledAllele[kAlleleSlots];
    double pooled = 0;
    int kept = 0;
    for (int a = 1; a <= nAllele; ++a) {
        freq[a] = count[a] / twoN;
        pooledAllele[a] = freq[a] < w.maft;
        if (pooledAllele[a]) {
            pooled += freq[a];
            freq[a] = 0;
        } else {
            ++kept;
        }
    }
    const bool pooledClass = w.maft <= pooled && pooled < w.upper;
    if (pooled > 0 && !pooledClass) return false;
    m.nClass = kept + (pooledClass ? 1 : 0);
    if (m.nClass < 2) return false;

    int c = 0;
    int32_t pooledCount = 0;
    for (int a = 1; a <= nAllele; ++a) {
        if (pooledAllele[a]) {
            m.alleleClass[a] = static_cast<uint8_t>(kept);
            pooledCount += count[a];
        } else {
            m.alleleClass[a] = static_cast<uint8_t>(c);
            m.classFreq[c] = freq[a];
            m.classCount[c] = count[a];
            ++c;
        }
    }
    if (pooledClass) {
        m.classFreq[kept] = pooled;
        m.classCount[kept] = pooledCount;
    }
    return true;
}

// Screens the candidates in list order until `target` markers are accepted. Frequencies are
// counted for a block of candidates at a time: the first block holds `target` of them; a block
// of B candidates with more than a tenth (A) accepted makes the next one 1.15 (B - A) B / A long,
// and never shorter than the number still needed.
void ScreenCandidates(SLDWork& w, SLocus* const* loci, int target, int nthread)
{
    w.markers.clear();
    w.markers.reserve(std::min(static_cast<size_t>(target), w.candidates.size()));
    const size_t n = w.candidates.size();
    size_t next = 0;
    long long block = target;
    while (static_cast<int>(w.markers.size()) < target && next < n) {
        const int b = static_cast<int>(std::min<long long>(std::max(block, 1LL), static_cast<long long>(n - next)));
        CountBlock(w, next, b, nthread);
        int accepted = 0;
        for (int k = 0; k < b && static_cast<int>(w.markers.size()) < target; ++k) {
            const int g = w.candidates[next + static_cast<size_t>(k)];
            SLDMarker m;
            if (!ClassifyAlleles(&w.alleleCounts[static_cast<size_t>(k) * kAlleleSlots], loci[g]->nAllele, w, m))
                continue;
            m.locus = g;
            m.pos = loci[g]->pos;
            w.markers.push_back(m);
            ++accepted;
        }
        next += static_cast<size_t>(b);
        if (10LL * accepted > b) block = static_cast<long long>(1.15 * (b - accepted) * b / accepted);
        block = std::max(block, static_cast<long long>(target) - static_cast<long long>(w.markers.size()));
    }
}

// Puts the accepted markers in genome order and gives each its chromosome number and its place in
// the bit sets and class bytes.
void LayOutMarkers(SLDWork& w, const std::vector<SChrom>& chrom)
{
    std::sort(w.markers.begin(), w.markers.end(),
              [](const SLDMarker& a, const SLDMarker& b) { return a.locus < b.locus; });
    size_t c = 0;
    int chromosomeEnd = chrom.empty() ? 0 : chrom[0].NLoci();
    size_t bits = 0, codes = 0;
    for (SLDMarker& m : w.markers) {
        while (m.locus >= chromosomeEnd && c + 1 < chrom.size()) chromosomeEnd += chrom[++c].NLoci();
        m.chr = static_cast<int>(c) + 1;
        m.bits = bits;
        bits += static_cast<size_t>(m.nClass - 1) * static_cast<size_t>(w.words);
        // Only a marker that can meet a pair above the byte-loop limit needs its class bytes.
        m.keepsCodes = (m.nClass - 1) * (kLDMaxAlleles - 1) > kByteLoopPasses;
        if (m.keepsCodes) {
            m.codes = codes;
            codes += static_cast<size_t>(w.haplotypes);
        }
    }
    w.bits.assign(bits, 0);
    w.codes.assign(codes, 0);
}

// Bit sets (and class bytes) of markers first..last, 64 haplotypes at a time.
void EncodeMarkers(SLDWork& w, int first, int last)
{
    const uint16_t* rows[kHaplotypesPerWord];
    uint8_t cls[kHaplotypesPerWord];
    constexpr uint8_t kNoClass = 0xff;  // places past the last haplotype
    for (int word = 0; word < w.words; ++word) {
        const int h0 = word * kHaplotypesPerWord;
        const int nh = std::min(kHaplotypesPerWord, w.haplotypes - h0);
        for (int h = 0; h < nh; ++h) {
            const SRec& r = w.indiv[(h0 + h) / 2];
            rows[h] = (h0 + h) % 2 ? r.Mat() : r.Pat();
        }
        std::fill(cls + nh, cls + kHaplotypesPerWord, kNoClass);
        for (int mi = first; mi <= last; ++mi) {
            const SLDMarker& m = w.markers[static_cast<size_t>(mi)];
            for (int h = 0; h < nh; ++h) cls[h] = m.alleleClass[rows[h][m.locus]];
            if (m.keepsCodes) memcpy(&w.codes[m.codes + static_cast<size_t>(h0)], cls, static_cast<size_t>(nh));
            for (int c = 0; c < m.nClass - 1; ++c)
                w.bits[m.bits + static_cast<size_t>(c) * static_cast<size_t>(w.words) + static_cast<size_t>(word)] =
                    ClassBits(cls, c);
        }
    }
}

// Haplotypes of each class pair (a, b) of markers i and j into table[a * nClass(j) + b].
void CountPair(const SLDWork& w, const SLDMarker& i, const SLDMarker& j, int32_t* table)
{
    const int ki = i.nClass, kj = j.nClass;
    if ((ki - 1) * (kj - 1) > kByteLoopPasses) {
        std::fill(table, table + ki * kj, 0);
        const uint8_t* ci = &w.codes[i.codes];
        const uint8_t* cj = &w.codes[j.codes];
        for (int h = 0; h < w.haplotypes; ++h) table[ci[h] * kj + cj[h]]++;
        return;
    }
    // Bit sets of every class but the last; the last row and column follow from the class counts.
    const size_t words = static_cast<size_t>(w.words);
    for (int a = 0; a < ki - 1; ++a) {
        int32_t row = 0;
        for (int b = 0; b < kj - 1; ++b) {
            const int32_t n = PopcountAnd(&w.bits[i.bits + a * words], &w.bits[j.bits + b * words], w.words);
            table[a * kj + b] = n;
            row += n;
        }
        table[a * kj + kj - 1] = i.classCount[a] - row;
    }
    for (int b = 0; b < kj; ++b) {
        int32_t column = 0;
        for (int a = 0; a < ki - 1; ++a) column += table[a * kj + b];
        table[(ki - 1) * kj + b] = j.classCount[b] - column;
    }
}

// D', r2 and X2' of a pair from its class-pair counts.
SPairLD PairMeasures(const SLDWork& w, const SLDMarker& i, const SLDMarker& j, const int32_t* table)
{
    const double twoN = w.haplotypes;
    double s1 = 0, s2 = 0, s3 = 0;
    for (int a = 0; a < i.nClass; ++a) {
        const double p = i.classFreq[a];
        if (p < kSmallestClassFreq) continue;
        for (int b = 0; b < j.nClass; ++b) {
            const double q = j.classFreq[b];
            if (q < kSmallestClassFreq) continue;
            const double d = table[a * j.nClass + b] / twoN - p * q;
            const double dMax = d >= 0 ? std::min(p * (1 - q), (1 - p) * q) : std::min(p * q, (1 - p) * (1 - q));
            s1 += std::fabs(d / dMax) * p * q;
            s2 += d * d / ((1 - p) * (1 - q));
            s3 += d * d / (p * q);
        }
    }
    return {s1, s2, s3 / (std::min(i.nClass, j.nClass) - 1)};
}

void AddPair(SLDBin& bin, const SPairLD& ld)
{
    const double value[3] = {ld.dPrime, ld.r2, ld.x2};
    bin.nPair++;
    for (int s = 0; s < 3; ++s) {
        bin.mean[s] += value[s];
        bin.ldSd[s] += value[s] * value[s];
    }
}

// Sums of squares into standard deviations and sums into means, per class and measure.
void FinishBins(SLDBin* bins)
{
    for (int k = 0; k < kLDClasses; ++k) {
        SLDBin& b = bins[k];
        if (b.nPair <= 0) continue;
        const double n = b.nPair;
        for (int s = 0; s < 3; ++s) {
            const double sum = b.mean[s];
            b.mean[s] = sum / n;
            b.ldSd[s] = std::sqrt(std::max(0.0, MyDVD(b.ldSd[s] - sum * sum / n, n - 1)));
        }
    }
}

// Pairs (i, j > i) of the worker's first markers i with the later markers on the same chromosome
// within max_distance. The markers are in genome order, so the j loop stops at the first one out
// of range.
void CountWorkerPairs(const SLDWork& w, SLDWorker& self, double maxDist)
{
    const int n = static_cast<int>(w.markers.size());
    for (int i = self.share.first; i <= self.share.last; ++i) {
        const SLDMarker& mi = w.markers[static_cast<size_t>(i)];
        for (int j = i + 1; j < n; ++j) {
            const SLDMarker& mj = w.markers[static_cast<size_t>(j)];
            if (mj.chr != mi.chr) break;
            const double d = mj.pos - mi.pos;
            if (d < 0) RaiseFatal("Error - Dist %f %d %d %d %d\n", d, mi.locus, mj.locus, mi.chr, mj.chr);
            if (d > maxDist || d > kLargestDistance) break;
            CountPair(w, mi, mj, self.table.data());
            AddPair(self.acc[DistanceClass(d)], PairMeasures(w, mi, mj, self.table.data()));
        }
    }
}

}  // namespace

bool PrintLDBin(int k, double maxDist, FILE* fp)
{
    if (k < 0 || k >= kLDClasses) return true;
    if (kLDClassLower[k] >= maxDist) return false;
    fputs(kLDClassLabel[k], fp);
    return true;
}

void ComputeLDStat(const SGenome& genome, SLDWork& w, CPopulation& p, int nthread, int gen, int first, int last)
{
    const SPopOutput& o = p.prm.out;
    const size_t g = static_cast<size_t>(gen);
    if (!o.ldOut || g >= p.ldGen.size() || !p.ldGen[g] || genome.nMrkTot < 1) return;
    int most = 0;
    for (int m : genome.mrkIndex) most = std::max(most, static_cast<int>(genome.LocusAt(m)->nAllele));
    if (most > kLDMaxAlleles) {
        PW.Warn("Warning - Number of alleles is too large (>%d). LD calculation is skipped.\n", kLDMaxAlleles);
        NoWarn++;
        p.ldGen[g] = 0;
        p.ldSkipped[g] = 1;
        return;
    }
    printf(", LD");
    int loci = 0;
    for (const SChrom& ch : genome.chrom) loci += ch.NLoci();
    if (loci != genome.nLociTot) Abort("Error - ComputeLDStat - Code 964592\n");

    w.indiv = p.indiv.data() + first;
    w.nIndiv = last - first + 1;
    w.haplotypes = 2 * w.nIndiv;
    w.words = (w.haplotypes + kHaplotypesPerWord - 1) / kHaplotypesPerWord;
    w.maft = o.ldMaft;
    w.upper = PooledUpperLimit(o.ldMaft);
    const double length = ListCandidates(genome.chrom, o.ldChr, w.candidates);
    const int target = o.ldNMrk > 0 ? o.ldNMrk : static_cast<int>(10 * length);
    const int nCand = static_cast<int>(w.candidates.size());
    if (nCand > target) Shuffle(w.candidates.data(), nCand, nCand);
    ScreenCandidates(w, genome.chrom.front().loci, target, nthread);
    LayOutMarkers(w, genome.chrom);
    const int accepted = static_cast<int>(w.markers.size());
    printf(" %5d Mrk", accepted);
    fflush(stdout);

    SLDBin* bins = p.genStat[g].ldBin;
    std::fill(bins, bins + kLDClasses, SLDBin());
    if (accepted >= 2) {
        std::vector<SIndex> coding = Shares(0, accepted - 1, nthread);
        RunWorkers(static_cast<int>(coding.size()),
                   [&](int t) { EncodeMarkers(w, coding[static_cast<size_t>(t)].first, coding[static_cast<size_t>(t)].last); });
        int largest = 0;
        for (const SLDMarker& m : w.markers) largest = std::max(largest, static_cast<int>(genome.LocusAt(m.locus)->nAllele));
        std::vector<SIndex> pairs = Shares(0, accepted - 2, nthread);
        w.workers.assign(pairs.size(), SLDWorker());
        for (size_t t = 0; t < pairs.size(); ++t) {
            w.workers[t].share = pairs[t];
            w.workers[t].table.assign(static_cast<size_t>((largest + 1) * (largest + 1)), 0);
        }
        RunWorkers(static_cast<int>(pairs.size()),
                   [&](int t) { CountWorkerPairs(w, w.workers[static_cast<size_t>(t)], o.ldMaxDist); });
        for (const SLDWorker& worker : w.workers)
            for (int k = 0; k < kLDClasses; ++k) {
                bins[k].nPair += worker.acc[k].nPair;
                for (int s = 0; s < 3; ++s) {
                    bins[k].mean[s] += worker.acc[k].mean[s];
                    bins[k].ldSd[s] += worker.acc[k].ldSd[s];
                }
            }
    }
    FinishBins(bins);
}

void SaveLD(const CPopulation& p, FILE* fp)
{
    for (int g = 0; g <= p.prm.ng; ++g)
        if (p.ldSkipped[static_cast<size_t>(g)])
            fprintf(fp, "LD calculation is skipped for generation %3d. Number of alleles is too large (>%d).\n", g,
                    kLDMaxAlleles);
    std::vector<int> gens;
    for (int g = 0; g <= p.prm.ng; ++g)
        if (p.ldGen[static_cast<size_t>(g)]) gens.push_back(g);
    if (!gens.empty()) {
        auto heading = [&](const char* title) {
            fputs(title, fp);
            PrintALine(20, fp);
            fputs("Bin\\Gen. ", fp);
            for (int g : gens) fprintf(fp, "%14d ", g);
            fputs("\n", fp);
        };
        PrintALineFormat1(40, '-', fp, "LD decay");
        heading("\nNo. marker pairs\n");
        for (int k = 0; k < kLDClasses && PrintLDBin(k, p.prm.out.ldMaxDist, fp); ++k) {
            for (int g : gens) fprintf(fp, "%14d ", p.genStat[static_cast<size_t>(g)].ldBin[k].nPair);
            fputs("\n", fp);
        }
        const char* const titles[3] = {"\nMean D'(SD)\n", "\nMean R2(SD)\n", "\nMean X2'(SD)\n"};
        for (int s = 0; s < 3; ++s) {
            heading(titles[s]);
            for (int k = 0; k < kLDClasses && PrintLDBin(k, p.prm.out.ldMaxDist, fp); ++k) {
                for (int g : gens) {
                    const SLDBin& b = p.genStat[static_cast<size_t>(g)].ldBin[k];
                    fprintf(fp, "%6.4f(%6.4f) ", b.mean[s], b.ldSd[s]);
                }
                fputs("\n", fp);
            }
        }
    }
    MyFflush(fp);
}
