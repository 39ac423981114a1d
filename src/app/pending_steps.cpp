// Result files of the populations that are not written yet: the genotype and allele-frequency
// files of each generation, LD statistics, the statistics file and the summary over replicates.
// The run driver calls each in its place; until it arrives with its own change it does nothing,
// and its file stays empty.
#include "app/simclass.h"

void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveGenResults(int, int, int) {}
void SimClass::GetStatRep() {}
void SimClass::SaveStat() {}
void SimClass::SaveLD() {}
void SimClass::SaveStatRep() {}
