// The historical population: founders, generations of random mating made by a pool of worker
// threads, mutation, homozygosity monitoring and the progress table.
#include <cmath>

#include "genome/meiosis.h"
#include "history/history.h"
#include "history/last_generation.h"
#include "support/boxes.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/timing.h"

namespace {

// A progress line: "*" marks a generation of the size plan.
void PrintHistLine(char mark, int g, int size, int males)
{
    Info("%c%-5s %8s %8s %8s", mark, FormatNum(static_cast<unsigned long long>(g)),
         FormatNum(static_cast<unsigned long long>(size)), FormatNum(static_cast<unsigned long long>(males)),
         FormatNum(static_cast<unsigned long long>(size - males)));
}

// An allele drawn by inverse cumulative search over the frequencies (the last allele takes
// whatever rounding leaves over).
uint16_t DrawAllele(const std::vector<double>& freq, CMyRnd& rnd)
{
    double u = rnd.URand();
    size_t n = freq.size();
    for (size_t a = 0; a + 1 < n; ++a) {
        if (freq[a] > u) return static_cast<uint16_t>(a + 1);
        u -= freq[a];
    }
    return static_cast<uint16_t>(n > 0 ? n : 1);
}

// Every locus starts the replicate with its set-up number of alleles and identity labels.
void ResetAlleleNumbers(const SGenomeParams& g, SGenome& genome)
{
    for (SChrom& ch : genome.chrom)
        for (int i = 0; i < ch.NLoci(); ++i) {
            SLocus* l = ch.loci[i];
            l->nAllele = l->nAllele0;
            bool recurrent = l->isQTL ? g.qmutrRecurrent : g.mmutrRecurrent;
            if (l->nAllele == 1 && recurrent) l->nAllele = 2;
            l->alleleLabel.resize(static_cast<size_t>(l->nAllele) + 1);
            l->alleleLabel[0] = l->nAllele;
            for (int a = 1; a <= l->nAllele; ++a) l->alleleLabel[a] = static_cast<uint16_t>(a);
            l->maxLabel = l->nAllele;
        }
}

void MeiosisBase(const SHistRun& h, SHistWorker& w, const SHistPass& pass, int idx)
{
    const SGenome& genome = h.genome;
    if (genome.nLociTot == 0) return;
    int s = static_cast<int>(pass.nMaleParents * w.rnd.URand());
    if (s > pass.nMaleParents - 1) s = pass.nMaleParents - 1;
    int d = static_cast<int>(pass.nFemaleParents * w.rnd.URand());
    if (d > pass.nFemaleParents - 1) d = pass.nFemaleParents - 1;
    const SRec& sire = pass.parents[s];
    const SRec& dam = pass.parents[pass.nMaleParents + d];
    SRec& child = pass.target[idx];
    bool male = idx < pass.targetMales;
    for (int c = 0; c < h.prm.genome.nChr; ++c) {
        if (genome.chrom[c].NLoci() == 0) continue;
        MakeChromosome(h.prm.genome, genome, c, sire, dam, child, male, &w.rnd, w.cross);
        w.patCross += w.cross.nS;
        w.matCross += w.cross.nD;
    }
}

void GetHPHomo(const SGenome& genome, SHistWorker& w, const SHistPass& pass)
{
    w.mrkHomoSum = w.qtlHomoSum = 0;
    for (int idx = w.share.first; idx <= w.share.last; ++idx) {
        const SRec& r = pass.target[idx];
        const uint16_t* pat = r.Pat();
        const uint16_t* mat = r.Mat();
        bool male = idx < pass.targetMales;
        int markers = 0, qtl = 0;
        for (const SChrom& ch : genome.chrom) {
            if (ch.prm.isX && male) continue;
            for (int k = 0; k < ch.nMrk; ++k) markers += pat[ch.mrkIdx[k]] == mat[ch.mrkIdx[k]];
            for (int k = 0; k < ch.nQTL; ++k) qtl += pat[ch.qtlIdx[k]] == mat[ch.qtlIdx[k]];
        }
        w.mrkHomoSum += MyDVD(markers, genome.nMrkTot);
        w.qtlHomoSum += MyDVD(qtl, genome.nQTLTot);
    }
}

}  // namespace

void MeasureHomozygosity(SHistPop& hp, CHistWorkerPool& workers, SRec* target, int n, int males)
{
    workers.RunPass(SHistWorker::kHomozygosity, SHistPass{target, males}, n);
    double markers = 0, qtl = 0;
    for (auto& w : workers.Workers()) {
        markers += w->mrkHomoSum;
        qtl += w->qtlHomoSum;
        w->mrkHomoSum = w->qtlHomoSum = 0;  // workers left out of a small pass add nothing
    }
    hp.mrkHomo = markers / n;
    hp.qtlHomo = qtl / n;
}

