// The mating list of one generation and the coancestry table of the annealing designs.
#pragma once

#include <array>
#include <vector>

#include "genome/records.h"

// One parent of a mating: its record and its position in the population's sires or dams.
struct SMD {
    SRec* rec = nullptr;
    int idx = 0;
};

// A mating: [0] the sire, [1] the dam.
using SMating = std::array<SMD, 2>;

// What one annealing run did.
struct SAnnealOutcome {
    int steps = 0;           // temperature steps run
    long long moves = 0;     // exchanges tried
    bool optimized = false;  // the last step accepted no exchange
};

// The matings of the generation being produced and the work memory of minf/maxf.
struct SMatingPlan {
    std::vector<SMating> list;        // nMatings entries in dam order: dam m is dams[m]
    int nMatings = 0;
    std::vector<double> coancestry;   // minf/maxf: sire position x mating, row-major
    int stride = 0;                   // columns of a coancestry row (the largest number of dams)

    double& C(int sire, int mating) { return coancestry[static_cast<size_t>(sire) * stride + mating]; }
};
