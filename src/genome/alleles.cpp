// Numbers of alleles and starting frequencies drawn for each replicate.
#include "genome/genome.h"
#include "random/rnd.h"

namespace {

bool DrawnThisReplicate(bool everyReplicate, bool firstOnly, int rep)
{
    return everyReplicate || (firstOnly && rep == 1);
}

// Calls f on every locus of the class (markers or QTL) of the chromosome, in map order.
template <typename F>
void ForEachOfClass(SChrom& ch, bool qtl, F f)
{
    for (int i = 0; i < ch.NLoci(); ++i)
        if (static_cast<bool>(ch.loci[i]->isQTL) == qtl) f(ch.loci[i]);
}

void SampleNumbersOfAlleles(SChrom& ch, bool qtl, int rep)
{
    const SLocusClassSettings& s = ch.prm.Settings(qtl);
    if (!DrawnThisReplicate(s.nAlleleMethod == ENumAlleleMethod::Rnd, s.nAlleleMethod == ENumAlleleMethod::Rnd1, rep))
        return;
    ForEachOfClass(ch, qtl, [&](SLocus* l) {
        int k = static_cast<int>(s.nAlleleCount * MyRnd.URand());
        if (k > s.nAlleleCount - 1) k = s.nAlleleCount - 1;
        l->nAllele0 = static_cast<uint16_t>(s.nAlleleList[k]);
        l->freq.assign(l->nAllele0, 0.0);
    });
}

void SampleFrequencies(SChrom& ch, bool qtl, int rep)
{
    const SLocusClassSettings& s = ch.prm.Settings(qtl);
    if (s.nAlleleMethod == ENumAlleleMethod::Unique) return;  // founders carry their own alleles
    if (DrawnThisReplicate(s.freqMethod == EFreqMethod::Rnd, s.freqMethod == EFreqMethod::Rnd1, rep)) {
        ForEachOfClass(ch, qtl, [](SLocus* l) {
            l->freq.resize(l->nAllele0);
            double sum = 0;
            for (double& f : l->freq) sum += f = MyRnd.URand();
            for (double& f : l->freq) f /= sum;
        });
    } else if (s.freqMethod == EFreqMethod::Eql) {
        ForEachOfClass(ch, qtl, [](SLocus* l) { l->freq.assign(l->nAllele0, 1.0 / l->nAllele0); });
    }
}

}  // namespace

// Per chromosome: marker numbers of alleles, QTL numbers, marker frequencies, QTL frequencies.
void SampleAlleles(SChrom& ch, int rep)
{
    SampleNumbersOfAlleles(ch, false, rep);
    SampleNumbersOfAlleles(ch, true, rep);
    SampleFrequencies(ch, false, rep);
    SampleFrequencies(ch, true, rep);
}
