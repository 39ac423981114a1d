// Locus positions: sorting by position and the checks of the positions set when the
// parameter file is read.
#include <utility>

#include "app/simclass.h"
#include "param/errmsg.h"
#include "support/messages.h"

namespace {

// Positions closer than this are the same position; a position below it is zero.
constexpr double kSamePosition = 1e-10;

bool IsRandom(EPosMethod m) { return m == EPosMethod::Rnd || m == EPosMethod::Rnd1; }

[[noreturn]] void PositionError(short errNo, int chromosome, double pos)
{
    CErrMsg messages;
    Abort("%s (Chromosome: %d, Position: %10.5f)\nCheck control file!\n", messages.GetErrMsg(errNo), chromosome, pos);
}

}  // namespace

// Quicksort on the middle element. The smaller part is sorted by recursion and the larger by
// the loop, so the depth stays logarithmic.
void SimClass::LPosQSort(int first, int last, SLocus** loci)
{
    while (first < last) {
        int i = first, j = last;
        double pivot = loci[(first + last) / 2]->pos;
        do {
            while (loci[i]->pos < pivot) i++;
            while (loci[j]->pos > pivot) j--;
            if (i <= j) std::swap(loci[i++], loci[j--]);
        } while (i <= j);
        if (j - first < last - i) {
            if (first < j) LPosQSort(first, j, loci);
            first = i;
        } else {
            if (i < last) LPosQSort(i, last, loci);
            last = j;
        }
    }
}

void SimClass::SortLPos_CheckLPos(short c)
{
    SChrom& ch = chrom[c];
    if (ch.NLoci() < 2) return;
    bool mRandom = IsRandom(ch.mrk.posMethod), qRandom = IsRandom(ch.qtl.posMethod);
    int first, last;
    if (!mRandom && !qRandom) {
        first = 0;
        last = ch.NLoci() - 1;
    } else if (!mRandom) {
        first = 0;
        last = ch.nMrk - 1;
    } else if (!qRandom) {
        first = ch.nMrk;
        last = ch.NLoci() - 1;
    } else {
        return;
    }
    if (first > last) return;
    LPosQSort(first, last, ch.loci);

    SLocus** loci = ch.loci;
    if (loci[first]->pos < kSamePosition) PositionError(62, ch.number, loci[first]->pos);
    const SLocus* lastLocus = loci[last];
    if (lastLocus->pos > ch.Settings(lastLocus->isQTL).end) PositionError(38, ch.number, lastLocus->pos);
    for (int i = first; i < last; ++i)
        if (loci[i + 1]->pos - loci[i]->pos < kSamePosition) PositionError(6, ch.number, loci[i]->pos);
}
