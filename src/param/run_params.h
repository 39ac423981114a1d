// The global, historical and output statements of a parameter file.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

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

    // Size and number of males of historical generation g: sizes between two breakpoints are
    // interpolated in 64-bit integers; males keep the proportion of the first generation.
    int Size(int g) const;
    int Males(int g) const;
    int FirstSize() const { return sizes[0]; }
    int LastSize() const { return sizes[nSizeEntries - 1]; }
    int LargestSize() const
    {
        int m = 0;
        for (int i = 0; i < nSizeEntries; ++i) m = sizes[i] > m ? sizes[i] : m;
        return m;
    }
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
