// The result files of a replicate that stay open across calls: the historical set and the set of
// the population being simulated. The engine owns one; the writers of output/ write to its
// streams.
#pragma once

#include <cstdio>
#include <memory>

#include "support/write_buffer.h"
#include "param/params.h"
#include "support/messages.h"

// Each replicate gets its own file (name + "_003.txt"), or with attachRep all replicates share
// one (name + ".txt"): the first replicate replaces it and the later ones append, behind a
// replicate heading when `heading` is set.
FILE* MyOpenMergeFile(bool attachRep, int rep, bool heading, const char* fmt, ...) DAVOK_PRINTF(4, 5);

// Loci of the replicate: which files a set holds depends on them.
struct SLociCounts {
    int markers = 0, qtl = 0;
    int Loci() const { return markers + qtl; }
};

class COutputFiles {
public:
    COutputFiles() = default;
    COutputFiles(const COutputFiles&) = delete;
    COutputFiles& operator=(const COutputFiles&) = delete;

    // The historical set, in this order; the pedigree file belongs to it because it is opened once
    // per replicate, though it is written (and closed) only after the last population.
    void OpenHistorical(const SParams& prm, const SLociCounts& n, int rep);
    // The files of population pop, named after it, in this order. Binary genotype files carry no
    // replicate heading.
    void OpenPopulation(const SParams& prm, const SPopParams& pop, const SLociCounts& n, int rep);
    void CloseHistorical();
    void ClosePopulation();

    FILE* hpStatFp = nullptr;
    FILE* hpHomoMrkFp = nullptr;
    FILE* hpHomoQtlFp = nullptr;
    FILE* lmMrkFp = nullptr;
    FILE* lmQtlFp = nullptr;
    FILE* lmMrkQtlFp = nullptr;
    FILE* effectQtlFp = nullptr;
    FILE* pedigreeFp = nullptr;
    FILE* genoMrkQtlFp = nullptr;
    FILE* genoMrkFp = nullptr;
    FILE* genoQtlFp = nullptr;
    FILE* freqMrkFp = nullptr;
    FILE* freqQtlFp = nullptr;
    FILE* ldDecayFp = nullptr;
    FILE* crossoFp = nullptr;
    FILE* dataFp = nullptr;
    FILE* statFp = nullptr;
    // Every genotype file is written through it, one call at a time; made at the first genotype
    // file, so that a run without one holds no chunk.
    std::unique_ptr<CWriteBuffer> genoBuffer;
};
