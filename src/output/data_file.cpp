// The data file of a population: one row per individual with its pedigree, sex, generation,
// progeny counts, inbreeding, homozygosity, phenotype and its parts, and the estimated breeding
// value; optionally with parents hidden at random, as in a recorded pedigree with gaps.
#include <cstdint>
#include <vector>

#include "output/writers.h"
#include "random/rnd.h"
#include "support/files.h"
#include "support/numbers.h"

namespace {

// Sets the flags of exactly round(rate x n) of the n individuals from first on, at random
// positions: the first k are set, then each of them is swapped with a drawn position.
void DrawMissingFlags(std::vector<uint8_t>& flags, int first, int n, double rate)
{
    if (n < 1) return;
    const int k = MyRound(rate * n);
    for (int i = first; i < first + k; ++i) flags[static_cast<size_t>(i)] = 1;
    for (int i = first; i < first + k; ++i) {
        int r = static_cast<int>(MyRnd.URand() * n);
        if (r >= n) r = n - 1;
        std::swap(flags[static_cast<size_t>(i)], flags[static_cast<size_t>(first + r)]);
    }
}

void WriteHeader(FILE* fp, const CPopulation& p)
{
    fprintf(fp, "%-7s %-7s %-7s", "Progeny", "Sire", "Dam");
    if (p.prm.out.missParents) fprintf(fp, " %-7s %-7s", "Sire*", "Dam*");
    fprintf(fp, " %-4s %-3s %-5s %-5s %-8s %-8s %-9s %-9s %-9s %-9s", "Sex", "G", "NMPrg", "NFPrg", "F", "Homo",
            "Phen", "Res", "Polygene", "QTL");
    if (p.prm.ebvMethod != kEbvNone) fprintf(fp, " %-9s", "Final_EBV");
    fprintf(fp, "\n");
}

}  // namespace

void SaveData(const CPopulation& p, FILE* fp)
{
    WriteHeader(fp, p);

    // Founders keep their parents; every later generation loses its share, sires before dams.
    std::vector<uint8_t> sireMissing, damMissing;
    if (p.prm.out.missParents) {
        sireMissing.assign(static_cast<size_t>(p.nIndiv), 0);
        damMissing.assign(static_cast<size_t>(p.nIndiv), 0);
        for (int g = 1; g <= p.prm.ng; ++g) {
            const SGenStat& st = p.genStat[static_cast<size_t>(g)];
            const int first = p.genInfo[static_cast<size_t>(g)].first;
            const int n = static_cast<int>(st.nMale + st.nFemale);
            DrawMissingFlags(sireMissing, first, n, p.prm.out.sireMissRateGen[static_cast<size_t>(g)]);
            DrawMissingFlags(damMissing, first, n, p.prm.out.damMissRateGen[static_cast<size_t>(g)]);
        }
    }

    for (int i = 0; i < p.nIndiv; ++i) {
        const SRec& r = p.indiv[static_cast<size_t>(i)];
        if (!p.prm.out.dataGen[static_cast<size_t>(r.gen)]) continue;
        fprintf(fp, "%-7d %-7d %-7d", r.id, r.sire->id, r.dam->id);
        if (p.prm.out.missParents)
            fprintf(fp, " %-7d %-7d", sireMissing[static_cast<size_t>(i)] ? 0 : r.sire->id,
                    damMissing[static_cast<size_t>(i)] ? 0 : r.dam->id);
        fprintf(fp, " %-3s %-4d %-5d %-5d %f %f", r.sex ? "M" : "F", r.gen, r.nMPrg, r.nFPrg, r.inbF, r.homo);
        // The ten characters stand for the whole " %+f" field, blank included, so columns stay aligned.
        if (r.hasPhen)
            fprintf(fp, " %+f", r.phen);
        else
            fprintf(fp, "       ---");
        fprintf(fp, " %+f %+f %+f", r.res, r.polyVal, r.qtlVal);
        if (p.prm.ebvMethod != kEbvNone) fprintf(fp, " %+f", r.ebv);
        fprintf(fp, "\n");
    }
    MyFflush(fp);
}
