// The run driver: the run summary, the replicate loop and the generations of one population,
// in their fixed order.
#include <cstdlib>
#include <string>

#include "app/invariants.h"
#include "app/simclass.h"
#include "breeding/sort.h"
#include "support/boxes.h"
#include "support/files.h"
#include "support/messages.h"
#include "support/numbers.h"
#include "support/timing.h"

namespace {

constexpr int kMaxReplicates = 20000;

// "Rate of ... : x", with " /rndg shape" when the rate varies between individuals.
void PrintRate(const char* label, const SRate& r)
{
    Info("%s: %g", label, r.rate);
    if (r.shape > 0) Info(" /rndg %g", r.shape);
    Info("\n");
}

}  // namespace

void SimClass::Run()
{
    CMyTime repTimer, popTimer;
    nthread = prm.global.nthread;
    SetNoThread(nthread, 100);
    runNrep = prm.global.nrep;
    PrintRunSummary();

    InitializeRun();

    int repsDone = 0;
    for (int rep = 1; rep <= runNrep; ++rep) {
        repTimer.StartTime();
        PrintALineFormat1(60, '~', stdout, "Replicate %3d", rep);
        InfoRpt("Replicate %3d\n", rep);
        MyFlush();

        SimLitterSize(pops, rep);
        AllocPopMem();
        DetermineActiveGen();
        InitializeRep();
        OpenOutputStreams(rep, true);
        HPSimulator(HistoricalRun(), rep);
        ChooseFromHistPop(replicate, genomePool, hp, pops);
        CheckInvariants(*this, {rep, -1, 0, false});
        SaveRepResults(Output());
        CloseOutputStreams(true);

        for (CPopulation& p : pops) {
            popTimer.StartTime();
            curPop = &p;
            PrintALineFormat1(60, '-', stdout, "Population \"%s\"", p.prm.name.c_str());
            OpenOutputStreams(rep, false);
            RunRep(rep);
            GetStatRep(p);
            if (onPopulationDone) onPopulationDone(p, rep);
            if (p.prm.out.dataOut) SaveData(p, files.dataFp);
            if (p.prm.out.statOut) SaveStat(Output(), p);
            if (p.prm.out.ldOut && genome.nMrkTot > 0) SaveLD(p, files.ldDecayFp);
            PrintLineTime(60, '-', stdout, popTimer.PrintTime_Str());
            CloseOutputStreams(false);
        }
        if (!pops.empty()) CheckInvariants(*this, {rep, static_cast<int>(pops.size()) - 1, pops.back().prm.ng, true});

        if (prm.global.joint_pop) {
            inbred.WriteCompletePed(files.pedigreeFp);
            inbred.FreeMem();
        }
        MyFclose(files.pedigreeFp);  // never carry the pedigree file into the next replicate
        files.pedigreeFp = nullptr;
        inbred.FreeMemRecLink();
        FreePopMem();
        RunSystemCommand(rep);
        PrintLineTime(60, '~', stdout, repTimer.PrintTime_Str());
        printf("\n");
        repsDone = rep;
        ReadReplicateControlFile();
    }
    // nrep.txt may have lowered nrep below the replicate already reached: the summary averages
    // over the replicates that were run.
    runNrep = repsDone;
    if (runNrep >= 2) SaveStatRep(prm, pops, histRep, runNrep);

    mutation.FreeMutMem();
    for (CPopulation& p : pops) {
        p.genStat.clear();
        p.repStat.clear();
    }
    FreeParamMem();
    FreeGlobalMem();
}

void SimClass::InitializeRun()
{
    AllocGlobalMem();
    mutation.Initialize(genome.locusPtr.data(), genome.mrkIndex.data(), genome.qtlIndex.data(), genome.nMrkTot,
                        genome.nQTLTot, nthread, prm.output.allele_label);
    mutation.SetRates(prm.genome.mmutr, prm.genome.mmutrRecurrent, prm.genome.qmutr, prm.genome.qmutrRecurrent);
}

void SimClass::PrintRunSummary()
{
    Info("\n");
    Info("Max. no. threads                 : %d\n", nthread);
    Info("No. replicates                   : %s\n", FormatNum(static_cast<unsigned long long>(runNrep)));
    Info("No. populations                  : %d\n", static_cast<int>(pops.size()));
    if (prm.global.skip_inbreeding)
        Info("Inbreeding                       : skipped\n");
    else if (prm.global.joint_pop && pops.size() >= 2)
        Info("Inbreeding                       : across all populations\n");
    Info("h2                               : %g\n", prm.global.h2);
    Info("Polygenic variance               : %g\n", prm.global.varPoly);
    Info("QTL variance                     : %g\n", prm.global.varQTL);
    Info("Residual variance                : %g\n", prm.global.varRes);
    Info("Phenotypic variance              : %g\n", prm.global.phvar);
    Info("No. chromosomes                  : %d\n", prm.genome.nChr);
    Info("No. QTL in total                 : %s\n", FormatNum(static_cast<unsigned long long>(genome.nQTLTot)));
    Info("No. markers in total             : %s\n", FormatNum(static_cast<unsigned long long>(genome.nMrkTot)));
    if (prm.genome.rmmg.rate > 0 || prm.genome.rmqg.rate > 0) {
        PrintRate("Rate of missing marker genotypes ", prm.genome.rmmg);
        PrintRate("Rate of missing QTL genotypes    ", prm.genome.rmqg);
    }
    if (prm.genome.rmge.rate > 0 || prm.genome.rqge.rate > 0) {
        PrintRate("Rate of marker genotyping errors ", prm.genome.rmge);
        PrintRate("Rate of QTL genotyping errors    ", prm.genome.rqge);
    }
    Info("Marker mutation rate             : %g\n", prm.genome.mmutr);
    Info("QTL mutation rate                : %g\n", prm.genome.qmutr);
    Info("Crossover interference           : %g\n", prm.genome.interference);
    Info("\n");
}

