// The summary over replicates ("stat_rep.txt"): each replicate adds its statistics to running
// sums, which the last replicate turns into means and standard errors.
#include <algorithm>
#include <cmath>
#include <string>

#include "output/writers.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/numbers.h"

namespace {

// A value of a generation's statistics and the accumulator it adds to over replicates.
struct SRepPair {
    double SGenStat::*value;
    SSumSS SGenRepStat::*sum;
};

constexpr SRepPair kValueStats[] = {
    {&SGenStat::meanHomo, &SGenRepStat::meanHomo}, {&SGenStat::sdHomo, &SGenRepStat::sdHomo},
    {&SGenStat::meanPhen, &SGenRepStat::meanPhen}, {&SGenStat::sdPhen, &SGenRepStat::sdPhen},
    {&SGenStat::meanPoly, &SGenRepStat::meanPoly}, {&SGenStat::sdPoly, &SGenRepStat::sdPoly},
    {&SGenStat::meanQTL, &SGenRepStat::meanQTL},   {&SGenStat::sdQTL, &SGenRepStat::sdQTL},
    {&SGenStat::meanRes, &SGenRepStat::meanRes},   {&SGenStat::sdRes, &SGenRepStat::sdRes}};

constexpr SRepPair kEbvStats[] = {
    {&SGenStat::meanEBV, &SGenRepStat::meanEBV},         {&SGenStat::sdEBV, &SGenRepStat::sdEBV},
    {&SGenStat::corrEBV, &SGenRepStat::corrEBV},         {&SGenStat::corrEBVMale, &SGenRepStat::corrEBVMale},
    {&SGenStat::corrEBVFemale, &SGenRepStat::corrEBVFemale}, {&SGenStat::corrEBVSire, &SGenRepStat::corrEBVSire},
    {&SGenStat::corrEBVDam, &SGenRepStat::corrEBVDam}};

void AddLD(SLDRepStat (&sum)[kLDClasses], const SLDBin (&bins)[kLDClasses])
{
    for (int k = 0; k < kLDClasses; ++k) {
        AddValue(sum[k].nPair, bins[k].nPair);
        for (int m = 0; m < 3; ++m) {
            AddValue(sum[k].mean[m], bins[k].mean[m]);
            AddValue(sum[k].ldSd[m], bins[k].ldSd[m]);
        }
    }
}

bool AnySelected(const std::vector<uint8_t>& flags)
{
    return std::any_of(flags.begin(), flags.end(), [](uint8_t f) { return f != 0; });
}

// The rows of the last historical generation.
void PrintHistorical(FILE* fp, SHistRepStat& h, int n, bool selectedLoci)
{
    PrintALineFormat1(80, '~', fp, "Last historical generation");
    fprintf(fp, "%-32s %17s %14s\n", " ", "Mean", "SE");
    auto row = [&](const char* label, SSumSS& s) {
        GetMeanSE(s, n);
        fprintf(fp, "%-32s %17.8f %14.8f\n", label, s.sum, s.sumSq);
    };
    row("No. segregating markers", h.segMrk);
    row("No. segregating QTL", h.segQTL);
    if (selectedLoci) {
        row("No. selected segregating markers", h.selMrk);
        row("No. selected segregating QTL", h.selQTL);
    }
    row("Average no. marker alleles", h.mrkAlleleMean);
    row("Maximum no. marker alleles", h.mrkAlleleMax);
    row("Minimum no. marker alleles", h.mrkAlleleMin);
    row("Average no. QTL alleles", h.qtlAlleleMean);
    row("Maximum no. QTL alleles", h.qtlAlleleMax);
    row("Minimum no. QTL alleles", h.qtlAlleleMin);
    static const char* const kMaleDensity[3] = {"Density in total      (male)", "Density for markers   (male)",
                                                "Density for QTL       (male)"};
    static const char* const kFemaleDensity[3] = {"Density in total    (female)", "Density for markers (female)",
                                                  "Density for QTL     (female)"};
    for (int k = 0; k < 3; ++k) row(kMaleDensity[k], h.densityMale[k]);
    for (int k = 0; k < 3; ++k) row(kFemaleDensity[k], h.densityFemale[k]);
}

// A section with one row per generation: mean and SE of `a`, and of `b` when it is given.
void PrintRepSection(FILE* fp, CPopulation& p, const char* title, int n, SSumSS SGenRepStat::*a,
                     SSumSS SGenRepStat::*b = nullptr)
{
    PrintALineFormat1(80, '-', fp, "%s", title);
    for (int g = 0; g <= p.prm.ng; ++g) {
        SGenRepStat& r = p.repStat[static_cast<size_t>(g)];
        if (b)
            PrintMeanStdErr(g, r.*a, r.*b, n, fp);
        else
            PrintMeanStdErr(g, r.*a, n, fp);
    }
}

// The LD tables of p.
void PrintLDSummary(FILE* fp, CPopulation& p, int n)
{
    bool firstSkipped = true;
    for (int g = 0; g <= p.prm.ng; ++g) {
        if (!p.ldSkipped[static_cast<size_t>(g)]) continue;
        if (firstSkipped) PrintALine(80, fp);
        firstSkipped = false;
        fprintf(fp, "LD calculation is skipped for generation %3d. Number of alleles is too large (>%d).\n", g, 20);
    }
    if (!AnySelected(p.ldGen)) return;

    PrintALineFormat1(80, '-', fp, "No marker pairs for each bin (LD decay)");
    for (int g = 0; g <= p.prm.ng; ++g) {
        if (!p.ldGen[static_cast<size_t>(g)]) continue;
        fprintf(fp, "Generation %d\n", g);
        fprintf(fp, "Bin\n");
        for (int k = 0; k < kLDClasses && PrintLDBin(k, p.prm.out.ldMaxDist, fp); ++k) {
            SSumSS& pairs = p.repStat[static_cast<size_t>(g)].ld[k].nPair;
            GetMeanSE(pairs, n);
            fprintf(fp, "%15.4f %14.4f    %17s %14s\n", pairs.sum, pairs.sumSq, "----", "----");
        }
        fprintf(fp, "\n");
    }
    static const char* const kMeasure[3] = {"Mean D' (LD decay)", "Mean R2 (LD decay)", "Mean X2' (LD decay)"};
    for (int m = 0; m < 3; ++m) {
        PrintALineFormat1(80, '-', fp, "%s", kMeasure[m]);
        for (int g = 0; g <= p.prm.ng; ++g) {
            if (!p.ldGen[static_cast<size_t>(g)]) continue;
            fprintf(fp, "Generation %d\n", g);
            fprintf(fp, "Bin\n");
            for (int k = 0; k < kLDClasses && PrintLDBin(k, p.prm.out.ldMaxDist, fp); ++k) {
                SLDRepStat& c = p.repStat[static_cast<size_t>(g)].ld[k];
                GetMeanSE(c.mean[m], n);
                GetMeanSE(c.ldSd[m], n);
                fprintf(fp, "%15.4f %14.4f    %17.4f %14.4f\n", c.mean[m].sum, c.mean[m].sumSq, c.ldSd[m].sum,
                        c.ldSd[m].sumSq);
            }
            fprintf(fp, "\n");
        }
    }
}

void PrintPopulation(const SParams& prm, FILE* fp, CPopulation& p, int n)
{
    const bool females = !prm.global.malesHaveRecords;
    PrintALineFormat1(80, '~', fp, "Population \"%s\"", p.prm.name.c_str());
    fprintf(fp, "%-5s  %17s %14s    %17s %14s\n", "Gen.", "Mean", "SE", "SD", "SE");
    PrintRepSection(fp, p, "Inbreeding", n, &SGenRepStat::meanF, &SGenRepStat::sdF);
    PrintRepSection(fp, p, "Number of inbreds", n, &SGenRepStat::nInbred);
    PrintRepSection(fp, p, "Homozygosity", n, &SGenRepStat::meanHomo, &SGenRepStat::sdHomo);
    PrintRepSection(fp, p, females ? "Phenotype (females)" : "Phenotype", n, &SGenRepStat::meanPhen,
                    &SGenRepStat::sdPhen);
    PrintRepSection(fp, p, "Polygenes", n, &SGenRepStat::meanPoly, &SGenRepStat::sdPoly);
    PrintRepSection(fp, p, "QTL", n, &SGenRepStat::meanQTL, &SGenRepStat::sdQTL);
    PrintRepSection(fp, p, females ? "Residual (females)" : "Residual", n, &SGenRepStat::meanRes,
                    &SGenRepStat::sdRes);
    if (p.prm.ebvMethod != kEbvNone) {
        PrintRepSection(fp, p, "EBV", n, &SGenRepStat::meanEBV, &SGenRepStat::sdEBV);
        PrintRepSection(fp, p, "r(EBV,TBV)", n, &SGenRepStat::corrEBV);
        PrintRepSection(fp, p, "r(EBV,TBV)_Male", n, &SGenRepStat::corrEBVMale);
        PrintRepSection(fp, p, "r(EBV,TBV)_Female", n, &SGenRepStat::corrEBVFemale);
        PrintRepSection(fp, p, "r(EBV,TBV)_Sire", n, &SGenRepStat::corrEBVSire);
        PrintRepSection(fp, p, "r(EBV,TBV)_Dam", n, &SGenRepStat::corrEBVDam);
    }
    if (p.prm.out.ldOut) PrintLDSummary(fp, p, n);
}

}  // namespace

