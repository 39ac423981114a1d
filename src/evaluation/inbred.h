// Pedigree, relationships and inbreeding coefficients of the recent populations.
#pragma once

#include <cstdint>
#include <cstdio>

#include "breeding/mating.h"

class CPopulation;
struct SRec;

// The pedigree of the recent populations: one node per individual entered, and a parent table
// with one row per individual used as a parent. Relationships are never stored as a matrix:
// one column among the parents is computed at a time.
class CInbred {
public:
    // Sizes the identifier table once per replicate; gives pop its own node list and parent
    // table, or, with `joint`, one set for all nPop populations of pops (first call only).
    void AllocMem(CPopulation* pop, CPopulation* pops, int nPop, bool joint);
    // Enters every founder of pop, then computes their inbreeding.
    void AddFounderToPed(CPopulation* pop, bool skip);
    // Enters one individual; a founder copy of an individual already entered takes over its node.
    void AddToPed(SRec* rec);
    // Gives a parent row to every sire, then every dam, that has none.
    void AddParentTorPed(SRec** sires, int nSires, SRec** dams, int nDams);
    // Inbreeding of every node from the node of identifier fromId on (0 for all when skip).
    void ComputeF(int fromId, bool skip);
    // C[i * stride + j]: half the relationship of sire i of pop's sires and the dam of mating j,
    // for the nSires(gen) x nDams(gen) pairs of generation gen.
    void CreateA(CPopulation* pop, int gen, const SMating* matings, double* C, int stride);
    // With `joint`: every founder copy in the populations before cur takes the values of the
    // record its node points to.
    void UpdateRec(CPopulation* pops, CPopulation* cur, const uint8_t* founderFlag);
    // The pedigree of all populations of the replicate, with `joint`.
    void WriteCompletePed(FILE* fp);
    // Releases the node list and parent table.
    void FreeMem();
    // Releases the identifier table at the end of a replicate.
    void FreeMemRecLink();
};
