// Sorting and shuffling of individuals for founder choice, selection and culling.
#pragma once

#include "breeding/population.h"
#include "genome/records.h"
#include "history/histpop.h"

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

// Random permutation of the first m of the n entries of a (main generator).
void Shuffle(int* a, int n, int m);
// Ascending quicksorts of integers and of doubles.
void QSort(int lo, int hi, int* a);
void DQSort(int lo, int hi, double* a);

// Sorts and shuffles of individuals. Every random draw comes from the main generator.
class CSort {
public:
    // Random permutation of a[0..n-1], from the last position down.
    static void ShufflePar(int n, SRec** a);
    static void ShufflePrg(int n, SRec** a);
    // Quicksorts of pop->cand[lo..hi].
    static void PhenQSort(CPopulation* pop, int lo, int hi, bool desc);
    static void TBVQSort(CPopulation* pop, int lo, int hi, bool desc);
    static void EBVQSort(CPopulation* pop, int lo, int hi, bool desc);
    // Quicksorts of any parent array; ParentsGenQSort puts the youngest first.
    static void ParentsPhenQSort(SRec** a, int lo, int hi, bool desc);
    static void ParentsTBVQSort(SRec** a, int lo, int hi, bool desc);
    static void ParentsEBVQSort(SRec** a, int lo, int hi, bool desc);
    static void ParentsGenQSort(SRec** a, int lo, int hi);
    // Culling order of the current sires and dams of generation gen (the tail is culled first).
    static void SortParents(CPopulation* pop, int gen, bool maleRec, ESCDesign cd, ESCDesign sd);
    // Fills pop->cand[first..last] with generation candidates in selection order (head first).
    static void SortRP(CPopulation* pop, int first, int last, bool maleRec, ESCDesign sd, bool high);
    // Orders the last historical generation for founder choice.
    static void SortLHG(SHistPop* hp, ESCDesign design, bool high, bool noShuffle);
    // Index of the last of n ascending locus positions at or before x; -1 before the first.
    static int LPos_BinarySearch(int n, double x, const double* pos);
};
