#include "breeding/sort.h"

void Shuffle(int*, int, int) {}
void CSort::ShufflePar(int, SRec**) {}
void CSort::ParentsPhenQSort(SRec**, int, int, bool) {}
void CSort::ParentsTBVQSort(SRec**, int, int, bool) {}
void CSort::SortLHG(SHistPop*, ESCDesign, bool, bool) {}
int CSort::LPos_BinarySearch(int, double, SLocus* const*) { return -1; }