void GetStatRep(CPopulation& p)
{
    for (int g = 0; g <= p.prm.ng; ++g) {
        const SGenStat& st = p.genStat[static_cast<size_t>(g)];
        SGenRepStat& r = p.repStat[static_cast<size_t>(g)];
        const double n = st.nMale + st.nFemale;  // individuals that are not inbred add 0 to the sums
        AddValue(r.nInbred, st.nInbred);
        AddValue(r.meanF, MyDVD(st.sumF, n));
        AddValue(r.sdF, SdFromSums(st.sumF, st.sumF2, n));
        for (const SRepPair& s : kValueStats) AddValue(r.*s.sum, st.*s.value);
        if (p.prm.ebvMethod != kEbvNone)
            for (const SRepPair& s : kEbvStats) AddValue(r.*s.sum, st.*s.value);
        if (p.ldGen[static_cast<size_t>(g)]) AddLD(r.ld, st.ldBin);
    }
}

// Runs once, after the last replicate: the accumulators are reduced in place.
void SaveStatRep(const SParams& prm, std::vector<CPopulation>& pops, SHistRepStat& histRep, int nrep)
{
    FILE* fp = Myfopen((prm.output.outputFolder + "stat_rep.txt").c_str(), "w");
    if (prm.global.hasTitle) PrintALineInFixedBox(0, 80, fp, prm.global.title.c_str());
    fprintf(fp, "No. replicates: %d\n", nrep);
    PrintALineFormat1(80, '-', fp, "Statistics over replicates");
    PrintHistorical(fp, histRep, nrep, prm.genome.select_seg_loci);
    for (CPopulation& p : pops) PrintPopulation(prm, fp, p, nrep);
    MyFclose(fp);
}
