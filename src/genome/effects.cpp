// QTL allele effects: drawn in the last historical generation and scaled so that its genetic
// variances are the ones asked for.
#include <cmath>
#include <vector>

#include "genome/genome.h"
#include "random/rnd.h"
#include "support/errmsg.h"
#include "support/messages.h"
#include "support/numbers.h"

namespace {

// Mean and unbiased variance from a sum and a sum of squares of n values.
double Variance(double sum, double sumSq, double n) { return (sumSq - sum * sum / n) / (n - 1); }

[[noreturn]] void VarianceError(short errNo)
{
    CErrMsg messages;
    Warn("%s\n", messages.GetErrMsg(errNo));
    Abort("Error(s) detected!\n");
}

// Sums of the genotype values of one QTL over the generation.
struct SQTLSums {
    double sum = 0, sumSq = 0;  // of the genotype values
    double copies = 0;          // allele copies counted (one for a male's X-linked QTL)
};

}  // namespace

void AllocQAEffectMem(SGenome& genome, int& segMarkers, int& segQTL)
{
    for (SChrom& ch : genome.chrom) {
        ch.nMrkFixed = ch.nQTLFixed = 0;
        for (int i = 0; i < ch.NLoci(); ++i) {
            SLocus* l = ch.loci[i];
            if (l->isQTL) l->effect.assign(l->nAllele, 0.0);
            if (l->nAllele == 1) ch.Fixed(l->isQTL)++;
        }
    }
    int fixedMrk = 0, fixedQTL = 0;
    for (const SChrom& ch : genome.chrom) {
        fixedMrk += ch.nMrkFixed;
        fixedQTL += ch.nQTLFixed;
    }
    Info("   No. segregating markers  : %-7s out of %s\n", FormatNum(static_cast<unsigned long long>(genome.nMrkTot - fixedMrk)),
         FormatNum(static_cast<unsigned long long>(genome.nMrkTot)));
    Info("   No. segregating QTL      : %-7s out of %s\n", FormatNum(static_cast<unsigned long long>(genome.nQTLTot - fixedQTL)),
         FormatNum(static_cast<unsigned long long>(genome.nQTLTot)));
    segMarkers = genome.nMrkTot - fixedMrk;
    segQTL = genome.nQTLTot - fixedQTL;
}

void SampleQAEffect(const SGlobalParams& global, SGenome& genome)
{
    GetLociInfo(genome);
    if (genome.nQTLTot == 0 || genome.chrom.empty()) return;
    double v = global.varQTL / genome.nQTLTot * 0.5;
    double s = 0;
    const SChrom& first = genome.chrom[0];
    switch (first.prm.qaeMethod) {
    case EEffectMethod::Pd: s = std::sqrt(v) / 0.7483314773547883; break;
    case EEffectMethod::Rndg: s = std::sqrt(v) / std::sqrt(first.prm.gammaShape * first.prm.gammaShape + first.prm.gammaShape); break;
    case EEffectMethod::Rndn: s = std::sqrt(v); break;
    case EEffectMethod::Rnd: s = std::sqrt(v) / 0.5773502691896257; break;
    }
    auto randomSign = [](double e) { return MyRnd.URand() < 0.5 ? -e : e; };
    for (SChrom& ch : genome.chrom)
        for (int i = 0; i < ch.NLoci(); ++i) {
            SLocus* l = ch.loci[i];
            if (!l->isQTL) continue;
            if (l->nAllele < 2) {
                l->effect.assign(l->nAllele, 0.0);
                continue;
            }
            for (double& e : l->effect) {
                switch (ch.prm.qaeMethod) {
                case EEffectMethod::Pd: e = randomSign(MyRnd.GRand(0.4) * s); break;
                case EEffectMethod::Rndg: e = randomSign(MyRnd.GRand(ch.prm.gammaShape) * s); break;
                case EEffectMethod::Rndn: e = MyRnd.NRand() * s; break;
                case EEffectMethod::Rnd: e = randomSign(MyRnd.URand() * s); break;
                }
            }
        }
}

