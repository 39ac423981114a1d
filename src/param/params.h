// What a parameter file says, as one value: the reader fills it, the cross-checks complete it, and
// the engine receives it and never changes it. Values that change during a run (the number of
// replicates under nrep.txt, the additive variance under true_av) are run state of the engine.
#pragma once

#include <vector>

#include "param/genome_params.h"
#include "param/pop_params.h"
#include "param/run_params.h"

// The whole parameter file.
struct SParams {
    SGlobalParams global;
    SHistPlan hist;
    SGenomeParams genome;
    SOutputParams output;
    std::vector<SPopParams> pops;   // in the order of their blocks
};
