// Culling of parents and selection of progeny as the parents of the next generation.
#include "breeding/breeding.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

// The words that tell the two sexes apart in the replacement messages.
struct SSexWords {
    const char* title;    // "Sire"
    const char* progeny;  // "male"
    const char* parents;  // "sires"
};

constexpr SSexWords kSireWords{"Sire", "male", "sires"};
constexpr SSexWords kDamWords{"Dam", "female", "dams"};

// The replacement of one sex after generation g.
struct SReplacement {
    int keep = 0;     // parents kept: positions 0..keep-1 of the parent array
    int take = 0;     // progeny selected into positions keep..keep+take-1
    bool ok = true;   // false when even keeping every parent leaves places empty
};

// Parents of one sex around generation g, from its SGenInfo fields.
struct SParentCounts {
    int now;       // parents of generation g
    int next;      // parents of generation g + 1
    int wanted;    // new parents the replacement rate and the growth ask for
    int progeny;   // progeny of this sex in generation g
};

SParentCounts SireCounts(const CPopulation& p, int g)
{
    const SGenPlan& plan = p.prm.plan[g];
    int wanted = MyRound(plan.nSires * plan.sr) + MyRound(p.prm.plan[plan.sireRefGen].nSires * plan.sireGrowth);
    return {plan.nSires, p.prm.plan[g + 1].nSires, wanted, static_cast<int>(p.genStat[g].nMale)};
}

SParentCounts DamCounts(const CPopulation& p, int g)
{
    const SGenPlan& plan = p.prm.plan[g];
    int wanted = MyRound(plan.nDams * plan.dr) + MyRound(p.prm.plan[plan.damRefGen].nDams * plan.damGrowth);
    return {plan.nDams, p.prm.plan[g + 1].nDams, wanted, static_cast<int>(p.genStat[g].nFemale)};
}

// Fewer progeny than wanted lowers the replacement to what they allow (an error when the old
// parents cannot fill the rest); a shrinking population takes no new parents of the sex.
SReplacement PlanReplacement(const SParentCounts& c, const SSexWords& w, const char* pop, int g)
{
    SReplacement r;
    r.take = c.wanted;
    r.keep = c.next - r.take;
    if (c.progeny < r.take) {
        r.keep = c.next - c.progeny;
        if (c.now < r.keep) {
            PW.Warn("Error - %s replacement - Pop \"%s\" G%d: At least %d more %s progeny were needed.\n", w.title,
                    pop, g, r.keep - c.now, w.progeny);
            r.ok = false;
        } else {
            PW.Warn("Warning - %s replacement - Pop \"%s\" G%d: %d more %s progeny were needed.\n%s culling rate is "
                    "adjusted to %g.\n",
                    w.title, pop, g, r.take - c.progeny, w.progeny, w.title,
                    1.0 - static_cast<double>(r.keep) / c.now);
            NoWarn++;
        }
        r.take = c.progeny;
    }
    if (r.take < 0) {
        PW.Warn("Warning - %s replacement - Pop \"%s\" G%d: %d more %s were culled.\n", w.title, pop, g, -r.take,
                w.parents);
        NoWarn++;
        r.keep = c.next;
        r.take = 0;
    }
    return r;
}

}  // namespace

void CullAndSelect(CGenomePool& pool, CPopulation& p, int gen, int first, int last)
{
    const SGenPlan& plan = p.prm.plan[gen];
    SGenStat& st = p.genStat[gen];
    SReplacement sires = PlanReplacement(SireCounts(p, gen), kSireWords, p.prm.name.c_str(), gen);
    st.nNewSires = sires.take;
    SReplacement dams = PlanReplacement(DamCounts(p, gen), kDamWords, p.prm.name.c_str(), gen);
    st.nNewDams = dams.take;
    if (!sires.ok || !dams.ok) Abort("Error(s) detected!\n");

    // The culled parents are the tails of the arrays SortParents ordered.
    for (int i = sires.keep; i < plan.nSires; ++i) DropGenomeUse(pool, p.sires[i]);
    for (int i = dams.keep; i < plan.nDams; ++i) DropGenomeUse(pool, p.dams[i]);
    st.nCulledSires = MyMax(0, plan.nSires - sires.keep);
    st.nCulledDams = MyMax(0, plan.nDams - dams.keep);

    // Candidates come in selection order (SortRP); the first of each sex fill the empty places.
    for (int i = first; i <= last && (sires.take > 0 || dams.take > 0); ++i) {
        SRec* r = p.cand[i];
        SReplacement& sex = r->sex == 1 ? sires : dams;
        if (sex.take == 0) continue;
        (r->sex == 1 ? p.sires : p.dams)[sex.keep++] = r;
        sex.take--;
        ++*r->genomeUse;
    }
}
