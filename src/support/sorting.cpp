#include "support/sorting.h"

#include <algorithm>

void QSort(int lo, int hi, int* a)
{
    QuickSortBy(a, lo, hi, [](int v) { return static_cast<double>(v); }, false);
}

void DQSort(int lo, int hi, double* a)
{
    QuickSortBy(a, lo, hi, [](double v) { return v; }, false);
}

int LPos_BinarySearch(int n, double x, const double* pos)
{
    return static_cast<int>(std::upper_bound(pos, pos + n, x) - pos) - 1;
}
