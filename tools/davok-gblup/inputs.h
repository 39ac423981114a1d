// Reading what the simulator leaves for an external evaluation: the population in "data.tmp" and
// the marker genotypes of the output folder.
#pragma once

#include <cstdint>
#include <fstream>
#include <stdexcept>
#include <string>
#include <unordered_map>
#include <vector>

namespace gblup {

// Bad input: the message is printed as it is and the program ends with exit code 1.
class InputError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

// One line of "data.tmp".
struct Animal {
    long id = 0;
    long sire = 0;      // 0 = unknown
    long dam = 0;       // 0 = unknown
    char flag = '-';    // S, D: parents of the newest generation; P: the newest generation; - other
    int generation = 0;
    double inbreeding = 0;
    bool recorded = false;  // has a phenotype ("---" otherwise)
    double phenotype = 0;
};

// The file opened for reading; `what` names it in the error.
std::ifstream OpenOrThrow(const std::string& path, const char* what);

// The animals of "data.tmp" in file order (parents before their progeny). Refused: malformed
// lines, an animal twice, a phenotype beyond +-1e12, a parent of a non-founder missing from it.
std::vector<Animal> ReadDataFile(const std::string& path);

// Gene content of a marker: copies of alleles other than allele 1, or kMissingGenotype.
constexpr uint8_t kMissingGenotype = 3;

// Marker genotypes of some animals, one row of nMarker bytes per animal.
struct Genotypes {
    size_t nMarker = 0;
    std::unordered_map<long, size_t> rowOfId;
    std::vector<uint8_t> codes;  // row-major, rowOfId.size() rows
};

// The genotype file a --geno argument names: the file itself when it exists; for a prefix such
// as "r_run/p1_mrk", "r_run/p1_mrk.txt" (replicates attached) or else the replicate file
// "r_run/p1_mrk_NNN.txt" with the highest number, which is the replicate being simulated.
std::string ResolveGenotypePath(const std::string& pathOrPrefix);

// Reads the genotypes of the animals in `wanted` from a marker file written as allele pairs or
// as one-digit codes (/snp_code). With replicates attached only the last replicate counts.
Genotypes ReadGenotypes(const std::string& path, const std::unordered_map<long, size_t>& wanted);

}  // namespace gblup
