// The export of one population and replicate: which loci and animals, the alleles each locus
// shows among them, and the walk over blocks of loci that hands a writer one locus at a time.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "genotype_source.h"
#include "options.h"
#include "run_folder.h"

// One exported locus: where it lies and where its genotypes are read.
struct SExportLocus {
    std::string id;   // "M12", "Q3"
    int chr = 0;
    double cM = 0;
    int source = 0;   // index of the genotype file
    int column = 0;   // column within that file
    int64_t bp = 0;   // base-pair position in the output files
};

// The alleles a locus shows among the exported animals. Labels below 64 are bits of a mask and
// their ranks a table, so that adding one or finding its rank costs a few instructions; larger
// labels are listed.
class CAlleleSet {
public:
    void Add(uint16_t label)
    {
        if (label < 64)
            mask |= uint64_t{1} << label;
        else
            AddLarge(label);
    }
    // Ends the adding: fixes the ranks that Index returns.
    void Seal();
    int Count() const { return static_cast<int>(labels.size()); }
    // 1 + the rank of label among the alleles (in label order); 0 for the missing allele 0.
    int Index(uint16_t label) const
    {
        return label < 64 ? rank[label] : IndexOfLarge(label);
    }
    const std::vector<uint16_t>& Labels() const { return labels; }

private:
    void AddLarge(uint16_t label);
    int IndexOfLarge(uint16_t label) const;
    uint64_t mask = 0;              // bit a set: allele a (0..63) seen
    std::vector<uint16_t> large;    // alleles of 64 and above, sorted
    std::vector<uint16_t> labels;   // all alleles but 0, sorted (after Seal)
    uint8_t rank[64] = {};          // Index of the labels below 64 (after Seal)
};

// The exported animals in file order.
struct SAnimals {
    std::vector<int> ids;
    std::vector<int> info;                    // index into the data file's rows, -1 if not there
    size_t Size() const { return ids.size(); }
};

// What a format does with the loci: told the animals and loci once (with the alleles of every
// locus when the reading collected them), then given every locus in order with its alleles and
// its genotypes as allele indices (CAlleleSet::Index), paternal and maternal of every animal.
// A writer that takes .bed rows (BedRows) may instead be given a locus as its .bed row.
class CBedRowWriter {
public:
    virtual ~CBedRowWriter() = default;
    // row: the locus's 2-bit .bed codes of all animals, A2 the smaller label.
    virtual void WriteBedRow(size_t locus, const CAlleleSet& alleles, const uint8_t* row) = 0;
};

class CGenotypeWriter {
public:
    virtual ~CGenotypeWriter() = default;
    virtual void Begin(const SAnimals& animals, const std::vector<SAnimalInfo>& info,
                       const std::vector<SExportLocus>& loci, const std::vector<CAlleleSet>& alleles) = 0;
    virtual void WriteLocus(size_t locus, const CAlleleSet& alleles, const uint8_t* pairs) = 0;
    // The writer's .bed rows when it takes them, else null.
    virtual CBedRowWriter* BedRows() { return nullptr; }
    // Completes the files and gives them their final names.
    virtual void Finish() = 0;
};

std::unique_ptr<CGenotypeWriter> MakePlinkWriter(const std::string& prefix, const std::string& pop);
std::unique_ptr<CGenotypeWriter> MakeVcfWriter(const std::string& fileName);

// Runs the whole export for the options.
void Export(const SExportOptions& options);

// Base-pair position of a map position: 1 cM is taken as 1,000,000 bp (at least 1).
int64_t BasePosition(double cM);
