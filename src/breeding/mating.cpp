// Random and assortative mating designs: every dam is mated once, and the sires share the dams
// as equally as possible.
#include <vector>

#include "breeding/breeding.h"
#include "breeding/sort.h"
#include "support/messages.h"

namespace {

// Dams per sire: with q = ceil(D / S) and r = D mod S, r sires get q dams and the others q - 1
// (all get D / S when r = 0).
struct SSireShares {
    int q, r;
    SSireShares(int nSires, int nDams) : q((nDams + nSires - 1) / nSires), r(nDams % nSires) {}
    // The share of the sire at rank s when the larger shares go to the first r ranks.
    int AtRank(int s) const { return r == 0 || s < r ? q : q - 1; }
};

// Fills the mating list in dam order: the sire at position s of sires takes share(s) dams, the
// next ones of dams. The shares add up to nDams.
template <typename Share>
void PairConsecutive(SMatingPlan& plan, SRec** sires, int nSires, SRec** dams, int nDams, Share share)
{
    plan.list.resize(nDams);
    plan.nMatings = nDams;
    int m = 0;
    for (int s = 0; s < nSires; ++s)
        for (int k = share(s); k > 0 && m < nDams; --k, ++m) plan.list[m] = {SMD{sires[s], s}, SMD{dams[m], m}};
}

}  // namespace

void RandomMatingDesign(SMatingPlan& mating, CPopulation& p, int gen)
{
    const SGenPlan& plan = p.prm.plan[gen];
    CSort::ShufflePar(plan.nSires, p.sires.data());
    CSort::ShufflePar(plan.nDams, p.dams.data());
    SSireShares shares(plan.nSires, plan.nDams);
    PairConsecutive(mating, p.sires.data(), plan.nSires, p.dams.data(), plan.nDams,
                    [&](int s) { return shares.AtRank(s); });
}

void AssortMatingDesign(SMatingPlan& mating, CPopulation& p, int gen)
{
    const SGenPlan& plan = p.prm.plan[gen];
    int nSires = plan.nSires, nDams = plan.nDams;
    SRec** sires = p.sires.data();
    SRec** dams = p.dams.data();
    // The best sires meet the best dams (p_assort) or the worst dams (n_assort).
    bool damsDesc = p.prm.md == kMdPAssort;
    switch (p.prm.assortBy) {
    case kPhen:
        CSort::ParentsPhenQSort(sires, 0, nSires - 1, true);
        CSort::ParentsPhenQSort(dams, 0, nDams - 1, damsDesc);
        break;
    case kTbv:
        CSort::ParentsTBVQSort(sires, 0, nSires - 1, true);
        CSort::ParentsTBVQSort(dams, 0, nDams - 1, damsDesc);
        break;
    case kEbv:
        CSort::ParentsEBVQSort(sires, 0, nSires - 1, true);
        CSort::ParentsEBVQSort(dams, 0, nDams - 1, damsDesc);
        break;
    default: Abort("Unexpected error: in AssortMatingDesign function\n");
    }

    // Which sires get the extra dam is left to chance, not to their rank.
    SSireShares shares(nSires, nDams);
    std::vector<int> share(nSires);
    for (int s = 0; s < nSires; ++s) share[s] = shares.AtRank(s);
    if (shares.r != 0) Shuffle(share.data(), nSires, nSires);
    PairConsecutive(mating, sires, nSires, dams, nDams, [&](int s) { return share[s]; });
}
