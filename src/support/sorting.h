// Sorting helpers every layer may use: the quicksort behind all sorts of individuals and loci,
// and the search over sorted positions.
#pragma once

// The quicksort of all individual and locus sorts: pivot in the middle, equal keys left in the
// order the partition leaves them. The smaller part is sorted by recursion, the larger by the
// loop, so the depth stays logarithmic.
template <typename T, typename Key>
void QuickSortBy(T* a, int lo, int hi, Key key, bool descending)
{
    while (lo < hi) {
        int i = lo, j = hi;
        double p = key(a[(lo + hi) / 2]);
        while (i <= j) {
            if (descending) {
                while (key(a[i]) > p && i < hi) i++;
                while (p > key(a[j]) && j > lo) j--;
            } else {
                while (p > key(a[i]) && i < hi) i++;
                while (key(a[j]) > p && j > lo) j--;
            }
            if (i <= j) {
                T tmp = a[i];
                a[i++] = a[j];
                a[j--] = tmp;
            }
        }
        if (j - lo < hi - i) {
            if (j > lo) QuickSortBy(a, lo, j, key, descending);
            lo = i;
        } else {
            if (i < hi) QuickSortBy(a, i, hi, key, descending);
            hi = j;
        }
    }
}

// Ascending quicksorts of integers and of doubles.
void QSort(int lo, int hi, int* a);
void DQSort(int lo, int hi, double* a);

// Index of the last of n ascending locus positions at or before x; -1 before the first.
int LPos_BinarySearch(int n, double x, const double* pos);