namespace {

void FounderGenotypes(const SHistRun& h, SHistWorker& w, const SHistPass& pass)
{
    const SGenome& genome = h.genome;
    for (int idx = w.share.first; idx <= w.share.last; ++idx) {
        SRec& r = pass.target[idx];
        for (int c = 0; c < h.prm.genome.nChr; ++c) {
            const SChrom& ch = genome.chrom[c];
            uint16_t* pat = r.patChr[c];
            uint16_t* mat = r.matChr[c];
            bool uniqueMarkers = ch.prm.mrk.nAlleleMethod == ENumAlleleMethod::Unique;
            for (int i = 0; i < ch.NLoci(); ++i) {
                const SLocus* l = ch.loci[i];
                if (l->isQTL ? (ch.prm.cld & kCldQTL) : (ch.prm.cld & kCldMarkers)) continue;  // dealt in complete LD
                if (!l->isQTL && uniqueMarkers) {
                    pat[i] = static_cast<uint16_t>(2 * idx + 1);
                    mat[i] = static_cast<uint16_t>(2 * idx + 2);
                } else {
                    pat[i] = DrawAllele(l->freq, w.rnd);
                    mat[i] = DrawAllele(l->freq, w.rnd);
                }
            }
            if (ch.prm.isX && idx < pass.targetMales)
                std::copy(mat, mat + ch.NLoci(), pat);
        }
    }
}

void HistWork(const SHistRun& h, SHistWorker& w, int command, const SHistPass& pass)
{
    switch (command) {
    case SHistWorker::kMeiosis:
        for (int idx = w.share.first; idx <= w.share.last; ++idx) MeiosisBase(h, w, pass, idx);
        break;
    case SHistWorker::kHomozygosity: GetHPHomo(h.genome, w, pass); break;
    case SHistWorker::kFounders: FounderGenotypes(h, w, pass); break;
    default: break;
    }
}

}  // namespace

void HPSimulator(const SHistRun& h, int rep)
{
    const SParams& prm = h.prm;
    SGenome& genome = h.genome;
    SHistPop& hp = h.hp;
    CMyTime timer;
    const int G = prm.hist.nGen;
    std::vector<SRec> other(static_cast<size_t>(prm.hist.LargestSize()));
    h.mutation.InitializeRep();
    hp.patCross = hp.matCross = 0;
    SampleParam(prm.genome, genome, rep);
    GetMrkQTLIdx(genome);
    ResetAlleleNumbers(prm.genome, genome);
    for (SRec& r : hp.recs) AllocRecChr(h.genomePool, genome, &r);
    for (SRec& r : other) AllocRecChr(h.genomePool, genome, &r);
    GenerateCompleteLD(prm, genome, hp.recs.data());
    CHistWorkerPool workers(h.nthread, [&h](SHistWorker& w, int command, const SHistPass& pass) {
        HistWork(h, w, command, pass);
    });
    const bool mutating = prm.genome.mmutr > 0 || prm.genome.qmutr > 0;

    PrintALineFormat1(60, '-', stdout, "Historical generations (%s)", FormatNum(static_cast<unsigned long long>(G)));
    if (rptfp) PrintALineFormat1(45, '-', rptfp, "Historical generations (%s)", FormatNum(static_cast<unsigned long long>(G)));
    Info("%-5s  %8s %8s %8s   %8s   %8s\n", "Gen.", "Size", "Male", "Female", "Mrk Homo", "QTL Homo");

    // Generation 0: the founders.
    int size = prm.hist.Size(0), males = prm.hist.Males(0);
    workers.RunPass(SHistWorker::kFounders, SHistPass{hp.recs.data(), males}, size);
    if (mutating) h.mutation.Mutate(hp.recs.data(), size);
    MeasureHomozygosity(hp, workers, hp.recs.data(), size, males);
    if (prm.output.monitor_hp_homo) h.reports.homozygosity(0);
    if (G > 0) {
        PrintHistLine('*', 0, size, males);
        Info("   %8.4f   %8.4f\n", hp.mrkHomo, hp.qtlHomo);
    }

    SRec* parents = hp.recs.data();
    SRec* offspring = other.data();
    int boundary = 1;  // size-plan entry whose generation comes next
    const int printStep = G / 10 + 1;
    for (int g = 1; g <= G; ++g) {
        int parentSize = size, parentMales = males;
        size = prm.hist.Size(g);
        males = prm.hist.Males(g);
        bool atBoundary = boundary < prm.hist.nSizeEntries && g == prm.hist.gens[boundary];
        bool shown = (g % printStep == 0 || atBoundary) && g < G;
        if (shown) PrintHistLine(atBoundary ? '*' : ' ', g, size, males);

        workers.RunPass(SHistWorker::kMeiosis, SHistPass{offspring, males, parents, parentMales, parentSize - parentMales},
                     size);
        if (mutating) h.mutation.Mutate(offspring, size);

        bool monitored = prm.output.monitor_hp_homo && g >= prm.output.monitorFreq && g % prm.output.monitorFreq == 0;
        if (shown || atBoundary || monitored || g == G) MeasureHomozygosity(hp, workers, offspring, size, males);
        if (prm.output.monitor_hp_homo && (monitored || g == G)) h.reports.homozygosity(g);
        if (shown) Info("   %8.4f   %8.4f\n", hp.mrkHomo, hp.qtlHomo);
        if (atBoundary) ++boundary;
        std::swap(parents, offspring);
    }
    Info("*%-5s %8s %8s %8s   %8.4f   %8.4f\n", FormatNum(static_cast<unsigned long long>(G)),
         FormatNum(static_cast<unsigned long long>(prm.hist.LastSize())), FormatNum(static_cast<unsigned long long>(prm.hist.nmlhg)),
         FormatNum(static_cast<unsigned long long>(prm.hist.LastSize() - prm.hist.nmlhg)), hp.mrkHomo, hp.qtlHomo);

    // The last generation stays in the engine's record array.
    if (parents != hp.recs.data()) hp.recs.swap(other);
    CloseHistoricalRun(h, workers, hp.recs.data());

    for (size_t i = static_cast<size_t>(prm.hist.LastSize()); i < hp.recs.size(); ++i) {
        FreeRecChr(h.genomePool, hp.recs[i].patChr);
        hp.recs[i].patChr = nullptr;
    }
    for (SRec& r : other) FreeRecChr(h.genomePool, r.patChr);
    const char* lap = timer.PrintTime_Str();
    PrintLineTime(60, '-', stdout, lap);
    if (rptfp) PrintLineTime(45, '-', rptfp, lap);
}
