// The historical population during a replicate: its records.
#pragma once

#include <vector>

#include "genome/records.h"

// The records of the historical population during a replicate (its size plan is SHistPlan).
struct SHistPop {
    std::vector<SRec> recs;         // current generation; after the run, the last one (males first)
    std::vector<SRec*> lastGen;     // the individuals of the last generation, males first
};
