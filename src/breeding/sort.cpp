// Shuffles and sorts of individuals.
#include "breeding/sort.h"

#include <algorithm>

#include "random/rnd.h"
#include "support/messages.h"

namespace {

// Sort keys of individuals; age is the generation number (larger = younger).
constexpr auto byPhen = [](const SRec* r) { return r->phen; };
constexpr auto byTbv = [](const SRec* r) { return r->Tbv(); };
constexpr auto byEbv = [](const SRec* r) { return r->ebv; };
constexpr auto byGen = [](const SRec* r) { return static_cast<double>(r->gen); };

// Orders a[0..n-1] by a selection or culling criterion other than age. A sex without records has
// no phenotypes to compare, so its phenotype order is random.
void OrderByCriterion(SRec** a, int n, ESCDesign by, bool desc, bool withRecords)
{
    switch (by) {
    case kRnd: CSort::ShufflePar(n, a); break;
    case kPhen:
        if (withRecords)
            CSort::ParentsPhenQSort(a, 0, n - 1, desc);
        else
            CSort::ShufflePar(n, a);
        break;
    case kTbv: CSort::ParentsTBVQSort(a, 0, n - 1, desc); break;
    case kEbv: CSort::ParentsEBVQSort(a, 0, n - 1, desc); break;
    case kAge: break;  // a culling criterion only; handled by OrderByAge
    }
}

// Youngest first; with a selection criterion other than rnd, each run of one generation is then
// ordered by it, so the culled tail holds the oldest and, among them, the worst.
void OrderByAge(SRec** a, int n, ESCDesign sd, bool sdDesc, bool withRecords)
{
    if (sd == kRnd) CSort::ShufflePar(n, a);
    CSort::ParentsGenQSort(a, 0, n - 1);
    if (sd == kRnd) return;
    for (int start = 0; start < n;) {
        int end = start + 1;
        while (end < n && a[end]->gen == a[start]->gen) ++end;
        OrderByCriterion(a + start, end - start, sd, sdDesc, withRecords);
        start = end;
    }
}

}  // namespace

void CSort::ShufflePar(int n, SRec** a)
{
    for (int pos = n - 1; pos >= 1; --pos) std::swap(a[pos], a[RandomIndexBelow(pos + 1)]);
}

void CSort::ShufflePrg(int n, SRec** a)
{
    ShufflePar(n, a);
}

void CSort::PhenQSort(CPopulation* pop, int lo, int hi, bool desc)
{
    QuickSortBy(pop->cand.data(), lo, hi, byPhen, desc);
}

void CSort::TBVQSort(CPopulation* pop, int lo, int hi, bool desc)
{
    QuickSortBy(pop->cand.data(), lo, hi, byTbv, desc);
}

void CSort::EBVQSort(CPopulation* pop, int lo, int hi, bool desc)
{
    QuickSortBy(pop->cand.data(), lo, hi, byEbv, desc);
}

void CSort::ParentsPhenQSort(SRec** a, int lo, int hi, bool desc)
{
    QuickSortBy(a, lo, hi, byPhen, desc);
}

void CSort::ParentsTBVQSort(SRec** a, int lo, int hi, bool desc)
{
    QuickSortBy(a, lo, hi, byTbv, desc);
}

void CSort::ParentsEBVQSort(SRec** a, int lo, int hi, bool desc)
{
    QuickSortBy(a, lo, hi, byEbv, desc);
}

void CSort::ParentsGenQSort(SRec** a, int lo, int hi)
{
    QuickSortBy(a, lo, hi, byGen, true);
}

void CSort::SortParents(CPopulation* pop, int gen, bool maleRec, ESCDesign cd, ESCDesign sd)
{
    const SGenPlan& plan = pop->prm.plan[gen];
    SRec** sires = pop->sires.data();
    SRec** dams = pop->dams.data();
    if (cd == kAge) {
        OrderByAge(sires, plan.nSires, sd, pop->prm.sdHigh, maleRec);
        OrderByAge(dams, plan.nDams, sd, pop->prm.sdHigh, true);
        return;
    }
    // The tail is culled: descending keeps the highest values at the head.
    bool desc = !pop->prm.cdHigh;
    if (cd == kEbv && !maleRec && gen == 1) ShufflePar(plan.nSires, sires);
    OrderByCriterion(sires, plan.nSires, cd, desc, maleRec);
    OrderByCriterion(dams, plan.nDams, cd, desc, true);
}

void CSort::SortRP(CPopulation* pop, int first, int last, bool maleRec, ESCDesign sd, bool high)
{
    SRec** cand = pop->cand.data();
    for (int i = first; i <= last; ++i) cand[i] = &pop->indiv[i];
    int n = last - first + 1;
    bool desc = high;
    switch (sd) {
    case kRnd: ShufflePrg(n, cand + first); break;
    case kPhen:
        if (!maleRec) ShufflePrg(n, cand + first);  // males without records tie at 0: random males
        PhenQSort(pop, first, last, desc);
        break;
    case kTbv: TBVQSort(pop, first, last, desc); break;
    case kEbv:
        if (!maleRec && first == 0) ShufflePrg(n, cand + first);  // founders: ties broken at random
        EBVQSort(pop, first, last, desc);
        break;
    case kAge: break;  // not a selection criterion; the parameter statements never set it
    }
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
