// Sorting and shuffling of individuals for founder choice, selection and culling.
#pragma once

#include "breeding/population.h"
#include "genome/records.h"
#include "history/histpop.h"
#include "random/shuffle.h"
#include "support/sorting.h"

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
};
