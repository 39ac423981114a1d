// Polygenic effects, residuals and phenotypes of new individuals, the additive variance the
// evaluation uses, and the means and standard deviations of each generation.
#include "evaluation/values.h"

#include <cmath>

#include "random/rnd.h"
#include "support/messages.h"

namespace {

// Mean and standard deviation of one value over the individuals a filter keeps; the SD of a
// single value is 0.
template <typename Value, typename Keep>
void MeanSd(const SRec* r, int n, int count, Value value, Keep keep, double& mean, double& sd)
{
    double sum = 0;
    for (int i = 0; i < n; ++i)
        if (keep(r[i])) sum += value(r[i]);
    mean = count > 0 ? sum / count : 0;
    double squares = 0;
    for (int i = 0; i < n; ++i)
        if (keep(r[i])) {
            double d = value(r[i]) - mean;
            squares += d * d;
        }
    sd = count > 1 ? std::sqrt(squares / (count - 1)) : 0;
}

bool Everyone(const SRec&) { return true; }
bool Recorded(const SRec& r) { return r.hasPhen != 0; }

}  // namespace

void SetProgenyValues(const SGlobalParams& global, CPopulation& p, int first, int last)
{
    const double sdPoly = std::sqrt(global.varPoly), sdRes = std::sqrt(global.varRes);
    for (int i = first; i <= last; ++i) {
        SRec& r = p.indiv[static_cast<size_t>(i)];
        r.polyVal = 0;
        if (global.varPoly > 0) {
            // Mendelian sampling, reduced by the parents' inbreeding.
            double z = MyRnd.NRand();
            r.polyVal = (r.sire->polyVal + r.dam->polyVal) / 2 +
                        sdPoly * z * std::sqrt(0.5 - 0.25 * (r.sire->inbF + r.dam->inbF));
        }
        if (r.hasPhen) {
            r.res = sdRes * MyRnd.NRand();
            r.phen = r.res + r.polyVal + r.qtlVal;
        } else {
            r.res = r.phen = 0;
        }
    }
}

void ComputeMeanVar(const SGlobalParams& global, CPopulation& p, int gen, int first, int last)
{
    SGenStat& st = p.genStat[static_cast<size_t>(gen)];
    const SRec* r = &p.indiv[static_cast<size_t>(first)];
    const int n = last - first + 1;
    if (n < 1) return;
    int nRec = n;
    if (!global.malesHaveRecords) {
        if (gen == p.prm.ng + 1) {
            nRec = 0;
            for (int i = 0; i < n; ++i) nRec += r[i].hasPhen != 0;
        } else {
            nRec = static_cast<int>(st.nFemale);
        }
    }
    for (int i = 0; i < n; ++i)
        if (r[i].inbF > 0) {
            st.nInbred++;
            st.sumF += r[i].inbF;
            st.sumF2 += r[i].inbF * r[i].inbF;
        }
    MeanSd(r, n, n, [](const SRec& x) { return x.homo; }, Everyone, st.meanHomo, st.sdHomo);
    MeanSd(r, n, n, [](const SRec& x) { return x.polyVal; }, Everyone, st.meanPoly, st.sdPoly);
    MeanSd(r, n, n, [](const SRec& x) { return x.qtlVal; }, Everyone, st.meanQTL, st.sdQTL);
    MeanSd(r, n, n, [](const SRec& x) { return x.Tbv(); }, Everyone, st.meanTBV, st.sdTBV);
    // Individuals without a record hold 0 and are left out of phenotype and residual statistics.
    MeanSd(r, n, nRec, [](const SRec& x) { return x.phen; }, Recorded, st.meanPhen, st.sdPhen);
    MeanSd(r, n, nRec, [](const SRec& x) { return x.res; }, Recorded, st.meanRes, st.sdRes);
}

void ComputeMeanVarEBV(CPopulation& p, int gen, int first, int last)
{
    SGenStat& st = p.genStat[static_cast<size_t>(gen)];
    const int n = last - first + 1;
    if (n < 1) return;
    MeanSd(&p.indiv[static_cast<size_t>(first)], n, n, [](const SRec& x) { return x.ebv; }, Everyone, st.meanEBV,
           st.sdEBV);
}

void Update_VarAdd(CPopulation& p, int gen)
{
    double sd = p.genStat[static_cast<size_t>(gen)].sdTBV;
    p.varA = sd * sd;
    InfoRpt("Info - Pop \"%s\" G%d: True additive variance is used. (True VA = %g)\n", p.prm.name.c_str(), gen, p.varA);
    MyFlush();
}
