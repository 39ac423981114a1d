// Linkage disequilibrium by map distance, computed per generation and written per population.
#include "app/simclass.h"

void SimClass::ComputeLDStat(int, int, int) {}
void SimClass::SaveLD() {}
