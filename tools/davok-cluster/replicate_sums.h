// What one replicate adds to the summary over replicates, kept at full precision so that a study
// run as many jobs sums to exactly what one run of all its replicates would.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

class SimClass;
struct CPopulation;

struct SPopulationSums {
    std::string name;
    int ng = 0;
    std::vector<uint8_t> ldGen;      // per generation: LD still measured at the end of the run
    std::vector<uint8_t> ldSkipped;  // per generation: LD skipped for too many alleles
    std::vector<double> values;      // generations 0..ng, each the accumulators of one generation
};

struct SReplicateSums {
    std::vector<double> hist;  // the accumulators of the last historical generation
    std::vector<SPopulationSums> pops;
};

// The values of the replicate just run, read from accumulators that were cleared before it: for
// one replicate each running sum holds exactly the value that replicate contributes.
std::vector<double> HistoricalValues(const SimClass& sim);
SPopulationSums PopulationValues(const CPopulation& p);

void WriteReplicateSums(const SReplicateSums& sums, const std::string& path);
// Reads a file written by WriteReplicateSums; anything else stops with an error naming the file.
SReplicateSums ReadReplicateSums(const std::string& path);

// Adds one replicate to the engine's accumulators, in the order the run driver would have added
// it; its populations must be the engine's.
void AddReplicate(SimClass& sim, const SReplicateSums& sums, const std::string& path);
