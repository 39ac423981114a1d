// Allele frequency files of a population: per selected generation the frequency of every allele
// present at every marker and QTL (with the genotypic variance of each QTL), and after the last
// generation the numbers of loci by minor allele frequency class.
#include <cstdint>
#include <vector>

#include "output/writers.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/numbers.h"

namespace {

// Allele counts over both haplotypes of a range of individuals, and the sums of the genotypic
// value (paternal plus maternal allele effect) of every QTL.
struct SAlleleCounts {
    std::vector<int> start;        // allele a of locus g is counted at start[g] + a
    std::vector<uint32_t> count;
    std::vector<double> sum;       // per QTL, genome order
    std::vector<double> sumSq;
};

SAlleleCounts CountAlleles(const SGenome& genome, const CPopulation& p, int first, int last)
{
    SAlleleCounts c;
    const int nLoci = genome.nLociTot;
    c.start.resize(static_cast<size_t>(nLoci));
    int cells = 0;
    for (int g = 0; g < nLoci; ++g) {
        c.start[static_cast<size_t>(g)] = cells;
        cells += genome.LocusAt(g)->nAllele + 1;
    }
    c.count.assign(static_cast<size_t>(cells), 0);
    std::vector<const double*> effect(static_cast<size_t>(genome.nQTLTot));
    for (int j = 0; j < genome.nQTLTot; ++j)
        effect[static_cast<size_t>(j)] = genome.LocusAt(genome.qtlIndex[static_cast<size_t>(j)])->effect.data();
    c.sum.assign(effect.size(), 0.0);
    c.sumSq.assign(effect.size(), 0.0);

    for (int i = first; i <= last; ++i) {
        const SRec& r = p.indiv[static_cast<size_t>(i)];
        const uint16_t* pat = r.Pat();
        const uint16_t* mat = r.Mat();
        for (int g = 0; g < nLoci; ++g) {
            const int s = c.start[static_cast<size_t>(g)];
            c.count[static_cast<size_t>(s + pat[g])]++;
            c.count[static_cast<size_t>(s + mat[g])]++;
        }
        for (size_t j = 0; j < effect.size(); ++j) {
            const int g = genome.qtlIndex[j];
            const double v = effect[j][pat[g] - 1] + effect[j][mat[g] - 1];
            c.sum[j] += v;
            c.sumSq[j] += v * v;
        }
    }
    return c;
}

// Class of a minor allele frequency m among `bins` classes of width 0.5 / bins; 0.5 falls in the
// last class.
int MafClass(double m, int bins)
{
    const int k = static_cast<int>(m / (0.5 / bins) + Epsilon);
    return k >= bins ? bins - 1 : k;
}

void WriteFreqHeaders(const COutputFiles& files)
{
    if (files.freqMrkFp) fprintf(files.freqMrkFp, "%-7s %4s %3s  %s\n", "ID", "Gen", "Chr", "Allele:Freq ...");
    if (files.freqQtlFp) fprintf(files.freqQtlFp, "%-7s %4s %3s %-10s  %s\n", "ID", "Gen", "Chr", "Var", "Allele:Freq ...");
}

// One line per locus, chromosome by chromosome in map order, which is genome-wide index order.
void WriteFrequencies(const SGenome& genome, const COutputFiles& files, CPopulation& p, int first, int last, int gen)
{
    SGenStat& st = p.genStat[static_cast<size_t>(gen)];
    const int bins = p.prm.out.mafBin;
    st.mafHistMrk.assign(static_cast<size_t>(bins), 0);
    st.mafHistQTL.assign(static_cast<size_t>(bins), 0);
    const SAlleleCounts c = CountAlleles(genome, p, first, last);
    const double haplotypes = 2.0 * (st.nMale + st.nFemale);
    const double n = last - first + 1;
    const int shownGen = p.indiv[static_cast<size_t>(first)].gen;

    int g = 0, markerNo = 0, qtlNo = 0;
    for (size_t ci = 0; ci < genome.chrom.size(); ++ci) {
        const SChrom& ch = genome.chrom[ci];
        const int chrNo = static_cast<int>(ci) + 1;
        for (int k = 0; k < ch.NLoci(); ++k, ++g) {
            const SLocus& locus = *ch.loci[k];
            FILE* fp = locus.isQTL ? files.freqQtlFp : files.freqMrkFp;
            if (locus.isQTL) {
                const size_t j = static_cast<size_t>(qtlNo);
                const double var = MyDVD(c.sumSq[j] - c.sum[j] * c.sum[j] / n, n - 1);
                fprintf(fp, "Q%-6d %4d %3d %10.6f ", ++qtlNo, shownGen, chrNo, var);
            } else {
                fprintf(fp, "M%-6d %4d %3d ", ++markerNo, shownGen, chrNo);
            }
            const uint32_t* count = c.count.data() + c.start[static_cast<size_t>(g)];
            double maf = 1;
            for (int a = 1; a <= locus.nAllele; ++a) {
                const double f = count[a] / haplotypes;
                if (f < maf) maf = f;
                if (f > 0) fprintf(fp, " %3d:%8.6f", locus.alleleLabel[static_cast<size_t>(a)], f);
            }
            fprintf(fp, "\n");
            if (locus.nAllele < 2) maf = 0;
            if (bins > 0) (locus.isQTL ? st.mafHistQTL : st.mafHistMrk)[static_cast<size_t>(MafClass(maf, bins))]++;
        }
    }
}

// The loci of each minor allele frequency class, one column per generation written.
void WriteMafDistribution(const CPopulation& p, FILE* fp, bool qtl, int nLoci)
{
    const int bins = p.prm.out.mafBin;
    const double width = 0.5 / bins;
    PrintALineFormat1(80, '-', fp, "Distribution of minor allele frequency");
    fprintf(fp, "Bin\\Gen.        ");
    for (int g = 0; g <= p.prm.ng; ++g)
        if (p.prm.out.freqGen[static_cast<size_t>(g)]) fprintf(fp, "%15d ", g);
    fprintf(fp, "\n");
    for (int b = 0; b < bins; ++b) {
        fprintf(fp, b < bins - 1 ? "%3.2f<= maf <%3.2f  " : "%3.2f<= maf<=%3.2f  ", b * width, (b + 1) * width);
        for (int g = 0; g <= p.prm.ng; ++g) {
            if (!p.prm.out.freqGen[static_cast<size_t>(g)]) continue;
            const SGenStat& st = p.genStat[static_cast<size_t>(g)];
            const uint32_t k = (qtl ? st.mafHistQTL : st.mafHistMrk)[static_cast<size_t>(b)];
            fprintf(fp, "%6d(%6.2f%%) ", static_cast<int>(k), MyDVD(100.0 * k, nLoci));
        }
        fprintf(fp, "\n");
    }
}

}  // namespace

void SaveAlleleFreq(const SRunOutput& out, CPopulation& p, int first, int last, int gen)
{
    const COutputFiles& files = out.files;
    if (first == 0) WriteFreqHeaders(files);
    if (p.prm.out.freqGen[static_cast<size_t>(gen)]) WriteFrequencies(out.genome, files, p, first, last, gen);
    if (gen == p.prm.ng && p.prm.out.mafBin > 0) {
        if (files.freqMrkFp) WriteMafDistribution(p, files.freqMrkFp, false, out.genome.nMrkTot);
        if (files.freqQtlFp) WriteMafDistribution(p, files.freqQtlFp, true, out.genome.nQTLTot);
    }
    if (files.freqMrkFp) MyFflush(files.freqMrkFp);
    if (files.freqQtlFp) MyFflush(files.freqQtlFp);
}
