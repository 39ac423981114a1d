// The retrieval of the statements from the matched tokens into the parameter value; used by
// ReadParams only.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "param/lex.h"
#include "param/params.h"

class CParamReader {
public:
    CParamReader(CLex& reader, SParams& out) : lex(&reader), prm(out) {}
    // One pass over the token list; an error stops the run after the messages.
    void Retrieve();

private:
    void CountChromosomes();
    void RecomputeVariances();
    void RetrieveGlobal(SCom* t);
    void RetrieveHG(SCom*& t);
    void RetrievePopStatement(SCom*& t);
    void AddPopName(SCom* t);
    void SetPopDefaults(SPopParams& p);
    void RetrieveNGeneration(SCom* t);
    void RetrieveFounderStatement(SCom* t);
    void RetrieveLitterSize(SCom*& t);
    void RetrieveParentReplacement(SCom*& t, bool sires);
    void RetrievePopOutput(SCom*& t);
    void CompletePopulation();
    void RetrieveGenomeWide(SCom* t);
    void RetrieveChr(SCom* firstChrToken);
    void AllocLoci();
    SLocusParams* ClassLoci(const SChromParams& ch, bool qtl);
    void CheckChrPositions(const SChromParams& ch);
    void RetrieveChrPositions(SCom*& t, int c);
    void RetrieveChrAlleleNumbers(SCom*& t, int c);
    void RetrieveChrFrequencies(SCom*& t, int c);
    void RetrieveChrEffects(SCom*& t, int c);
    void RetrieveOutput(SCom* t);
    std::string CheckedFileName(SCom* t);
    void CheckPopNameChars(SCom* t);

    CLex* lex;                       // the tokens, and the error display
    SParams& prm;                    // the value being filled
    SPopParams* cur = nullptr;       // population being read
    SFounderLine* curLine = nullptr; // founder line being read
    std::vector<uint8_t>* genTarget = nullptr;  // flags a following /gen list sets
    double pendingMissRate = 0;      // rate waiting for its [generation]
};

// Message number of the parameter language shown as a warning; a fatal one stops the run.
void PrnErr(short number, bool fatal);
