// Output options of one population (its begin_popoutput block).
#pragma once

#include <cstdint>
#include <vector>

// Genotype formats of `genotype`.
enum : int { kGenoSnpCode = 1, kGenoBinary = 2, kGenoSeq = 4 };

struct SPopOutput {
    bool dataOut = false;                // data
    std::vector<uint8_t> dataGen;        // per generation 0..ng
    double sireMissRate = 0, damMissRate = 0;
    std::vector<double> sireMissRateGen; // per generation
    std::vector<double> damMissRateGen;  // per generation
    bool missParents = false;            // any missing-parent rate was given
    bool crossoverOut = false;           // crossover
    std::vector<uint8_t> crossoverGen;
    bool freqOut = false;                // allele_freq
    std::vector<uint8_t> freqGen;
    int mafBin = 0;                      // mafbin, 0 when not given
    bool genoOut = false;                // genotype
    std::vector<uint8_t> genoGen;
    int genoOpt = 0;                     // bits kGenoSnpCode, kGenoBinary, kGenoSeq
    bool ldOut = false;                  // ld
    std::vector<uint8_t> ldGen;
    std::vector<uint8_t> ldChr;          // per chromosome
    std::vector<uint8_t> ldSkipped;      // per generation, set when LD was skipped
    int ldNMrk = 0;                      // nmrk
    double ldMaft = 0.05;                // maft
    double ldMaxDist = 5.0;              // max_distance, cM
    bool statOut = false;                // stat
};
