// Matings that minimise (minf) or maximise (maxf) the expected inbreeding of the progeny, found
// by simulated annealing over exchanges of sires between matings.
#include <cmath>
#include <cstdio>
#include <new>
#include <stdexcept>
#include <utility>

#include "breeding/breeding.h"
#include "random/rnd.h"
#include "breeding/sort.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

constexpr int kMaxTemperatureSteps = 300;
constexpr double kStartTemperature = 0.5;
constexpr double kCooling = 0.9;          // temperature factor between steps
constexpr int kCallsPerParent = 100;      // moves tried per step: this times max(sires, dams)
constexpr int kAcceptedPerParent = 10;    // a step ends early after this times max(sires, dams) moves

// floor(n * URand()), never n.
int RandomMatingIndex(int n)
{
    int i = static_cast<int>(MyRnd.URand() * n);
    return i < n ? i : n - 1;
}

// exp(-x) > u. From kExpUnderflow on exp(-x) is 0, which no uniform in [0, 1) is below, so the
// exponential is skipped there: at low temperatures that is nearly every worse move.
constexpr double kExpUnderflow = 746.0;
bool MetropolisAccepts(double x, double u)
{
    return x < kExpUnderflow && std::exp(-x) > u;
}

}  // namespace

void AllocSAMem(SMatingPlan& mating, const CPopulation& p)
{
    try {
        mating.coancestry.assign(static_cast<size_t>(p.prm.maxSires) * static_cast<size_t>(p.prm.maxDams), 0.0);
    } catch (const std::bad_alloc&) {
        Abort("Error - Simulated Annealing: Allocation failure\n");
    } catch (const std::length_error&) {
        Abort("Error - Simulated Annealing: Allocation failure\n");
    }
    mating.stride = p.prm.maxDams;
}

void FreeSAMem(SMatingPlan& mating)
{
    std::vector<double>().swap(mating.coancestry);
    mating.stride = 0;
}

void Anneal(SMatingPlan& mating, CInbred& inbred, CPopulation& p, int gen, bool maximise)
{
    const SGenPlan& plan = p.prm.plan[gen];
    printf(", Mating:");
    CSort::ShufflePar(plan.nSires, p.sires.data());
    CSort::ShufflePar(plan.nDams, p.dams.data());
    RandomMatingDesign(mating, p, gen);
    // A single mating has no partner to exchange its sire with: it is already the only choice.
    if (mating.nMatings < 2) {
        printf(" optimized");
        fflush(stdout);
        return;
    }
    inbred.CreateA(&p, gen, mating.list.data(), mating.coancestry.data(), mating.stride);
    AnnealMatingList(mating, p, gen, maximise);
}

SAnnealOutcome AnnealMatingList(SMatingPlan& mating, const CPopulation& p, int gen, bool maximise)
{
    const SGenInfo& gi = p.genInfo[gen];
    const SGenPlan& plan = p.prm.plan[gen];
    SAnnealOutcome out;
    int n = MyMax(plan.nSires, plan.nDams);
    double temperature = kStartTemperature;
    while (out.steps < kMaxTemperatureSteps) {
        out.steps++;
        int accepted = 0;
        for (int call = 0; call < kCallsPerParent * n && accepted < kAcceptedPerParent * n; ++call, ++out.moves)
            ChooseCheckAccept(mating, plan.nDams, gi.litterSize.data(), accepted, temperature, maximise);
        if (accepted == 0) {
            out.optimized = true;
            printf(" optimized");
            fflush(stdout);
            return out;
        }
        temperature *= kCooling;
    }
    printf(" not optimized");
    fflush(stdout);
    PW.Warn("Warning - Pop \"%s\" G%d: After %d temperature steps, matings were not optimized.\n", p.prm.name.c_str(),
            gen, kMaxTemperatureSteps);
    NoWarn++;
    return out;
}

// The objective is the litter-size-weighted sum of the progeny's inbreeding over all matings;
// dams keep their places (coancestry column = mating), only sires move.
void ChooseCheckAccept(SMatingPlan& mating, int nDams, const int16_t* litterSize, int& accepted, double temperature,
                       bool maximise)
{
    int nMatings = nDams;
    int i = RandomMatingIndex(nMatings);
    int j = RandomMatingIndex(nMatings - 1);
    if (j >= i) ++j;
    SMD& sireI = mating.list[i][0];
    SMD& sireJ = mating.list[j][0];
    double li = litterSize[i], lj = litterSize[j];
    double current = li * mating.C(sireI.idx, i) + lj * mating.C(sireJ.idx, j);
    double exchanged = li * mating.C(sireJ.idx, i) + lj * mating.C(sireI.idx, j);
    double delta = maximise ? current - exchanged : exchanged - current;
    // Better is always taken, worse by the Metropolis rule; an equal exchange draws nothing.
    bool take = delta < 0 || (delta > 0 && MetropolisAccepts(delta / temperature, MyRnd.URand()));
    if (!take) return;
    std::swap(sireI, sireJ);
    accepted++;
}
