#include "param/params.h"

int SHistPlan::Size(int g) const
{
    if (g <= 0) return sizes[0];
    for (int k = 0; k + 1 < nSizeEntries; ++k) {
        long long g0 = gens[k], g1 = gens[k + 1], s0 = sizes[k], s1 = sizes[k + 1];
        if (g > g0 && g <= g1) return static_cast<int>(s0 + (s1 - s0) * (g - g0) / (g1 - g0));
    }
    return LastSize();
}

int SHistPlan::Males(int g) const
{
    if (g == 0) return nmfhg;
    if (g == nGen) return nmlhg;
    return static_cast<int>(Size(g) * (static_cast<double>(nmfhg) / sizes[0]));
}
