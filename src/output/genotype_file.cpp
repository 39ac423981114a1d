// Genotype files of each generation of a population: allele pairs as text, one-digit genotype
// codes, or binary records, with genotypes made missing or wrong at random at the genome's
// rates, as in real genotyping. The true haplotypes are never changed: faults go into a copy.
#include <cstdint>
#include <vector>

#include "output/writers.h"
#include "random/rnd.h"
#include "random/shuffle.h"
#include "support/files.h"

namespace {

constexpr int kDiscardedDraws = 100000;  // MyRnd moves on by this much on every genotype call
constexpr double kMaxFaultRate = 0.99;   // an individual's drawn rate never exceeds this

// One-digit code of a (paternal, maternal) pair: 1,1 -> 0; 2,2 -> 2; 1,2 -> 3; 2,1 -> 4; any
// other pair, the missing value included, -> 5. Written without branches or tables, so that a
// line's codes are computed many at a time.
inline char GenotypeDigit(unsigned p, unsigned m)
{
    const bool known = p - 1u < 2u && m - 1u < 2u;
    const unsigned code = p == m ? 2 * p - 2 : p + 2;
    return static_cast<char>('0' + (known ? code : 5u));
}

// The rate of one individual: the mean rate, or with a gamma shape a gamma deviate of that mean
// drawn from the call's own generator; at most kMaxFaultRate.
double IndividualRate(const SRate& r, CMyRnd& local)
{
    double rate = r.shape > 0 ? local.GRand(r.shape) * r.rate / r.shape : r.rate;
    if (rate < 0) return 0;
    return rate > kMaxFaultRate ? kMaxFaultRate : rate;
}

// A wrong allele value: 1 becomes 2, anything larger goes down by one.
uint16_t ChangedAllele(uint16_t a)
{
    return a == 1 ? 2 : static_cast<uint16_t>(a - 1);
}

// What one genotype file holds and how, where it goes, and the scratch of one call: the columns of
// a line, the genome-wide locus of each, and the written (possibly faulty) allele pairs of one
// individual.
struct SGenotypeWrite {
    SGenotypeWrite(const SGenome& g, CWriteBuffer& out) : genome(g), buffer(out) {}

