// Reports on the historical population and the genome it leaves: homozygosity by generation,
// linkage maps, QTL allele effects and the statistics report "hp_stat".
#include <cmath>
#include <cstdint>

#include "output/writers.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/numbers.h"

namespace {

// Calls visit(locus, c, k) for every locus in map order, chromosome by chromosome: c is the
// chromosome number from 1 and k the locus's number among the loci of its type (markers and
// QTL are counted separately from 1).
template <class Visit>
void WalkLoci(const SRunOutput& out, Visit visit)
{
    int counts[2] = {0, 0};
    for (int c = 0; c < out.prm.genome.nChr; ++c) {
        const SChrom& ch = out.genome.chrom[c];
        for (int i = 0; i < ch.NLoci(); ++i) {
            const SLocus& locus = *ch.loci[i];
            visit(locus, c + 1, ++counts[locus.isQTL]);
        }
    }
}

void WriteHomoLine(FILE* fp, bool hasLoci, int gen, double homo)
{
    if (!fp || !hasLoci) return;
    if (gen == 0) fprintf(fp, "%-6s %s\n", "Gen", "Mean homozygosity");
    fprintf(fp, "%-5d %f\n", gen, homo);
    MyFflush(fp);
}

bool SexSpecificMap(const SRunOutput& out)
{
    for (int c = 0; c < out.prm.genome.nChr; ++c)
        if (std::fabs(out.genome.chrom[c].prm.maleScale - 1) > 1e-12 || std::fabs(out.genome.chrom[c].prm.femaleScale - 1) > 1e-12)
            return true;
    return false;
}

// ---- hp_stat ----

void PrintCell(FILE* fp, double v, bool overall) { fprintf(fp, overall ? "%11.3f" : " %9.3f", v); }
void PrintCell(FILE* fp, int v, bool overall) { fprintf(fp, overall ? "%11d" : " %9d", v); }

// One row of the genome table: the label, the genome-wide sum and the value of each chromosome.
template <class PerChrom>
void WriteGenomeRow(FILE* fp, const SRunOutput& out, const char* label, PerChrom value)
{
    decltype(value(out.genome.chrom[0])) overall = 0;
    for (int c = 0; c < out.prm.genome.nChr; ++c) overall += value(out.genome.chrom[c]);
    fputs(label, fp);
    PrintCell(fp, overall, true);
    for (int c = 0; c < out.prm.genome.nChr; ++c) PrintCell(fp, value(out.genome.chrom[c]), false);
    fputc('\n', fp);
}

double MaleLength(const SChrom& ch) { return ch.prm.len * ch.prm.maleScale; }
double FemaleLength(const SChrom& ch) { return ch.prm.len * ch.prm.femaleScale; }

void WriteGenomeTable(FILE* fp, const SRunOutput& out)
{
    fprintf(fp, "%29s %11s", " ", "Overall");
    for (int c = 0; c < out.prm.genome.nChr; ++c) {
        char head[16];
        snprintf(head, sizeof(head), "Chr%d", c + 1);
        fprintf(fp, " %9s", head);
    }
    fputc('\n', fp);

    WriteGenomeRow(fp, out, "Chromosome length (male)    : ", MaleLength);
    WriteGenomeRow(fp, out, "Chromosome length (female)  : ", FemaleLength);
    fputc('\n', fp);
    WriteGenomeRow(fp, out, "No. loci                    : ", [](const SChrom& ch) { return ch.prm.mrk.saved + ch.prm.qtl.saved; });
    WriteGenomeRow(fp, out, "No. markers                 : ", [](const SChrom& ch) { return ch.prm.mrk.saved; });
    WriteGenomeRow(fp, out, "No. QTL                     : ", [](const SChrom& ch) { return ch.prm.qtl.saved; });
    fputc('\n', fp);
    WriteGenomeRow(fp, out, "No. non-seg. loci           : ", [](const SChrom& ch) { return ch.nMrkFixed + ch.nQTLFixed; });
    WriteGenomeRow(fp, out, "No. non-seg. markers        : ", [](const SChrom& ch) { return ch.nMrkFixed; });
    WriteGenomeRow(fp, out, "No. non-seg. QTL            : ", [](const SChrom& ch) { return ch.nQTLFixed; });
    fputc('\n', fp);
    if (!out.prm.genome.select_seg_loci) return;
    WriteGenomeRow(fp, out, "No. selected-seg. loci      : ", [](const SChrom& ch) { return ch.NLoci(); });
    WriteGenomeRow(fp, out, "No. selected-seg. markers   : ", [](const SChrom& ch) { return ch.nMrk; });
    WriteGenomeRow(fp, out, "No. selected-seg. QTL       : ", [](const SChrom& ch) { return ch.nQTL; });
    fprintf(fp, "\nSelected-segregating:\n\n");
}

void WriteDensities(FILE* fp, const SRunOutput& out)
{
    double male = 0, female = 0;
    for (int c = 0; c < out.prm.genome.nChr; ++c) {
        male += MaleLength(out.genome.chrom[c]);
        female += FemaleLength(out.genome.chrom[c]);
    }
    fprintf(fp, "                              %11s %11s\n", "male", "female");
    fprintf(fp, "Density in total            : %11.5f %11.5f per 1 cM\n", out.genome.nLociTot / male, out.genome.nLociTot / female);
    fprintf(fp, "Density for markers         : %11.5f %11.5f per 1 cM\n", out.genome.nMrkTot / male, out.genome.nMrkTot / female);
    fprintf(fp, "Density for QTL             : %11.5f %11.5f per 1 cM\n", out.genome.nQTLTot / male, out.genome.nQTLTot / female);
    fputc('\n', fp);
}

// Mean, maximum and minimum numbers of alleles of one class; `what` is "", "marker " or "QTL ".
void WriteAlleleSummary(FILE* fp, const char* what, const SAlleleSummary& a)
{
    char label[40];
    snprintf(label, sizeof(label), "Average no. %salleles", what);
    fprintf(fp, "%-28s: %11.5f\n", label, a.mean);
    snprintf(label, sizeof(label), "Maximum no. %salleles", what);
    fprintf(fp, "%-28s: %11d\n", label, a.max);
    snprintf(label, sizeof(label), "Minimum no. %salleles", what);
    fprintf(fp, "%-28s: %11d\n", label, a.min);
    fputc('\n', fp);
}

// The ignored mutation events of one class of loci; a warning of this file only.
bool WriteIgnoredMutations(FILE* fp, uint64_t ignored, const char* what, const char* whatPlural)
{
    if (ignored == 0) return false;
    fprintf(fp,
            "Warning - %llu %s mutation events were ignored. Mutation rate for %s or number of generations is "
            "probably high!\n  - Number of alleles per locus in a generation cannot be larger than %d\n"
            "  - Maximum number of alleles across generation cannot be larger than %d\n",
            static_cast<unsigned long long>(ignored), what, whatPlural, kMaxAllelesPerGeneration, kMaxAlleleLabel);
    ++NoWarn;
    return true;
}

void WriteRunCounters(FILE* fp, const CMutation& mutation, const SHistPop& hp)
{
    fprintf(fp, "No. marker mutation events  : %11s\n", FormatNum(mutation.MarkerEvents()));
    fprintf(fp, "No. QTL mutation events     : %11s\n", FormatNum(mutation.QTLEvents()));
    fprintf(fp, "No. paternal crossovers     : %11s\n", FormatNum(hp.patCross));
    fprintf(fp, "No. maternal crossovers     : %11s\n", FormatNum(hp.matCross));
    fputc('\n', fp);
    bool warned = WriteIgnoredMutations(fp, mutation.IgnoredMarkerEvents(), "marker", "markers");
    warned = WriteIgnoredMutations(fp, mutation.IgnoredQTLEvents(), "QTL", "QTL") || warned;
    if (warned) fputc('\n', fp);
}

void WriteSizeRow(FILE* fp, bool marked, int gen, long long size, long long males)
{
    fprintf(fp, "%c%-5d %8s %12s %12s\n", marked ? '*' : ' ', gen, FormatNum(static_cast<unsigned long long>(size)),
            FormatNum(static_cast<unsigned long long>(males)), FormatNum(static_cast<unsigned long long>(size - males)));
}

// Sizes are those the historical generations have (SHistPlan::Size); males keep the
// proportion of the first generation in every row. Breakpoint generations are marked.
void WriteSizeTable(FILE* fp, const SHistPlan& plan)
{
    fprintf(fp, "%-5s  %8s %12s %12s\n", "Gen.", "Size", "No. males", "No. females");
    PrintALine(42, fp);
    const int s0 = plan.sizes[0];
    const double maleShare = static_cast<double>(plan.nmfhg) / s0;
    WriteSizeRow(fp, true, 0, s0, plan.nmfhg);
    for (int k = 1; k < plan.nSizeEntries; ++k) {
        const int g1 = plan.gens[k];
        for (int g = plan.gens[k - 1] + 1; g <= g1; ++g) {
            const int64_t size = plan.Size(g);
            const int64_t males = static_cast<int64_t>(static_cast<double>(size) * maleShare);
            WriteSizeRow(fp, g == g1, g, size, males);
        }
    }
}

void SaveLinkageMap(const SRunOutput& out, bool qtl, bool combined)
{
    const COutputFiles& files = out.files;
    FILE* fp = combined ? files.lmMrkQtlFp : qtl ? files.lmQtlFp : files.lmMrkFp;
    if (!fp) return;
    const int width = 11, decimals = 5;
    const bool sexSpecific = SexSpecificMap(out);
    char head[64], line[64];
    if (sexSpecific) {
        snprintf(head, sizeof(head), "%%-7s %%7s %%%ds %%%ds %%%ds\n", width, width, width);
        snprintf(line, sizeof(line), "%%6d %%%d.%df %%%d.%df %%%d.%df\n", width, decimals, width, decimals, width,
                 decimals);
        fprintf(fp, head, "ID", "Chr", "Input_Pos", "Male_Map", "Female_Map");
    } else {
        snprintf(head, sizeof(head), "%%-7s %%7s %%%ds\n", width);
        snprintf(line, sizeof(line), "%%6d %%%d.%df\n", width, decimals);
        fprintf(fp, head, "ID", "Chr", "Position");
    }
    WalkLoci(out, [&](const SLocus& locus, int c, int k) {
        if (!combined && locus.isQTL != (qtl ? 1 : 0)) return;
        fprintf(fp, locus.isQTL ? "Q%-6d " : "M%-6d ", k);
        const SChrom& ch = out.genome.chrom[c - 1];
        if (sexSpecific)
            fprintf(fp, line, c, locus.pos, locus.pos * ch.prm.maleScale, locus.pos * ch.prm.femaleScale);
        else
            fprintf(fp, line, c, locus.pos);
    });
    MyFflush(fp);
}

void SaveAlleleEffect(const SRunOutput& out)
{
    FILE* fp = out.files.effectQtlFp;
    if (!fp) return;
    fprintf(fp, "%-7s %3s   %s\n", "ID", "Chr", "Allele:Effect ...");
    WalkLoci(out, [&](const SLocus& locus, int c, int k) {
        if (!locus.isQTL) return;
        fprintf(fp, "Q%-6d %3d  ", k, c);
        for (int a = 1; a <= locus.nAllele; ++a) fprintf(fp, " %3d:% 9.6f", locus.alleleLabel[a], locus.effect[a - 1]);
        fputc('\n', fp);
    });
    MyFflush(fp);
}

}  // namespace

