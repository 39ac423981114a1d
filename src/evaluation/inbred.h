// Pedigree, relationships and inbreeding coefficients.
#pragma once

class CPopulation;

// The pedigree of the recent populations. Not written yet: its operations are called in their
// place by the run driver and do nothing until the pedigree arrives with its own change.
class CInbred {
public:
    void AllocMem(CPopulation* pop, int npop, bool joint) { (void)pop, (void)npop, (void)joint; }
    void AddFounderToPed(CPopulation* pop, bool skipInbreeding) { (void)pop, (void)skipInbreeding; }
    void UpdateRec() {}
    void FreeMem() {}
    void FreeMemRecLink() {}
    void WriteCompletePed() {}
};