    const SGenome& genome;
    CWriteBuffer& buffer;
    bool labels = false;             // alleles written as their labels (allele_label)
    bool codes = false;              // one code digit per locus
    bool binary = false;             // 4-byte id and 2 + 2 bytes per locus
    bool markers = false;            // the file holds markers
    bool qtl = false;                // the file holds QTL
    uint16_t missing = 0;            // value of both alleles of a missing genotype
    std::vector<int> locusOf;        // genome-wide index of each column
    std::vector<SIndex> runs;        // runs of columns whose loci are consecutive: first and last column
    std::vector<int> markerColumns;  // columns of the markers, shuffled individual after individual
    std::vector<int> qtlColumns;     // columns of the QTL, likewise
    std::vector<const uint16_t*> labelOf;  // alleleLabel of each column's locus (allele_label only)
    std::vector<uint16_t> pair;      // paternal, maternal allele of each column
    std::vector<char> codeLine;      // the code digits of one line
};

// Columns 0..n-1 of a file of one locus class; a column stands for locus index[column].
void ClassColumns(SGenotypeWrite& w, const std::vector<int>& index, std::vector<int>& columns)
{
    const int n = static_cast<int>(index.size());
    w.locusOf = index;
    columns.resize(static_cast<size_t>(n));
    for (int c = 0; c < n; ++c) columns[static_cast<size_t>(c)] = c;
}

// With /seq every locus is a column in genome order, so a column is its genome-wide index.
void GenomeColumns(SGenotypeWrite& w, int nLoci, const std::vector<int>& mrk, const std::vector<int>& qtl)
{
    w.locusOf.resize(static_cast<size_t>(nLoci));
    for (int g = 0; g < nLoci; ++g) w.locusOf[static_cast<size_t>(g)] = g;
    w.markerColumns = mrk;
    w.qtlColumns = qtl;
}

// Columns whose loci follow one another in the genome form one run: a marker file's columns are
// broken only where QTL lie between markers, so the alleles of a line are copied run by run.
void FindConsecutiveRuns(SGenotypeWrite& w)
{
    w.runs.clear();
    const int n = static_cast<int>(w.locusOf.size());
    for (int c = 0; c < n; ++c) {
        if (c > 0 && w.locusOf[static_cast<size_t>(c)] == w.locusOf[static_cast<size_t>(c) - 1] + 1)
            w.runs.back().last = c;
        else
            w.runs.push_back({c, c});
    }
}

// Identifier, then the genotypes of every column. A /snp_code or /seq identifier of 7 digits or
// more gets a blank so that it does not run into the first code.
void WriteGenotypeLine(SGenotypeWrite& w, int id)
{
    const uint16_t* pair = w.pair.data();
    const size_t nColumns = w.locusOf.size();
    if (w.binary) {
        const int32_t id32 = id;
        w.buffer.WriteBinary(&id32, sizeof(id32));
        w.buffer.WriteBinary(pair, static_cast<int>(2 * nColumns * sizeof(uint16_t)));
        return;
    }
    w.buffer.Write(w.codes && id >= 1000000 ? "%-7d " : "%-7d", id);
    if (w.codes) {
        char* digit = w.codeLine.data();
        for (size_t c = 0; c < nColumns; ++c) digit[c] = GenotypeDigit(pair[2 * c], pair[2 * c + 1]);
        w.buffer.WriteBinary(digit, static_cast<int>(nColumns));
    } else {
        w.buffer.WriteUnsignedInts(pair, 2 * nColumns);
    }
    w.buffer.WriteBinary("\n", 1);
}

void TrueGenotypes(SGenotypeWrite& w, const SRec& r)
{
    const uint16_t* pat = r.Pat();
    const uint16_t* mat = r.Mat();
    const size_t nColumns = w.locusOf.size();
    uint16_t* out = w.pair.data();
    for (const SIndex& run : w.runs) {
        const int g0 = w.locusOf[static_cast<size_t>(run.first)];
        const uint16_t* p = pat + g0;
        const uint16_t* m = mat + g0;
        uint16_t* o = out + 2 * run.first;
        const int n = run.last - run.first + 1;
        for (int k = 0; k < n; ++k) {
            o[2 * k] = p[k];
            o[2 * k + 1] = m[k];
        }
    }
    if (!w.labels) return;
    for (size_t c = 0; c < nColumns; ++c) {
        out[2 * c] = w.labelOf[c][out[2 * c]];
        out[2 * c + 1] = w.labelOf[c][out[2 * c + 1]];
    }
}

// Missing genotypes and errors of one locus class of individual r: the numbers are drawn, then
// the columns they hit are the first ones of a partial shuffle of the class's columns.
void InduceFaults(SGenotypeWrite& w, const SRec& r, std::vector<int>& columns, const SRate& missRate, const SRate& errRate,
                  CMyRnd& local, uint64_t& nMiss, uint64_t& nErr)
{
    const double miss = IndividualRate(missRate, local);
    const double err = IndividualRate(errRate, local);
    const int n = static_cast<int>(columns.size());
    const int missing = MyRnd.BinomialRnd(miss, n);
    const int wrong = MyRnd.BinomialRnd(err, n - missing);
    Shuffle(columns.data(), n, missing + wrong);

    for (int t = 0; t < missing; ++t) {
        const size_t c = static_cast<size_t>(columns[static_cast<size_t>(t)]);
        w.pair[2 * c] = w.pair[2 * c + 1] = w.missing;
    }
    nMiss += static_cast<uint64_t>(missing);

    unsigned long long errors = 0;
    for (int t = missing; t < missing + wrong; ++t) {
        const size_t c = static_cast<size_t>(columns[static_cast<size_t>(t)]);
        const int g = w.locusOf[c];
        InduceGenErr(*w.genome.LocusAt(g), w.labels, g, r.Pat(), r.Mat(), w.pair[2 * c], w.pair[2 * c + 1], errors);
    }
    nErr += errors;
}

void WriteGenotypeLines(SGenotypeWrite& w, const SGenomeParams& rates, const CPopulation& p, int first, int last,
                        CMyRnd& local, SGenStat& stat)
{
    const size_t nColumns = w.locusOf.size();
    FindConsecutiveRuns(w);
    w.pair.resize(2 * nColumns);
    w.codeLine.resize(nColumns);
    if (w.labels) {
        w.labelOf.resize(nColumns);
        for (size_t c = 0; c < nColumns; ++c) w.labelOf[c] = w.genome.LocusAt(w.locusOf[c])->alleleLabel.data();
    }
    const bool faults = rates.rmmg.rate > 0 || rates.rmqg.rate > 0 || rates.rmge.rate > 0 || rates.rqge.rate > 0;
    for (int i = first; i <= last; ++i) {
        const SRec& r = p.indiv[static_cast<size_t>(i)];
        TrueGenotypes(w, r);
        if (faults) {
            if (w.markers) InduceFaults(w, r, w.markerColumns, rates.rmmg, rates.rmge, local, stat.nMissMrk, stat.nErrMrk);
            if (w.qtl) InduceFaults(w, r, w.qtlColumns, rates.rmqg, rates.rqge, local, stat.nMissQTL, stat.nErrQTL);
        }
        WriteGenotypeLine(w, r.id);
    }
}

}  // namespace

