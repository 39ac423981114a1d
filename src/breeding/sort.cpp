// Shuffles and sorts of individuals and the binary search over locus positions.
#include "breeding/sort.h"

#include <algorithm>

#include "random/rnd.h"
#include "support/messages.h"

namespace {

// floor(n * URand()), never n.
int RandomIndexBelow(int n)
{
    int j = static_cast<int>(n * MyRnd.URand());
    return j < n ? j : n - 1;
}

}  // namespace

void Shuffle(int* a, int n, int m)
{
    for (int i = 0; i < m; ++i) std::swap(a[i], a[i + RandomIndexBelow(n - i)]);
}

void CSort::ShufflePar(int n, SRec** a)
{
    for (int pos = n - 1; pos >= 1; --pos) std::swap(a[pos], a[RandomIndexBelow(pos + 1)]);
}

void CSort::ParentsPhenQSort(SRec** a, int lo, int hi, bool desc)
{
    QuickSortBy(a, lo, hi, [](const SRec* r) { return r->phen; }, desc);
}

void CSort::ParentsTBVQSort(SRec** a, int lo, int hi, bool desc)
{
    QuickSortBy(a, lo, hi, [](const SRec* r) { return r->Tbv(); }, desc);
}

void CSort::SortLHG(SHistPop* hp, ESCDesign design, bool high, bool noShuffle)
{
    SRec** a = hp->lastGen.data();
    int n = static_cast<int>(hp->lastGen.size());
    switch (design) {
    case kRnd: ShufflePar(n, a); break;
    case kPhen:
        if (!noShuffle) ShufflePar(n, a);  // equal phenotypes in random order
        ParentsPhenQSort(a, 0, n - 1, high);
        break;
    case kTbv: ParentsTBVQSort(a, 0, n - 1, high); break;
    default:
        Abort("Error - Breeding values cannot be estimated for historical generation. Choose another selection "
              "method.\n");
    }
}

int CSort::LPos_BinarySearch(int n, double x, const double* pos)
{
    return static_cast<int>(std::upper_bound(pos, pos + n, x) - pos) - 1;
}