void SaveHPHomo(const SRunOutput& out, const SHistPop& hp, int gen)
{
    WriteHomoLine(out.files.hpHomoMrkFp, out.genome.nMrkTot >= 1, gen, hp.mrkHomo);
    WriteHomoLine(out.files.hpHomoQtlFp, out.genome.nQTLTot >= 1, gen, hp.qtlHomo);
}

void SaveRepResults(const SRunOutput& out)
{
    const SOutputParams& o = out.prm.output;
    const SGenome& genome = out.genome;
    if (o.linkage_map && o.anySeqGenotype && genome.nLociTot >= 1) SaveLinkageMap(out, false, true);
    if (o.linkage_map && genome.nMrkTot >= 1) SaveLinkageMap(out, false, false);
    if (o.linkage_map && genome.nQTLTot >= 1) SaveLinkageMap(out, true, false);
    if (o.allele_effect && genome.nQTLTot >= 1) SaveAlleleEffect(out);
}

void SaveHPStat(const SRunOutput& out, const SHistPop& hp, const CMutation& mutation, double polyMean,
                double polyVar, double qtlMean, double qtlVar, double qtlScale)
{
    FILE* fp = out.files.hpStatFp;
    if (!out.prm.output.hp_stat || !fp) return;
    PrintALineFormat1(80, '-', fp, "Statistics for the last historical generation");
    fprintf(fp, "Scaled QTL mean (var)       : %11.5f (%g)\n", qtlMean, qtlVar);
    fprintf(fp, "QTL scale factor            : %11.5f\n", qtlScale);
    fprintf(fp, "Polygenic mean (var)        : %11.5f (%g)\n", polyMean, polyVar);
    fputc('\n', fp);
    WriteGenomeTable(fp, out);
    WriteDensities(fp, out);
    WriteAlleleSummary(fp, "", out.genome.allAlleles);
    WriteAlleleSummary(fp, "marker ", out.genome.mrkAlleles);
    WriteAlleleSummary(fp, "QTL ", out.genome.qtlAlleles);

    PrintALineFormat1(80, '-', fp, "Statistics for the historical population");
    WriteRunCounters(fp, mutation, hp);
    WriteSizeTable(fp, out.prm.hist);
    MyFflush(fp);
}
