// The statistics file of a population: inbreeding, homozygosity, the phenotype and its parts, the
// estimated breeding values and their accuracy, the population structure, litter sizes and the
// rates of missing and wrong genotypes, generation by generation.
#include <algorithm>
#include <cstdint>
#include <vector>

#include "output/writers.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/numbers.h"

namespace {

// Row label of generation g: the number, or "Overall" for the whole-population record ng + 1.
void PrintRowLabel(FILE* fp, int g, int ng)
{
    if (g <= ng)
        fprintf(fp, "%-7d", g);
    else
        fprintf(fp, "%-7s", "Overall");
}

void PrintInbreeding(FILE* fp, const CPopulation& p)
{
    fprintf(fp, "\n");
    PrintALineFormat1(50, '-', fp, "Inbreeding");
    fprintf(fp, "                     Inbred          All\n");
    fprintf(fp, "%-7s  %6s   %6s %6s   %6s %6s\n", "Gen.", "No.", "Mean", "SD", "Mean", "SD");
    for (int g = 0; g <= p.prm.ng + 1; ++g) {
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        PrintRowLabel(fp, g, p.prm.ng);
        fprintf(fp, "  %6d   %6.4f %6.4f", static_cast<int>(st.nInbred), MyDVD(st.sumF, st.nInbred),
                SdFromSums(st.sumF, st.sumF2, st.nInbred));
        // Individuals that are not inbred add 0 to both sums.
        if (g <= p.prm.ng) {
            const double n = st.nMale + st.nFemale;
            fprintf(fp, "   %5.4f %5.4f\n", MyDVD(st.sumF, n), SdFromSums(st.sumF, st.sumF2, n));
        } else {
            fprintf(fp, "   %6.4f %6.4f\n", MyDVD(st.sumF, p.nIndiv), SdFromSums(st.sumF, st.sumF2, p.nIndiv));
        }
    }
}

// A table of one value's mean and SD per generation 0..lastGen.
void PrintMeanSd(FILE* fp, const CPopulation& p, size_t width, const char* title, int lastGen,
                 double SGenStat::*mean, double SGenStat::*sd)
{
    fprintf(fp, "\n");
    PrintALineFormat1(width, '-', fp, "%s", title);
    fprintf(fp, "%-7s  %17s %17s\n", "Gen.", "Mean", "SD");
    for (int g = 0; g <= lastGen; ++g) {
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        PrintRowLabel(fp, g, p.prm.ng);
        fprintf(fp, "  %17.8f %17.8f\n", st.*mean, st.*sd);
    }
}

void PrintEbv(FILE* fp, const CPopulation& p)
{
    PrintMeanSd(fp, p, 60, "EBV", p.prm.ng, &SGenStat::meanEBV, &SGenStat::sdEBV);
    PrintALineFormat1(100, '-', fp, "accuracy of EBV");
    fprintf(fp, "%-7s  %17s %17s %17s %17s %17s\n", "Gen.", "r(EBV,TBV)", "r(EBV,TBV)_Male", "r(EBV,TBV)_Female",
            "r(EBV,TBV)_Sire", "r(EBV,TBV)_Dam");
    for (int g = 0; g <= p.prm.ng; ++g) {
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        fprintf(fp, "%-7d  %17.4f %17.4f %17.4f %17.4f %17.4f\n", g, st.corrEBV, st.corrEBVMale, st.corrEBVFemale,
                st.corrEBVSire, st.corrEBVDam);
    }
}

// The counts of one row of the structure table.
struct SStructureRow {
    long long male = 0, newSires = 0, female = 0, newDams = 0, sires = 0, culledSires = 0, dams = 0, culledDams = 0;

