// Statements of hand-made populations for tests that build a population without a parameter file.
#pragma once

#include "param/params.h"

// A population "p" of ng generations after the founders, each bred by nSires sires and nDams dams.
inline SPopParams HandStatements(int ng, int nSires = 0, int nDams = 0)
{
    SPopParams s;
    s.name = "p";
    s.ng = ng;
    s.plan.assign(static_cast<size_t>(ng) + 1, SGenPlan());
    for (int g = 1; g <= ng; ++g) {
        s.plan[static_cast<size_t>(g)].nSires = nSires;
        s.plan[static_cast<size_t>(g)].nDams = nDams;
    }
    return s;
}
