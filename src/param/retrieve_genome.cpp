// The genome block: genome-wide statements and the chromosome blocks with their positions,
// numbers of alleles, allele frequencies, QTL effects and complete-LD settings.
#include <algorithm>
#include <cmath>

#include "param/param_reader.h"
#include "param/lex.h"
#include "param/retrieve_util.h"
#include "support/errmsg.h"
#include "support/messages.h"
#include "support/sorting.h"
#include "support/numbers.h"

namespace {

constexpr int kMaxAlleles = 65535;
// Frequencies of one locus may miss 1 by this much (three-decimal thirds, say).
constexpr double kFreqSumTolerance = 1e-3;

// Calls visit(t) for every token of the run of consecutive tokens with t's action; leaves t
// at the last of them.
template <typename Visit>
void ForRun(SCom*& t, Visit visit)
{
    uint16_t action = t->action;
    for (;; t = t->next) {
        visit(t);
        if (!t->next || t->next->action != action) return;
    }
}

// Walks the chromosome blocks from the first begin_chr. A block with count N is read N times,
// once for each of its chromosomes; visit(t, c) sees every other token with the chromosome
// index c and may advance t. Returns the number of chromosomes read.
template <typename Visit>
int WalkChromosomeBlocks(SCom* first, int nChr, Visit visit)
{
    int c = 0, copiesLeft = 0;
    SCom* countToken = nullptr;
    for (SCom* t = first; t && c < nChr; t = t->next) {
        switch (t->action) {
        case 117: copiesLeft = 1; countToken = t; break;
        case 115: copiesLeft = IntValue(t); countToken = t; break;
        case 116:
            c++;
            if (--copiesLeft > 0 && c < nChr) t = countToken;  // read the block again
            break;
        default: visit(t, c); break;
        }
    }
    return c;
}

EPosMethod PosMethodOf(const std::string& w)
{
    if (w == "rnd") return EPosMethod::Rnd;
    if (w == "rnd1") return EPosMethod::Rnd1;
    if (w == "pd") return EPosMethod::Pd;
    return EPosMethod::Even;
}

ENumAlleleMethod NumAlleleMethodOf(const std::string& w)
{
    if (w == "unique") return ENumAlleleMethod::Unique;
    if (w == "rnd") return ENumAlleleMethod::Rnd;
    if (w == "rnd1") return ENumAlleleMethod::Rnd1;
    if (w == "pd") return ENumAlleleMethod::Pd;
    return ENumAlleleMethod::All;
}

EFreqMethod FreqMethodOf(const std::string& w)
{
    if (w == "rnd") return EFreqMethod::Rnd;
    if (w == "rnd1") return EFreqMethod::Rnd1;
    if (w == "pd") return EFreqMethod::Pd;
    if (w == "all") return EFreqMethod::All;
    return EFreqMethod::Eql;
}

EEffectMethod EffectMethodOf(const std::string& w)
{
    if (w == "pd") return EEffectMethod::Pd;
    if (w == "rndg") return EEffectMethod::Rndg;
    if (w == "rndn") return EEffectMethod::Rndn;
    return EEffectMethod::Rnd;
}

// Frequency methods that cannot go with a way of setting the numbers of alleles.
bool Incompatible(EFreqMethod f, ENumAlleleMethod n, bool qtl)
{
    using N = ENumAlleleMethod;
    if (f == EFreqMethod::Pd) return n == N::Unique || n == N::Rnd || n == N::Rnd1;
    if (f == EFreqMethod::Rnd) return !qtl && n == N::Unique;
    if (f == EFreqMethod::Rnd1) return n == N::Rnd;
    return false;
}

bool IsRandom(EPosMethod m) { return m == EPosMethod::Rnd || m == EPosMethod::Rnd1; }

[[noreturn]] void PositionError(short errNo, int chromosome, double pos)
{
    CErrMsg messages;
    Abort("%s (Chromosome: %d, Position: %10.5f)\nCheck control file!\n", messages.GetErrMsg(errNo), chromosome, pos);
}

}  // namespace

bool FixedPositionRange(const SChromParams& ch, int& first, int& last)
{
    if (ch.NLoci() < 2) return false;
    const bool mRandom = IsRandom(ch.mrk.posMethod), qRandom = IsRandom(ch.qtl.posMethod);
    if (mRandom && qRandom) return false;
    first = mRandom ? ch.mrk.saved : 0;
    last = qRandom ? ch.mrk.saved - 1 : ch.NLoci() - 1;
    return first <= last;
}