void SaveGenResults(const SRunOutput& out, CPopulation& p, int gen, int first, int last)
{
    const SPopOutput& o = p.prm.out;
    const SGenome& genome = out.genome;
    if (o.genoOut) {
        if (o.genoOpt & kGenoSeq) {
            if (genome.nLociTot >= 1) SaveGenotype(out, p, first, last, gen, false);
        } else {
            if (genome.nMrkTot >= 1) SaveGenotype(out, p, first, last, gen, false);
            if (genome.nQTLTot >= 1) SaveGenotype(out, p, first, last, gen, true);
        }
    }
    if (o.freqOut) SaveAlleleFreq(out, p, first, last, gen);
}

void SaveGenotype(const SRunOutput& out, CPopulation& p, int first, int last, int gen, bool qtl)
{
    COutputFiles& files = out.files;
    const SGenome& genome = out.genome;
    const SPopOutput& o = p.prm.out;
    const bool seq = (o.genoOpt & kGenoSeq) != 0;
    FILE* fp = seq ? files.genoMrkQtlFp : qtl ? files.genoQtlFp : files.genoMrkFp;
    if (!files.genoBuffer) files.genoBuffer = std::make_unique<CWriteBuffer>();
    files.genoBuffer->SetFilePointer(fp);

    // Every call moves MyRnd on by the same amount, selected generation or not, so that the
    // draws of later steps do not depend on the generations written.
    CMyRnd local;
    local.InitSeed(MyRnd.genrand_int32());
    for (int k = 0; k < kDiscardedDraws; ++k) MyRnd.URand();

    SGenotypeWrite w{genome, *files.genoBuffer};
    w.labels = out.prm.output.allele_label != 0;
    w.codes = seq || (!qtl && (o.genoOpt & kGenoSnpCode));
    w.binary = (o.genoOpt & kGenoBinary) != 0;
    w.markers = seq || !qtl;
    w.qtl = seq || qtl;
    w.missing = w.codes ? 5 : 0;

    if (first == 0 && !w.binary) {
        files.genoBuffer->Write("%-7s", "ID");
        if (w.codes)
            files.genoBuffer->Write(" Genotypes (0 = a1,a1; 2 = a2,a2; 3 = a1,a2; 4 = a2,a1; 5 = missing; The first allele "
                             "is paternal and the second allele is maternal) ...\n");
        else
            files.genoBuffer->Write(" Genotypes (paternal allele, maternal allele) ...\n");
    }
    if (o.genoGen[static_cast<size_t>(gen)]) {
        if (seq)
            GenomeColumns(w, genome.nLociTot, genome.mrkIndex, genome.qtlIndex);
        else
            ClassColumns(w, qtl ? genome.qtlIndex : genome.mrkIndex, qtl ? w.qtlColumns : w.markerColumns);
        WriteGenotypeLines(w, out.prm.genome, p, first, last, local, p.genStat[static_cast<size_t>(gen)]);
    }
    files.genoBuffer->Dump();
    MyFflush(fp);
}

// The result is written as the file writes the locus's other genotypes: labels with
// allele_label, allele numbers otherwise.
void InduceGenErr(const SLocus& locus, bool labels, int g, const uint16_t* pat, const uint16_t* mat, uint16_t& outPat,
                  uint16_t& outMat, unsigned long long& counter)
{
    const int n = locus.nAllele;
    auto shown = [&](int a) { return labels ? locus.alleleLabel[static_cast<size_t>(a)] : static_cast<uint16_t>(a); };
    const uint16_t truePat = shown(pat[g]), trueMat = shown(mat[g]);
    const double u = MyRnd.URand();
    if (n >= 2) {
        int a = static_cast<int>(u * n) + 1;
        int b = static_cast<int>(MyRnd.URand() * n) + 1;
        if (a > n) a = n;
        if (b > n) b = n;
        // An error must change the genotype, phase aside: a draw of the true pair moves one allele on.
        const bool same = (shown(a) == truePat && shown(b) == trueMat) || (shown(a) == trueMat && shown(b) == truePat);
        if (same) {
            if (MyRnd.URand() < 0.5)
                a = a % n + 1;
            else
                b = b % n + 1;
        }
        outPat = shown(a);
        outMat = shown(b);
    } else if (u < 0.5) {
        outPat = ChangedAllele(truePat);
        outMat = MyRnd.URand() < 0.5 ? ChangedAllele(trueMat) : trueMat;
    } else {
        outPat = truePat;
        outMat = ChangedAllele(trueMat);
    }
    ++counter;
}
