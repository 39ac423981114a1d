// The file set of a replicate: which result files exist, their names, the replicate headings
// of merged files, and when they are opened and closed.
#include <cstdarg>
#include <string>

#include "output/file_set.h"
#include "support/boxes.h"
#include "support/files.h"

namespace {

// printf-style formatting into a string of any length.
std::string FormatV(const char* fmt, va_list ap)
{
    va_list again;
    va_copy(again, ap);
    int n = vsnprintf(nullptr, 0, fmt, again);
    va_end(again);
    std::string text(static_cast<size_t>(n > 0 ? n : 0), '\0');
    vsnprintf(&text[0], text.size() + 1, fmt, ap);
    return text;
}

void CloseStream(FILE*& fp)
{
    MyFclose(fp);
    fp = nullptr;
}

}  // namespace

FILE* MyOpenMergeFile(bool attachRep, int rep, bool heading, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    std::string name = FormatV(fmt, ap);
    va_end(ap);

    char suffix[32];
    if (attachRep)
        snprintf(suffix, sizeof(suffix), ".txt");
    else
        snprintf(suffix, sizeof(suffix), "_%03d.txt", rep);
    name += suffix;

    FILE* fp = Myfopen(name.c_str(), attachRep && rep > 1 ? "a" : "w");
    if (attachRep && heading) PrintALineFormat1(80, '~', fp, "Replicate %3d", rep);
    return fp;
}

void COutputFiles::OpenHistorical(const SParams& prm, const SLociCounts& n, int rep)
{
    const char* folder = prm.output.outputFolder.c_str();
    auto open = [&](bool wanted, const char* kind) {
        return wanted ? MyOpenMergeFile(prm.output.attachRep, rep, true, "%s%s", folder, kind) : nullptr;
    };
    const bool markers = n.markers >= 1, qtl = n.qtl >= 1, loci = n.Loci() >= 1;
    const SOutputParams& o = prm.output;
    hpStatFp = open(o.hp_stat, "hp_stat");
    hpHomoMrkFp = open(o.monitor_hp_homo && markers, "hp_homo_mrk");
    hpHomoQtlFp = open(o.monitor_hp_homo && qtl, "hp_homo_qtl");
    lmMrkFp = open(o.linkage_map && markers, "lm_mrk");
    lmQtlFp = open(o.linkage_map && qtl, "lm_qtl");
    lmMrkQtlFp = open(o.linkage_map && o.anySeqGenotype && loci, "lm_mrk_qtl");
    effectQtlFp = open(o.allele_effect && qtl, "effect_qtl");
    pedigreeFp = open(prm.global.joint_pop, "pedigree");
}

void COutputFiles::OpenPopulation(const SParams& prm, const SPopParams& pop, const SLociCounts& n, int rep)
{
    const SPopOutput& o = pop.out;
    const char* folder = prm.output.outputFolder.c_str();
    const char* name = pop.name.c_str();
    auto open = [&](bool wanted, bool heading, const char* kind) {
        return wanted ? MyOpenMergeFile(prm.output.attachRep, rep, heading, "%s%s_%s", folder, name, kind) : nullptr;
    };
    const bool markers = n.markers >= 1, qtl = n.qtl >= 1, loci = n.Loci() >= 1;
    const bool seq = (o.genoOpt & kGenoSeq) != 0;
    const bool genoHeading = (o.genoOpt & kGenoBinary) == 0;
    genoMrkQtlFp = open(o.genoOut && seq && loci, genoHeading, "mrk_qtl");
    genoMrkFp = open(o.genoOut && !seq && markers, genoHeading, "mrk");
    genoQtlFp = open(o.genoOut && !seq && qtl, genoHeading, "qtl");
    freqMrkFp = open(o.freqOut && markers, true, "freq_mrk");
    freqQtlFp = open(o.freqOut && qtl, true, "freq_qtl");
    ldDecayFp = open(o.ldOut && markers, true, "ld_decay");
    crossoFp = open(o.crossoverOut, true, "crosso");
    dataFp = open(o.dataOut, true, "data");
    statFp = open(o.statOut, true, "stat");
}

// The pedigree file outlives the historical set: its writer closes it after the last population.
void COutputFiles::CloseHistorical()
{
    for (FILE** fp : {&hpStatFp, &hpHomoMrkFp, &hpHomoQtlFp, &lmMrkFp, &lmQtlFp, &lmMrkQtlFp, &effectQtlFp})
        CloseStream(*fp);
}

void COutputFiles::ClosePopulation()
{
    for (FILE** fp : {&genoMrkQtlFp, &genoMrkFp, &genoQtlFp, &freqMrkFp, &freqQtlFp, &ldDecayFp, &crossoFp, &dataFp,
                      &statFp})
        CloseStream(*fp);
}