// The fixed positions of a chromosome in map order: none below zero or past the end of its
// class, no two at the same position. The loci are ordered as the engine orders them.
void CParamReader::CheckChrPositions(const SChromParams& ch)
{
    int first, last;
    if (!FixedPositionRange(ch, first, last)) return;
    std::vector<const SLocusParams*> loci;
    for (int i = 0; i < ch.NLoci(); ++i) loci.push_back(&prm.genome.loci[static_cast<size_t>(ch.firstLocus + i)]);
    QuickSortBy(loci.data(), first, last, [](const SLocusParams* l) { return l->pos; }, false);
    if (loci[first]->pos < kSamePosition) PositionError(62, ch.number, loci[first]->pos);
    const SLocusParams* lastLocus = loci[last];
    if (lastLocus->pos > ch.Settings(lastLocus->isQTL).end) PositionError(38, ch.number, lastLocus->pos);
    for (int i = first; i < last; ++i)
        if (loci[i + 1]->pos - loci[i]->pos < kSamePosition) PositionError(6, ch.number, loci[i]->pos);
}

void CParamReader::RetrieveGenomeWide(SCom* t)
{
    double v = NumValue(t);
    switch (t->action) {
    case 148: prm.genome.select_seg_loci = true; break;
    case 149: prm.genome.segMaft = v; break;
    case 150: prm.genome.segNMrk = IntValue(t); break;
    case 151: prm.genome.segNQTL = IntValue(t); break;
    case 68: prm.genome.rmmg.rate = v; break;
    case 79: prm.genome.rmqg.rate = v; break;
    case 135: prm.genome.rmge.rate = v; break;
    case 136: prm.genome.rqge.rate = v; break;
    case 158: prm.genome.rmmg.shape = v; break;
    case 159: prm.genome.rmqg.shape = v; break;
    case 160: prm.genome.rmge.shape = v; break;
    case 161: prm.genome.rqge.shape = v; break;
    case 69: prm.genome.mmutr = v; break;
    case 89: prm.genome.qmutr = v; break;
    case 121: prm.genome.mmutrRecurrent = true; break;
    case 119: prm.genome.qmutrRecurrent = true; break;
    case 63: prm.genome.mean_crossover = v; break;
    case 77: prm.genome.interference = v; break;
    case 97: prm.genome.interferenceComplete = true; break;
    case 94: prm.genome.r_mpos_g = true; break;
    case 129: prm.genome.r1_mpos_g = true; break;
    case 95: prm.genome.r_qpos_g = true; break;
    case 130: prm.genome.r1_qpos_g = true; break;
    }
}

void CParamReader::RetrieveChr(SCom* firstChrToken)
{
    SGenomeParams& g = prm.genome;
    g.chrom.assign(static_cast<size_t>(g.nChr), SChromParams());
    int read = WalkChromosomeBlocks(firstChrToken, g.nChr, [&](SCom* t, int c) {
        SChromParams& ch = g.chrom[c];
        switch (t->action) {
        case 25:
            ch.number = static_cast<uint16_t>(c + 1);
            ch.len = RoundDouble(NumValue(t), 5);
            ch.mrk.start = ch.qtl.start = 0.00001;
            ch.mrk.end = ch.qtl.end = ch.len;
            g.genomeLength += ch.len;
            break;
        case 18: ch.mrk.saved = IntValue(t); g.nMrkTot += ch.mrk.saved; break;
        case 26: ch.qtl.saved = IntValue(t); g.nQTLTot += ch.qtl.saved; break;
        case 131: ch.maleScale = NumValue(t); break;
        case 132: ch.femaleScale = NumValue(t); break;
        case 153: ch.isX = 1; break;
        }
    });
    if (read < g.nChr) PrnErr(9, true);
    AllocLoci();

    WalkChromosomeBlocks(firstChrToken, g.nChr, [&](SCom*& t, int c) { RetrieveChrPositions(t, c); });
    for (const SChromParams& ch : g.chrom) CheckChrPositions(ch);
    WalkChromosomeBlocks(firstChrToken, g.nChr, [&](SCom*& t, int c) { RetrieveChrAlleleNumbers(t, c); });
    WalkChromosomeBlocks(firstChrToken, g.nChr, [&](SCom*& t, int c) { RetrieveChrFrequencies(t, c); });
    WalkChromosomeBlocks(firstChrToken, g.nChr, [&](SCom*& t, int c) { RetrieveChrEffects(t, c); });
}

