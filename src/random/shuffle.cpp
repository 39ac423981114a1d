#include "random/shuffle.h"

#include <utility>

#include "random/rnd.h"

int RandomIndexBelow(int n)
{
    int j = static_cast<int>(n * MyRnd.URand());
    return j < n ? j : n - 1;
}

void Shuffle(int* a, int n, int m)
{
    for (int i = 0; i < m; ++i) std::swap(a[i], a[i + RandomIndexBelow(n - i)]);
}
