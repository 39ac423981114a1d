#include "genome/mutation.h"

void Split2Index(SIndex* parts, int first, int last, int& nParts, int) { parts[0] = {first, last}; nParts = 1; }
void CMutation::Initialize(SLocus**, int*, int*, int, int, int, bool) {}
void CMutation::SetRates(double, bool, double, bool) {}
void CMutation::InitializeRep() {}
void CMutation::Mutate(SRec*, int) {}
void CMutation::IndexAlleles(SRec*, int, bool) {}
void CMutation::IndexAlleles_MyThread(SRec*, int, bool, const SIndex*, int) {}
void CMutation::FreeMutMem() {}