// The loci of a class of a chromosome in the order the statements list them. Pointer
// arithmetic, not indexing: a genome without any locus has no records at all, and its class
// pointers must still be formed.
SLocusParams* CParamReader::ClassLoci(const SChromParams& ch, bool qtl)
{
    return prm.genome.loci.data() + ch.firstLocus + (qtl ? ch.mrk.saved : 0);
}

// Lays out the loci chromosome by chromosome, markers first, then QTL.
void CParamReader::AllocLoci()
{
    SGenomeParams& g = prm.genome;
    g.loci.assign(static_cast<size_t>(g.nMrkTot + g.nQTLTot), SLocusParams());
    int offset = 0;
    for (SChromParams& ch : g.chrom) {
        ch.firstLocus = offset;
        for (int i = ch.mrk.saved; i < ch.NLoci(); ++i) g.loci[static_cast<size_t>(offset + i)].isQTL = 1;
        offset += ch.NLoci();
    }
}

void CParamReader::RetrieveChrPositions(SCom*& t, int c)
{
    SChromParams& ch = prm.genome.chrom[c];
    const bool qtl = t->action >= 32 && t->action <= 36;
    SLocusClassSettings& s = ch.Settings(qtl);
    const int n = s.saved;
    SLocusParams* loci = ClassLoci(ch, qtl);
    switch (qtl ? t->action - 5 : t->action) {
    case 27: s.posMethod = PosMethodOf(t->text); break;
    case 28:
        s.start = NumValue(t);
        if (s.start < 1e-10) lex->PrintError(t, true, true, 38, "\n");
        break;
    case 29:
        s.end = NumValue(t);
        if (s.end > ch.len) lex->PrintError(t, true, true, 38, "\n");
        break;
    case 31: {
        int count = 0;
        double previous = 0;
        ForRun(t, [&](SCom* v) {
            double pos = RoundDouble(NumValue(v), 5);
            if (count >= n) lex->PrintError(v, true, true, 64, "\n");
            if (count > 0 && pos <= previous) lex->PrintError(v, true, true, 63, "\n");
            loci[count++].pos = pos;
            previous = pos;
        });
        if (count < n) lex->PrintError(t, true, true, 1, ": %d positions for %d loci\n", count, n);
        break;
    }
    case 30:  // the statement's ";": start and end are known now
        if (s.start > s.end) lex->PrintError(t, true, true, 38, "\n");
        if (s.posMethod == EPosMethod::Even)
            for (int i = 0; i < n; ++i)
                loci[i].pos = n == 1 ? s.start : RoundDouble(i * (s.end - s.start) / (n - 1) + s.start, 5);
        break;
    }
}

void CParamReader::RetrieveChrAlleleNumbers(SCom*& t, int c)
{
    SChromParams& ch = prm.genome.chrom[c];
    const bool qtl = t->action == 40 || t->action == 41 || t->action == 42 || t->action == 53;
    SLocusClassSettings& s = ch.Settings(qtl);
    const int n = s.saved;
    SLocusParams* loci = ClassLoci(ch, qtl);
    auto setAll = [&](int alleles) {
        for (int i = 0; i < n; ++i) {
            loci[i].nAllele0 = static_cast<uint16_t>(alleles);
            loci[i].freq.assign(static_cast<size_t>(alleles), 0.0);
        }
    };
    switch (t->action) {
    case 37: case 40:
        s.nAlleleMethod = NumAlleleMethodOf(t->text);
        s.nAlleleCount = 0;
        if (s.nAlleleMethod == ENumAlleleMethod::Unique) {
            // Founders carry their own alleles; no frequencies are needed.
            int alleles = 2 * prm.hist.FirstSize();
            if (alleles > kMaxAlleles) lex->PrintError(t, true, true, 52, " %d\n", kMaxAlleles);
            for (int i = 0; i < n; ++i) loci[i].nAllele0 = static_cast<uint16_t>(alleles);
        }
        break;
    case 38: case 41:
        s.nAlleleList[0] = IntValue(t);
        s.nAlleleCount = 1;
        setAll(IntValue(t));
        break;
    case 52: case 53: {
        SCom* first = t;
        ForRun(t, [&](SCom* v) {
            if (s.nAlleleCount >= kMaxAlleleNumberList)
                lex->PrintError(v, true, true, 51, ": at most %d numbers\n", kMaxAlleleNumberList);
            s.nAlleleList[s.nAlleleCount++] = IntValue(v);
        });
        std::sort(s.nAlleleList, s.nAlleleList + s.nAlleleCount);
        if (std::adjacent_find(s.nAlleleList, s.nAlleleList + s.nAlleleCount) != s.nAlleleList + s.nAlleleCount)
            lex->PrintError(first, true, true, 42, "\n");
        break;
    }
    case 39: case 42: {
        int count = 0;
        ForRun(t, [&](SCom* v) {
            if (count >= n) lex->PrintError(v, true, true, 1, ": more numbers than loci (%d)\n", n);
            int alleles = IntValue(v);
            if (s.nAlleleCount < kMaxAlleleNumberList) s.nAlleleList[s.nAlleleCount++] = alleles;
            loci[count].nAllele0 = static_cast<uint16_t>(alleles);
            loci[count++].freq.assign(static_cast<size_t>(alleles), 0.0);
        });
        if (count < n) lex->PrintError(t, true, true, 1, ": %d numbers for %d loci\n", count, n);
        break;
    }
    }
}

