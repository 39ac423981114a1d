// Meiosis: crossovers with interference, gametes copied segment by segment between them, the
// X chromosome, and the crossover lines of the recent populations.
#include <algorithm>
#include <cmath>
#include <cstring>

#include "genome/meiosis.h"

#include "genome/gamete.h"
#include "support/sorting.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/worker_error.h"

void CMyRnd::GenerateCrossoverPos(double* xpos, int n, double len)
{
    auto draw = [&]() { return RoundDouble(URand() * (len - 0.0002), 6) + 0.0001; };
    for (int i = 0; i < n; ++i) xpos[i] = draw();
    for (;;) {
        std::sort(xpos, xpos + n);
        bool redrawn = false;
        for (int i = 0; i + 1 < n; ++i)
            for (int j = i + 1; j < n && xpos[j] == xpos[i]; ++j) {
                xpos[j] = draw();
                redrawn = true;
            }
        if (!redrawn) return;
    }
}

void SampleCrossoPos(const SGenomeParams& gp, const SChrom& ch, short& n, double* xpos, double scale, CMyRnd* rnd)
{
    n = 0;
    if (gp.mean_crossover <= 0) return;
    double len = ch.prm.len;
    int count = rnd->PoissRnd(len * scale / 100 * gp.mean_crossover);
    if (count < 1) return;
    if (count > kMaxCrossovers)
        RaiseFatal("Error - Too many crossovers! %d %d %g %g %g\nPlease report the error to %s\n", count,
                   kMaxCrossovers, len, scale, gp.mean_crossover, kContactText);
    rnd->GenerateCrossoverPos(xpos, count, len);
    // Interference: of two crossovers within the distance, one may be removed.
    if (gp.interference > 0) {
        for (int i = 0; i + 1 < count;) {
            double d = xpos[i + 1] - xpos[i];
            if (d > gp.interference || (!gp.interferenceComplete && !(std::pow(1 - d / gp.interference, 2) > rnd->URand()))) {
                ++i;
                continue;
            }
            int removed = rnd->URand() < 0.5 ? i : i + 1;
            std::copy(xpos + removed + 1, xpos + count, xpos + removed);
            --count;
        }
    }
    n = static_cast<short>(count);
}

// The locus where a segment ends is found by binary search, so the cost grows with the
// crossovers, not with the loci.
void CopyGamete(const uint16_t* pat, const uint16_t* mat, int startMaternal, const double* xs, int nx,
                const double* pos, int n, uint16_t* out)
{
    const uint16_t* strand[2] = {pat, mat};
    int cur = startMaternal;
    int from = 0;
    for (int j = 0; j < nx;) {
        int k = LPos_BinarySearch(n, xs[j++], pos);
        if (k < 0) continue;  // before the first locus
        memcpy(out + from, strand[cur] + from, static_cast<size_t>(k - from + 1) * sizeof(uint16_t));
        cur ^= 1;
        from = k + 1;
        if (from >= n) return;
        // Crossovers before the next locus only switch the strand.
        for (; j < nx && xs[j] < pos[from]; ++j) cur ^= 1;
    }
    memcpy(out + from, strand[cur] + from, static_cast<size_t>(n - from) * sizeof(uint16_t));
}

namespace {

// " C<chromosome>{ p1 p2 ...}" for each chromosome with crossovers of one parent.
void WriteCrossoverLine(CWriteBuffer* out, char parent, const SCrossoP* cp, int nChr, bool sire)
{
    char line[64];
    out->Write("%c", parent);
    for (int c = 0; c < nChr; ++c) {
        int n = sire ? cp[c].nS : cp[c].nD;
        if (n <= 0) continue;
        out->Write(" C%d{", c + 1);
        const double* pos = sire ? cp[c].sPos.data() : cp[c].dPos.data();
        for (int i = 0; i < n; ++i) {
            int len = snprintf(line, sizeof line, " %-11.6f", pos[i]);
            while (len > 0 && (line[len - 1] == ' ' || line[len - 1] == '0')) line[--len] = '\0';
            out->Write("%s", line);
        }
        out->Write("}");
    }
    out->Write("\n");
}

}  // namespace

void MakeChromosome(const SGenomeParams& gp, const SGenome& genome, int c, const SRec& sire, const SRec& dam, SRec& child,
                    bool maleChild, CMyRnd* rnd, SCrossoP& cp)
{
    const SChrom& ch = genome.chrom[c];
    cp.nS = cp.nD = 0;
    // Draw order: sire's sampling, his crossovers, dam's sampling, hers, sire's strand, dam's.
    if (!ch.prm.isX && rnd->URand() < 0.5) SampleCrossoPos(gp, ch, cp.nS, cp.sPos.data(), ch.prm.maleScale, rnd);
    if (rnd->URand() < 0.5) SampleCrossoPos(gp, ch, cp.nD, cp.dPos.data(), ch.prm.femaleScale, rnd);
    int sireMaternal = ch.prm.isX ? 1 : (rnd->URand() < 0.5 ? 1 : 0);
    int damMaternal = rnd->URand() < 0.5 ? 1 : 0;
    int n = ch.NLoci();
    CopyGamete(sire.patChr[c], sire.matChr[c], sireMaternal, cp.sPos.data(), cp.nS, ch.lociPos, n, child.patChr[c]);
    CopyGamete(dam.patChr[c], dam.matChr[c], damMaternal, cp.dPos.data(), cp.nD, ch.lociPos, n, child.matChr[c]);
    // A male carries two copies of his dam's X.
    if (ch.prm.isX && maleChild) memcpy(child.patChr[c], child.matChr[c], static_cast<size_t>(n) * sizeof(uint16_t));
}

void Meiosis(const SGenomeParams& gp, const SGenome& genome, SRec* rec, CMyRnd* rnd, SCrossoP* cp, CWriteBuffer* out)
{
    if (genome.nMrkTot + genome.nQTLTot == 0) return;
    rec->qtlVal = 0;
    long sireTotal = 0, damTotal = 0;
    for (int c = 0; c < gp.nChr; ++c) {
        cp[c].nS = cp[c].nD = 0;
        const SChrom& ch = genome.chrom[c];
        if (ch.NLoci() == 0) continue;
        MakeChromosome(gp, genome, c, *rec->sire, *rec->dam, *rec, rec->sex == 1, rnd, cp[c]);
        bool maternalOnly = ch.prm.isX && rec->sex == 1;
        for (int k = 0; k < ch.nQTL; ++k) {
            int g = ch.qtlIdx[k];
            const std::vector<double>& e = genome.LocusAt(g)->effect;
            rec->qtlVal += e[rec->Mat()[g] - 1];
            if (!maternalOnly) rec->qtlVal += e[rec->Pat()[g] - 1];
        }
        sireTotal += cp[c].nS;
        damTotal += cp[c].nD;
    }
    if (!out || sireTotal + damTotal < 1) return;
    out->Write("I %d\n", rec->id);
    if (sireTotal > 0) WriteCrossoverLine(out, 'S', cp, gp.nChr, true);
    if (damTotal > 0) WriteCrossoverLine(out, 'D', cp, gp.nChr, false);
}
