// The file set of a replicate: which result files exist, their names, the replicate headings
// of merged files, and when they are opened and closed.
#include <cstdarg>
#include <string>

#include "app/simclass.h"
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

// Each replicate gets its own file ("_003.txt"), or with attach_rep all replicates share one
// file, the first replicate replacing it and the later ones appending behind a heading each.
FILE* SimClass::MyOpenMergeFile(int rep, bool heading, const char* fmt, ...)
{
    va_list ap;
    va_start(ap, fmt);
    std::string name = FormatV(fmt, ap);
    va_end(ap);

    char suffix[32];
    if (prm.output.attachRep)
        snprintf(suffix, sizeof(suffix), ".txt");
    else
        snprintf(suffix, sizeof(suffix), "_%03d.txt", rep);
    name += suffix;

    FILE* fp = Myfopen(name.c_str(), prm.output.attachRep && rep > 1 ? "a" : "w");
    if (prm.output.attachRep && heading) PrintALineFormat1(80, '~', fp, "Replicate %3d", rep);
    return fp;
}

void SimClass::OpenOutputStreams(int rep, bool hp)
{
    if (hp)
        OpenHistoricalStreams(rep);
    else
        OpenPopulationStreams(rep);
}

// The historical set, in this order; the pedigree file belongs to it because it is opened once
// per replicate, though it is written only after the last population.
void SimClass::OpenHistoricalStreams(int rep)
{
    const char* folder = prm.output.outputFolder.c_str();
    auto open = [&](bool wanted, const char* kind) {
        return wanted ? MyOpenMergeFile(rep, true, "%s%s", folder, kind) : nullptr;
    };
    const bool markers = nMrkTot >= 1, qtl = nQTLTot >= 1, loci = nLociTot >= 1;
    hpStatFp = open(prm.output.hp_stat, "hp_stat");
    hpHomoMrkFp = open(prm.output.monitor_hp_homo && markers, "hp_homo_mrk");
    hpHomoQtlFp = open(prm.output.monitor_hp_homo && qtl, "hp_homo_qtl");
    lmMrkFp = open(prm.output.linkage_map && markers, "lm_mrk");
    lmQtlFp = open(prm.output.linkage_map && qtl, "lm_qtl");
    lmMrkQtlFp = open(prm.output.linkage_map && prm.output.anySeqGenotype && loci, "lm_mrk_qtl");
    effectQtlFp = open(prm.output.allele_effect && qtl, "effect_qtl");
    pedigreeFp = open(prm.global.joint_pop, "pedigree");
}

// The files of the current population, named after it, in this order. Binary genotype files
// carry no replicate heading.
void SimClass::OpenPopulationStreams(int rep)
{
    const SPopOutput& o = curPop->prm.out;
    const char* folder = prm.output.outputFolder.c_str();
    const char* pop = curPop->prm.name.c_str();
    auto open = [&](bool wanted, bool heading, const char* kind) {
        return wanted ? MyOpenMergeFile(rep, heading, "%s%s_%s", folder, pop, kind) : nullptr;
    };
    const bool markers = nMrkTot >= 1, qtl = nQTLTot >= 1, loci = nLociTot >= 1;
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
void SimClass::CloseOutputStreams(bool hp)
{
    if (hp) {
        for (FILE** fp : {&hpStatFp, &hpHomoMrkFp, &hpHomoQtlFp, &lmMrkFp, &lmQtlFp, &lmMrkQtlFp, &effectQtlFp})
            CloseStream(*fp);
    } else {
        for (FILE** fp : {&genoMrkQtlFp, &genoMrkFp, &genoQtlFp, &freqMrkFp, &freqQtlFp, &ldDecayFp, &crossoFp,
                          &dataFp, &statFp})
            CloseStream(*fp);
    }
}

void SimClass::SaveRepResults()
{
    if (prm.output.linkage_map && prm.output.anySeqGenotype && nLociTot >= 1) SaveLinkageMap(false, true);
    if (prm.output.linkage_map && nMrkTot >= 1) SaveLinkageMap(false, false);
    if (prm.output.linkage_map && nQTLTot >= 1) SaveLinkageMap(true, false);
    if (prm.output.allele_effect && nQTLTot >= 1) SaveAlleleEffect();
}