void SimClass::RunSystemCommand(int rep)
{
    if (!prm.global.hasSystem) return;
    std::string command = prm.global.system;
    if (prm.global.systemNrep) command += " " + std::to_string(rep);
    MyFlush();  // the command may read the report
    int status = ::system(command.c_str());
    (void)status;  // the command's exit status is the user's business
    Info("System command : %s\n", command.c_str());
}

// "nrep.txt" in the output folder lets the user change the number of replicates during a run.
void SimClass::ReadReplicateControlFile()
{
    FILE* fp = fopen((prm.output.outputFolder + "nrep.txt").c_str(), "r");
    if (!fp) return;
    int n;
    if (fscanf(fp, "%d", &n) == 1) {
        if (n >= 1 && n <= kMaxReplicates) {
            if (n != runNrep) {
                Warn("Warning - The number of replicates is adjusted to %d from %d by the user.\n", n, runNrep);
                NoWarn++;
                runNrep = n;
            }
        } else {
            Warn("Warning - The specified value in nrep.txt should be between 1 and 20,000.\n");
            NoWarn++;
        }
    }
    fclose(fp);
}

void SimClass::RunRep(int rep)
{
    CPopulation& p = *curPop;
    const int popIndex = static_cast<int>(curPop - pops.data());
    printf("G%-5d Size=%-7d", 0, p.genInfo[0].nPrg);
    fflush(stdout);
    ChooseFromRecentPop(prm.global, replicate, genomePool, pops, p);
    int last0 = p.genInfo[0].last;
    ComputeLDStat(genome, ldWork, p, nthread, 0, 0, last0);
    SaveGenResults(Output(), p, 0, 0, last0);
    inbred.AllocMem(&p, pops.data(), static_cast<int>(pops.size()), prm.global.joint_pop);
    ComputeMeanVar(prm.global, p, 0, 0, last0);
    if (p.prm.true_av) Update_VarAdd(p, 0);
    inbred.AddFounderToPed(&p, prm.global.skip_inbreeding);
    EstimateEBV_Base(Evaluation(), p);
    CheckInvariants(*this, {rep, popIndex, 0, false});
    printf("\n");

    if (p.prm.out.crossoverOut && files.crossoFp) {
        PrintALineFormat1(40, '-', files.crossoFp, "Crossover output");
        fprintf(files.crossoFp, "I = Individual\n");
        fprintf(files.crossoFp, "S C{} = Sire Choromosome{Positions}\n");
        fprintf(files.crossoFp, "D C{} = Dam  Choromosome{Positions}\n\n");
    }
    if (p.prm.md == kMdMinf || p.prm.md == kMdMaxf) AllocSAMem(mating, p);

    for (int g = 1; g <= p.prm.ng; ++g) {
        const SGenInfo& gi = p.genInfo[g];
        printf("G%-5d Size=%-7d", g, gi.nPrg);
        fflush(stdout);
        ProgenySimulator(Breeding(), p, g, gi.first, gi.last);
        SetProgenyValues(prm.global, p, gi.first, gi.last);
        ComputeMeanVar(prm.global, p, g, gi.first, gi.last);
        ComputeLDStat(genome, ldWork, p, nthread, g, gi.first, gi.last);
        if (p.prm.true_av) Update_VarAdd(p, g);
        EstimateEBV(Evaluation(), p, g, gi.first, gi.last);
        SaveGenResults(Output(), p, g, gi.first, gi.last);
        if (g < p.prm.ng) {
            CSort::SortParents(&p, g, prm.global.malesHaveRecords, p.prm.cd, p.prm.sd);
            CSort::SortRP(&p, gi.first, gi.last, prm.global.malesHaveRecords, p.prm.sd, p.prm.sdHigh);
            CullAndSelect(genomePool, p, g, gi.first, gi.last);
        }
        CheckInvariants(*this, {rep, popIndex, g, false});  // before the unused genomes of g are released
        FreeChrProgMem(genomePool, p, gi.first, gi.last);
        printf("\n");
        PW.DumpWarn(rptfp);
    }

    if (p.prm.md == kMdMinf || p.prm.md == kMdMaxf) FreeSAMem(mating);
    FreeChrLastSireDamMem();
    if (prm.global.joint_pop)
        inbred.UpdateRec(pops.data(), &p, replicate.founderFlag.data());
    else
        inbred.FreeMem();
    ComputeMeanVar(prm.global, p, p.prm.ng + 1, 0, p.nIndiv - 1);
}

void SimClass::DetermineActiveGen()
{
    for (CPopulation& p : pops)
        for (SGenInfo& g : p.genInfo) g.genomeHold = 0;
    for (CPopulation& p : pops)
        for (int i = 0; i < p.prm.nFounderLine; ++i) {
            const SFounderLine& l = p.prm.founderLine[i];
            if (!l.FromHistorical()) pops[static_cast<size_t>(l.srcPop)].genInfo[l.gen].genomeHold++;
        }
}
