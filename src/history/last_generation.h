// The two ends of the historical run, shared by its files: founders in complete linkage
// disequilibrium, the homozygosity pass, and the closing of the last generation.
#pragma once

#include "history/history.h"

// Founder haplotypes in complete LD on the chromosomes that ask for it.
void GenerateCompleteLD(const SParams& prm, const SGenome& genome, SRec* gen0);
// Mean homozygosity of markers and QTL of a generation (hp.mrkHomo, hp.qtlHomo), by the pool.
void MeasureHomozygosity(SHistPop& hp, CHistWorkerPool& workers, SRec* target, int n, int males);
// Allele numbers, QTL effects, segregating loci and the records of the last generation lhg;
// stops the pool once the last generation's loci are chosen.
void CloseHistoricalRun(const SHistRun& h, CHistWorkerPool& workers, SRec* lhg);
