// The historical population: its size plan and, during a replicate, its records.
#pragma once

#include <vector>

#include "genome/records.h"

constexpr int kMaxHgSize = 100;  // size/generation pairs of hg_size

struct SHistPop {
    int nGen = 0;                   // generation number of the last hg_size pair
    int nSizeEntries = 0;           // pairs given to hg_size
    int gens[kMaxHgSize] = {};      // generation of each pair; the first is 0
    int sizes[kMaxHgSize] = {};     // population size of each pair, 2..100000
    int nmfhg = -1;                 // males in the first generation; -1 = not given
    int nmlhg = -1;                 // males in the last generation; -1 = not given

    std::vector<SRec> recs;         // current generation; after the run, the last one (males first)
    std::vector<SRec*> lastGen;     // the individuals of the last generation, males first

    int FirstSize() const { return sizes[0]; }
    int LastSize() const { return sizes[nSizeEntries - 1]; }
    int LargestSize() const
    {
        int m = 0;
        for (int i = 0; i < nSizeEntries; ++i) m = sizes[i] > m ? sizes[i] : m;
        return m;
    }
};
