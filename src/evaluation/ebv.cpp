// Breeding value estimation: the choice of method, the approximation from progeny and own
// records, EBVs of a given accuracy, and the correlations of EBV with TBV kept as accuracy.
#include "evaluation/ebv.h"

#include <cmath>
#include <vector>

#include "evaluation/values.h"
#include "random/rnd.h"
#include "support/messages.h"

namespace {

// Correlation of EBV and TBV over the records at(lo..hi) that keep accepts, with centred sums;
// the 1e-20 keeps a group of equal values at 0 instead of 0/0, and an empty group gives 0.
template <typename At, typename Keep>
double Correlation(int lo, int hi, At at, Keep keep)
{
    int n = 0;
    double sumE = 0, sumT = 0;
    for (int i = lo; i <= hi; ++i)
        if (keep(at(i))) {
            n++;
            sumE += at(i).ebv;
            sumT += at(i).Tbv();
        }
    if (n == 0) return 0;
    const double meanE = sumE / n, meanT = sumT / n;
    double ee = 0, tt = 0, et = 0;
    for (int i = lo; i <= hi; ++i)
        if (keep(at(i))) {
            const double e = at(i).ebv - meanE, t = at(i).Tbv() - meanT;
            ee += e * e;
            tt += t * t;
            et += e * t;
        }
    return et / (std::sqrt(ee * tt) + 1e-20);
}

bool AnySex(const SRec&) { return true; }
bool IsMale(const SRec& r) { return r.sex != 0; }
bool IsFemale(const SRec& r) { return r.sex == 0; }

}  // namespace

void Corr_EBV(SRec* const* a, int lo, int hi, double* r)
{
    *r = Correlation(lo, hi, [a](int i) -> const SRec& { return *a[i]; }, AnySex);
}

void Corr_EBV_MF(const SRec* recs, int lo, int hi, double* all, double* male, double* female)
{
    auto at = [recs](int i) -> const SRec& { return recs[i]; };
    *all = Correlation(lo, hi, at, AnySex);
    *male = Correlation(lo, hi, at, IsMale);
    *female = Correlation(lo, hi, at, IsFemale);
}

namespace {

// The approximation's constants: the SD of a progeny record around half its parent's TBV, and
// the regression constant of a progeny mean.
struct SApproxWeights {
    double sigmaW, k;
};

SApproxWeights ApproxWeights(double varAdditive, double varRes, double h2)
{
    return SApproxWeights{std::sqrt(0.75 * varAdditive + varRes), (4 - h2) / h2};
}

// The sum of m simulated progeny records' contributions, m (t + 2 z sigmaW / sqrt(m)): m times
// half the TBV doubled, plus the sampling error of their mean. Draws one deviate.
double SimulatedProgenySum(double tbv, int m, double sigmaW)
{
    return m * (tbv + 2 * MyRnd.NRand() * sigmaW / std::sqrt(static_cast<double>(m)));
}

// The progeny of first..last that have a record, counted per parent identifier.
std::vector<int> RecordedProgenyPerParent(const CPopulation& p, int first, int last, int maxId)
{
    std::vector<int> count(static_cast<size_t>(maxId) + 1, 0);
    for (int i = first; i <= last; ++i) {
        const SRec& r = p.indiv[static_cast<size_t>(i)];
        if (!r.hasPhen) continue;
        count[static_cast<size_t>(r.sire->id)]++;
        count[static_cast<size_t>(r.dam->id)]++;
    }
    return count;
}

// Parents gain the progeny records of this generation in ebvAcc; those with fewer progeny than
// `mnp` so far have the missing ones simulated, without keeping them.
void ApproxParents(SRec* const* parents, int nParents, const std::vector<int>& recorded, int mnp,
                   bool malesHaveRecords, const SApproxWeights& aw)
{
    for (int i = 0; i < nParents; ++i) {
        SRec& s = *parents[i];
        const int n = recorded[static_cast<size_t>(s.id)];
        if (n <= 0) continue;
        const double t = s.Tbv();
        const int progeny = s.nFPrg + (malesHaveRecords ? s.nMPrg : 0);
        s.ebvAcc += SimulatedProgenySum(t, n, aw.sigmaW);
        if (mnp > progeny)
            s.ebv = (s.ebvAcc + SimulatedProgenySum(t, mnp - progeny, aw.sigmaW)) / (mnp + aw.k);
        else
            s.ebv = s.ebvAcc / (progeny + aw.k);
    }
}

// An individual's own simulated progeny test of m records, or its parent average without one.
void ApproxIndividual(SRec& r, int m, const SApproxWeights& aw)
{
    if (m != 0)
        r.ebv = SimulatedProgenySum(r.Tbv(), m, aw.sigmaW) / (aw.k + m);
    else
        r.ebv = (r.sire->ebv + r.dam->ebv) / 2;
}

}  // namespace

void GetCholesky(double varA, double r, double* a, double* b)
{
    *a = r * varA / std::sqrt(varA);
    *b = std::sqrt(std::fmax(0.0, varA - *a * *a));
}

