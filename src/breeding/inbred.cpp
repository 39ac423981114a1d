// The pedigree of the recent populations and inbreeding coefficients by relationship columns.
//
// A relationship column of parent row p (work[k] = additive relationship of parents p and k)
// comes from the factorisation A = T D T' of the parents' relationship matrix: a backward pass
// over the rows of p's ancestors (solving T' x = e_p and scaling by D), then a forward pass over
// all rows (solving T y = x). Parent rows are given in order of use, so a parent's parents always
// sit on lower rows and both passes run in one direction.
#include "breeding/inbred.h"

#include <algorithm>
#include <new>

#include "breeding/population.h"
#include "genome/records.h"
#include "support/messages.h"

namespace {

// Sizes a table through Abort rather than an exception when memory runs out.
template <typename T>
void AssignTable(std::vector<T>& table, size_t n, T value)
{
    try {
        table.assign(n, value);
    } catch (const std::bad_alloc&) {
        Abort("Error (CInbred::AllocMem) - Allocation failed!\n");
    }
}

template <typename T>
void ReleaseTable(std::vector<T>& table)
{
    std::vector<T>().swap(table);
}

// Parent rows a population may need: one per sire and dam use over its generations.
size_t ParentUses(const CPopulation& pop)
{
    size_t uses = 0;
    for (int g = 1; g <= pop.prm.ng; ++g) uses += static_cast<size_t>(pop.prm.plan[g].nSires) + pop.prm.plan[g].nDams;
    return uses;
}

}  // namespace

void CInbred::AllocMem(CPopulation* pop, CPopulation* pops, int nPop, bool joint)
{
    if (nodeById.empty()) {
        size_t ids = 1;  // identifiers are dense from 1; each individual of the replicate sits in some population
        for (int i = 0; i < nPop; ++i) ids += static_cast<size_t>(pops[i].nIndiv);
        AssignTable<SPedNode*>(nodeById, ids, nullptr);
    }
    if (joint) {
        if (!nodes.empty()) return;  // one pedigree for the whole replicate, sized at its first population
        size_t nNodes = 0, nRows = 0;
        for (int i = 0; i < nPop; ++i) {
            nNodes += static_cast<size_t>(pops[i].nIndiv);
            nRows += ParentUses(pops[i]);
        }
        AllocTables(nNodes, nRows + 1);
    } else {
        AllocTables(static_cast<size_t>(pop->nIndiv), ParentUses(*pop) + 1);
        std::fill(nodeById.begin(), nodeById.end(), nullptr);
    }
}

void CInbred::AllocTables(size_t nNodes, size_t nRows)
{
    AssignTable(nodes, nNodes, SPedNode());
    AssignTable<int32_t>(parentSire, nRows, 0);
    AssignTable<int32_t>(parentDam, nRows, 0);
    AssignTable<int32_t>(parentId, nRows, 0);
    AssignTable(dFactor, nRows, 0.0);
    AssignTable(work, nRows, 0.0);
    AssignTable<SPedNode*>(firstHalfSib, nRows, nullptr);
    nNode = 0;
    nParentRow = 1;
    columnLow = 1;
}

void CInbred::FreeMem()
{
    ReleaseTable(nodes);
    ReleaseTable(parentSire);
    ReleaseTable(parentDam);
    ReleaseTable(parentId);
    ReleaseTable(dFactor);
    ReleaseTable(work);
    ReleaseTable(firstHalfSib);
    nNode = 0;
    nParentRow = 1;
}

void CInbred::FreeMemRecLink()
{
    ReleaseTable(nodeById);
}

SPedNode* CInbred::NodeOf(const SRec* rec)
{
    SPedNode* node = nodeById[static_cast<size_t>(rec->id)];
    return node ? node : &unknownNode;
}

SRec* CInbred::RecordOfId(long id) const
{
    if (id < 1 || static_cast<size_t>(id) >= nodeById.size() || !nodeById[static_cast<size_t>(id)]) return nullptr;
    return nodeById[static_cast<size_t>(id)]->rec;
}

void CInbred::AddFounderToPed(CPopulation* pop, bool skip)
{
    if (pop->nFounderPlaced < 1) return;
    for (int i = 0; i < pop->nFounderPlaced; ++i) AddToPed(&pop->indiv[static_cast<size_t>(i)]);
    ComputeF(pop->indiv[0].id, skip);
}

void CInbred::AddToPed(SRec* rec)
{
    SPedNode*& slot = nodeById[static_cast<size_t>(rec->id)];
    if (slot) {
        slot->rec = rec;  // a founder copy takes over the node of its source
        return;
    }
    SPedNode& node = nodes[nNode];
    node = SPedNode();
    node.rec = rec;
    node.sireNode = NodeOf(rec->sire);
    node.damNode = NodeOf(rec->dam);
    node.pedId = ++nNode;
    rec->inbF = -1.0;  // not computed yet
    slot = &node;
}

void CInbred::AddParentTorPed(SRec** sires, int nSires, SRec** dams, int nDams)
{
    for (int i = 0; i < nSires; ++i) GiveParentRow(sires[i]);
    for (int i = 0; i < nDams; ++i) GiveParentRow(dams[i]);
}

