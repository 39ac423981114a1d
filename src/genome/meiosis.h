// Meiosis of the recent populations and its parts: crossover positions and the gametes of one
// chromosome.
#pragma once

#include "genome/genome.h"
#include "random/rnd.h"
#include "support/write_buffer.h"

// Crossovers of one gamete on chromosome ch (map scale `scale`), with interference: their number
// goes to n and their positions, ascending, to xpos.
void SampleCrossoPos(const SGenomeParams& gp, const SChrom& ch, short& n, double* xpos, double scale, CMyRnd* rnd);
// Both gametes of chromosome c of child, with the crossovers left in cp.
void MakeChromosome(const SGenomeParams& gp, const SGenome& genome, int c, const SRec& sire, const SRec& dam, SRec& child,
                    bool maleChild, CMyRnd* rnd, SCrossoP& cp);
// The genome of rec from its parents and its QTL value; with out, its crossovers as lines of out
// (the caller gives a buffer only for the generations whose crossovers are written).
void Meiosis(const SGenomeParams& gp, const SGenome& genome, SRec* rec, CMyRnd* rnd, SCrossoP* cp, CWriteBuffer* out);