    void Add(const SStructureRow& o)
    {
        male += o.male, newSires += o.newSires, female += o.female, newDams += o.newDams;
        sires += o.sires, culledSires += o.culledSires, dams += o.dams, culledDams += o.culledDams;
    }
    // Everything after the label; the male share is a fraction, not a percentage.
    void Print(FILE* fp) const
    {
        const long long progeny = male + female;
        fprintf(fp, " %8lld %f %8lld %8lld %8lld %8lld %8lld %8lld %8lld %8lld\n", progeny,
                MyDVD(static_cast<double>(male), static_cast<double>(progeny)), male, newSires, female, newDams, sires,
                culledSires, dams, culledDams);
    }
};

void PrintStructure(FILE* fp, const CPopulation& p)
{
    fprintf(fp, "\n");
    PrintALineFormat1(100, '-', fp, "Structure");
    fprintf(fp, "%-7s %8s %8s %8s %8s %8s %8s %8s %8s %8s %8s\n", "Gen.", "Progeny", "Male%", "Male", "Selected",
            "Female", "Selected", "Sire", "Culled", "Dam", "Culled");
    SStructureRow total;
    for (int g = 0; g <= p.prm.ng; ++g) {
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        const SGenPlan& plan = p.prm.plan[static_cast<size_t>(g)];
        const SStructureRow row{st.nMale,  st.nNewSires,     st.nFemale, st.nNewDams,
                                plan.nSires, st.nCulledSires, plan.nDams,   st.nCulledDams};
        fprintf(fp, "%-7d", g);
        row.Print(fp);
        total.Add(row);
    }
    fprintf(fp, "%-7s", "Overall");
    total.Print(fp);
}

void PrintLitterSizes(FILE* fp, const CPopulation& p)
{
    const size_t classes = static_cast<size_t>(p.prm.nLs);
    fprintf(fp, "\n");
    PrintALineFormat1(100, '-', fp, "Litter size distribution");
    fprintf(fp, "%-7s", "Gen.\\LS");
    for (size_t c = 0; c < classes; ++c) fprintf(fp, " %8d", p.prm.ls[c]);
    fprintf(fp, "\n");
    std::vector<long long> total(classes, 0);
    for (int g = 0; g <= p.prm.ng; ++g) {
        const std::vector<uint32_t>& count = p.genStat[static_cast<size_t>(g)].lsCount;
        fprintf(fp, "%-7d", g);
        for (size_t c = 0; c < classes; ++c) {
            const uint32_t n = c < count.size() ? count[c] : 0;
            fprintf(fp, " %8d", static_cast<int>(n));
            total[c] += n;
        }
        fprintf(fp, "\n");
    }
    fprintf(fp, "%-7s", "Overall");
    for (long long n : total) fprintf(fp, " %8lld", n);
    fprintf(fp, "\n");
}

// Which loci a genotype percentage table covers, and the counters it reads.
struct SGenotypeColumns {
    bool mrk, qtl;
    int nMrk, nQTL;
    uint64_t SGenStat::*mrkCount;
    uint64_t SGenStat::*qtlCount;
};

// Percentage of the written genotypes of each genotyped generation that were affected (missing
// or wrong); a table only when some column applies and some generation was genotyped.
void PrintGenotypePercentages(FILE* fp, const CPopulation& p, const char* title, const SGenotypeColumns& col)
{
    const std::vector<uint8_t>& genotyped = p.prm.out.genoGen;
    if (!(col.mrk || col.qtl) || std::none_of(genotyped.begin(), genotyped.end(), [](uint8_t f) { return f; }))
        return;
    fprintf(fp, "\n");
    PrintALineFormat1(50, '-', fp, "%s", title);
    fprintf(fp, "%-7s", "Gen.");
    if (col.mrk) fprintf(fp, "  %17s", "Mrk%");
    if (col.qtl) fprintf(fp, "  %17s", "QTL%");
    fprintf(fp, "\n");
    for (int g = 0; g <= p.prm.ng; ++g) {
        if (!genotyped[static_cast<size_t>(g)]) continue;
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        const double n = st.nMale + st.nFemale;
        fprintf(fp, "%-7d", g);
        if (col.mrk) fprintf(fp, "  %17.8f", 100.0 * MyDVD(MyDVD(static_cast<double>(st.*col.mrkCount), n), col.nMrk));
        if (col.qtl) fprintf(fp, "  %17.8f", 100.0 * MyDVD(MyDVD(static_cast<double>(st.*col.qtlCount), n), col.nQTL));
        fprintf(fp, "\n");
    }
}

}  // namespace

void SaveStat(const SRunOutput& out, const CPopulation& p)
{
    const SParams& prm = out.prm;
    const SGenome& genome = out.genome;
    FILE* fp = out.files.statFp;
    const int overall = p.prm.ng + 1;
    PrintInbreeding(fp, p);
    PrintMeanSd(fp, p, 50, "Homozygosity", overall, &SGenStat::meanHomo, &SGenStat::sdHomo);
    PrintMeanSd(fp, p, 50, prm.global.malesHaveRecords ? "Phenotype" : "Phenotype (females)", overall, &SGenStat::meanPhen,
                &SGenStat::sdPhen);
    if (prm.global.varPoly > 0)
        PrintMeanSd(fp, p, 50, "Polygenes", overall, &SGenStat::meanPoly, &SGenStat::sdPoly);
    else
        fprintf(fp, "Polygenic variance is zero.\n");
    fprintf(fp, "\n");
    if (prm.global.varQTL > 0)
        PrintMeanSd(fp, p, 50, "QTL", overall, &SGenStat::meanQTL, &SGenStat::sdQTL);
    else
        fprintf(fp, "QTL variance is zero.\n");
    fprintf(fp, "\n");
    PrintMeanSd(fp, p, 50, prm.global.malesHaveRecords ? "Residual" : "Residual (females)", overall, &SGenStat::meanRes,
                &SGenStat::sdRes);
    if (p.prm.ebvMethod != kEbvNone) PrintEbv(fp, p);
    PrintStructure(fp, p);
    if (p.prm.nLs >= 2) PrintLitterSizes(fp, p);
    const bool markers = genome.nMrkTot > 0, qtl = genome.nQTLTot > 0;
    PrintGenotypePercentages(fp, p, "Percentage of missing genotypes",
                             {prm.genome.rmmg.rate > 0 && markers, prm.genome.rmqg.rate > 0 && qtl, genome.nMrkTot, genome.nQTLTot, &SGenStat::nMissMrk,
                              &SGenStat::nMissQTL});
    PrintGenotypePercentages(fp, p, "Percentage of genotyping errors",
                             {prm.genome.rmge.rate > 0 && markers, prm.genome.rqge.rate > 0 && qtl, genome.nMrkTot, genome.nQTLTot, &SGenStat::nErrMrk,
                              &SGenStat::nErrQTL});
    MyFflush(fp);
}