void EstimateEBV_P_Accur(CPopulation& p, int first, int last)
{
    const bool overall = p.prm.accur > -1;
    if (!overall && !(p.prm.accur_male > -1)) return;
    double a = 0, b = 0, aMale = 0, bMale = 0, aFemale = 0, bFemale = 0;
    if (overall) {
        GetCholesky(p.varA, p.prm.accur, &a, &b);
    } else {
        GetCholesky(p.varA, p.prm.accur_male, &aMale, &bMale);
        GetCholesky(p.varA, p.prm.accur_female, &aFemale, &bFemale);
    }
    // Without additive variance the TBV carries no information: every EBV is 0.
    const double sdA = std::sqrt(p.varA);
    for (int i = first; i <= last; ++i) {
        SRec& r = p.indiv[static_cast<size_t>(i)];
        const double wa = overall ? a : (r.sex ? aMale : aFemale);
        const double wb = overall ? b : (r.sex ? bMale : bFemale);
        const double z = MyRnd.NRand();
        r.ebv = sdA > 0 ? wa * r.Tbv() / sdA + wb * z : 0.0;
    }
}

void EstimateEBV_Approx(const SGlobalParams& global, CPopulation& p, int nextId, int gen, int first, int last)
{
    if (gen < 1) Abort("Error - EstimateEBV_Approx: EBV for founders cannot be computed in this function.\n");
    const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
    const SApproxWeights aw = ApproxWeights(global.varPoly + global.varQTL, global.varRes, global.h2);
    const std::vector<int> recorded = RecordedProgenyPerParent(p, first, last, nextId);
    ApproxParents(p.sires.data(), plan.nSires, recorded, p.prm.mnp_male, global.malesHaveRecords, aw);
    ApproxParents(p.dams.data(), plan.nDams, recorded, p.prm.mnp_female, global.malesHaveRecords, aw);
    for (int i = first; i <= last; ++i) {
        SRec& r = p.indiv[static_cast<size_t>(i)];
        ApproxIndividual(r, r.sex ? p.prm.mnp_male : p.prm.mnp_female, aw);
    }
}

void EstimateEBV_Base(const SEvaluation& ev, CPopulation& p)
{
    const SGlobalParams& global = ev.global;
    if (p.prm.ebvMethod == kEbvNone) return;
    const int last0 = p.genInfo[0].last;
    // With a joint pedigree a founder keeps the EBV of the record it was copied from.
    if (!global.joint_pop || p.prm.ebvMethod == kEbvExternal) {
        const SApproxWeights aw = ApproxWeights(global.varPoly + global.varQTL, global.varRes, global.h2);
        switch (p.prm.ebvMethod) {
        case kEbvApprox:
            for (int i = 0; i <= last0; ++i) {
                SRec& r = p.indiv[static_cast<size_t>(i)];
                const int m = r.sex ? p.prm.mnp_male : p.prm.mnp_female;
                r.ebv = m != 0 ? SimulatedProgenySum(r.Tbv(), m, aw.sigmaW) / (aw.k + m) : global.h2 * r.phen;
            }
            break;
        case kEbvBlup:
            for (int i = 0; i <= last0; ++i) {
                SRec& r = p.indiv[static_cast<size_t>(i)];
                r.ebv = r.phen * p.varA / (p.varA + global.varRes);
            }
            break;
        case kEbvAccur: EstimateEBV_P_Accur(p, 0, last0); break;
        case kEbvExternal: InputBV(ev.inbred, p, ev.nextId, 1, 0, 0, true); break;
        default: break;
        }
    }
    SGenStat& st = p.genStat[0];
    Corr_EBV_MF(p.indiv.data(), 0, last0, &st.corrEBV, &st.corrEBVMale, &st.corrEBVFemale);
    ComputeMeanVarEBV(p, 0, 0, last0);
}

void EstimateEBV(const SEvaluation& ev, CPopulation& p, int gen, int first, int last)
{
    switch (p.prm.ebvMethod) {
    case kEbvApprox: EstimateEBV_Approx(ev.global, p, ev.nextId, gen, first, last); break;
    case kEbvBlup: ev.mme.SolveMME(&ev.inbred, ev.global.varRes, p.varA); break;
    case kEbvAccur: EstimateEBV_P_Accur(p, first, last); break;
    case kEbvExternal: InputBV(ev.inbred, p, ev.nextId, gen, first, last, false); break;
    default: return;  // no evaluation, no accuracy statistics
    }
    const SGenPlan& plan = p.prm.plan[static_cast<size_t>(gen)];
    SGenStat& st = p.genStat[static_cast<size_t>(gen)];
    Corr_EBV_MF(p.indiv.data(), first, last, &st.corrEBV, &st.corrEBVMale, &st.corrEBVFemale);
    Corr_EBV(p.sires.data(), 0, plan.nSires - 1, &st.corrEBVSire);
    Corr_EBV(p.dams.data(), 0, plan.nDams - 1, &st.corrEBVDam);
    ComputeMeanVarEBV(p, gen, first, last);
}