double QTLValue(const SGenome& genome, const SRec* rec)
{
    double v = 0;
    const uint16_t* pat = rec->Pat();
    const uint16_t* mat = rec->Mat();
    for (const SChrom& ch : genome.chrom) {
        bool maternalOnly = ch.prm.isX && rec->sex == 1;
        for (int k = 0; k < ch.nQTL; ++k) {
            int g = ch.qtlIdx[k];
            const std::vector<double>& e = genome.LocusAt(g)->effect;
            v += e[mat[g] - 1];
            if (!maternalOnly) v += e[pat[g] - 1];
        }
    }
    return v;
}

void ScaleQAEffect(const SGlobalParams& global, SGenome& genome, SRec* lhg, int n, double& scale)
{
    // Genotype values of every QTL over the generation, and the QTL and polygenic values.
    std::vector<SQTLSums> perQTL(static_cast<size_t>(genome.nQTLTot));
    double qSum = 0, qSumSq = 0, pSum = 0, pSumSq = 0;
    for (int i = 0; i < n; ++i) {
        SRec& r = lhg[i];
        const uint16_t* pat = r.Pat();
        const uint16_t* mat = r.Mat();
        double value = 0;
        int k = 0;
        for (const SChrom& ch : genome.chrom) {
            bool maternalOnly = ch.prm.isX && r.sex == 1;
            for (int j = 0; j < ch.nQTL; ++j, ++k) {
                int g = ch.qtlIdx[j];
                const std::vector<double>& e = genome.LocusAt(g)->effect;
                double gv = e[mat[g] - 1] + (maternalOnly ? 0 : e[pat[g] - 1]);
                perQTL[k].sum += gv;
                perQTL[k].sumSq += gv * gv;
                perQTL[k].copies += maternalOnly ? 1 : 2;
                value += gv;
            }
        }
        r.qtlVal = value;
        qSum += value;
        qSumSq += value * value;
        pSum += r.polyVal;
        pSumSq += r.polyVal * r.polyVal;
    }

    // Centre every QTL on its mean allele effect and scale it.
    auto rescale = [&](int k, double factor) {
        SLocus* l = genome.LocusAt(genome.qtlIndex[k]);
        double mean = perQTL[k].sum / perQTL[k].copies;
        for (double& e : l->effect) e = (e - mean) * factor;
    };
    if (genome.chrom.empty() || genome.chrom[0].prm.qaeMethod != EEffectMethod::Pd) {
        double v = Variance(qSum, qSumSq, n);
        if (global.varQTL > 1e-5 && v < 1e-5) VarianceError(56);
        double f = v >= 1e-5 ? std::sqrt(global.varQTL) / std::sqrt(v) : 1;
        for (int k = 0; k < genome.nQTLTot; ++k) rescale(k, f);
        scale = f;
    } else {
        for (int k = 0; k < genome.nQTLTot; ++k) {
            // Over half the allele copies: a male's X-linked QTL counts one copy.
            double vk = Variance(perQTL[k].sum, perQTL[k].sumSq, perQTL[k].copies / 2);
            double target = genome.LocusAt(genome.qtlIndex[k])->targetVar;
            if (target > 1e-5 && vk < 1e-5) VarianceError(57);
            double f = vk >= 1e-5 ? std::sqrt(target) / std::sqrt(vk) : 1;
            rescale(k, f);
            scale = f;
        }
    }

    double sd = std::sqrt(std::max(0.0, Variance(pSum, pSumSq, n)));
    double g = (global.varPoly < 1e-5 && sd < 1e-5) ? 1 : std::sqrt(global.varPoly) / sd;
    double mean = pSum / n;
    for (int i = 0; i < n; ++i) lhg[i].polyVal = (lhg[i].polyVal - mean) * g;
}
