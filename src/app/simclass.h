// The simulation engine: one instance per run owns every parameter and all run state. Its
// operations are spread over the subsystem folders that own them.
#pragma once

#include <string>
#include <vector>

#include "breeding/population.h"
#include "genome/records.h"
#include "history/histpop.h"

class CLex;
struct SCom;

// Shape of a genotyping rate drawn per individual: -1 when not given.
struct SRate {
    double rate = 0;     // mean rate
    double shape = -1;   // gamma shape of /rndg
};

class SimClass {
public:
    SimClass() = default;
    SimClass(const SimClass&) = delete;
    SimClass& operator=(const SimClass&) = delete;

    // ---- Parameter reading (param/) ----
    void RetrieveParam(CLex* lex);
    void CheckParam();
    void PrnErr(short number, bool fatal);

    // ---- Run (app/) ----
    void Run();
    void BackupParamFile(const std::string& paramFile);

    // ---- Locus positions (genome/positions.cpp) ----
    void SortLPos_CheckLPos(short chr);
    static void LPosQSort(int first, int last, SLocus** loci);

    // ---- Global statements ----
    std::string title;              // run title, without quotes
    bool hasTitle = false;          // a title was given
    int nthread = 0;                // maximum worker threads; 0 = chosen at run start
    int nrep = 0;                   // replicates (nrep.txt may change it during the run)
    double h2 = -1;                 // heritability; -1 = not given
    double qtlh2 = -1;              // part of h2 explained by QTL; -1 = not given
    double phvar = -1;              // phenotypic variance; -1 = not given
    double varPoly = 0;             // (h2 - qtlh2) * phvar
    double varQTL = 0;              // qtlh2 * phvar
    double varRes = 0;              // phvar - varPoly - varQTL
    bool malesHaveRecords = true;   // false with no_male_rec
    bool joint_pop = false;         // pedigree and inbreeding across all populations
    bool skip_inbreeding = false;   // no inbreeding computation
    std::string seedFileName = "seed.prv";  // seed statement (handed to the generator)
    std::string system;             // shell command run after every replicate
    bool hasSystem = false;         // a command was given
    bool systemNrep = false;        // the replicate number is appended to the command

    // ---- Historical population ----
    SHistPop hp;

    // ---- Recent populations ----
    std::vector<CPopulation> pops;  // in the order of their blocks; sized once, never moved
    int npop = 0;

    // ---- Genome ----
    short nChr = 0;
    std::vector<SChrom> chrom;
    std::vector<SLocus> locusStore;  // every locus record, chromosome by chromosome
    std::vector<SLocus*> locusPtr;   // genome-wide pointer array; its slices are the full locus lists
    int nMrkTot = 0, nQTLTot = 0, nLociTot = 0;
    double genomeLength = 0;         // sum of len, cM
    bool select_seg_loci = false;
    double segMaft = -1;             // MAF threshold of select_seg_loci; -1 = not given
    int segNMrk = -1, segNQTL = -1;  // markers and QTL to keep; -1 = not given
    SRate rmmg, rmqg, rmge, rqge;    // missing genotypes and genotyping errors
    double mmutr = 0, qmutr = 0;     // mutation rates per allele copy and generation
    bool mmutrRecurrent = false, qmutrRecurrent = false;
    double mean_crossover = 1.0;     // crossovers per 100 cM
    double interference = 0;         // interference distance, cM
    bool interferenceComplete = false;  // /c: no two crossovers within the distance
    bool r_mpos_g = false, r1_mpos_g = false, r_qpos_g = false, r1_qpos_g = false;

    // ---- Output statements ----
    std::string outputFolder;        // ends with "/" once created
    bool attachRep = false;
    bool linkage_map = false;
    bool allele_effect = false;
    bool allele_label = false;
    bool hp_stat = false;
    bool monitor_hp_homo = false;
    int monitorFreq = 50;            // every how many historical generations homozygosity is kept
    bool anySeqGenotype = false;     // some population writes genotypes with /seq

private:
    // Retrieval of the statements; `lex` is set while it runs.
    void CountChromosomes();
    void RecomputeVariances();
    void RetrieveGlobal(SCom* t);
    void RetrieveHG(SCom*& t);
    void RetrievePopStatement(SCom*& t);
    void AddPopName(SCom* t);
    void SetPopDefaults(CPopulation& p);
    void RetrieveNGeneration(SCom* t);
    void RetrieveFounderStatement(SCom* t);
    void RetrieveLitterSize(SCom*& t);
    void RetrieveParentReplacement(SCom*& t, bool sires);
    void RetrievePopOutput(SCom*& t);
    void CompletePopulation();
    void RetrieveGenomeWide(SCom* t);
    void RetrieveChr(SCom* firstChrToken);
    void AllocLoci();
    void RetrieveChrPositions(SCom*& t, int c);
    void RetrieveChrAlleleNumbers(SCom*& t, int c);
    void RetrieveChrFrequencies(SCom*& t, int c);
    void RetrieveChrEffects(SCom*& t, int c);
    void RetrieveOutput(SCom* t);
    // Cross-checks (param/check_param.cpp).
    void CheckLDAndMapScales();
    void CheckCompleteLD(bool& error);
    void CheckHistoricalSizes(bool& error);
    void CheckPopulation(CPopulation& p, bool& error);
    void CheckJointPopulations(bool& error);
    void CheckGenotypeFormats(bool& error);
    int MaxAlleles(bool qtl) const;
    std::string CheckedFileName(SCom* t);
    void CheckPopNameChars(SCom* t);

    CLex* lex = nullptr;             // the reader during retrieval
    CPopulation* cur = nullptr;      // population being read
    SFounderLine* curLine = nullptr; // founder line being read
    std::vector<uint8_t>* genTarget = nullptr;  // flags a following /gen list sets
    double pendingMissRate = 0;      // rate waiting for its [generation]
};