void CParamReader::RetrieveChrFrequencies(SCom*& t, int c)
{
    SChromParams& ch = prm.genome.chrom[c];
    const bool qtl = t->action == 45 || t->action == 46 || t->action == 49;
    SLocusClassSettings& s = ch.Settings(qtl);
    const int n = s.saved;
    SLocusParams* loci = ClassLoci(ch, qtl);
    auto checkSum = [&](SCom* at, double sum) {
        if (std::fabs(sum - 1) > kFreqSumTolerance)
            lex->PrintError(at, true, true, 14, ": the frequencies of a locus sum to %g, not 1\n", sum);
    };
    switch (t->action) {
    case 43: case 45:
        s.freqMethod = FreqMethodOf(t->text);
        if (Incompatible(s.freqMethod, s.nAlleleMethod, qtl)) lex->PrintError(t, true, true, 10, "\n");
        if (s.freqMethod == EFreqMethod::All && s.nAlleleMethod != ENumAlleleMethod::All)
            lex->PrintError(t, true, true, 67, "\n");
        break;
    case 44: case 46: {
        int locus = 0, allele = 0;
        double sum = 0;
        ForRun(t, [&](SCom* v) {
            if (locus >= n) lex->PrintError(v, true, true, 1, ": more frequencies than alleles of the loci\n");
            loci[locus].freq[allele] = NumValue(v);
            sum += NumValue(v);
            if (++allele == loci[locus].nAllele0) {
                checkSum(v, sum);
                sum = 0;
                allele = 0;
                ++locus;
            }
        });
        if (locus < n) lex->PrintError(t, true, true, 1, ": fewer frequencies than alleles of the loci\n");
        break;
    }
    case 47: case 49: {
        std::vector<double> list;
        ForRun(t, [&](SCom* v) { list.push_back(NumValue(v)); });
        double sum = 0;
        for (double f : list) sum += f;
        for (int i = 0; i < n; ++i) {
            if (loci[i].nAllele0 != list.size()) Abort("Error - Cannot cycle allele frequencies!\n");
            loci[i].freq = list;
        }
        if (n > 0) checkSum(t, sum);
        break;
    }
    }
}

void CParamReader::RetrieveChrEffects(SCom*& t, int c)
{
    SChromParams& ch = prm.genome.chrom[c];
    SLocusParams* qtls = ClassLoci(ch, true);
    switch (t->action) {
    case 50: ch.qaeMethod = EffectMethodOf(t->text); break;
    case 51: ch.gammaShape = NumValue(t); break;
    case 48: {
        SCom* first = t;
        int count = 0;
        double sum = 0;
        ForRun(t, [&](SCom* v) {
            if (count >= ch.qtl.saved) lex->PrintError(v, true, true, 1, ": more proportions than QTL (%d)\n", ch.qtl.saved);
            qtls[count++].targetVar = NumValue(v) * prm.global.varQTL;
            sum += NumValue(v);
        });
        if (count < ch.qtl.saved) lex->PrintError(t, true, true, 1, ": %d proportions for %d QTL\n", count, ch.qtl.saved);
        if (sum < 0.9999999999 || sum > 1.0000000001) lex->PrintError(first, true, true, 44, "\n");
        break;
    }
    case 142:
        if (t->text == "m") ch.cld |= kCldMarkers;
        else if (t->text == "q") ch.cld |= kCldQTL;
        else ch.cld |= kCldMarkers | kCldQTL | kCldQTLFollowMarkers;
        break;
    }
}
