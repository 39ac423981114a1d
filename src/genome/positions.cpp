// Locus positions: map order, and the positions drawn per replicate.
#include <algorithm>
#include <cmath>

#include "genome/genome.h"
#include "random/rnd.h"
#include "support/sorting.h"
#include "support/messages.h"
#include "support/numbers.h"

void LPosQSort(int first, int last, SLocus** loci)
{
    QuickSortBy(loci, first, last, [](const SLocus* l) { return l->pos; }, false);
}

void SortFixedPositions(SChrom& ch)
{
    int first, last;
    if (FixedPositionRange(ch.prm, first, last)) LPosQSort(first, last, ch.loci);
}

namespace {

// Rounds of redrawing after which distinct positions are taken to be impossible (more loci
// than positions with 5 decimals in the range).
constexpr int kMaxRedrawRounds = 10000;

}  // namespace

// Loci of the other class keep their positions but are never shared. A draw above limit is set to
// limit before the positions are compared, so it cannot share a position.
void GenerateUniqueURandPos(SLocus** loci, int n, double mRange, double mStart, double qRange, double qStart,
                            short which, double limit)
{
    auto selected = [which](const SLocus* l) { return which == 2 || (which == 1) == !l->isQTL; };
    auto draw = [&](SLocus* l) {
        double pos = l->isQTL ? RoundDouble(MyRnd.URand() * qRange, 5) + qStart
                              : RoundDouble(MyRnd.URand() * mRange, 5) + mStart;
        l->pos = std::min(pos, limit);
    };
    for (int i = 0; i < n; ++i)
        if (selected(loci[i])) draw(loci[i]);
    for (int round = 0;; ++round) {
        if (round == kMaxRedrawRounds)
            Abort("Error - %d loci cannot be placed at distinct positions (5 decimals) in their range of %g cM.\n",
                  n, which == 0 ? qRange : mRange);
        LPosQSort(0, n - 1, loci);
        bool redrawn = false;
        for (int i = 0; i + 1 < n;) {
            if (std::fabs(loci[i + 1]->pos - loci[i]->pos) >= kSamePosition) {
                ++i;
                continue;
            }
            int j = i + 1;
            bool fixedInRun = false;
            for (; j < n && std::fabs(loci[j]->pos - loci[i]->pos) < kSamePosition; ++j) {
                if (selected(loci[j])) draw(loci[j]);
                else fixedInRun = true;
            }
            if (fixedInRun) draw(loci[i]);
            redrawn = true;
            i = j;
        }
        if (!redrawn) return;
    }
}

void RandomizePosAcrossGenome(const SGenomeParams& g, SGenome& genome, int rep)
{
    bool markers = g.r_mpos_g || (g.r1_mpos_g && rep == 1);
    bool qtl = g.r_qpos_g || (g.r1_qpos_g && rep == 1);
    // Summed in the order of the cut below, so that the genome's end is its last chromosome's end.
    double total = 0;
    for (const SChrom& ch : genome.chrom) total += ch.prm.len;
    // Draws reach 0.00001 past the end of the genome: those are set to the end, on the last
    // chromosome. Loci of a class not drawn keep their position values and are sorted and cut with
    // them, so they may land on another chromosome.
    if (markers || qtl)
        GenerateUniqueURandPos(genome.locusPtr.data(), genome.nLociTot, total, 0.00001, total, 0.00001,
                               markers && qtl ? 2 : (markers ? 1 : 0), total);
    // Cut the genome-wide order into chromosomes.
    int next = 0;
    double offset = 0;
    for (SChrom& ch : genome.chrom) {
        double end = offset + ch.prm.len;
        ch.loci = ch.fullLoci = genome.locusPtr.data() + next;
        ch.nMrk = ch.nQTL = 0;
        while (next < genome.nLociTot && genome.locusPtr[next]->pos <= end) {
            SLocus* l = genome.locusPtr[next++];
            l->pos -= offset;
            (l->isQTL ? ch.nQTL : ch.nMrk)++;
        }
        ch.mrkStart = ch.qtlStart = 0.00001;
        ch.nMrkFull = ch.nMrk;
        ch.nQTLFull = ch.nQTL;
        offset = end;
    }
    if (next != genome.nLociTot)
        Abort("Error - Randomize function: code 62354 %d %d!\nPlease report the error to %s\n", next, genome.nLociTot,
              kContactText);
}

void SampleParam(const SGenomeParams& g, SGenome& genome, int rep)
{
    for (SChrom& ch : genome.chrom) {
        bool markers = (ch.prm.mrk.posMethod == EPosMethod::Rnd || (ch.prm.mrk.posMethod == EPosMethod::Rnd1 && rep == 1)) &&
                       ch.nMrk > 0;
        bool qtl = (ch.prm.qtl.posMethod == EPosMethod::Rnd || (ch.prm.qtl.posMethod == EPosMethod::Rnd1 && rep == 1)) &&
                   ch.nQTL > 0;
        if (markers || qtl)
            GenerateUniqueURandPos(ch.loci, ch.NLoci(), ch.prm.mrk.end - ch.mrkStart, ch.mrkStart,
                                   ch.prm.qtl.end - ch.qtlStart, ch.qtlStart, markers && qtl ? 2 : (markers ? 1 : 0),
                                   ch.prm.len);
        SampleAlleles(ch, rep);
    }
    if (g.r_mpos_g || g.r_qpos_g || ((g.r1_mpos_g || g.r1_qpos_g) && rep == 1)) RandomizePosAcrossGenome(g, genome, rep);
}
