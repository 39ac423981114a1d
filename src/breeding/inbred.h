// Pedigree, relationships and inbreeding coefficients of the recent populations.
#pragma once

#include <cstdint>
#include <cstdio>
#include <vector>

#include "breeding/mating.h"

class CPopulation;
struct SRec;

// One individual of the pedigree, created when it is first entered.
struct SPedNode {
    uint32_t pedId = 0;                // position in order of entry, from 1; 0 for the unknown node
    SPedNode* sireNode = nullptr;      // the sire's node, or the unknown node
    SPedNode* damNode = nullptr;       // the dam's node, or the unknown node
    SRec* rec = nullptr;               // current record (the latest founder copy); not owned
    int32_t parentIdx = -1;            // parent row; -1 until first used as a parent, 0 for unknown
    SPedNode* nextHalfSib = nullptr;   // ComputeF only: next node waiting for F with the same sire
};

// The pedigree of the recent populations: one node per individual entered, and a parent table
// with one row per individual used as a parent. Relationships are never stored as a matrix:
// one column among the parents is computed at a time.
class CInbred {
public:
    CInbred() { unknownNode.parentIdx = 0; }
    // Nodes point at each other and at the unknown node inside this object.
    CInbred(const CInbred&) = delete;
    CInbred& operator=(const CInbred&) = delete;

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
    // The pedigree of all populations of the replicate, with `joint`, as a table; fp stays open.
    void WriteCompletePed(FILE* fp);
    // Releases the node list and parent table.
    void FreeMem();
    // Releases the identifier table at the end of a replicate.
    void FreeMemRecLink();
    // Pedigree entries in order of entry; a parent's entry comes before its progeny's.
    uint32_t NodeCount() const { return nNode; }
    const SPedNode& NodeAt(uint32_t i) const { return nodes[i]; }
    // The record entered under identifier id, or null when id has no pedigree entry.
    SRec* RecordOfId(long id) const;
    // Debugging dump: one line per node, then one per parent row.
    void PrintState(FILE* fp) const;

private:
    void AllocTables(size_t nNodes, size_t nRows);
    SPedNode* NodeOf(const SRec* rec);
    void GiveParentRow(SRec* rec);
    void FillColumn(int row);
    void ClearColumn();
    void SetFOfSireGroup(SPedNode* sire);

    SPedNode unknownNode;              // stands for every unknown parent: pedId 0, parent row 0
    std::vector<SPedNode*> nodeById;   // per identifier of the replicate: its node, null = none
    std::vector<SPedNode> nodes;       // nodes in order of entry; sized once, so pointers stay valid
    uint32_t nNode = 0;                // nodes entered
    std::vector<int32_t> parentSire;   // per parent row: row of the parent's sire (0 = unknown)
    std::vector<int32_t> parentDam;    // per parent row: row of the parent's dam (0 = unknown)
    std::vector<int32_t> parentId;     // per parent row: the parent's identifier
    std::vector<double> dFactor;       // per parent row: 0.5 - 0.25 (F of its sire + F of its dam)
    std::vector<double> work;          // per parent row: one relationship column; all zero between uses
    int32_t columnLow = 0;             // lowest row the column in work may have touched
    std::vector<SPedNode*> firstHalfSib;  // per parent row: head of its ComputeF progeny list; null between uses
    int32_t nParentRow = 1;            // next free parent row; row 0 is the unknown parent
};
