// What the phases of one replicate share about its individuals.
#pragma once

#include <cstdint>
#include <vector>

#include "genome/records.h"

// Reset at the start of each replicate: the use counters of its genomes (one per individual that
// owns a genome), the founder flags by identifier, the identifiers given so far, and the record
// that stands for an unknown parent.
struct SReplicate {
    std::vector<uint16_t> genomeUseCount;
    int nextGenomeSlot = 0;            // next free counter of genomeUseCount
    std::vector<uint8_t> founderFlag;  // per identifier: taken as founder (1), by this population (2)
    int nextId = 0;                    // last identifier given
    SRec unknownParent;                // parent of the last historical generation (id 0)

    // The next free use counter, for an individual that starts a genome of its own.
    uint16_t* NextGenomeUse() { return &genomeUseCount[static_cast<size_t>(nextGenomeSlot++)]; }
};
