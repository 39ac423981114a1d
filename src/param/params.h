// What a parameter file says, as one value: the reader fills it, the cross-checks complete it, and
// the engine receives it and never changes it. Values that change during a run (the number of
// replicates under nrep.txt, the additive variance under true_av) are run state of the engine.
#pragma once

#include <string>

// Global statements.
struct SGlobalParams {
    std::string title;              // run title, without quotes
    bool hasTitle = false;          // a title was given
    int nthread = 0;                // maximum worker threads; 0 = chosen at run start
    int nrep = 0;                   // replicates as the file gives them
    double h2 = -1;                 // heritability; -1 = not given
    double qtlh2 = -1;              // part of h2 explained by QTL; -1 = not given
    double phvar = -1;              // phenotypic variance; -1 = not given
    double varPoly = 0;             // (h2 - qtlh2) * phvar
    double varQTL = 0;              // qtlh2 * phvar
    double varRes = 0;              // phvar - varPoly - varQTL
    bool malesHaveRecords = true;   // false with no_male_rec
    bool joint_pop = false;         // pedigree and inbreeding across all populations
    bool skip_inbreeding = false;   // no inbreeding computation
    std::string system;             // shell command run after every replicate
    bool hasSystem = false;         // a command was given
    bool systemNrep = false;        // the replicate number is appended to the command
};

constexpr int kMaxHgSize = 100;  // size/generation pairs of hg_size

// The size plan of the historical population (begin_hp block).
struct SHistPlan {
    int nGen = 0;                   // generation number of the last hg_size pair
    int nSizeEntries = 0;           // pairs given to hg_size
    int gens[kMaxHgSize] = {};      // generation of each pair; the first is 0
    int sizes[kMaxHgSize] = {};     // population size of each pair, 2..100000
    int nmfhg = -1;                 // males in the first generation; -1 = not given
    int nmlhg = -1;                 // males in the last generation; -1 = not given

    int FirstSize() const { return sizes[0]; }
    int LastSize() const { return sizes[nSizeEntries - 1]; }
    int LargestSize() const
    {
        int m = 0;
        for (int i = 0; i < nSizeEntries; ++i) m = sizes[i] > m ? sizes[i] : m;
        return m;
    }
};

// Shape of a genotyping rate drawn per individual: -1 when not given.
struct SRate {
    double rate = 0;     // mean rate
    double shape = -1;   // gamma shape of /rndg
};

// Genome-wide statements (the chromosomes are read into the genome records).
struct SGenomeParams {
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
};

// Output statements.
struct SOutputParams {
    std::string outputFolder;        // ends with "/" once created
    bool attachRep = false;
    bool linkage_map = false;
    bool allele_effect = false;
    bool allele_label = false;
    bool hp_stat = false;
    bool monitor_hp_homo = false;
    int monitorFreq = 50;            // every how many historical generations homozygosity is kept
    bool anySeqGenotype = false;     // some population writes genotypes with /seq
};

struct SParams {
    SGlobalParams global;
    SHistPlan hist;
    SGenomeParams genome;
    SOutputParams output;
};