// An unknown parent's record carries F = -1, so a founder's factor comes out as 1.0 and that of
// a parent with one unknown parent as 0.75 - 0.25 F.
void CInbred::GiveParentRow(SRec* rec)
{
    SPedNode* node = NodeOf(rec);
    if (node->parentIdx != -1) return;
    int32_t row = nParentRow++;
    node->parentIdx = row;
    parentSire[row] = node->sireNode->parentIdx;
    parentDam[row] = node->damNode->parentIdx;
    parentId[row] = rec->id;
    dFactor[row] = 0.5 - 0.25 * (rec->sire->inbF + rec->dam->inbF);
}

// work must be all zero. Rows below columnLow are never touched: no ancestor of row sits there,
// and a row whose parents are both zero stays zero in the forward pass.
void CInbred::FillColumn(int row)
{
    double* w = work.data();
    const int32_t* sire = parentSire.data();
    const int32_t* dam = parentDam.data();
    int32_t low = row;
    w[row] = 1.0;
    for (int32_t k = row; k >= low; --k) {
        if (w[k] <= 0) continue;
        if (sire[k] > 0) {
            w[sire[k]] += 0.5 * w[k];
            low = std::min(low, sire[k]);
        }
        if (dam[k] > 0) {
            w[dam[k]] += 0.5 * w[k];
            low = std::min(low, dam[k]);
        }
        w[k] *= dFactor[k];
    }
    for (int32_t k = low; k < nParentRow; ++k) w[k] += 0.5 * w[sire[k]] + 0.5 * w[dam[k]];
    columnLow = low;
}

void CInbred::ClearColumn()
{
    std::fill(work.begin() + columnLow, work.begin() + nParentRow, 0.0);
}

void CInbred::ComputeF(int fromId, bool skip)
{
    SPedNode* from = nodeById[static_cast<size_t>(fromId)];
    if (!from) return;
    SPedNode* end = nodes.data() + nNode;
    if (skip) {
        for (SPedNode* n = from; n != end; ++n) n->rec->inbF = 0.0;
        return;
    }
    // Progeny waiting for F are chained per sire, so each sire's column serves all of them.
    for (SPedNode* n = from; n != end; ++n) {
        if (n->sireNode == &unknownNode) {
            n->rec->inbF = 0.0;
        } else if (n->rec->inbF == -1.0) {
            int32_t row = n->sireNode->parentIdx;
            n->nextHalfSib = firstHalfSib[row];
            firstHalfSib[row] = n;
        }
    }
    for (SPedNode* n = from; n != end; ++n)
        if (n->rec->inbF == -1.0) SetFOfSireGroup(n->sireNode);
}

// F of a progeny is half its parents' relationship; an unknown dam's row 0 holds 0.
void CInbred::SetFOfSireGroup(SPedNode* sire)
{
    int32_t row = sire->parentIdx;
    FillColumn(row);
    for (SPedNode* n = firstHalfSib[row]; n; n = n->nextHalfSib) n->rec->inbF = 0.5 * work[n->damNode->parentIdx];
    firstHalfSib[row] = nullptr;
    ClearColumn();
}

void CInbred::CreateA(CPopulation* pop, int gen, const SMating* matings, double* C, int stride)
{
    int nSires = pop->prm.plan[gen].nSires, nDams = pop->prm.plan[gen].nDams;
    for (int i = 0; i < nSires; ++i) {
        FillColumn(NodeOf(pop->sires[i])->parentIdx);
        double* row = C + static_cast<size_t>(i) * stride;
        for (int j = 0; j < nDams; ++j) row[j] = 0.5 * work[NodeOf(matings[j][1].rec)->parentIdx];
        ClearColumn();
    }
}

void CInbred::UpdateRec(CPopulation* pops, CPopulation* cur, const uint8_t* founderFlag)
{
    for (CPopulation* p = pops; p != cur; ++p)
        for (SRec& r : p->indiv) {
            if (r.id < 1 || !(founderFlag[r.id] & 1)) continue;
            SPedNode* node = nodeById[static_cast<size_t>(r.id)];
            if (node && node->rec != &r) r = *node->rec;
        }
}

// Pedigree numbers stand for the individuals: the order of entry puts every parent before its
// progeny, whatever population either belongs to. The caller closes fp.
void CInbred::WriteCompletePed(FILE* fp)
{
    fprintf(fp, "%-7s %-7s %-7s Sex\n", "Progeny", "Sire", "Dam");
    for (uint32_t i = 0; i < nNode; ++i) {
        const SPedNode& n = nodes[i];
        fprintf(fp, "%-7u %-7u %-7u %-3s\n", n.pedId, n.sireNode->pedId, n.damNode->pedId, n.rec->sex ? "M" : "F");
    }
}

void CInbred::PrintState(FILE* fp) const
{
    for (uint32_t i = 0; i < nNode; ++i) {
        const SPedNode& n = nodes[i];
        fprintf(fp, "node %u id %d sire %u dam %u row %d F %g\n", n.pedId, n.rec->id, n.sireNode->pedId,
                n.damNode->pedId, n.parentIdx, n.rec->inbF);
    }
    for (int32_t k = 1; k < nParentRow; ++k)
        fprintf(fp, "row %d id %d sire %d dam %d dFactor %g\n", k, parentId[k], parentSire[k], parentDam[k],
                dFactor[k]);
}
