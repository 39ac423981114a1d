// The result files of one population and replicate in a run folder: which exist, their names
// with or without attach_rep, the linkage maps and the animals of the data file.
#pragma once

#include <functional>
#include <string>
#include <vector>

#include "options.h"

// One locus of a linkage map, in map order.
struct SMapLocus {
    std::string id;    // "M12" or "Q3"
    int chr = 0;       // from 1
    double cM = 0;     // position (the input position when the map is sex-specific)
    bool qtl = false;
};

// One row of the data file, as far as an export needs it.
struct SAnimalInfo {
    int id = 0;
    int sire = 0, dam = 0;  // the recorded parents (Sire*, Dam* when parents were hidden); 0 unknown
    int gen = 0;
    char sex = 0;           // 'M' or 'F'
    bool hasPhen = false;
    double phen = 0;
};

class CRunFolder {
public:
    // Finds the population (the only one with genotype files when none is named) and whether
    // its files hold all replicates (attach_rep) or one each.
    explicit CRunFolder(const SExportOptions& options);

    const std::string& Pop() const { return pop; }
    bool Merged() const { return merged; }
    // The file of kind (e.g. "mrk", "data"; a population file when ofPop) for the replicate.
    std::string Path(const std::string& kind, bool ofPop = true) const;
    bool Exists(const std::string& kind, bool ofPop = true) const;
    // Calls each line of the replicate's part of a text file (replicate headings excluded).
    void ForEachLine(const std::string& path, const std::function<void(const std::string&)>& use) const;
    // The loci of a linkage map; stops the run when the map is missing.
    std::vector<SMapLocus> ReadMap(const std::string& kind) const;
    // The number of loci of a genotype kind ("mrk", "qtl", "mrk_qtl") the run report gives; -1
    // without a report.
    int ReportedLoci(const std::string& kind) const;
    // Loci of a kind without a map: numbered in file order, each on its chromosome by the run
    // report's table of loci per chromosome (0 without one), at 0 cM.
    std::vector<SMapLocus> UnmappedLoci(const std::string& kind, int count) const;
    // The animals of the data file sorted by identifier; empty when the file does not exist.
    std::vector<SAnimalInfo> ReadAnimals() const;

private:
    std::string folder;  // ends with '/'
    std::string pop;
    int rep;
    bool merged = false;  // attach_rep: one file per kind with "Replicate" headings
};

// Names of the populations of folder that have genotype files, sorted.
std::vector<std::string> GenotypedPopulations(const std::string& folder);
